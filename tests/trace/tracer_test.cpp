#include "trace/tracer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "trace/test_messages.h"

namespace {

TEST(Tracer, ShowsBoxesAndWarningsWithTheirCaptionsAndNothingOfTraces) {
    testing_messages::Messages messages;
    trace::Box("left %d of %s at 100%%", 3, "ten");
    trace::WarnIf(true, "careful");
    trace::WarnIf(false, "never");
    trace::BoxIf(true, "%c%c", 'o', 'k');
    trace::BoxIf(false, "never");
    trace::Trace("nobody sees %d", 1);
    EXPECT_EQ(messages.texts, (std::vector<std::string>{"left 3 of ten at 100%", "careful", "ok"}));
    EXPECT_EQ(messages.captions,
              (std::vector<std::string>{"TracerDefault::Box", "TracerDefault::Warn", "TracerDefault::Box"}));
    EXPECT_EQ(messages.icons, (std::vector<u32>{48, 64, 48}));
}

TEST(Tracer, CutsTextAtItsBuffer) {
    testing_messages::Messages messages;
    trace::Box("%s", std::string(20000, 'x').c_str());
    ASSERT_EQ(messages.texts.size(), 1u);
    EXPECT_EQ(messages.texts[0], std::string(8195, 'x'));
}

class Recorder : public trace::Tracer {
  public:
    void Box(const char* format, std::va_list args) override { Add("box ", format, args); }
    void Warn(const char* format, std::va_list args) override { Add("warn ", format, args); }
    void Trace(const char* format, std::va_list args) override { Add("trace ", format, args); }
    std::string text;

  private:
    void Add(const char* kind, const char* format, std::va_list args) {
        char line[64];
        std::vsnprintf(line, sizeof line, format, args);
        text += std::string(kind) + line + ";";
    }
};

TEST(Tracer, AnotherTracerTakesOverUntilTakenOut) {
    testing_messages::Messages messages;
    Recorder recorder;
    trace::Tracer* previous = trace::SetTracer(&recorder);
    trace::Box("a%d", 1);
    trace::WarnIf(true, "b");
    trace::Trace("c");
    EXPECT_EQ(trace::SetTracer(previous), &recorder);
    trace::Trace("d");
    EXPECT_EQ(recorder.text, "box a1;warn b;trace c;");
    EXPECT_TRUE(messages.texts.empty());
}

TEST(Tracer, ConditionsThatDoNotHoldMakeNoTracer) {
    trace::Tracer* previous = trace::SetTracer(nullptr);
    trace::BoxIf(false, "x");
    trace::WarnIf(false, "x");
    EXPECT_EQ(trace::SetTracer(nullptr), nullptr);
    trace::Trace("x");
    trace::Tracer* made = trace::SetTracer(previous);
    EXPECT_NE(made, nullptr);
    if (previous) delete made;
}

TEST(System, AMessageIsOneLineOnStandardError) {
    testing::internal::CaptureStderr();
    platform::ShowMessageBox("two\nlines", "Caption");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Caption: two lines\n");
}

TEST(System, ResourcesAreFoundByNumber) {
    static const u8 data[] = {1, 2, 3};
    EXPECT_TRUE(platform::GetModuleResource(4711).empty());
    platform::RegisterModuleResource(4711, data);
    EXPECT_EQ(platform::GetModuleResource(4711).data(), data);
    EXPECT_EQ(platform::GetModuleResource(4711).size(), 3u);
    platform::RegisterModuleResource(4711, {});
    EXPECT_TRUE(platform::GetModuleResource(4711).empty());
}

}  // namespace
