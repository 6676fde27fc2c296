#include "synthesis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "cli/error.h"
#include "cli/whole_file.h"

namespace demo {
namespace {

constexpr double kTau = 6.283185307179586;
constexpr float kHighest = 15000;  // Hz; nothing is made above it

std::size_t Count(float seconds) { return static_cast<std::size_t>(std::max(0.0f, seconds) * kRate + 0.5f); }

// Up from 0 and down to 0 again, without an edge that would click.
float Envelope(std::size_t i, std::size_t count, float attack, float release) {
    const float at = F(i) / kRate, left = F(count - i) / kRate;
    return Smooth(0, attack, at) * Smooth(0, release, left);
}

float Cents(float cents) { return std::exp2(cents / 1200); }

// A low-pass and a band-pass of twelve decibels an octave that stays calm when its pitch moves.
class Filter {
  public:
    void Tune(float hertz, float damping) {
        const float g = std::tan(kPi * std::min(hertz, 0.45f * kRate) / kRate);
        damping_ = damping;
        a_ = 1 / (1 + g * (g + damping));
        b_ = g * a_;
        c_ = g * b_;
    }
    float Low(float in) {
        Step(in);
        return low_;
    }
    float Band(float in) {
        Step(in);
        return band_ * damping_;
    }

  private:
    void Step(float in) {
        const float v = in - second_;
        band_ = a_ * first_ + b_ * v;
        low_ = second_ + b_ * first_ + c_ * v;
        first_ = 2 * band_ - first_;
        second_ = 2 * low_ - second_;
    }

    float a_ = 0, b_ = 0, c_ = 0, damping_ = 1, first_ = 0, second_ = 0, band_ = 0, low_ = 0;
};

// A saw whose edge is rounded over two samples, so that it does not ring with pitches of its own.
class Saw {
  public:
    explicit Saw(float phase) : phase_(phase) {}
    float Next(float step) {
        phase_ += step;
        if (phase_ >= 1) phase_ -= 1;
        float edge = 0;
        if (phase_ < step) {
            const float t = phase_ / step;
            edge = t + t - t * t - 1;
        } else if (phase_ > 1 - step) {
            const float t = (phase_ - 1) / step;
            edge = t * t + t + t + 1;
        }
        return 2 * phase_ - 1 - edge;
    }

  private:
    float phase_;
};

class Delay {
  public:
    explicit Delay(std::size_t length) : line_(length, 0.0f) {}
    float Oldest() const { return line_[at_]; }
    void Put(float value) {
        line_[at_] = value;
        at_ = at_ + 1 == line_.size() ? 0 : at_ + 1;
    }

  private:
    Samples line_;
    std::size_t at_ = 0;
};

// Lets everything through, but scattered in time.
class Diffuser {
  public:
    explicit Diffuser(std::size_t length) : delay_(length) {}
    float Next(float in) {
        const float old = delay_.Oldest(), fresh = in + 0.6f * old;
        delay_.Put(fresh);
        return old - 0.6f * fresh;
    }

  private:
    Delay delay_;
};

// A hall: eight delays that feed each other, each losing its heights as it goes round.
class Room {
  public:
    Room() {
        for (std::size_t i = 0; i < kLines; ++i) {
            lines_.emplace_back(kLengths[i]);
            keep_[i] = std::pow(10.0f, -3 * F(kLengths[i]) / kRate / kFall);
        }
    }
    void Next(float left, float right, float& out_left, float& out_right) {
        before_left_.Put(left);
        before_right_.Put(right);
        left = scatter_[1].Next(scatter_[0].Next(before_left_.Oldest()));
        right = scatter_[3].Next(scatter_[2].Next(before_right_.Oldest()));
        std::array<float, kLines> old{};
        for (std::size_t i = 0; i < kLines; ++i) {
            dull_[i] += 0.45f * (lines_[i].Oldest() - dull_[i]);
            old[i] = dull_[i];
        }
        out_left = old[0] - old[2] + old[4] - old[6];
        out_right = old[1] - old[3] + old[5] - old[7];
        // Sums and differences of all with all; none is louder than it was.
        for (std::size_t half = 1; half < kLines; half *= 2)
            for (std::size_t i = 0; i < kLines; ++i)
                if ((i & half) == 0) {
                    const float a = old[i], b = old[i + half];
                    old[i] = a + b;
                    old[i + half] = a - b;
                }
        for (std::size_t i = 0; i < kLines; ++i)
            lines_[i].Put((i % 2 == 0 ? left : right) + old[i] * 0.35355339f * keep_[i]);
    }

