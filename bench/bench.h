// Two ways to do the same work, timed in turns in one process.
#pragma once

#include <functional>
#include <string>

namespace bench {

// Seconds that one call of `work` takes.
double Seconds(const std::function<void()>& work);

struct Pair {
    double ours = 0, reference = 0;  // seconds, the shortest of the rounds
};

// Calls both in turns, `rounds` times after one round to warm up.
Pair Compare(const std::function<void()>& ours, const std::function<void()>& reference, int rounds);

// Prints one line: what was measured, both figures, their ratio and whether it keeps the bound.
//   lower_is_better: ratio is ours / reference and must not be above `bound`; else it must not be below.
void Report(const std::string& name, const std::string& ours, const std::string& reference, double ratio,
            bool lower_is_better, double bound);

// Prints one line for a count that is to be `expected`.
void ReportCount(const std::string& name, long long count, long long expected);

// False once a figure was out of its bound.
bool AllKept();

void Loading();
void Device();
void Frames();
void Skins();
void Shadows();
void Scenes();
void ReelOfTheDemo();
void Sounds();

}  // namespace bench
