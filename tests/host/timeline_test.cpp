// The order in which the timeline calls effects, with effects that write down what they are asked.
#include "timeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <string>

namespace {

using host::Role;

using Log = std::vector<std::string>;

template <class Interface>
class Scribe : public osm3d::EffectForwarder<Interface> {
  public:
    Scribe(std::string name, Log& log) : name_(std::move(name)), log_(log) {}
    bool IsTransition() override { return std::is_same_v<Interface, osm3d::TransitionEffect>; }
    void BeginRender() override { Say("begin"); }
    void EndRender() override { Say("end"); }
    void Update(u32, f32) override { Say("update"); }
    void Init() override { Say("init"); }
    void Shutdown() override { Say("shutdown"); }
    void ClearTarget() override { Say("clear"); }
    void Draw() override { Say("draw"); }

  protected:
    void Say(const std::string& what) { log_.push_back(name_ + " " + what); }

  private:
    std::string name_;
    Log& log_;
};

class PlainScribe final : public Scribe<osm3d::Effect> {
  public:
    using Scribe::Scribe;
};

class TransitionScribe final : public Scribe<osm3d::TransitionEffect> {
  public:
    using Scribe::Scribe;
    bool IsInputNeeded(i32 input) override { return needed[input - 1]; }
    void BeginInput(i32 input) override { Say("input " + std::to_string(input)); }
    i32 GetMainInput() override { return 1; }
    bool needed[2] = {true, true};
};

class TimelineTest : public testing::Test {
  protected:
    host::PlayingClip Make(const std::string& name, Role role, double start, double length,
                           std::vector<std::vector<host::PlayingClip>> contents = {},
                           const std::string& type = "fx") {
        host::EffectEntry& entry = entries_.emplace_back();
        entry.name = type;
        entry.role = role;
        host::Clip& clip = clips_.emplace_back();
        clip.effect = &entry;
        clip.start = start;
        clip.length = length;
        host::PlayingClip playing;
        playing.clip = &clip;
        if (role == Role::Transition) {
            effects_.push_back(std::make_unique<TransitionScribe>(name, log));
            transition = static_cast<TransitionScribe*>(effects_.back().get());
        } else {
            effects_.push_back(std::make_unique<PlainScribe>(name, log));
        }
        playing.effect = effects_.back().get();
        playing.contents = std::move(contents);
        return playing;
    }
    // What is called for the picture at `seconds`, making ready and updating apart.
    Log Drawn(host::Timeline& timeline, double seconds) {
        log.clear();
        timeline.Draw(seconds);
        Log out;
        for (const std::string& line : log)
            if (!line.ends_with("init") && !line.ends_with("shutdown") && !line.ends_with("update"))
                out.push_back(line);
        return out;
    }

    Log log;
    TransitionScribe* transition = nullptr;  // the last one made
    PlainScribe eraser{"eraser", log};

  private:
    std::deque<host::EffectEntry> entries_;
    std::deque<host::Clip> clips_;
    std::vector<std::unique_ptr<osm3d::Effect>> effects_;
};

TEST_F(TimelineTest, AFilterInATransitionInAFilterIsDrawnFromTheInsideAndEachPictureIsClearedOnce) {
    std::vector<host::PlayingClip> clips;
    clips.push_back(Make("outer", Role::Filter, 0, 4,
                         {{Make("fade", Role::Transition, 0, 4,
                                {{Make("a", Role::Source, 0, 4), Make("over a", Role::Source, 0, 4)},
                                 {Make("inner", Role::Filter, 0, 4, {{Make("b", Role::Source, 0, 4)}})}},
                                "fx_trans_blend")}}));
    clips.push_back(Make("title", Role::Source, 1, 2));
    host::Timeline timeline(clips, eraser);
    EXPECT_EQ(Drawn(timeline, 1), (Log{"outer begin", "fade input 1", "a clear", "a draw", "over a draw",
                                       "fade end", "fade input 2", "inner begin", "b clear", "b draw",
                                       "inner end", "inner clear", "inner draw", "fade end", "fade draw",
                                       "outer end", "outer clear", "outer draw", "title draw"}));
    const auto first_draw = std::find(log.begin(), log.end(), "outer begin");
    for (const char* name : {"outer", "fade", "a", "over a", "inner", "b", "title"})
        EXPECT_EQ(std::count(log.begin(), first_draw, name + std::string(" update")), 1) << name;
    // The title is not there any more.
    EXPECT_EQ(Drawn(timeline, 3).back(), "outer draw");
    EXPECT_TRUE(timeline.Draw(3));
    EXPECT_FALSE(timeline.Draw(4));
}

TEST_F(TimelineTest, AnInputThatIsNotNeededIsNotDrawnAndACrossFadeIsNotAtItsEnds) {
    for (const bool is_fade : {true, false}) {
        std::vector<host::PlayingClip> clips;
        clips.push_back(Make("t", Role::Transition, 0, 1,
                             {{Make("a", Role::Source, 0, 1)}, {Make("b", Role::Source, 0.5, 0.5)}},
                             is_fade ? "fx_trans_blend" : "fx_trans_white"));
        host::Timeline timeline(clips, eraser);
        transition->needed[1] = false;
        Log expected{"t input 1", "a clear", "a draw", "t end"};
        if (!is_fade) expected.emplace_back("t draw");
        EXPECT_EQ(Drawn(timeline, 0), expected);
        // Nothing is in the second input before its half: it shows the background, not what was there.
        transition->needed[0] = false;
        transition->needed[1] = true;
        expected = {"t input 2", "eraser clear", "t end"};
        if (!is_fade) expected.emplace_back("t draw");
        EXPECT_EQ(Drawn(timeline, 0.25), expected);
    }
}

TEST_F(TimelineTest, WhatDoesNotClearItsTargetHasItCleared) {
    std::vector<host::PlayingClip> clips;
    clips.push_back(Make("empty scene", Role::Source, 0, 1));
    clips.back().leaves_target = true;
    host::Timeline timeline(clips, eraser);
    EXPECT_EQ(Drawn(timeline, 0), (Log{"eraser clear", "empty scene draw"}));
}

TEST_F(TimelineTest, CapturesAreHeldWhileTheirClipIsActiveAndTakenOnceAheadOfTime) {
    std::vector<host::PlayingClip> clips;
    clips.push_back(Make("early", Role::Filter, 0, 2, {{Make("a", Role::Source, 0, 9)}}));
    clips.push_back(Make("late", Role::Filter, 2, 2,
                         {{Make("within", Role::Filter, 3, 5, {{Make("b", Role::Source, 0, 9)}})}}));
    host::Timeline timeline(clips, eraser);
    timeline.Init();
    // As many at once as ever while playing, no more: sources are there all the time.
    EXPECT_EQ(log, (Log{"a init", "b init", "early init", "early shutdown", "late init", "within init",
                        "late shutdown", "within shutdown"}));
    const auto changes = [&](double seconds) {
        log.clear();
        timeline.Draw(seconds);
        Log out;
        for (const std::string& line : log)
            if (line.ends_with("init") || line.ends_with("shutdown")) out.push_back(line);
        return out;
    };
    EXPECT_EQ(changes(1), (Log{"early init"}));
    EXPECT_EQ(changes(3), (Log{"early shutdown", "late init", "within init"}));
    EXPECT_EQ(changes(3.5), Log{});
    EXPECT_EQ(changes(0), (Log{"late shutdown", "within shutdown", "early init"}));
    log.clear();
    timeline.Shutdown();
    EXPECT_EQ(log, (Log{"early shutdown", "a shutdown", "b shutdown"}));
}

}  // namespace