  private:
    static constexpr std::size_t kLines = 8;
    static constexpr std::array<std::size_t, kLines> kLengths{1559, 1783, 2011, 2243, 2477, 2741, 3023, 3361};
    static constexpr float kFall = 3.6f;  // seconds to a thousandth

    std::vector<Delay> lines_;
    std::array<float, kLines> keep_{}, dull_{};
    Delay before_left_{1103}, before_right_{1279};
    std::array<Diffuser, 4> scatter_{Diffuser(347), Diffuser(113), Diffuser(379), Diffuser(127)};
};

void AddTo(Samples& sum, const Samples& voice, std::size_t at, float gain) {
    if (at >= sum.size() || gain == 0) return;
    const std::size_t count = std::min(voice.size(), sum.size() - at);
    for (std::size_t i = 0; i < count; ++i) sum[at + i] += gain * voice[i];
}

// Straight up to 0.7, and then ever slower towards 0.95.
float Rounded(float x) {
    constexpr float kStraight = 0.7f, kRest = 0.25f;
    const float size = std::abs(x);
    if (size <= kStraight) return x;
    return std::copysign(kStraight + kRest * std::tanh((size - kStraight) / kRest), x);
}

// Of the tenths of a second that are not far below the mean of all.
float Loudness(const Track& track) {
    constexpr std::size_t kBlock = 4410;
    std::vector<double> means;
    for (std::size_t at = 0; at + kBlock <= track.left.size(); at += kBlock) {
        double sum = 0;
        for (std::size_t i = at; i < at + kBlock; ++i)
            sum += double{track.left[i]} * track.left[i] + double{track.right[i]} * track.right[i];
        means.push_back(sum / (2 * kBlock));
    }
    const auto mean = [&](double least) {
        double sum = 0, count = 0;
        for (const double m : means)
            if (m >= least) {
                sum += m;
                ++count;
            }
        return count > 0 ? sum / count : 0;
    };
    return F(std::sqrt(mean(mean(0) / 10)));
}

}  // namespace

float Pitch(float key) { return 440 * std::exp2((key - 69) / 12); }

Samples Struck(float hertz, const std::vector<Partial>& partials, float attack) {
    constexpr double kSilence = 3e-5;
    Samples out;
    for (const Partial& partial : partials) {
        if (hertz * partial.ratio > kHighest) continue;
        const double angle = kTau * double{hertz} * double{partial.ratio} / double{kRate};
        const double fall = std::exp(-1.0 / (double{partial.seconds} * double{kRate}));
        const double c = std::cos(angle) * fall, s = std::sin(angle) * fall;
        const auto count = static_cast<std::size_t>(std::log(double{partial.level} / kSilence) *
                                                    double{partial.seconds} * double{kRate});
        if (out.size() < count) out.resize(count, 0.0f);
        double x = double{partial.level}, y = 0;
        for (std::size_t i = 0; i < count; ++i) {
            out[i] += F(y);
            const double turned = x * c - y * s;
            y = x * s + y * c;
            x = turned;
        }
    }
    for (std::size_t i = 0, end = std::min(out.size(), Count(attack)); i < end; ++i)
        out[i] *= Smooth(0, attack, F(i) / kRate);
    return out;
}

Track Bowed(float hertz, const Bow& bow, std::uint32_t seed) {
    constexpr std::size_t kVoices = 3, kControl = 32;
    Random random(seed);
    Track out;
    for (Samples* side : {&out.left, &out.right}) {
        std::vector<Saw> saws;
        std::array<float, kVoices> apart{};
        for (std::size_t v = 0; v < kVoices; ++v) {
            saws.emplace_back(random.Next());
            apart[v] = (F(v) - 1) * bow.spread + random.Between(-1.5f, 1.5f);
        }
        const float turn = random.Between(4.6f, 5.4f), first = random.Next();
        Filter filter;
        std::array<float, kVoices> step{};
        const std::size_t count = Count(bow.seconds);
        side->resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            if (i % kControl == 0) {
                const float t = F(i) / F(count), at = F(i) / kRate;
                const float swing =
                    bow.vibrato * Smooth(0.2f, 1, at) * std::sin(2 * kPi * (turn * at + first));
                for (std::size_t v = 0; v < kVoices; ++v) step[v] = hertz * Cents(apart[v] + swing) / kRate;
                filter.Tune(bow.dark * std::pow(bow.bright / bow.dark, std::sin(kPi * t)), 1.2f);
            }
            float sum = 0;
            for (std::size_t v = 0; v < kVoices; ++v) sum += saws[v].Next(step[v]);
            (*side)[i] = filter.Low(sum / kVoices) * Envelope(i, count, bow.attack, bow.release);
        }
    }
    return out;
}

