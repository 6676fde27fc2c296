#ifndef _WIN32

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/sound/sound_output.h"

namespace platform {
namespace {

// Ahead of what is heard lie this many buffers of a twentieth of a second: enough for a thread that gets no
// turn for a while, and little enough to decode at once after a jump.
constexpr std::size_t kBuffers = 8;
constexpr u64 kBuffersASecond = 20;

// The context of this thread for as long as this stands; the host may have one of its own.
class Current {
  public:
    explicit Current(ALCcontext* context) {
        if (Functions().set != nullptr && Functions().get != nullptr) {
            before_ = Functions().get();
            Functions().set(context);
        } else {
            before_ = alcGetCurrentContext();
            alcMakeContextCurrent(context);
        }
    }
    ~Current() {
        if (Functions().set != nullptr && Functions().get != nullptr) {
            Functions().set(before_);
        } else {
            alcMakeContextCurrent(before_);
        }
    }
    Current(const Current&) = delete;
    Current& operator=(const Current&) = delete;

  private:
    struct ThreadContext {
        PFNALCSETTHREADCONTEXTPROC set;
        PFNALCGETTHREADCONTEXTPROC get;
    };
    static const ThreadContext& Functions() {
        static const ThreadContext functions{
            reinterpret_cast<PFNALCSETTHREADCONTEXTPROC>(alcGetProcAddress(nullptr, "alcSetThreadContext")),
            reinterpret_cast<PFNALCGETTHREADCONTEXTPROC>(alcGetProcAddress(nullptr, "alcGetThreadContext"))};
        return functions;
    }
    ALCcontext* before_;
};

// What the voices of one device share.
struct Device {
    Device(ALCdevice* opened, ALCcontext* made, SoundClock time)
        : device(opened), context(made), clock(std::move(time)) {
        const Current current(context);
        if (alIsExtensionPresent("AL_SOFT_source_latency") != AL_FALSE) {
            get_offset = reinterpret_cast<LPALGETSOURCEI64VSOFT>(alGetProcAddress("alGetSourcei64vSOFT"));
        }
        direct = alIsExtensionPresent("AL_SOFT_direct_channels") != AL_FALSE;
        can_be_lost = alcIsExtensionPresent(device, "ALC_EXT_disconnect") != ALC_FALSE;
        ALCint refresh = 0;
        alcGetIntegerv(device, ALC_REFRESH, 1, &refresh);
        period = 1000000000u / static_cast<u64>(std::clamp(refresh, 20, 1000));
    }
    ~Device() {
        alcDestroyContext(context);
        alcCloseDevice(device);
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    ALCdevice* device;
    ALCcontext* context;
    SoundClock clock;
    LPALGETSOURCEI64VSOFT get_offset = nullptr;
    bool direct = false;
    bool can_be_lost = false;
    u64 period = 0;  // nanoseconds from one mix to the next
};

class OpenAlVoice final : public SoundVoice {
  public:
    OpenAlVoice(Device& device, SoundFile& file) : device_(device), file_(file) {
        const Current current(device_.context);
        alGetError();
        alGenSources(1, &source_);
        if (alGetError() != AL_NO_ERROR) {
            source_ = 0;
            return;
        }
        alGenBuffers(kBuffers, buffers_.data());
        if (alGetError() != AL_NO_ERROR) {
            alDeleteSources(1, &source_);
            source_ = 0;
            return;
        }
        alSourcei(source_, AL_SOURCE_RELATIVE, AL_TRUE);
        // Each side of the file to its own speaker, past all that makes a place in a room of it.
        if (device_.direct) alSourcei(source_, AL_DIRECT_CHANNELS_SOFT, AL_TRUE);
        buffer_frames_ =
            static_cast<std::size_t>(std::clamp<u64>(file_.rate() / kBuffersASecond, 256, 16384));
        block_.resize(2 * buffer_frames_);
    }
    ~OpenAlVoice() override {
        if (source_ == 0) return;
        const Current current(device_.context);
        alSourceStop(source_);
        alSourcei(source_, AL_BUFFER, 0);
        alDeleteSources(1, &source_);
        alDeleteBuffers(kBuffers, buffers_.data());
    }
    bool IsMade() const { return source_ != 0; }

