// Damage to bytes, the same on every run.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace fuzz {

class Mutator {
  public:
    explicit Mutator(std::uint32_t seed) : random_(seed) {}

    // `bytes` with one to four wounds.
    std::vector<std::uint8_t> Damage(std::vector<std::uint8_t> bytes) {
        for (std::uint32_t wounds = 1 + Below(4); wounds > 0 && !bytes.empty(); --wounds) Wound(bytes);
        return bytes;
    }
    std::uint32_t Below(std::size_t count) {
        return static_cast<std::uint32_t>(random_() % std::max<std::size_t>(count, 1));
    }

  private:
    void Wound(std::vector<std::uint8_t>& bytes) {
        const std::size_t at = Below(bytes.size());
        switch (Below(8)) {
            case 0:
                bytes[at] ^= static_cast<std::uint8_t>(1u << Below(8));
                break;
            case 1:
                bytes[at] = static_cast<std::uint8_t>(random_());
                break;
            case 2:
            case 3:
                Word(bytes, at);
                break;
            case 4:  // leave some out
                bytes.erase(
                    bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), at + 1 + Below(40))));
                break;
            case 5:  // say some twice
            {
                const std::vector<std::uint8_t> piece(
                    bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), at + 1 + Below(64))));
                const auto to = static_cast<std::ptrdiff_t>(Below(bytes.size()));
                bytes.insert(bytes.begin() + to, piece.begin(), piece.end());
                break;
            }
            case 6:  // put some over others
            {
                const std::size_t to = Below(bytes.size());
                const std::size_t count =
                    std::min({bytes.size() - at, bytes.size() - to, 1 + std::size_t{Below(64)}});
                std::memmove(&bytes[to], &bytes[at], count);
                break;
            }
            default:  // an end too early
                if (Below(4) == 0) bytes.resize(at);
                break;
        }
    }
    // A number that somebody may have forgotten to think of, where numbers tend to stand.
    void Word(std::vector<std::uint8_t>& bytes, std::size_t at) {
        static constexpr std::array<std::uint32_t, 20> kWords = {0,
                                                                 1,
                                                                 2,
                                                                 0xffffffff,
                                                                 0x7fffffff,
                                                                 0x80000000,
                                                                 0x80000001,
                                                                 0x80000005,
                                                                 0x8000ffff,
                                                                 0x10000,
                                                                 0xffff,
                                                                 255,
                                                                 1000000,
                                                                 0x7fc00000 /* not a number */,
                                                                 0x7f800000 /* infinite */,
                                                                 0xff800000,
                                                                 0x7f7fffff,
                                                                 0x00000001,
                                                                 0x3f800000,
                                                                 0xbf800000};
        const std::uint32_t word = kWords[Below(kWords.size())];
        const std::size_t count = std::min<std::size_t>(4, bytes.size() - at);
        std::memcpy(&bytes[at], &word, count);
    }

    std::mt19937 random_;
};

}  // namespace fuzz