Samples Sung(const std::vector<float>& keys, float seconds) {
    const std::size_t count = Count(seconds);
    Samples out(count);
    double phase = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const float t = F(i) / F(count) * F(keys.size() - 1), at = F(i) / kRate;
        const auto k = std::min(static_cast<std::size_t>(t), keys.size() - 2);
        const float key =
            Mix(keys[k], keys[k + 1], Smooth(0, 1, t - F(k))) + 0.14f * std::sin(2 * kPi * 5.1f * at);
        phase += double{Pitch(key)} / double{kRate};
        if (phase >= 1) phase -= 1;
        const auto tone = [&](double n) { return F(std::sin(kTau * phase * n)); };
        out[i] = (tone(1) + 0.34f * tone(2) + 0.16f * tone(3) + 0.05f * tone(4)) *
                 Envelope(i, count, 0.3f * seconds, 0.45f * seconds);
    }
    return out;
}

Samples Thud(float hertz, float seconds) {
    const std::size_t count = Count(seconds);
    Samples out(count);
    double phase = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const float at = F(i) / kRate;
        phase += double{hertz * (1 + 0.9f * std::exp(-at * 28))} / double{kRate};
        out[i] = F(std::sin(kTau * phase)) * std::exp(-at * 5 / seconds) * Envelope(i, count, 0.006f, 0.05f);
    }
    return out;
}

Track Wind(float from_hertz, float to_hertz, float width, float seconds, float swell, std::uint32_t seed) {
    Random random(seed);
    Track out;
    for (Samples* side : {&out.left, &out.right}) {
        Filter filter;
        const std::size_t count = Count(seconds);
        side->resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            const float t = F(i) / F(count);
            if (i % 32 == 0) filter.Tune(from_hertz * std::pow(to_hertz / from_hertz, t), width);
            const float level = Mix(1, t * t * t, swell);
            (*side)[i] = filter.Band(random.Between(-1, 1)) * level *
                         Envelope(i, count, 0.25f * seconds, Mix(0.4f * seconds, 0.03f, swell));
        }
    }
    return out;
}

Mixer::Mixer(float seconds) {
    for (Track* track : {&dry_, &room_, &echo_}) {
        track->left.resize(Count(seconds), 0.0f);
        track->right.resize(Count(seconds), 0.0f);
    }
}