    void Start(i64 frame) override {
        const Current current(device_.context);
        alSourceStop(source_);
        alSourcei(source_, AL_BUFFER, 0);
        first_ = count_ = 0;
        queued_ = 0;
        start_ = base_ = shown_ = raw_ = frame;
        raw_since_ = device_.clock();
        file_ended_ = !file_.Seek(frame);
        while (count_ < kBuffers && FillOne()) {
        }
        if (count_ > 0) alSourcePlay(source_);
    }

    void Feed() override {
        const Current current(device_.context);
        TakeOut(Processed());
        const std::size_t before = count_;
        while (count_ < kBuffers && FillOne()) {
        }
        if (State() == AL_PLAYING) return;
        // It has run dry, and goes on where it stood. All that is queued counts as played now, so which of it
        // was heard is known here alone.
        TakeOut(before);
        if (count_ > 0) alSourcePlay(source_);
    }

    i64 Position() override {
        const Current current(device_.context);
        const u64 now = device_.clock();
        i64 position = base_;
        // A source that has stopped tells no offset. The state is asked for last, so that a stop in between
        // is seen.
        i64 offset = 0;
        i64 latency = 0;
        if (device_.get_offset != nullptr) {
            std::array<ALint64SOFT, 2> values{};  // 32.32 frames; nanoseconds
            device_.get_offset(source_, AL_SAMPLE_OFFSET_LATENCY_SOFT, values.data());
            offset = values[0] >> 32;
            latency = static_cast<i64>(static_cast<f64>(values[1]) * 1e-9 * file_.rate());
        } else {
            ALint value = 0;
            alGetSourcei(source_, AL_SAMPLE_OFFSET, &value);
            offset = value;
        }
        const ALint state = State();
        if (state == AL_STOPPED) {
            position = base_ + queued_;
        } else {
            position = std::clamp(base_ + offset - latency, start_, base_ + queued_);
            // The mixer's offset moves in steps; between two of them the clock says how far the step is
            // heard.
            if (position != raw_) {
                raw_ = position;
                raw_since_ = now;
            } else if (state == AL_PLAYING && raw_ > start_) {
                const u64 since = std::min(now - raw_since_, device_.period);
                const u64 frames = (since * file_.rate() + 999999999) / 1000000000;
                position = std::min(base_ + queued_, position + static_cast<i64>(frames));
            }
        }
        shown_ = std::max(shown_, position);
        return shown_;
    }

    bool Ended() override {
        if (!file_ended_) return false;
        const Current current(device_.context);
        return State() != AL_PLAYING;
    }

  private:
    ALint State() const {
        ALint state = 0;
        alGetSourcei(source_, AL_SOURCE_STATE, &state);
        return state;
    }
    std::size_t Processed() const {
        ALint done = 0;
        alGetSourcei(source_, AL_BUFFERS_PROCESSED, &done);
        return static_cast<std::size_t>(std::max(done, 0));
    }
    // Takes the first buffers out of the queue.
    void TakeOut(std::size_t count) {
        for (; count > 0 && count_ > 0; --count) {
            ALuint buffer = 0;
            alSourceUnqueueBuffers(source_, 1, &buffer);
            base_ += frames_[first_];
            queued_ -= frames_[first_];
            first_ = (first_ + 1) % kBuffers;
            --count_;
        }
    }
    // Decodes into the next free buffer and queues it; false at the file's end.
    bool FillOne() {
        if (file_ended_) return false;
        const std::size_t got = file_.ReadStereo(block_.data(), buffer_frames_);
        file_ended_ = got < buffer_frames_;
        if (got == 0) return false;
        const std::size_t at = (first_ + count_) % kBuffers;
        alBufferData(buffers_[at], AL_FORMAT_STEREO16, block_.data(), static_cast<ALsizei>(got * 4),
                     static_cast<ALsizei>(file_.rate()));
        alSourceQueueBuffers(source_, 1, &buffers_[at]);
        frames_[at] = static_cast<i64>(got);
        queued_ += frames_[at];
        ++count_;
        return true;
    }

    Device& device_;
    SoundFile& file_;
    ALuint source_ = 0;
    std::array<ALuint, kBuffers> buffers_{};
    std::array<i64, kBuffers> frames_{};  // in each buffer
    std::size_t first_ = 0, count_ = 0;   // those that are queued
    std::size_t buffer_frames_ = 0;
    std::vector<i16> block_;
    bool file_ended_ = false;
    i64 start_ = 0;
    i64 base_ = 0;    // position of the first queued frame
    i64 queued_ = 0;  // frames
    i64 raw_ = 0;     // position as the mixer told it last, since when, and as it was told to others
    u64 raw_since_ = 0;
    i64 shown_ = 0;
};

class OpenAlOutput final : public MemoryOutput {
  public:
    OpenAlOutput(ALCdevice* device, ALCcontext* context, SoundClock clock)
        : device_(device, context, std::move(clock)) {}

