// Sound files, and streams by a clock and a device that the test moves on.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>

#include "platform/sound/sound_file.h"
#include "platform/sound/sound_output.h"
#include "platform/sound/stream_library.h"
#include "support/sound_bytes.h"

using namespace platform;
using sound_bytes::Encode;
using sound_bytes::Sweep;

namespace {

// A file under a name that says nothing of what is in it.
class File {
  public:
    explicit File(const std::vector<u8>& bytes, const std::string& suffix = "") {
        static int count = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("osm_sound_" + std::to_string(getpid()) + "_" + std::to_string(count++) + suffix);
        std::ofstream(path_, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    ~File() { std::filesystem::remove(path_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    operator std::string() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

std::vector<i16> Mono(const std::string& path) {
    std::vector<i16> samples;
    EXPECT_TRUE(DecodeMono(path, 1 << 24, samples));
    return samples;
}

// Root mean square of the difference.
double Distance(const std::vector<i16>& a, const std::vector<i16>& b) {
    double sum = 0;
    const std::size_t count = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < count; ++i) sum += std::pow(double{1} * a[i] - b[i], 2);
    return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(count, 1)));
}

TEST(SoundFile, EveryKindIsToldByWhatIsInIt) {
    for (const auto& kind : sound_bytes::Kinds()) {
        const int rate = std::string(kind.name) == "opus" ? 48000 : 44100;
        const std::vector<i16> wave = Sweep(rate, 1, rate);
        const std::vector<u8> bytes = Encode(kind.format, rate, 1, wave);
        ASSERT_FALSE(bytes.empty()) << kind.name;
        // Names lie, and other programs put tags in front.
        std::vector<u8> tagged{'I', 'D', '3', 4, 0, 0, 0, 0, 1, 2};
        tagged.resize(10 + 130 + 3);
        tagged.insert(tagged.end(), bytes.begin(), bytes.end());
        for (const auto& content : {bytes, tagged}) {
            const File file(content, ".txt");
            const auto opened = SoundFile::Open(file);
            ASSERT_NE(opened, nullptr) << kind.name;
            EXPECT_EQ(opened->rate(), static_cast<u32>(rate)) << kind.name;
            const std::vector<i16> got = Mono(file);
            if (kind.exact) {
                EXPECT_EQ(got, wave) << kind.name;
            } else {
                EXPECT_NEAR(static_cast<double>(got.size()), rate, 2500) << kind.name;
                EXPECT_LT(Distance(got, wave), 900) << kind.name;
            }
        }
    }
}

TEST(SoundFile, WhatIsNoSoundIsRefused) {
    const auto opens = [](const std::string& path) { return SoundFile::Open(path) != nullptr; };
    EXPECT_FALSE(opens("/no/such/file"));
    EXPECT_FALSE(opens(std::filesystem::temp_directory_path().string()));
    EXPECT_FALSE(opens("/dev/zero"));
    EXPECT_FALSE(opens(File({})));
    EXPECT_FALSE(opens(File({'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V', 'E'})));
    EXPECT_FALSE(opens(File(std::vector<u8>(5000, 'I'))));
    std::vector<u8> tags;  // more tags than any program writes
    for (int i = 0; i < 50; ++i) tags.insert(tags.end(), {'I', 'D', '3', 4, 0, 0, 0, 0, 0, 0});
    EXPECT_FALSE(opens(File(tags)));
    EXPECT_FALSE(opens(File({'I', 'D', '3', 4, 0, 0, 0x7f, 0x7f, 0x7f, 0x7f, 0, 0, 0})));
    // A kind that the decoder knows and this system does not take.
    EXPECT_FALSE(opens(File(Encode(SF_FORMAT_AU | SF_FORMAT_PCM_16, 8000, 1, Sweep(8000, 1, 800)))));
    const std::string pipe = std::string(File({})) + "_pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_FALSE(opens(pipe));
    std::filesystem::remove(pipe);
}

TEST(SoundFile, ChannelsBecomeTheirMeanAndGreatValuesAreCut) {
    constexpr f32 kNone = std::numeric_limits<f32>::quiet_NaN();
    constexpr f32 kInf = std::numeric_limits<f32>::infinity();
    const int wav = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    EXPECT_EQ(
        Mono(File(
            Encode<f32>(wav, 8000, 1, {0, 0.5f, -0.5f, 1, -1, 2, -2, 1e30f, -1e30f, kInf, -kInf, kNone}))),
        (std::vector<i16>{0, 16384, -16384, 32767, -32768, 32767, -32768, 32767, -32768, 32767, -32768, 0}));
    const File stereo(
        Encode<i16>(sound_bytes::kWav, 8000, 2, {100, 300, -32768, -32768, 32767, -32767, 7, 0}));
    EXPECT_EQ(Mono(stereo), (std::vector<i16>{200, -32768, 0, 4}));  // 3.5 goes to the even one
    const File three(Encode<i16>(sound_bytes::kWav, 8000, 3, {30, 60, 90, -3, -6, -9}));
    EXPECT_EQ(Mono(three), (std::vector<i16>{60, -6}));

    std::vector<i16> sides(8);
    EXPECT_EQ(SoundFile::Open(stereo)->ReadStereo(sides.data(), 4), 4u);
    EXPECT_EQ(sides, (std::vector<i16>{100, 300, -32768, -32768, 32767, -32767, 7, 0}));
    EXPECT_EQ(SoundFile::Open(three)->ReadStereo(sides.data(), 4), 2u);
    EXPECT_EQ((std::vector<i16>{sides.begin(), sides.begin() + 4}), (std::vector<i16>{60, 60, -6, -6}));
}

TEST(SoundFile, SeekingLandsWhereReadingOnWouldHave) {
    for (const auto& kind : sound_bytes::Kinds()) {
        const int rate = 48000;
        const File path(Encode(kind.format, rate, 2, Sweep(rate, 2, 3 * rate)));
        const std::vector<i16> whole = Mono(path);
        const auto file = SoundFile::Open(path);
        std::mt19937 random(7);
        for (int i = 0; i < 60; ++i) {
            const std::size_t at = random() % (whole.size() - 500);
            ASSERT_TRUE(file->Seek(static_cast<i64>(at))) << kind.name;
            std::vector<i16> piece(400);
            ASSERT_EQ(file->ReadMono(piece.data(), piece.size()), piece.size());
            const std::vector<i16> there(whole.begin() + static_cast<std::ptrdiff_t>(at),
                                         whole.begin() + static_cast<std::ptrdiff_t>(at + 400));
            if (kind.exact) {
                ASSERT_EQ(piece, there) << kind.name << " at " << at;
            } else {  // a millisecond beside it, the difference is in the thousands
                ASSERT_LT(Distance(piece, there), 600) << kind.name << " at " << at;
            }
        }
    }
}

TEST(SoundFile, ALimitIsALimit) {
    // Silence of any length costs a lossless file next to nothing.
    const File flac(Encode<i16>(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 48000, 1, std::vector<i16>(6 << 20)));
    std::vector<i16> samples;
    EXPECT_FALSE(DecodeMono(flac, 6 << 20 >> 1, samples));
    EXPECT_EQ(samples.capacity(), 0u);
    EXPECT_TRUE(DecodeMono(flac, 6 << 20, samples)) << "the length that music may have";
    EXPECT_EQ(samples.size(), std::size_t{6} << 20);
}

// A library whose clock the test moves; without a device, or with one that sounds into memory.
struct Player {
    explicit Player(bool device)
        : sounds(
              [this, device](i32 rate) -> std::unique_ptr<SoundOutput> {
                  if (!device) return nullptr;
                  auto made = MakeMemoryOutput(rate, [this] { return now; });
                  output = made.get();
                  return made;
              },
              [this] { return now; }, StreamLibrary::Feeding::kByHand) {
        EXPECT_TRUE(sounds.FSOUND_Init(44100, 32, FSOUND_INIT_GLOBALFOCUS));
    }
    FSOUND_STREAM* Open(const std::string& path) {
        return sounds.FSOUND_Stream_OpenFile(path.c_str(), FSOUND_LOOP_OFF, 0);
    }
    i32 Play(FSOUND_STREAM* stream) { return sounds.FSOUND_Stream_Play(FSOUND_FREE, stream); }
    i32 Time(FSOUND_STREAM* stream) { return sounds.FSOUND_Stream_GetTime(stream); }
    void Milliseconds(u64 count) { now += count * 1000000; }
    // Lets the device sound for so many frames, both sides of each.
    std::vector<f32> Render(i32 frames) {
        std::vector<f32> mix(static_cast<std::size_t>(frames) * 2);
        for (i32 done = 0; done < frames; done += 441) {
            sounds.Feed();
            output->Render(&mix[static_cast<std::size_t>(done) * 2], std::min(441, frames - done));
        }
        sounds.Feed();
        return mix;
    }

    u64 now = 5000000000;
    MemoryOutput* output = nullptr;
    StreamLibrary sounds;
};

TEST(SilentStreams, GoByTheClockAlone) {
    // A rate that does not divide into milliseconds.
    const File file(Encode(sound_bytes::kWav, 22050, 1, Sweep(22050, 1, 22050)));
    Player player(false);
    FSOUND_STREAM* stream = player.Open(file);
    ASSERT_NE(stream, nullptr);
    player.Milliseconds(300);
    EXPECT_EQ(player.Time(stream), 0);
    const i32 channel = player.Play(stream);
    EXPECT_GE(channel, 0);
    EXPECT_TRUE(player.sounds.FSOUND_SetPan(channel, FSOUND_STEREOPAN));
    for (i32 time = 1; time <= 400; ++time) {
        player.Milliseconds(1);
        ASSERT_EQ(player.Time(stream), time);
    }
    for (i32 time : {1, 700, 123, 0}) {  // while it plays
        EXPECT_TRUE(player.sounds.FSOUND_Stream_SetTime(stream, time));
        EXPECT_EQ(player.Time(stream), time);
        player.Milliseconds(7);
        EXPECT_EQ(player.Time(stream), time + 7);
    }
    player.Play(stream);  // over again
    EXPECT_EQ(player.Time(stream), 0);
    player.Milliseconds(50);
    EXPECT_TRUE(player.sounds.FSOUND_Stream_Stop(stream));
    player.Milliseconds(50);
    EXPECT_EQ(player.Time(stream), 0);
    // A stopped stream starts where it was put, once.
    player.sounds.FSOUND_Stream_SetTime(stream, 333);
    player.Milliseconds(50);
    EXPECT_EQ(player.Time(stream), 333);
    player.Play(stream);
    player.Milliseconds(100);
    EXPECT_EQ(player.Time(stream), 433);
    // The end: it stands there, and its channel is free.
    player.Milliseconds(10000);
    EXPECT_EQ(player.Time(stream), 1000);
    EXPECT_TRUE(player.sounds.FSOUND_Stream_Stop(stream));
    EXPECT_EQ(player.Time(stream), 1000);
    EXPECT_EQ(player.Play(stream), channel);
    EXPECT_EQ(player.Time(stream), 0);

    player.sounds.FSOUND_Stream_SetTime(stream, std::numeric_limits<i32>::min());
    EXPECT_EQ(player.Time(stream), 0);
    player.sounds.FSOUND_Stream_SetTime(stream, std::numeric_limits<i32>::max());
    EXPECT_EQ(player.Time(stream), 1000);
}

TEST(Streams, HandlesThatAreNotOpenAreAnsweredForNothing) {
    const File file(Encode(sound_bytes::kWav, 8000, 1, Sweep(8000, 1, 80)));
    Player player(false);
    FSOUND_STREAM* const closed = player.Open(file);
    EXPECT_TRUE(player.sounds.FSOUND_Stream_Close(closed));
    FSOUND_STREAM* const lost = player.Open(file);
    player.Play(lost);
    EXPECT_TRUE(player.sounds.FSOUND_Init(44100, 1, 0)) << "starts anew, and closes what was open";
    for (FSOUND_STREAM* stream : {static_cast<FSOUND_STREAM*>(nullptr), closed, lost}) {
        EXPECT_FALSE(player.sounds.FSOUND_Stream_Close(stream));
        EXPECT_FALSE(player.sounds.FSOUND_Stream_Stop(stream));
        EXPECT_FALSE(player.sounds.FSOUND_Stream_SetTime(stream, 5));
        EXPECT_EQ(player.Play(stream), -1);
        EXPECT_EQ(player.Time(stream), 0);
    }
    EXPECT_FALSE(player.sounds.FSOUND_SetPan(-1, FSOUND_STEREOPAN));
    FSOUND_STREAM* const one = player.Open(file);
    FSOUND_STREAM* const two = player.Open(file);
    EXPECT_EQ(player.Play(one), 0);
    EXPECT_EQ(player.Play(two), -1) << "one channel";
    player.Milliseconds(20);  // one has ended
    EXPECT_EQ(player.Play(two), 0);
    player.sounds.FSOUND_Close();
    EXPECT_EQ(player.Open(file), nullptr);
    EXPECT_EQ(player.sounds.FSOUND_Sample_Load(FSOUND_FREE, std::string(file).c_str(), 0x131, 0), nullptr);
}

TEST(Samples, AreAWholeFileAndNotAByteMore) {
    const std::vector<i16> wave = Sweep(8000, 1, 1000);
    const std::string path = File(Encode(sound_bytes::kWav, 8000, 1, wave));
    const File file(Encode(sound_bytes::kWav, 8000, 1, wave));
    Player player(false);
    const std::string name = file;
    EXPECT_EQ(player.sounds.FSOUND_Sample_Load(FSOUND_FREE, path.c_str(), 0x131, 0), nullptr) << "gone";
    FSOUND_SAMPLE* const sample = player.sounds.FSOUND_Sample_Load(FSOUND_FREE, name.c_str(), 0x131, 0);
    ASSERT_NE(sample, nullptr);
    EXPECT_EQ(player.sounds.FSOUND_Sample_GetLength(sample), 1000u);
    void *first = nullptr, *second = this;
    u32 bytes = 0, rest = 1;
    for (const auto& [offset, length] :
         {std::pair{0, 2001}, {1, 2000}, {-1, 5}, {0, -1}, {0x7fffffff, 0x7fffffff}})
        EXPECT_FALSE(
            player.sounds.FSOUND_Sample_Lock(sample, offset, length, &first, &second, &bytes, &rest));
    ASSERT_TRUE(player.sounds.FSOUND_Sample_Lock(sample, 0, 2000, &first, &second, &bytes, &rest));
    EXPECT_EQ(std::vector<i16>(static_cast<i16*>(first), static_cast<i16*>(first) + 1000), wave);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(bytes, 2000u);
    EXPECT_EQ(rest, 0u);
    EXPECT_TRUE(player.sounds.FSOUND_Sample_Unlock(sample, first, second, bytes, rest));
    player.sounds.FSOUND_Sample_Free(sample);
    player.sounds.FSOUND_Sample_Free(sample);
    EXPECT_EQ(player.sounds.FSOUND_Sample_GetLength(sample), 0u);
}

TEST(DeviceStreams, SoundAsTheFileDoesAndTellWhereTheyAre) {
    const std::vector<i16> wave = Sweep(44100, 2, 44100);
    const File file(Encode(sound_bytes::kWav, 44100, 2, wave));
    Player player(true);
    ASSERT_NE(player.output, nullptr);
    FSOUND_STREAM* const stream = player.Open(file);
    player.sounds.FSOUND_Stream_SetTime(stream, 100);
    ASSERT_GE(player.Play(stream), 0);
    EXPECT_EQ(player.Time(stream), 100);
    // The mix rises over the first moments, so that nothing clicks; after that it is the file itself.
    const auto expect_wave = [&](const std::vector<f32>& mix, std::size_t from) {
        std::size_t wrong = 0;
        for (std::size_t i = 2 * 2048; i < mix.size(); ++i) {
            const f32 value = static_cast<f32>(wave[2 * from + i]) / 32768.0f;
            wrong += std::abs(mix[i] - value) > 1e-4f ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0u) << "of " << mix.size();
    };
    expect_wave(player.Render(22050), 4410);
    EXPECT_EQ(player.Time(stream), 600);
    // Between two steps of the mixer the clock goes on, no further than one step.
    player.Milliseconds(5);
    EXPECT_EQ(player.Time(stream), 605);
    player.Milliseconds(5000);
    const i32 ahead = player.Time(stream);
    EXPECT_GE(ahead, 605);
    EXPECT_LE(ahead, 650);

    player.sounds.FSOUND_Stream_SetTime(stream, 250);
    EXPECT_EQ(player.Time(stream), 250);
    expect_wave(player.Render(8820), 11025);
    EXPECT_EQ(player.Time(stream), 450);
    // To the end, which is no place to stop early or to go on after.
    player.Render(44100);
    EXPECT_EQ(player.Time(stream), 1000);
    const std::vector<f32> after = player.Render(4410);
    EXPECT_EQ(*std::max_element(after.begin(), after.end()), 0.0f);
    EXPECT_GE(player.Play(stream), 0);
    EXPECT_EQ(player.Time(stream), 0);
    EXPECT_TRUE(player.sounds.FSOUND_Stream_Stop(stream));
    const std::vector<f32> stopped = player.Render(4410);
    EXPECT_EQ(*std::max_element(stopped.begin(), stopped.end()), 0.0f);
}

TEST(DeviceStreams, GoOnWhereTheyStoodAfterRunningDry) {
    const File file(Encode(sound_bytes::kWav, 44100, 2, Sweep(44100, 2, 3 * 44100)));
    Player player(true);
    FSOUND_STREAM* const stream = player.Open(file);
    ASSERT_GE(player.Play(stream), 0);
    std::vector<f32> mix(2 * 44100);
    player.output->Render(mix.data(), 44100);  // a second in which nobody decodes
    const i32 dry = player.Time(stream);
    EXPECT_GE(dry, 200);
    EXPECT_LT(dry, 900) << "what was not decoded was not heard";
    player.Render(4410);
    EXPECT_NEAR(player.Time(stream), dry + 100, 1);
}

TEST(DeviceStreams, TwoAtOnceKeepTheirTimes) {
    const File low(Encode(sound_bytes::kWav, 22050, 1, std::vector<i16>(22050, 8192)));
    const File high(Encode(sound_bytes::kWav, 44100, 1, std::vector<i16>(44100, 4096)));
    Player player(true);
    FSOUND_STREAM* const a = player.Open(low);
    FSOUND_STREAM* const b = player.Open(high);
    ASSERT_NE(player.Play(a), player.Play(b));
    player.Render(4410);
    EXPECT_EQ(player.Time(a), 100);
    player.sounds.FSOUND_Stream_SetTime(b, 500);
    const std::vector<f32> mix = player.Render(8820);
    EXPECT_EQ(player.Time(a), 300);
    EXPECT_EQ(player.Time(b), 700);
    EXPECT_NEAR(mix[8000], 0.375f, 1e-3f);
    EXPECT_NEAR(mix[8001], 0.375f, 1e-3f);
}

TEST(Streams, TheMachinesOwnLibraryPlaysWhateverTheMachineHas) {
    const File file(Encode(sound_bytes::kMp3, 44100, 2, Sweep(44100, 2, 4 * 44100)));
    StreamLibrary library;
    EXPECT_EQ(library.FSOUND_GetVersion(), 3.5f);
    ASSERT_TRUE(library.FSOUND_Init(44100, 32, FSOUND_INIT_GLOBALFOCUS));
    FSOUND_STREAM* const stream =
        library.FSOUND_Stream_OpenFile(std::string(file).c_str(), FSOUND_LOOP_OFF, 0);
    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(library.FSOUND_Stream_SetTime(stream, 1500));
    EXPECT_EQ(library.FSOUND_Stream_GetTime(stream), 1500);
    EXPECT_GE(library.FSOUND_Stream_Play(FSOUND_FREE, stream), 0);
    i32 time = 1500;
    for (int i = 0; i < 1000 && time < 1600; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const i32 now = library.FSOUND_Stream_GetTime(stream);
        EXPECT_GE(now, time);
        time = now;
    }
    EXPECT_GE(time, 1600);
}

}  // namespace