void Mixer::Add(const Samples& voice, float at_seconds, const Place& place) {
    const std::size_t at = Count(at_seconds);
    const float angle = (place.pan + 1) * kPi / 4;
    const float left = place.gain * std::cos(angle) * 1.41421356f;
    const float right = place.gain * std::sin(angle) * 1.41421356f;
    for (const auto& [track, share] : {std::pair{&dry_, 1.0f}, {&room_, place.room}, {&echo_, place.echo}}) {
        AddTo(track->left, voice, at, left * share);
        AddTo(track->right, voice, at, right * share);
    }
}

void Mixer::Add(const Track& voice, float at_seconds, const Place& place) {
    const std::size_t at = Count(at_seconds);
    for (const auto& [track, share] : {std::pair{&dry_, 1.0f}, {&room_, place.room}, {&echo_, place.echo}}) {
        AddTo(track->left, voice.left, at, place.gain * share * std::min(1.0f, 1 - place.pan));
        AddTo(track->right, voice.right, at, place.gain * share * std::min(1.0f, 1 + place.pan));
    }
}

Track Mixer::Finished(float echo_seconds, float level, float fade) {
    const std::size_t count = dry_.left.size();
    Track out = dry_;
    Room room;
    // Echoes go from side to side, each duller than the one before.
    Delay to_left(Count(echo_seconds)), to_right(Count(echo_seconds));
    std::array<float, 2> dull{}, slow{};
    for (std::size_t i = 0; i < count; ++i) {
        const float from_left = to_left.Oldest(), from_right = to_right.Oldest();
        dull[0] += 0.4f * (from_left - dull[0]);
        dull[1] += 0.4f * (from_right - dull[1]);
        to_left.Put(echo_.left[i] + 0.42f * dull[1]);
        to_right.Put(0.42f * dull[0] + echo_.right[i] * 0.3f);
        float wet_left = 0, wet_right = 0;
        room.Next(room_.left[i] + 0.3f * dull[0], room_.right[i] + 0.3f * dull[1], wet_left, wet_right);
        const std::array<float, 2> sum{out.left[i] + dull[0] + 0.5f * wet_left,
                                       out.right[i] + dull[1] + 0.5f * wet_right};
        // Without what is too low to be heard.
        for (std::size_t side = 0; side < 2; ++side) slow[side] += 0.0032f * (sum[side] - slow[side]);
        out.left[i] = sum[0] - slow[0];
        out.right[i] = sum[1] - slow[1];
    }
    const float gain = level / std::max(1e-9f, Loudness(out));
    for (std::size_t i = 0; i < count; ++i) {
        const float end = Smooth(0, fade, F(count - i) / kRate);
        out.left[i] = Rounded(gain * out.left[i]) * end;
        out.right[i] = Rounded(gain * out.right[i]) * end;
    }
    return out;
}

void SaveWav(const std::string& path, const Track& track) {
    std::vector<std::uint8_t> bytes;
    const auto put = [&](std::size_t value, int size) {
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    };
    const auto text = [&](const char* four) { bytes.insert(bytes.end(), four, four + 4); };
    const std::size_t data = track.left.size() * 4;
    bytes.reserve(data + 44);
    text("RIFF");
    put(36 + data, 4);
    text("WAVE");
    text("fmt ");
    put(16, 4);
    put(1, 2);  // plain samples
    put(2, 2);
    put(static_cast<std::size_t>(kRate), 4);
    put(static_cast<std::size_t>(kRate) * 4, 4);
    put(4, 2);
    put(16, 2);
    text("data");
    put(data, 4);
    for (std::size_t i = 0; i < track.left.size(); ++i)
        for (const float value : {track.left[i], track.right[i]}) {
            const long sample = std::lround(std::clamp(value, -1.0f, 1.0f) * 32767);
            put(static_cast<std::size_t>(sample) & 0xffff, 2);
        }
    cli::WholeFile file(path);
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.Handle()) != bytes.size())
        throw cli::Error(path + ": cannot be written");
    file.Commit();
}

}  // namespace demo
