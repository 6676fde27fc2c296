// The clip part of an effect, under a host of the test's own.
#include "effects/timeline_base.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/fake_host.h"

using namespace osm3d;
using Log = std::vector<std::string>;

namespace {

class LoggedClip : public TimelineBase {
  public:
    using TimelineBase::TimelineBase;
    void OnFloatChanged(u32 index, f32 value) override { Note(index, "float", std::to_string(value)); }
    void OnIntChanged(u32 index, i32 value) override { Note(index, "int", std::to_string(value)); }
    void OnStringChanged(u32 index, const std::string& value) override { Note(index, "string", value); }
    void OnObjectChanged(u32 index, DataObject* value) override {
        Note(index, "object", value != nullptr ? "set" : "null");
    }
    fake_host::Controller& At(u32 index) {
        return static_cast<fake_host::Controller&>(*GetController(index));
    }

    Log log;

  private:
    void Note(u32 index, const char* kind, const std::string& value) {
        log.push_back(std::to_string(index) + " " + kind + " " + value);
    }
};

const std::vector<std::string> kEveryKind{"string", "float", "int", "choice", "object", "odd"};

TEST(TimelineBase, MakesOneControllerPerParameterAndDeletesThem) {
    fake_host::Factory factory;
    auto* clip = new LoggedClip(fake_host::Definition("type", kEveryKind), "clip 1", &factory);
    EXPECT_EQ(factory.alive, 6);
    for (u32 i = 0; i < 6; ++i) EXPECT_EQ(clip->GetController(i)->type, static_cast<i32>(i));
    EXPECT_EQ(clip->FindController("int"), clip->GetController(2));
    EXPECT_EQ(clip->FindController("Int"), nullptr);
    clip->Release();
    EXPECT_EQ(factory.alive, 0);
}

TEST(TimelineBase, UpdateEvaluatesWhatMovesAndApplyAllDeliversWhatStands) {
    fake_host::Factory factory;
    LoggedClip clip(fake_host::Definition("type", kEveryKind), "", &factory);
    clip.SetStart(10);
    clip.SetLength(4);
    clip.At(0).text = "words";
    clip.At(1).number = 2;
    clip.At(2).integer = 7;
    clip.At(3).integer = 8;

    clip.Update(0, 11);
    EXPECT_TRUE(clip.log.empty());
    clip.Refresh();
    const Log all{"0 string words", "1 float 2.000000", "2 int 7", "3 int 8", "4 object null"};
    EXPECT_EQ(clip.log, all);
    for (u32 i = 0; i < 6; ++i) EXPECT_TRUE(clip.At(i).times.empty());

    for (u32 i = 0; i < 6; ++i) clip.At(i).fixed = false;
    clip.log.clear();
    clip.Update(123, 11);
    EXPECT_EQ(clip.log, (Log{"0 string words", "1 float 0.500000", "2 int 7", "4 object null"}));
    for (const f32 time : {10.0f, 14.0f, 8.0f, 18.0f}) clip.Update(0, time);
    EXPECT_EQ(clip.At(1).times, (std::vector<f32>{0.25f, 0, 1, -0.5f, 2}));

    clip.SetLength(0);
    clip.Update(0, 10);
    clip.Update(0, 12);
    EXPECT_TRUE(std::isnan(clip.At(1).times[5]));
    EXPECT_TRUE(std::isinf(clip.At(1).times[6]));
}

TEST(TimelineBase, LoadStateGoesByNameAndTellsWhatIsUnknown) {
    fake_host::Factory factory;
    LoggedClip clip(fake_host::Definition("type", {"float a", "float b", "float a"}), "", &factory);
    fake_host::Node node("clip");
    fake_host::Node& first = node.Add("controler", {{"name", "float a"}});
    node.Add("controler", {{"name", "gone"}});
    node.Add("controller", {{"name", "float b"}});
    fake_host::Node& second = node.Add("controler", {{"name", "float a"}});
    int context = 0;

    const fake_host::Listener listener;
    EXPECT_TRUE(clip.LoadState(&node, &context));
    EXPECT_EQ(listener.boxes,
              (std::vector<std::string>{"Controller named : \"gone\", no more exists.",
                                        "Unknown category : \"controller\", in TimelineBase."}));
    const auto& loads = clip.At(0).loads;
    ASSERT_EQ(loads.size(), 2u);
    EXPECT_EQ(loads[0], (std::pair<HostNode*, void*>{&first, &context}));
    EXPECT_EQ(loads[1], (std::pair<HostNode*, void*>{&second, &context}));
    EXPECT_TRUE(clip.At(1).loads.empty());
    EXPECT_TRUE(clip.At(2).loads.empty());
    EXPECT_EQ(clip.log, (Log{"0 float 2.000000", "1 float 0.000000", "2 float 0.000000"}));
}

TEST(TimelineBase, LoadControllersMakesThemFromTheProject) {
    fake_host::Factory factory;
    LoggedClip clip;
    fake_host::Node node("clip");
    fake_host::Node& first = node.Add("controler", {{"name", "int a"}});
    node.Add("note");
    fake_host::Node& second = node.Add("controler", {{"name", "float b"}});

    const fake_host::Listener listener;
    EXPECT_TRUE(clip.LoadControllers(&node, nullptr, &factory));
    EXPECT_EQ(factory.fromNodes, (std::vector<HostNode*>{&first, &second}));
    ASSERT_EQ(clip.GetControllerCount(), 2u);
    EXPECT_EQ(clip.GetDefinition().children[1].name, "float b");
    EXPECT_EQ(clip.At(0).loads.size(), 1u);
    EXPECT_EQ(clip.At(1).loads.size(), 1u);
    EXPECT_EQ(listener.boxes, (std::vector<std::string>{"Unknown category : \"note\", in TimelineBase."}));
    EXPECT_EQ(clip.log, (Log{"0 int 0", "1 float 1.000000"}));
}

}  // namespace
