// ./run bench: ratios against the same work done directly, each pair measured in turns in this one process.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "bench.h"
#include "mesh_scene.h"

namespace bench {
namespace {

bool all_kept = true;

}  // namespace

double Seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Pair Compare(const std::function<void()>& ours, const std::function<void()>& reference, int rounds) {
    std::vector<double> a, b;
    for (int round = -1; round < rounds; ++round) {
        const double first = Seconds(ours), second = Seconds(reference);
        if (round < 0) continue;
        a.push_back(first);
        b.push_back(second);
    }
    // The shortest time is the one that nothing else on the machine got into.
    return {*std::min_element(a.begin(), a.end()), *std::min_element(b.begin(), b.end())};
}

void Report(const std::string& name, const std::string& ours, const std::string& reference, double ratio,
            bool lower_is_better, double bound) {
    const bool kept = lower_is_better ? ratio <= bound : ratio >= bound;
    all_kept = all_kept && kept;
    fmt::print("{:<44} ours {:<22} reference {:<22} ratio {:.2f} ({} {:.2f}: {})\n", name, ours, reference,
               ratio, lower_is_better ? "at most" : "at least", bound, kept ? "kept" : "NOT KEPT");
    std::fflush(stdout);
}

void ReportCount(const std::string& name, long long count, long long expected) {
    const bool kept = count == expected;
    all_kept = all_kept && kept;
    fmt::print("{:<44} {} (expected {}: {})\n", name, count, expected, kept ? "kept" : "NOT KEPT");
    std::fflush(stdout);
}

bool AllKept() { return all_kept; }

}  // namespace bench

int main(int argc, char** argv) {
    if (argc == 3 && !std::strcmp(argv[1], "--mesh-scene")) {  // for what times it elsewhere
        bench::WriteMeshScene(argv[2]);
        return 0;
    }
    const auto chosen = [&](const char* name) { return argc < 2 || !std::strcmp(argv[1], name); };
    if (chosen("load")) bench::Loading();
    if (chosen("device")) bench::Device();
    if (chosen("frame")) bench::Frames();
    if (chosen("skin")) bench::Skins();
    if (chosen("shadow")) bench::Shadows();
    if (chosen("scene")) bench::Scenes();
    if (chosen("sound")) bench::Sounds();
    if (chosen("reel")) bench::ReelOfTheDemo();
    return bench::AllKept() ? 0 : 1;
}
