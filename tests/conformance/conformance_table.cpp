// Prints how far we are from the golden pictures, device and engine, and shows it.
//   conformance_table [--out DIR] [--worst N FILE.png] [CASE...]
//       the table; with DIR, NAME.png: ours, golden, difference x 8; with N, the N cases that differ most on
//       one sheet: ours, golden, difference x 8, under each its name
//   conformance_table --sheet FILE.png [CASE...]
//       the golden pictures of the device, side by side, with their alpha beneath
// A CASE may be the beginning of a name.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "conformance/engine_native.h"
#include "conformance/sheet.h"

namespace {

using conformance::Bounds;
using conformance::Case;
using conformance::Difference;
using conformance::EngineCase;
using conformance::Pair;
using conformance::Picture;

const std::string kGolden = OSM_GOLDEN_DIR;

struct Options {
    std::string out, sheet, worst_file;
    std::size_t worst = 0;
    std::vector<std::string> cases;

    bool Wanted(const std::string& name) const {
        return cases.empty() || std::any_of(cases.begin(), cases.end(), [&](const std::string& start) {
                   return name.starts_with(start);
               });
    }
};

bool Parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const int left = argc - i - 1;
        if (word == "--out" && left >= 1) {
            options.out = argv[++i];
        } else if (word == "--sheet" && left >= 1) {
            options.sheet = argv[++i];
        } else if (word == "--worst" && left >= 2) {
            options.worst = static_cast<std::size_t>(std::strtoul(argv[i + 1], nullptr, 10));
            options.worst_file = argv[i + 2];
            i += 2;
        } else if (word.starts_with("-")) {
            return false;
        } else {
            options.cases.push_back(word);
        }
    }
    return true;
}

int Sheet(const Options& options) {
    constexpr unsigned kColumns = 5;
    constexpr unsigned kCellWidth = 324;
    constexpr unsigned kCellHeight = 256;
    std::vector<const Case*> cases;
    for (const Case& entry : conformance::AllCases()) {
        if (options.Wanted(entry.name)) {
            cases.push_back(&entry);
        }
    }
    const auto count = static_cast<unsigned>(cases.size());
    Picture sheet =
        conformance::Blank(kColumns * kCellWidth, (count + kColumns - 1) / kColumns * kCellHeight);
    for (unsigned i = 0; i < count; ++i) {
        Picture golden;
        if (!ReadPng(kGolden + "/" + cases[i]->name + ".png", golden)) {
            continue;
        }
        const unsigned left = i % kColumns * kCellWidth;
        const unsigned top = i / kColumns * kCellHeight;
        conformance::Blit(sheet, left, top, golden, 2, false);
        conformance::Blit(sheet, left + golden.width * 2 + 2, top, golden, 1, true);
        std::printf("%s%s", cases[i]->name, i % kColumns == kColumns - 1 ? "\n" : "  ");
    }
    std::printf("\n");
    return WritePng(options.sheet, sheet) ? 0 : 1;
}

class Table {
  public:
    explicit Table(const Options& options) : options_(options) {
        std::printf("%-36s %6s %9s %7s\n", "case", "worst", "beyond", "strays");
    }

    // `ours` is empty where it could not be drawn; `reason` says why, also of calls that failed.
    void Row(const std::string& name, const Picture& ours, const std::string& golden_file,
             const Bounds& bounds, std::string reason) {
        ++total_;
        Picture golden;
        if (!ReadPng(golden_file, golden)) reason = "no golden picture";
        if (ours.pixels.empty() || golden.pixels.empty()) {
            std::printf("%-36s %s  FAILS\n", name.c_str(), reason.c_str());
            ++failed_;
            return;
        }
        const Difference difference = Compare(ours, golden, bounds);
        const bool good = reason.empty() && difference.Within(bounds);
        failed_ += good ? 0 : 1;
        std::printf("%-36s %6d %8.3f%% %7d  %s%s%s\n", name.c_str(), difference.worst, difference.share * 100,
                    difference.strays, good ? "" : "FAILS ", reason.c_str(), bounds.why);
        std::fflush(stdout);
        if (!difference.same_size) return;
        if (!options_.out.empty()) WriteComparison(options_.out + "/" + name + ".png", ours, golden);
        if (options_.worst > 0) Keep(name, difference, ours, golden);
    }

    int Finish() const {
        std::printf("%d pictures, %d beyond their bound\n", total_, failed_);
        std::vector<Pair> pairs;
        for (const Kept& kept : worst_) pairs.push_back(kept.pair);
        if (!pairs.empty() && !WritePairs(options_.worst_file, pairs)) return 1;
        return failed_ == 0 ? 0 : 1;
    }

  private:
    struct Kept {
        double share;
        int worst;
        Pair pair;
    };

    void Keep(const std::string& name, const Difference& difference, const Picture& ours,
              const Picture& golden) {
        char figures[64];
        std::snprintf(figures, sizeof figures, "  worst %d  beyond %.3f%%", difference.worst,
                      difference.share * 100);
        worst_.push_back({difference.share, difference.worst, {name + figures, ours, golden}});
        std::stable_sort(worst_.begin(), worst_.end(), [](const Kept& a, const Kept& b) {
            return a.share != b.share ? a.share > b.share : a.worst > b.worst;
        });
        if (worst_.size() > options_.worst) worst_.pop_back();
    }

    const Options& options_;
    std::vector<Kept> worst_;
    int failed_ = 0;
    int total_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!Parse(argc, argv, options)) {
        std::fprintf(stderr,
                     "usage: conformance_table [--out DIR] [--worst N FILE.png] [CASE...]\n"
                     "       conformance_table --sheet FILE.png [CASE...]\n");
        return 2;
    }
    if (!options.sheet.empty()) return Sheet(options);
    if (!options.out.empty()) std::filesystem::create_directories(options.out);
    Table table(options);
    for (const Case& entry : conformance::AllCases()) {
        if (!options.Wanted(entry.name)) continue;
        Picture ours;
        std::string reason;
        DrawNative(entry, ours, reason);
        table.Row(entry.name, ours, kGolden + "/" + entry.name + ".png", entry.bounds, reason);
    }
    for (const EngineCase& entry : conformance::AllEngineCases()) {
        if (!options.Wanted(entry.name)) continue;
        std::vector<Picture> pictures;
        std::string reason;
        DrawEngine(entry, pictures, reason);
        pictures.resize(entry.PictureCount());
        for (unsigned i = 0; i < pictures.size(); ++i)
            table.Row(entry.PictureName(i), pictures[i], conformance::EngineGolden(entry.PictureName(i)),
                      entry.bounds, reason);
    }
    return table.Finish();
}