    std::unique_ptr<SoundVoice> MakeVoice(SoundFile& file) override {
        auto voice = std::make_unique<OpenAlVoice>(device_, file);
        return voice->IsMade() ? std::move(voice) : nullptr;
    }
    bool NeedsFeeding() const override { return true; }
    bool IsLost() override {
        ALCint connected = 1;
        if (device_.can_be_lost) alcGetIntegerv(device_.device, ALC_CONNECTED, 1, &connected);
        return connected == 0;
    }
    void Render(f32* out, i32 frames) override {
        static const auto render =
            reinterpret_cast<LPALCRENDERSAMPLESSOFT>(alcGetProcAddress(nullptr, "alcRenderSamplesSOFT"));
        render(device_.device, out, frames);
    }

  private:
    Device device_;
};

std::unique_ptr<OpenAlOutput> MakeOutput(ALCdevice* device, const ALCint* attributes, SoundClock clock) {
    if (device == nullptr) return nullptr;
    ALCcontext* const context = alcCreateContext(device, attributes);
    if (context == nullptr) {
        alcCloseDevice(device);
        return nullptr;
    }
    return std::make_unique<OpenAlOutput>(device, context, std::move(clock));
}

// Keeps ALSA from writing a page to standard error about a machine that merely has no sound card.
class QuietAlsa {
  public:
    QuietAlsa() {
        library_ = dlopen("libasound.so.2", RTLD_NOW | RTLD_LOCAL);
        if (library_ != nullptr) {
            set_ = reinterpret_cast<SetHandler>(dlsym(library_, "snd_lib_error_set_handler"));
        }
        if (set_ != nullptr) set_(SayNothing);
    }
    ~QuietAlsa() {
        if (set_ != nullptr) set_(nullptr);
        if (library_ != nullptr) dlclose(library_);
    }
    QuietAlsa(const QuietAlsa&) = delete;
    QuietAlsa& operator=(const QuietAlsa&) = delete;

  private:
    using Handler = void (*)(const char*, int, const char*, int, const char*, ...);
    using SetHandler = int (*)(Handler);
    static void SayNothing(const char*, int, const char*, int, const char*, ...) {}
    void* library_ = nullptr;
    SetHandler set_ = nullptr;
};

}  // namespace

std::unique_ptr<SoundOutput> MakeDeviceOutput(i32 rate, SoundClock clock) {
    // The library reads this once, at its first device. Whoever wants to see its messages has set it already.
    setenv("ALSOFT_LOGLEVEL", "0", 0);
    const QuietAlsa quiet;
    ALCdevice* const device = alcOpenDevice(nullptr);
    if (device != nullptr) {
        const ALCchar* const name =
            alcGetString(device, alcIsExtensionPresent(device, "ALC_ENUMERATE_ALL_EXT") != ALC_FALSE
                                     ? ALC_ALL_DEVICES_SPECIFIER
                                     : ALC_DEVICE_SPECIFIER);
        if (name != nullptr && std::string_view(name) == "No Output") {
            alcCloseDevice(device);
            return nullptr;
        }
    }
    const std::array<ALCint, 3> attributes{ALC_FREQUENCY, rate, 0};
    return MakeOutput(device, attributes.data(), std::move(clock));
}

std::unique_ptr<MemoryOutput> MakeMemoryOutput(i32 rate, SoundClock clock) {
    setenv("ALSOFT_LOGLEVEL", "0", 0);
    const auto open = reinterpret_cast<LPALCLOOPBACKOPENDEVICESOFT>(
        alcGetProcAddress(nullptr, "alcLoopbackOpenDeviceSOFT"));
    if (open == nullptr) return nullptr;
    const std::array<ALCint, 9> attributes{ALC_FREQUENCY,
                                           rate,
                                           ALC_FORMAT_CHANNELS_SOFT,
                                           ALC_STEREO_SOFT,
                                           ALC_FORMAT_TYPE_SOFT,
                                           ALC_FLOAT_SOFT,
                                           ALC_HRTF_SOFT,
                                           ALC_FALSE,
                                           0};
    return MakeOutput(open(nullptr), attributes.data(), std::move(clock));
}

}  // namespace platform

#endif
