// The sound player on fmod.dll, by turns one that is not there, one that stands in for it, and spoilt ones. A
// DLL stays for as long as the process, so each test has a process of its own.
#include <gtest/gtest.h>
#include <process.h>
#include <windows.h>

#include <string>
#include <vector>

#include "driver/driver.h"
#include "platform/system/system.h"
#include "windows/fmod_double.h"

using namespace osm3d;

namespace {

class Sound : public testing::Test {
  protected:
    Sound() {
        platform::SetMessageBoxHandler(
            [this](const std::string& text, const std::string&, u32) { boxes.push_back(text); });
    }
    ~Sound() override { platform::SetMessageBoxHandler({}); }

    // Has the process find the fmod.dll of the folder fmod_`kind` beside the program.
    static void Choose(const char* kind) {
        char path[MAX_PATH] = {};
        GetModuleFileNameA(nullptr, path, MAX_PATH);
        const std::string program = path;
        SetDllDirectoryA((program.substr(0, program.rfind('\\')) + "\\fmod_" + kind).c_str());
    }
    static FakeFmod& Fake() {
        FARPROC get = GetProcAddress(LoadLibraryA("fmod.dll"), "GetFakeFmod");
        return *reinterpret_cast<GetFakeFmodFunction>(reinterpret_cast<void*>(get))();
    }

    // Everything that a host may ask before it knows that there is no sound.
    static void AskEverything() {
        platform::SoundLibrary& library = platform::GetSoundLibrary();
        auto* stream = reinterpret_cast<platform::FSOUND_STREAM*>(std::uintptr_t{8});
        auto* sample = reinterpret_cast<platform::FSOUND_SAMPLE*>(std::uintptr_t{8});
        void* data = nullptr;
        u32 bytes = 0;
        EXPECT_FALSE(library.FSOUND_Init(44100, 32, 0));
        EXPECT_EQ(nullptr, library.FSOUND_Stream_OpenFile("a.wav", platform::FSOUND_LOOP_OFF, 0));
        EXPECT_EQ(-1, library.FSOUND_Stream_Play(platform::FSOUND_FREE, stream));
        EXPECT_FALSE(library.FSOUND_Stream_SetTime(stream, 5));
        EXPECT_EQ(0, library.FSOUND_Stream_GetTime(stream));
        EXPECT_FALSE(library.FSOUND_SetPan(0, platform::FSOUND_STEREOPAN));
        EXPECT_FALSE(library.FSOUND_Stream_Stop(stream));
        EXPECT_FALSE(library.FSOUND_Stream_Close(stream));
        EXPECT_EQ(nullptr, library.FSOUND_Sample_Load(platform::FSOUND_FREE, "a.wav", 0x131, 0));
        EXPECT_EQ(0u, library.FSOUND_Sample_GetLength(sample));
        EXPECT_FALSE(library.FSOUND_Sample_Lock(sample, 0, 2, &data, &data, &bytes, &bytes));
        EXPECT_FALSE(library.FSOUND_Sample_Unlock(sample, data, data, 0, 0));
        library.FSOUND_Sample_Free(sample);
        library.FSOUND_Close();
    }

    // The whole use of the library.
    void Play(const char* kind) {
        Choose(kind);
        SoundPlayerFMOD player;
        EXPECT_EQ(nullptr, GetModuleHandleA("fmod.dll"));
        ASSERT_TRUE(player.Init());
        player.PlayTrack();
        player.StopTrack();
        EXPECT_EQ(0.0f, player.GetTrackTime());
        player.OpenTrack("track.ogg");
        player.PlayTrack();
        player.SetTrackTime(1.5f);
        EXPECT_EQ(1.5f, player.GetTrackTime());
        player.StopTrack();
        std::vector<f32> peaks;
        player.BuildEnvelope(&peaks, "wave.wav", 22050);
        player.Shutdown();
        EXPECT_EQ((std::vector<f32>{200 / 32768.0f, -600 / 32768.0f, 32767 / 32768.0f, 0, 0}), peaks);
        EXPECT_EQ(
            "version\ninit 44100 32 2\n"
            "pan -1 -1\n"  // of the track that was not there; its handle never arrives
            "open track.ogg 1 0\nplay -1 #4656\npan 17 -1\nseek #4656 1500\ntime #4656\nstop #4656\n"
            "load -1 wave.wav 305 0\nlength\nlock 0 20\nunlock #0 20 0\nfree\n"
            "close #4656\nend\n",
            std::string(Fake().calls));
        EXPECT_TRUE(boxes.empty());
    }

    std::vector<std::string> boxes;
};

TEST_F(Sound, IsPlayedByTheLibrary) { Play("plain"); }
#ifndef _WIN64
TEST_F(Sound, IsPlayedByTheLibraryWithDecoratedNames) { Play("decorated"); }
#endif

TEST_F(Sound, IsRefusedWithoutTheLibrary) {
    EXPECT_FALSE(SoundPlayerFMOD().Init());
    EXPECT_EQ(std::vector<std::string>{"FMOD Init Failed"}, boxes);
    AskEverything();
}

TEST_F(Sound, IsRefusedByAnIncompleteLibrary) {
    Choose("incomplete");
    EXPECT_FALSE(SoundPlayerFMOD().Init());
    EXPECT_EQ(std::vector<std::string>{"FMOD Init Failed"}, boxes);
    AskEverything();
    EXPECT_STREQ("version\n", Fake().calls);
}

TEST_F(Sound, IsRefusedByAnotherVersion) {
    Choose("newer");
    EXPECT_FALSE(SoundPlayerFMOD().Init());
    EXPECT_EQ(
        std::vector<std::string>{"Incompatible version of FMOD (expecting : 3.500000, has : 3.740000)."},
        boxes);
    EXPECT_STREQ("version\n", Fake().calls);
}

TEST_F(Sound, TakesTheLibrarysNo) {
    Choose("plain");
    Fake().locks = false;
    SoundPlayerFMOD player;
    ASSERT_TRUE(player.Init());
    std::vector<f32> peaks;
    player.BuildEnvelope(&peaks, "wave.wav", 22050);
    player.Shutdown();
    Fake().starts = false;
    EXPECT_FALSE(player.Init());
    EXPECT_EQ((std::vector<std::string>{"Unable to lock the sample.", "FMOD Init Failed"}), boxes);
}

// The module shuts its player down at its own end, which comes after that of fmod.dll.
TEST_F(Sound, EndsWithTheProcess) {
    Choose("plain");
    FARPROC get = GetProcAddress(LoadLibraryA("osmDriver.dll"), kGetDriverName);
    ASSERT_NE(nullptr, get) << "osmDriver.dll belongs beside this program";
    auto* player = reinterpret_cast<GetDriverFunction>(reinterpret_cast<void*>(get))()->GetSoundPlayer();
    ASSERT_TRUE(player->Init());
    player->OpenTrack("track.ogg");
}

}  // namespace

// Without a choice of tests, runs each in a process of its own.
int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    if (GTEST_FLAG_GET(filter) != "*") return RUN_ALL_TESTS();
    const testing::TestSuite& suite = *testing::UnitTest::GetInstance()->GetTestSuite(0);
    int failures = 0;
    for (int i = 0; i < suite.total_test_count(); ++i) {
        const std::string filter = std::string("--gtest_filter=Sound.") + suite.GetTestInfo(i)->name();
        failures += _spawnl(_P_WAIT, arguments[0], arguments[0], filter.c_str(), nullptr) != 0;
    }
    return failures;
}
