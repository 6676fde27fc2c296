// osmplay bench: how many frames a second the module draws when nobody takes them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "commands.h"

namespace host {

struct BenchOptions {
    std::string in;         // a project, a package or a scene file
    std::string frames;     // "A:B" or several with commas between; empty: all. Of a scene file: counts alone
    std::size_t every = 1;  // one in so many of them
    std::size_t rounds = 3;  // after one that is not counted
    std::optional<Size> size;
    bool profile = false;  // print where the frames' time went
};
// Draws and presents the frames, round after round; reads the last picture of each round back, so that all of
// the work is done when the clock is looked at. Prints the rate of the fastest round, of the slowest and of
// the one between them.
void Bench(const Common& common, const BenchOptions& options);

}  // namespace host
