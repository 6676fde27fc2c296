#include "timeline_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace host {
namespace {

// Seconds that a view shows at the least.
constexpr double kClosest = 0.05;
// Edges nearer than this are one.
constexpr double kSameCut = 1e-4;

struct Block {
    double start, end;
    int first, count;  // rows within the group
};

// Lays the clips out from row `top` on, and gives the number of rows that they take.
int Place(const std::vector<Clip>& clips, int top, int depth, double from, double to,
          std::vector<TimelineBar>& bars) {
    std::vector<Block> blocks;
    int rows = 1;
    for (const Clip& clip : clips) {
        const double start = std::max(from, clip.start);
        const double end = std::max(start, std::min(to, clip.start + clip.length));
        // First its own and its contents' rows as if from 0, then moved to where there is room for them.
        const std::size_t first_bar = bars.size();
        bars.push_back({&clip, 0, depth, start, end});
        int height = 1;
        for (const auto& content : clip.contents)
            height += Place(content, height, depth + 1, start, end, bars);
        int row = 0;
        for (bool moved = true; moved;) {
            moved = false;
            for (const Block& other : blocks) {
                const bool clashes = other.start < end && start < other.end && other.first < row + height &&
                                     row < other.first + other.count;
                if (!clashes) continue;
                row = other.first + other.count;
                moved = true;
            }
        }
        for (std::size_t i = first_bar; i < bars.size(); ++i) bars[i].row += top + row;
        blocks.push_back({start, end, row, height});
        rows = std::max(rows, row + height);
    }
    return rows;
}

}  // namespace

TimelineRows LayOut(const Project& project) {
    TimelineRows rows;
    for (auto layer = project.layers.rbegin(); layer != project.layers.rend(); ++layer) {
        const int count = Place(layer->clips, rows.count, 0, 0, project.length, rows.bars);
        rows.layers.push_back({layer->name, rows.count, count});
        rows.count += count;
    }
    return rows;
}

const TimelineBar* TimelineRows::At(double seconds, int row) const {
    const auto found = std::find_if(bars.rbegin(), bars.rend(), [&](const TimelineBar& bar) {
        return bar.row == row && seconds >= bar.start && seconds < bar.end;
    });
    return found == bars.rend() ? nullptr : &*found;
}

double NextCut(const TimelineRows& rows, double seconds, int direction, double length) {
    double best = direction < 0 ? 0 : length;
    const auto consider = [&](double edge) {
        if (direction < 0) {
            if (edge < seconds - kSameCut) best = std::max(best, edge);
        } else if (edge > seconds + kSameCut) {
            best = std::min(best, edge);
        }
    };
    for (const TimelineBar& bar : rows.bars) {
        if (bar.start >= bar.end) continue;
        consider(bar.start);
        consider(bar.end);
    }
    return best;
}

void TimeScale::Reset(double length) {
    length_ = std::max(length, kClosest);
    first_ = 0;
    last_ = length_;
}

void TimeScale::Place(float left, float right) {
    left_ = left;
    right_ = std::max(right, left + 1);
}

float TimeScale::X(double seconds) const {
    return left_ + static_cast<float>((seconds - first_) / (last_ - first_)) * (right_ - left_);
}

double TimeScale::Seconds(float x) const {
    const double part = static_cast<double>(x - left_) / static_cast<double>(right_ - left_);
    return std::clamp(first_ + part * (last_ - first_), 0.0, length_);
}

void TimeScale::Show(double first, double span) {
    span = std::clamp(span, kClosest, length_);
    first_ = std::clamp(first, 0.0, length_ - span);
    last_ = first_ + span;
}

void TimeScale::Zoom(double factor, float x) {
    const double fixed = Seconds(x), span = last_ - first_;
    const double wanted = std::clamp(span * factor, kClosest, length_);
    Show(fixed - (fixed - first_) * wanted / span, wanted);
}

void TimeScale::Follow(double seconds) {
    const double span = last_ - first_;
    if (seconds >= first_ && seconds <= last_) return;
    Show(first_ + std::floor((seconds - first_) / span) * span, span);
}

double TimeScale::Step(float pixels) const {
    const double least = (last_ - first_) * static_cast<double>(pixels / (right_ - left_));
    for (const double step : {0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 60.0, 120.0, 300.0,
                              600.0, 1800.0, 3600.0, 7200.0})
        if (step >= least) return step;
    return 14400;
}

Box Letterbox(int width, int height, int room_width, int room_height) {
    room_width = std::max(room_width, 1);
    room_height = std::max(room_height, 1);
    int w = room_width, h = room_height;
    if (static_cast<long long>(room_width) * height > static_cast<long long>(room_height) * width)
        w = std::max(1, static_cast<int>(std::lround(static_cast<double>(room_height) * width / height)));
    else
        h = std::max(1, static_cast<int>(std::lround(static_cast<double>(room_width) * height / width)));
    const int left = (room_width - w) / 2, top = (room_height - h) / 2;
    return {left, top, left + w, top + h};
}

std::string ClockText(double seconds) {
    const auto milliseconds = static_cast<long long>(std::floor(std::max(seconds, 0.0) * 1000 + 1e-3));
    const long long minutes = milliseconds / 60000;
    const std::string rest = fmt::format("{:02}.{:03}", milliseconds / 1000 % 60, milliseconds % 1000);
    return minutes < 60 ? fmt::format("{}:{}", minutes, rest)
                        : fmt::format("{}:{:02}:{}", minutes / 60, minutes % 60, rest);
}

}  // namespace host
