#include "conformance/sheet.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>

namespace conformance {

namespace {

// Five rows of three pixels, an octal digit each, the first row first.
constexpr std::array<unsigned, 10> kDigits = {075557, 026227, 071747, 071717, 055711,
                                              074717, 074757, 071244, 075757, 075717};
constexpr std::array<unsigned, 26> kLetters = {
    025755, 065656, 034443, 065556, 074647, 074644, 034553, 055755, 072227, 011152, 055655, 044447, 057755,
    065555, 025552, 065644, 025573, 065655, 034216, 072222, 055557, 055552, 055577, 055255, 055222, 071247};

unsigned GlyphOf(char c) {
    const auto code = static_cast<unsigned char>(c);
    if (std::isdigit(code)) return kDigits[code - '0'];
    if (std::isalpha(code)) return kLetters[static_cast<std::size_t>(std::toupper(code) - 'A')];
    switch (c) {
        case '.':
            return 000002;
        case '_':
            return 000007;
        case '%':
            return 051245;
        case ':':
            return 002020;
        case '-':
            return 000700;
        default:
            return 0;
    }
}

}  // namespace

Picture Blank(unsigned width, unsigned height) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.pixels.assign(static_cast<size_t>(width) * height, 0xff303050);
    return picture;
}

void Blit(Picture& to, unsigned left, unsigned top, const Picture& from, unsigned scale, bool alpha) {
    for (unsigned y = 0; y < from.height * scale; ++y) {
        for (unsigned x = 0; x < from.width * scale; ++x) {
            if (left + x < to.width && top + y < to.height) {
                const std::uint32_t pixel = from.At(static_cast<int>(x / scale), static_cast<int>(y / scale));
                const std::uint32_t grey = (pixel >> 24) * 0x010101u;
                to.pixels[static_cast<size_t>(top + y) * to.width + left + x] =
                    0xff000000 | (alpha ? grey : pixel);
            }
        }
    }
}

void Write(Picture& to, unsigned left, unsigned top, const std::string& text, unsigned scale) {
    Picture dot = Blank(1, 1);
    dot.pixels[0] = 0xffffffff;
    for (const char c : text) {
        const unsigned glyph = GlyphOf(c);
        for (unsigned bit = 0; bit < 15; ++bit)
            if ((glyph >> (14 - bit) & 1) != 0)
                Blit(to, left + bit % 3 * scale, top + bit / 3 * scale, dot, scale);
        left += 4 * scale;
    }
}

Picture Amplified(const Picture& ours, const Picture& golden) {
    Picture result = ours;
    for (size_t i = 0; i < result.pixels.size(); ++i) {
        std::uint32_t pixel = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            const int a = static_cast<int>((ours.pixels[i] >> shift) & 0xff);
            const int b = static_cast<int>((golden.pixels[i] >> shift) & 0xff);
            pixel |= static_cast<std::uint32_t>(std::min(255, std::abs(a - b) * 8)) << shift;
        }
        result.pixels[i] = pixel;
    }
    return result;
}

bool WriteComparison(const std::string& path, const Picture& ours, const Picture& golden) {
    const unsigned scale = golden.width > 200 ? 1 : 3;
    const unsigned step_x = golden.width * scale + 6;
    const unsigned step_y = golden.height * scale + 6;
    Picture sheet = Blank(step_x * 3, step_y * 2);
    const Picture difference = Amplified(ours, golden);
    const Picture* columns[3] = {&ours, &golden, &difference};
    for (unsigned column = 0; column < 3; ++column) {
        Blit(sheet, column * step_x, 0, *columns[column], scale, false);
        Blit(sheet, column * step_x, step_y, *columns[column], scale, true);
    }
    return WritePng(path, sheet);
}

bool WritePairs(const std::string& path, const std::vector<Pair>& pairs) {
    constexpr unsigned kGap = 6, kText = 2, kTitle = 5 * kText + 8, kLeast = 160;
    unsigned width = 0, height = 0;
    std::vector<unsigned> tops;
    const auto scale_of = [](const Pair& pair) { return std::max(1u, kLeast / pair.golden.width); };
    for (const Pair& pair : pairs) {
        tops.push_back(height);
        width = std::max(width, 3 * (pair.golden.width * scale_of(pair) + kGap));
        height += kTitle + pair.golden.height * scale_of(pair) + kGap;
    }
    // Two columns of about one height.
    std::size_t second = 0;
    while (second < pairs.size() && tops[second] < (height + 1) / 2) ++second;
    const unsigned cut = second < pairs.size() ? tops[second] : height;
    Picture sheet = Blank(2 * width + kGap, std::max(cut, height - cut));
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const Pair& pair = pairs[i];
        const unsigned left = i < second ? 0 : width + kGap, top = i < second ? tops[i] : tops[i] - cut;
        const unsigned scale = scale_of(pair), step = pair.golden.width * scale + kGap;
        Write(sheet, left + 2, top + 4, pair.title, kText);
        Blit(sheet, left, top + kTitle, pair.ours, scale);
        Blit(sheet, left + step, top + kTitle, pair.golden, scale);
        Blit(sheet, left + 2 * step, top + kTitle, Amplified(pair.ours, pair.golden), scale);
    }
    return WritePng(path, sheet);
}

}  // namespace conformance
