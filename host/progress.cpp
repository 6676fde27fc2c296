#include "progress.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>

#include "cli/system.h"

namespace host {

Progress::Progress(std::size_t count) : count_(count), shown_(cli::IsTerminal(stderr)) {}

Progress::~Progress() {
    if (shown_) std::fputs("\r\x1b[K", stderr);
}

double Progress::Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

std::string Progress::Line() const {
    const double seconds = Seconds();
    const double rate = seconds > 0 ? static_cast<double>(done_) / seconds : 0;
    const auto left = rate > 0 ? std::lround(std::ceil(static_cast<double>(count_ - done_) / rate)) : 0;
    const std::string time =
        left < 60 ? fmt::format("{} s", left) : fmt::format("{}:{:02} min", left / 60, left % 60);
    return fmt::format("{} of {} frames, {:.1f} a second, {} left", done_, count_, rate, time);
}

void Progress::Step() {
    constexpr double kPause = 0.1;  // seconds between two looks
    ++done_;
    if (!shown_) return;
    const double now = Seconds();
    if (now - shown_at_ < kPause && done_ < count_) return;
    shown_at_ = now;
    std::fputs(("\r" + Line() + "\x1b[K").c_str(), stderr);
}

}  // namespace host
