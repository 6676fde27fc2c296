#include "trace/tracer.h"

#include <gtest/gtest.h>

#include <string>

#include "trace/test_messages.h"

namespace {

using Texts = std::vector<std::string>;

TEST(Tracer, ShowsBoxesAndWarningsWithTheirCaptionsAndNothingOfTraces) {
    testing_messages::Messages messages;
    trace::Box("left %d of %s at 100%%", 3, "ten");
    trace::WarnIf(true, "careful");
    trace::WarnIf(false, "never");
    trace::BoxIf(true, "%c%c", 'o', 'k');
    trace::BoxIf(false, "never");
    trace::Trace("nobody sees %d", 1);
    trace::Box("%s", std::string(20000, 'x').c_str());
    EXPECT_EQ(messages.texts,
              (Texts{"left 3 of ten at 100%", "careful", "ok", std::string(8195, 'x')}));  // its buffer's end
    EXPECT_EQ(messages.captions, (Texts{"TracerDefault::Box", "TracerDefault::Warn", "TracerDefault::Box",
                                        "TracerDefault::Box"}));
    EXPECT_EQ(messages.icons, (std::vector<u32>{48, 64, 48, 48}));
}

TEST(Tracer, AnotherTracerTakesOverUntilTakenOut) {
    testing_messages::Messages messages;
    {
        testing_messages::Listener listener;
        trace::Box("a%d", 1);
        trace::WarnIf(true, "b");
        trace::Trace("c");
        EXPECT_EQ(listener.boxes, Texts{"a1"});
        EXPECT_EQ(listener.warnings, Texts{"b"});
        EXPECT_EQ(listener.traces, Texts{"c"});
    }
    EXPECT_TRUE(messages.texts.empty());
    trace::Box("d");
    EXPECT_EQ(messages.texts, Texts{"d"});
}

TEST(System, AMessageIsOneLineOnStandardError) {
    testing::internal::CaptureStderr();
    platform::ShowMessageBox("two\nlines", "Caption");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Caption: two lines\n");
}

}  // namespace
