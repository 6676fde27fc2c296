// The sound player: what it asks of the library, what it tells a person, and the peaks of files.
#include "driver/sound_player.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "driver/driver.h"
#include "platform/system/system.h"
#include "support/round_trip.h"
#include "support/sound_bytes.h"

using namespace osm3d;
using namespace platform;
using test_support::TempFile;

namespace {

using Texts = std::vector<std::string>;

// Keeps what it is asked, one text for each call. A path opens when `opens` is set.
class FakeLibrary final : public SoundLibrary {
  public:
    f32 FSOUND_GetVersion() override {
        Say("version");
        return version;
    }
    bool FSOUND_Init(i32 mixRate, i32 channels, u32 flags) override {
        Say("init " + Numbers(mixRate, channels, flags));
        return starts;
    }
    void FSOUND_Close() override { Say("close"); }
    FSOUND_STREAM* FSOUND_Stream_OpenFile(const char* path, u32 mode, i32 length) override {
        Say(std::string("open ") + path + " " + Numbers(mode, length));
        return opens ? reinterpret_cast<FSOUND_STREAM*>(std::uintptr_t{++streams}) : nullptr;
    }
    bool FSOUND_Stream_Close(FSOUND_STREAM* stream) override { return Say("close " + Name(stream)); }
    i32 FSOUND_Stream_Play(i32 channel, FSOUND_STREAM* stream) override {
        Say("play " + Numbers(channel) + " " + Name(stream));
        return stream == nullptr ? -1 : 17;
    }
    bool FSOUND_Stream_Stop(FSOUND_STREAM* stream) override { return Say("stop " + Name(stream)); }
    i32 FSOUND_Stream_GetTime(FSOUND_STREAM* stream) override {
        Say("time " + Name(stream));
        return time;
    }
    bool FSOUND_Stream_SetTime(FSOUND_STREAM* stream, i32 milliseconds) override {
        time = milliseconds;
        return Say("set " + Name(stream) + " " + Numbers(milliseconds));
    }
    bool FSOUND_SetPan(i32 channel, i32 pan) override { return Say("pan " + Numbers(channel, pan)); }
    FSOUND_SAMPLE* FSOUND_Sample_Load(i32 index, const char* path, u32 mode, i32 length) override {
        Say(std::string("load ") + path + " " + Numbers(index, mode, length));
        return opens ? reinterpret_cast<FSOUND_SAMPLE*>(std::uintptr_t{1}) : nullptr;
    }
    u32 FSOUND_Sample_GetLength(FSOUND_SAMPLE*) override {
        Say("length");
        return static_cast<u32>(data.size());
    }
    bool FSOUND_Sample_Lock(FSOUND_SAMPLE*, i32 offset, i32 length, void** first, void** second,
                            u32* firstBytes, u32* secondBytes) override {
        Say("lock " + Numbers(offset, length));
        *first = data.data();
        *second = nullptr;
        *firstBytes = static_cast<u32>(length);
        *secondBytes = 0;
        return locks;
    }
    bool FSOUND_Sample_Unlock(FSOUND_SAMPLE*, void* first, void*, u32 firstBytes, u32) override {
        return Say((first == data.data() ? "unlock " : "unlock elsewhere ") + Numbers(firstBytes));
    }
    void FSOUND_Sample_Free(FSOUND_SAMPLE*) override { Say("free"); }

    Texts Taken() { return std::exchange(calls, {}); }

    f32 version = 3.5f;
    bool starts = true, opens = true, locks = true;
    i32 time = 0;
    std::vector<i16> data;

  private:
    template <class... Values>
    static std::string Numbers(Values... values) {
        std::string text;
        ((text += (text.empty() ? "" : ",") + std::to_string(values)), ...);
        return text;
    }
    static std::string Name(FSOUND_STREAM* stream) {
        return std::to_string(reinterpret_cast<std::uintptr_t>(stream));
    }
    bool Say(std::string text) {
        calls.push_back(std::move(text));
        return true;
    }
    u32 streams = 0;
    Texts calls;
};

class SoundPlayer : public testing::Test {
  protected:
    SoundPlayer() {
        before = SetMessageBoxHandler([this](const std::string& text, const std::string& caption, u32 icon) {
            EXPECT_EQ(caption, "SoundPlayerFMOD::MessageBox");
            EXPECT_EQ(icon, 0u);
            told.push_back(text);
        });
    }
    ~SoundPlayer() override { SetMessageBoxHandler(before); }
    Texts Told() { return std::exchange(told, {}); }
    std::vector<f32> Envelope(f32 resolution) {
        std::vector<f32> envelope;
        player.BuildEnvelope(&envelope, "file", resolution);
        return envelope;
    }

