// Compares the PNG files of two folders, name by name, within the usual bounds.
//   compare_pictures [--worst N FILE.png] [--ties] OURS OTHERS
// Prints how far they differ; exits with 1 when a picture is beyond its bounds or stands in one folder alone.
// With
// --worst, the N that differ most come onto one sheet: ours, the other one, their difference x 8. With
// --ties, a pixel counts only when it is none of the colours between its neighbours' in the other picture,
// and lone pixels may differ.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "conformance/sheet.h"

namespace {

using namespace conformance;

struct Result {
    std::string name;
    Difference difference;
};

std::set<std::string> Names(const std::string& folder) {
    std::set<std::string> names;
    std::error_code error;
    for (const auto& file : std::filesystem::directory_iterator(folder, error))
        if (file.path().extension() == ".png") names.insert(file.path().filename().string());
    return names;
}

bool WriteWorst(const std::string& path, const std::vector<Result>& worst, const std::string& ours,
                const std::string& others) {
    std::vector<Pair> pairs;
    for (const Result& result : worst) {
        Pair pair;
        char title[256];
        std::snprintf(title, sizeof title, "%s %d %.3f%%", result.name.c_str(), result.difference.worst,
                      100 * result.difference.share);
        pair.title = title;
        if (!ReadPng(ours + "/" + result.name, pair.ours) ||
            !ReadPng(others + "/" + result.name, pair.golden))
            return false;
        pairs.push_back(std::move(pair));
    }
    return WritePairs(path, pairs);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    std::size_t worst = 0;
    std::string sheet;
    if (words.size() >= 3 && words[0] == "--worst") {
        worst = std::strtoul(words[1].c_str(), nullptr, 10);
        sheet = words[2];
        words.erase(words.begin(), words.begin() + 3);
    }
    Bounds bounds;
    const bool has_ties = !words.empty() && words[0] == "--ties";
    if (has_ties) {
        bounds.ties = 1;
        words.erase(words.begin());
    }
    if (words.size() != 2) {
        std::fprintf(stderr, "usage: compare_pictures [--worst N FILE.png] [--ties] OURS OTHERS\n");
        return 2;
    }
    const std::set<std::string> names = Names(words[0]);
    if (names.empty() || names != Names(words[1])) {
        std::fprintf(stderr, "compare_pictures: %s and %s do not hold the same pictures\n", words[0].c_str(),
                     words[1].c_str());
        return 1;
    }
    std::vector<Result> results;
    std::size_t same = 0, beyond = 0, within = 0;
    int largest = 0;
    for (const std::string& name : names) {
        Picture ours, other;
        if (!ReadPng(words[0] + "/" + name, ours) || !ReadPng(words[1] + "/" + name, other)) {
            std::fprintf(stderr, "compare_pictures: %s cannot be read\n", name.c_str());
            return 1;
        }
        const Difference difference = Compare(ours, other, bounds);
        same += difference.same_size && difference.worst == 0;
        largest = std::max(largest, difference.worst);
        within += Compare(ours, other, {}).share <= Bounds{}.share;
        if (!(has_ties ? difference.same_size && difference.share <= bounds.share
                       : difference.Within(bounds))) {
            ++beyond;
            std::printf("beyond: %s worst %d, %.3f %% of the pixels, %d strays\n", name.c_str(),
                        difference.worst, 100 * difference.share, difference.strays);
        }
        results.push_back({name, difference});
    }
    std::sort(results.begin(), results.end(), [](const Result& a, const Result& b) {
        return a.difference.share > b.difference.share ||
               (a.difference.share == b.difference.share && a.difference.worst > b.difference.worst);
    });
    std::printf(
        "%zu pictures: %zu identical, %zu beyond the bounds; worst difference %d, worst share %.3f %% (%s)\n"
        "%zu of them agree within 2 of 255 on 99.5 %% of all pixels\n",
        results.size(), same, beyond, largest, 100 * results[0].difference.share, results[0].name.c_str(),
        within);
    if (worst > 0) {
        results.resize(std::min(worst, results.size()));
        if (!WriteWorst(sheet, results, words[0], words[1])) {
            std::fprintf(stderr, "compare_pictures: %s cannot be written\n", sheet.c_str());
            return 1;
        }
    }
    return beyond > 0 ? 1 : 0;
}
