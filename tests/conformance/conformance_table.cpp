// Prints how far the native device is from the golden pictures, and shows it.
//   conformance_table [--out DIR] [CASE...]     the table; with DIR, NAME.png: ours, golden, difference x 8
//   conformance_table --sheet FILE.png [CASE...] the golden pictures, side by side, with their alpha beneath
// A CASE may be the beginning of a name.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "conformance/picture.h"

namespace {

using conformance::Case;
using conformance::Picture;

const std::string kGolden = OSM_GOLDEN_DIR;

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

Picture Blank(unsigned width, unsigned height) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.pixels.assign(static_cast<size_t>(width) * height, 0xff303050);
    return picture;
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

// Ours, golden and difference in a row, their alpha in the row beneath.
bool WriteComparison(const std::string& path, const Picture& ours, const Picture& golden) {
    constexpr unsigned kScale = 3;
    const unsigned step_x = golden.width * kScale + 6;
    const unsigned step_y = golden.height * kScale + 6;
    Picture sheet = Blank(step_x * 3, step_y * 2);
    const Picture difference = Amplified(ours, golden);
    const Picture* columns[3] = {&ours, &golden, &difference};
    for (unsigned column = 0; column < 3; ++column) {
        Blit(sheet, column * step_x, 0, *columns[column], kScale, false);
        Blit(sheet, column * step_x, step_y, *columns[column], kScale, true);
    }
    return WritePng(path, sheet);
}

bool Wanted(const Case& entry, int first, int argc, char** argv) {
    for (int i = first; i < argc; ++i) {
        if (std::strncmp(entry.name, argv[i], std::strlen(argv[i])) == 0) {
            return true;
        }
    }
    return first >= argc;
}

int Sheet(const std::string& path, int first, int argc, char** argv) {
    constexpr unsigned kColumns = 5;
    constexpr unsigned kCellWidth = 324;
    constexpr unsigned kCellHeight = 256;
    std::vector<const Case*> cases;
    for (const Case& entry : conformance::AllCases()) {
        if (Wanted(entry, first, argc, argv)) {
            cases.push_back(&entry);
        }
    }
    const auto count = static_cast<unsigned>(cases.size());
    Picture sheet = Blank(kColumns * kCellWidth, (count + kColumns - 1) / kColumns * kCellHeight);
    for (unsigned i = 0; i < count; ++i) {
        Picture golden;
        if (!ReadPng(kGolden + "/" + cases[i]->name + ".png", golden)) {
            continue;
        }
        const unsigned left = i % kColumns * kCellWidth;
        const unsigned top = i / kColumns * kCellHeight;
        Blit(sheet, left, top, golden, 2, false);
        Blit(sheet, left + golden.width * 2 + 2, top, golden, 1, true);
        std::printf("%s%s", cases[i]->name, i % kColumns == kColumns - 1 ? "\n" : "  ");
    }
    std::printf("\n");
    return WritePng(path, sheet) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    int first = 1;
    std::string out;
    if (argc > 2 && std::strcmp(argv[1], "--sheet") == 0) {
        return Sheet(argv[2], 3, argc, argv);
    }
    if (argc > 2 && std::strcmp(argv[1], "--out") == 0) {
        out = argv[2];
        first = 3;
        std::filesystem::create_directories(out);
    }
    int failed = 0;
    int total = 0;
    std::printf("%-36s %6s %9s %7s\n", "case", "worst", "beyond", "strays");
    for (const Case& entry : conformance::AllCases()) {
        if (!Wanted(entry, first, argc, argv)) {
            continue;
        }
        ++total;
        Picture golden;
        Picture ours;
        std::string reason;
        if (!ReadPng(kGolden + "/" + entry.name + ".png", golden)) {
            reason = "no golden picture";
        }
        const bool drawn = reason.empty() && DrawNative(entry, ours, reason);
        if (ours.pixels.empty()) {
            std::printf("%-36s %s  FAILS\n", entry.name, reason.c_str());
            ++failed;
            continue;
        }
        const conformance::Difference difference = Compare(ours, golden, entry.bounds);
        const bool good = drawn && difference.Within(entry.bounds);
        failed += good ? 0 : 1;
        std::printf("%-36s %6d %8.3f%% %7d  %s%s%s\n", entry.name, difference.worst, difference.share * 100,
                    difference.strays, good ? "" : "FAILS ", reason.c_str(), entry.bounds.why);
        if (!out.empty() && difference.same_size) {
            WriteComparison(out + "/" + entry.name + ".png", ours, golden);
        }
        std::fflush(stdout);
    }
    std::printf("%d cases, %d beyond their bound\n", total, failed);
    return failed == 0 ? 0 : 1;
}