    MessageBoxHandler before;
    Texts told;
    FakeLibrary library;
    SoundPlayerFMOD player{library};
};

TEST_F(SoundPlayer, StartsWithTheRightLibraryOnly) {
    library.version = 3.75f;
    EXPECT_FALSE(player.Init());
    EXPECT_EQ(library.Taken(), (Texts{"version"}));
    EXPECT_EQ(Told(), (Texts{"Incompatible version of FMOD (expecting : 3.500000, has : 3.750000)."}));
    library.version = 3.5f;
    library.starts = false;
    EXPECT_FALSE(player.Init());
    EXPECT_EQ(library.Taken(), (Texts{"version", "init 44100,32,2"}));
    EXPECT_EQ(Told(), (Texts{"FMOD Init Failed"}));
    { SoundPlayerFMOD never(library); }
    EXPECT_EQ(library.Taken(), Texts{}) << "nothing to end";

    library.starts = true;
    {
        SoundPlayerFMOD other(library);
        EXPECT_TRUE(other.Init());
        other.OpenPreview("a");
        other.OpenTrack("b");
        library.Taken();
    }
    EXPECT_EQ(library.Taken(), (Texts{"close 2", "close"})) << "the track, then the library";
    {
        SoundPlayerFMOD other(library);
        EXPECT_TRUE(other.Init());
        library.Taken();
        other.Shutdown();
        EXPECT_EQ(library.Taken(), (Texts{"close"}));
    }
    EXPECT_EQ(library.Taken(), Texts{}) << "ended once";
    EXPECT_EQ(Told(), Texts{});
}

TEST_F(SoundPlayer, PreviewTellsOfWhatIsNotThere) {
    player.PlayPreview();
    player.StopPreview();
    EXPECT_EQ(Told(), (Texts{"No stream openned.", "No stream openned."}));
    EXPECT_EQ(library.Taken(), Texts{});
    player.OpenPreview("a.wav");
    player.PlayPreview();
    player.StopPreview();
    player.OpenPreview("b.mp3");
    EXPECT_EQ(library.Taken(),
              (Texts{"open a.wav 1,0", "play -1 1", "pan 17,-1", "stop 1", "close 1", "open b.mp3 1,0"}));
    library.opens = false;
    player.OpenPreview("c");
    EXPECT_EQ(Told(), (Texts{"File is not a Stream."}));
    player.PlayPreview();
    EXPECT_EQ(Told(), (Texts{"No stream openned."}));
    EXPECT_EQ(library.Taken(), (Texts{"close 2", "open c 1,0"}));
}

TEST_F(SoundPlayer, TrackGoesToItsTimes) {
    player.OpenTrack("a");
    player.SetTrackTime(1.5f);
    EXPECT_EQ(player.GetTrackTime(), 1.5f);
    player.PlayTrack();
    library.time = 12345;
    EXPECT_EQ(player.GetTrackPosition(), 12.345f);
    player.StopTrack();
    EXPECT_EQ(library.Taken(),
              (Texts{"open a 1,0", "set 1 1500", "time 1", "play -1 1", "pan 17,-1", "time 1", "stop 1"}));
    // Truncated, in the direction of 0, from a product of doubles.
    const f32 infinity = std::numeric_limits<f32>::infinity();
    for (const auto& [seconds, milliseconds] : {std::pair{0.0019f, "1"},
                                                {-0.0019f, "-1"},

                                                {0.7f, "699"},
                                                {3e9f, "2147483647"},
                                                {-infinity, "-2147483648"},
                                                {std::nanf(""), "0"}}) {
        player.SetTrackTime(seconds);
        EXPECT_EQ(library.Taken(), (Texts{std::string("set 1 ") + milliseconds})) << seconds;
    }
    library.opens = false;
    player.OpenTrack("b");
    EXPECT_EQ(Told(), (Texts{"File not found or not a Stream."}));
    library.Taken();
    player.PlayTrack();  // no test for a track that is not there
    player.StopTrack();
    EXPECT_EQ(library.Taken(), (Texts{"play -1 0", "pan -1,-1", "stop 0"}));
    EXPECT_EQ(Told(), Texts{});
}

TEST_F(SoundPlayer, EnvelopeTakesPeaksByTurns) {
    library.data = {5, -9, 3, -7, 2, 4, -1, -2, -3, 8, 16384, -32768};
    // Three samples a value. Twelve samples are 24 bytes, so eight values, of which four are behind the end.
    std::vector<f32> envelope{7};
    player.BuildEnvelope(&envelope, "file", 29000);
    const f32 one = 1.0f / 32768;
    EXPECT_EQ(envelope, (std::vector<f32>{7, 5 * one, -7 * one, 0, -1, 0, 0, 0, 0}));
    EXPECT_EQ(library.Taken(), (Texts{"load file -1,305,0", "length", "lock 0,24", "unlock 24", "free"}));
    // Blocks that go over the end take what there is: 24 / 5, rounded up, is five.
    EXPECT_EQ(Envelope(17000), (std::vector<f32>{5 * one, -3 * one, 0.5f, 0, 0}));
    library.data = {-32768, 32767};
    EXPECT_EQ(Envelope(88200), (std::vector<f32>{0, 0, 0, 0}));
    EXPECT_EQ(Envelope(44100), (std::vector<f32>{32767 * one, 0}));
    library.data.clear();
    EXPECT_EQ(Envelope(2), std::vector<f32>{});
    EXPECT_EQ(Told(), Texts{});
}

TEST_F(SoundPlayer, EnvelopeOfAnyResolutionEnds) {
    library.data.assign(100000, 1);
    EXPECT_EQ(Envelope(2).size(), 5u) << "44100 samples a value";
    const f32 infinity = std::numeric_limits<f32>::infinity();
    EXPECT_EQ(Envelope(88200).size(), 200000u);
    EXPECT_EQ(Envelope(0).size(), 1u);
    EXPECT_EQ(Envelope(std::numeric_limits<f32>::denorm_min()).size(), 1u);
    EXPECT_EQ(Envelope(1e-5f).size(), 1u) << "more samples than an integer counts";
    library.Taken();
    for (const f32 none : {88201.0f, 1e30f, infinity, -infinity, -2.0f, -0.0f, std::nanf("")}) {
        EXPECT_EQ(Envelope(none).size(), 0u) << none;
    }
    EXPECT_EQ(library.Taken(), Texts{}) << "nothing was decoded for nothing";
}

TEST_F(SoundPlayer, EnvelopeTellsWhatFailed) {
    library.locks = false;
    EXPECT_EQ(Envelope(2).size(), 0u);
    EXPECT_EQ(library.Taken(), (Texts{"load file -1,305,0", "length", "lock 0,0", "free"}));
    library.opens = false;
    EXPECT_EQ(Envelope(2).size(), 0u);
    EXPECT_EQ(library.Taken(), (Texts{"load file -1,305,0"}));
    EXPECT_EQ(Told(), (Texts{"Unable to lock the sample.", "Not possible to load the soundtrack"}));
}

TEST_F(SoundPlayer, TheDriversOwnDecodesPlaysAndTellsTheTime) {
    Driver driver;
    SoundPlayerFMOD* const own = driver.GetSoundPlayer();
    ASSERT_NE(own, nullptr);
    ASSERT_TRUE(own->Init());
    own->PlayTrack();
    own->StopTrack();
    EXPECT_EQ(own->GetTrackTime(), 0.0f);

    const std::vector<i16> wave = sound_bytes::Sweep(44100, 1, 3000);
    const TempFile file(".mp3");
    file.Fill(sound_bytes::Encode(sound_bytes::kWav, 44100, 1, wave));
    std::vector<f32> envelope, expected(12);
    own->BuildEnvelope(&envelope, file.path, 176.4f);  // 500 samples
    for (std::size_t i = 0; i < wave.size(); ++i) {
        const f32 value = static_cast<f32>(wave[i]) / 32768.0f;
        f32& peak = expected[i / 500];
        peak = (i / 500) % 2 == 0 ? std::max(peak, value) : std::min(peak, value);
    }
    EXPECT_EQ(envelope, expected);

    own->OpenTrack(file.path);
    own->SetTrackTime(0.05f);
    EXPECT_EQ(own->GetTrackTime(), 0.05f);
    own->OpenPreview(file.path);
    own->PlayPreview();
    own->PlayTrack();
    EXPECT_GE(own->GetTrackTime(), 0.05f);
    EXPECT_EQ(Told(), Texts{});
    const TempFile text;
    text.Fill({'n', 'o', ' ', 's', 'o', 'u', 'n', 'd', ',', ' ', 'n', 'o', 'n', 'e'});
    own->OpenTrack(text.path);
    own->OpenPreview("/no/such/file");
    own->BuildEnvelope(&envelope, text.path, 2);
    EXPECT_EQ(Told(), (Texts{"File not found or not a Stream.", "File is not a Stream.",
                             "Not possible to load the soundtrack"}));
}

}  // namespace
