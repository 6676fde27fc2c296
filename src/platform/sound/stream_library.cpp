#ifndef _WIN32

#include "platform/sound/stream_library.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace platform {
namespace {

constexpr std::size_t kLongestSample = std::size_t{1} << 29;
constexpr i32 kMostChannels = 256;
constexpr u32 kSampleMode = FSOUND_LOOP_OFF | FSOUND_16BITS | FSOUND_MONO | FSOUND_SIGNED;

u64 Number(const void* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

template <class Handle>
Handle* AsHandle(u64 number) {
    return reinterpret_cast<Handle*>(static_cast<std::uintptr_t>(number));
}

i32 Milliseconds(i64 frame, u32 rate) {
    const i64 seconds = frame / rate;
    if (seconds > std::numeric_limits<i32>::max() / 1000) return std::numeric_limits<i32>::max();
    const i64 time = seconds * 1000 + frame % rate * 1000 / rate;
    return static_cast<i32>(std::min<i64>(time, std::numeric_limits<i32>::max()));
}

// Rounded up, so that the time of this frame is the one that was asked for.
i64 Frame(i32 milliseconds, u32 rate) { return (i64{std::max(milliseconds, 0)} * rate + 999) / 1000; }

}  // namespace

StreamLibrary::StreamLibrary()
    : StreamLibrary([](i32 rate) { return MakeDeviceOutput(rate, SteadyClock); }, SteadyClock,
                    Feeding::kThread) {}

StreamLibrary::StreamLibrary(OutputFactory makeOutput, SoundClock clock, Feeding feeding)
    : make_output_(std::move(makeOutput)), clock_(std::move(clock)), feeding_(feeding) {}

StreamLibrary::~StreamLibrary() { StreamLibrary::FSOUND_Close(); }

f32 StreamLibrary::FSOUND_GetVersion() { return kSoundLibraryVersion; }

bool StreamLibrary::FSOUND_Init(i32 mixRate, i32 channels, u32) {
    if (mixRate < 8000 || mixRate > 192000 || channels < 1 || channels > kMostChannels) return false;
    FSOUND_Close();
    output_ = make_output_(mixRate);
    if (output_ == nullptr) output_ = MakeSilentOutput(clock_);
    channels_.assign(static_cast<std::size_t>(channels), 0);
    if (feeding_ == Feeding::kThread && output_->NeedsFeeding()) {
        closing_ = false;
        feeder_ = std::thread(&StreamLibrary::FeedUntilClosed, this);
    }
    return true;
}

void StreamLibrary::FSOUND_Close() {
    if (feeder_.joinable()) {
        {
            const std::lock_guard lock(mutex_);
            closing_ = true;
        }
        wake_.notify_one();
        feeder_.join();
    }
    streams_.clear();
    samples_.clear();
    channels_.clear();
    output_.reset();
}

StreamLibrary::Stream* StreamLibrary::Find(FSOUND_STREAM* stream) {
    const auto found = streams_.find(Number(stream));
    return found == streams_.end() ? nullptr : &found->second;
}

FSOUND_STREAM* StreamLibrary::FSOUND_Stream_OpenFile(const char* path, u32 mode, i32 length) {
    if (output_ == nullptr || path == nullptr || mode != FSOUND_LOOP_OFF || length != 0) return nullptr;
    Stream stream;
    stream.file = SoundFile::Open(path);
    if (stream.file == nullptr) return nullptr;
    const std::lock_guard lock(mutex_);
    streams_.emplace(++last_handle_, std::move(stream));
    return AsHandle<FSOUND_STREAM>(last_handle_);
}

bool StreamLibrary::FSOUND_Stream_Close(FSOUND_STREAM* stream) {
    const std::lock_guard lock(mutex_);
    Stream* const found = Find(stream);
    if (found == nullptr) return false;
    Halt(*found);
    streams_.erase(Number(stream));
    return true;
}

i32 StreamLibrary::FSOUND_Stream_Play(i32 channel, FSOUND_STREAM* stream) {
    const std::lock_guard lock(mutex_);
    Stream* const found = Find(stream);
    if (found == nullptr) return -1;
    Settle(*found);
    const i64 from = found->voice != nullptr || found->ended ? 0 : found->frame;
    Halt(*found);
    for (auto& [handle, other] : streams_) Settle(other);  // gives up the channels of what has ended
    if (channel == FSOUND_FREE) {
        channel = static_cast<i32>(std::find(channels_.begin(), channels_.end(), 0) - channels_.begin());
    }
    if (channel < 0 || static_cast<std::size_t>(channel) >= channels_.size()) return -1;
    u64& holder = channels_[static_cast<std::size_t>(channel)];
    if (holder != 0) Halt(streams_.at(holder));
    holder = Number(stream);
    if (!Begin(*found, channel, from)) {
        holder = 0;
        return -1;
    }
    wake_.notify_one();
    return channel;
}

bool StreamLibrary::FSOUND_Stream_Stop(FSOUND_STREAM* stream) {
    const std::lock_guard lock(mutex_);
    Stream* const found = Find(stream);
    if (found == nullptr) return false;
    Settle(*found);
    Halt(*found);
    return true;
}

i32 StreamLibrary::FSOUND_Stream_GetTime(FSOUND_STREAM* stream) {
    const std::lock_guard lock(mutex_);
    Stream* const found = Find(stream);
    if (found == nullptr) return 0;
    Settle(*found);
    return Milliseconds(found->voice != nullptr ? found->voice->Position() : found->frame,
                        found->file->rate());
}

bool StreamLibrary::FSOUND_Stream_SetTime(FSOUND_STREAM* stream, i32 milliseconds) {
    const std::lock_guard lock(mutex_);
    Stream* const found = Find(stream);
    if (found == nullptr) return false;
    Settle(*found);
    const i64 frame = std::min(Frame(milliseconds, found->file->rate()), found->file->frames());
    if (found->voice != nullptr) {
        found->voice->Start(frame);
    } else {
        found->frame = frame;
        found->ended = false;
    }
    return true;
}

bool StreamLibrary::FSOUND_SetPan(i32 channel, i32 pan) {
    const std::lock_guard lock(mutex_);
    return channel >= 0 && static_cast<std::size_t>(channel) < channels_.size() && pan == FSOUND_STEREOPAN;
}

bool StreamLibrary::Begin(Stream& stream, i32 channel, i64 frame) {
    stream.voice = output_->MakeVoice(*stream.file);
    if (stream.voice == nullptr) return false;
    stream.channel = channel;
    stream.voice->Start(frame);
    return true;
}

// Ends the sound of a stream and takes it back to its beginning.
void StreamLibrary::Halt(Stream& stream) {
    if (stream.voice == nullptr) return;
    stream.voice.reset();
    channels_[static_cast<std::size_t>(stream.channel)] = 0;
    stream.channel = -1;
    stream.frame = 0;
    stream.ended = false;
}

// Takes note of a stream that has reached its end.
void StreamLibrary::Settle(Stream& stream) {
    if (stream.voice == nullptr || !stream.voice->Ended()) return;
    const i64 end = stream.voice->Position();
    Halt(stream);
    stream.frame = end;
    stream.ended = true;
}

void StreamLibrary::FeedAll() {
    if (output_->IsLost()) {
        std::unique_ptr<SoundOutput> silent = MakeSilentOutput(clock_);
        for (auto& [handle, stream] : streams_) {
            if (stream.voice == nullptr) continue;
            const i64 frame = stream.voice->Position();
            stream.voice = silent->MakeVoice(*stream.file);
            stream.voice->Start(frame);
        }
        output_ = std::move(silent);
        return;
    }
    for (auto& [handle, stream] : streams_) {
        if (stream.voice != nullptr) stream.voice->Feed();
    }
}

void StreamLibrary::Feed() {
    const std::lock_guard lock(mutex_);
    if (output_ != nullptr) FeedAll();
}

bool StreamLibrary::IsAnyPlaying() const {
    return std::any_of(channels_.begin(), channels_.end(), [](u64 stream) { return stream != 0; });
}

void StreamLibrary::FeedUntilClosed() {
    std::unique_lock lock(mutex_);
    while (!closing_ && output_->NeedsFeeding()) {
        if (!IsAnyPlaying()) {
            wake_.wait(lock, [this] { return closing_ || IsAnyPlaying(); });
            continue;
        }
        FeedAll();
        for (auto& [handle, stream] : streams_) Settle(stream);
        wake_.wait_for(lock, std::chrono::milliseconds(kFeedMilliseconds), [this] { return closing_; });
    }
}

FSOUND_SAMPLE* StreamLibrary::FSOUND_Sample_Load(i32 index, const char* path, u32 mode, i32 length) {
    if (output_ == nullptr || path == nullptr || index != FSOUND_FREE || mode != kSampleMode || length != 0) {
        return nullptr;
    }
    std::vector<i16> data;
    if (!DecodeMono(path, kLongestSample, data)) return nullptr;
    samples_.emplace(++last_handle_, std::move(data));
    return AsHandle<FSOUND_SAMPLE>(last_handle_);
}

u32 StreamLibrary::FSOUND_Sample_GetLength(FSOUND_SAMPLE* sample) {
    const auto found = samples_.find(Number(sample));
    return found == samples_.end() ? 0 : static_cast<u32>(found->second.size());
}

bool StreamLibrary::FSOUND_Sample_Lock(FSOUND_SAMPLE* sample, i32 offset, i32 length, void** first,
                                       void** second, u32* firstBytes, u32* secondBytes) {
    const auto found = samples_.find(Number(sample));
    if (found == samples_.end() || offset < 0 || length < 0) return false;
    const u64 bytes = found->second.size() * sizeof(i16);
    if (u64{static_cast<u32>(offset)} + static_cast<u32>(length) > bytes) return false;
    *first = reinterpret_cast<u8*>(found->second.data()) + offset;
    *firstBytes = static_cast<u32>(length);
    *second = nullptr;
    *secondBytes = 0;
    return true;
}

bool StreamLibrary::FSOUND_Sample_Unlock(FSOUND_SAMPLE* sample, void*, void*, u32, u32) {
    return samples_.count(Number(sample)) != 0;
}

void StreamLibrary::FSOUND_Sample_Free(FSOUND_SAMPLE* sample) { samples_.erase(Number(sample)); }

SoundLibrary& GetSoundLibrary() {
    static StreamLibrary library;
    return library;
}

}  // namespace platform

#endif
