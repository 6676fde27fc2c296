// How a timeline lies on a strip: rows of clips, the scale between seconds and pixels, and what is under a
// point. Nothing here draws.
#pragma once

#include <string>
#include <vector>

#include "project.h"

namespace host {

struct TimelineBar {
    const Clip* clip = nullptr;
    int row = 0;    // from the top
    int depth = 0;  // clips that it lies in
    // Seconds in which it can be seen: its own, within those of the clips around it. May be empty.
    double start = 0, end = 0;
};

struct TimelineRows {
    std::vector<TimelineBar> bars;
    struct Layer {
        std::string name;
        int first = 0, count = 0;  // rows
    };
    std::vector<Layer> layers;  // from the top: the one in front first
    int count = 0;              // rows of all layers

    // The bar at `seconds` in `row`; of several, the one drawn last. Null where there is none.
    const TimelineBar* At(double seconds, int row) const;
};

// Gives each clip a row of its layer: what a filter or transition holds lies in rows under it, one group of
// rows for each input, and clips that overlap lie in rows of their own. `project` must outlive the rows.
TimelineRows LayOut(const Project& project);

// The next clip's edge after `seconds`, or before it for a `direction` below 0; the timeline's ends count as
// edges.
double NextCut(const TimelineRows& rows, double seconds, int direction, double length);

// Which seconds a strip shows, between two columns of pixels.
class TimeScale {
  public:
    // Shows the whole of a timeline of `length` seconds.
    void Reset(double length);
    // Between `left` and `right` from now on; `right` is made at least one pixel more.
    void Place(float left, float right);
    float Left() const { return left_; }
    float Right() const { return right_; }
    double First() const { return first_; }
    double Last() const { return last_; }

    float X(double seconds) const;
    // Within the timeline, whatever `x` is.
    double Seconds(float x) const;
    // Shows `factor` times as much (below 1: closer), with what is at `x` staying there.
    void Zoom(double factor, float x);
    // Moves the view by whole views so that `seconds` is in it.
    void Follow(double seconds);
    // Seconds between two marks of a ruler that are at least `pixels` apart: 1, 2 or 5 times a power of ten,
    // above a minute whole minutes and hours.
    double Step(float pixels) const;

  private:
    void Show(double first, double span);
    double length_ = 1, first_ = 0, last_ = 1;
    float left_ = 0, right_ = 1;
};

// The largest rectangle of `width` to `height` in the middle of a `room_width` x `room_height` one, in
// pixels.
struct Box {
    int left = 0, top = 0, right = 0, bottom = 0;
};
Box Letterbox(int width, int height, int room_width, int room_height);

// "1:02.500", and hours before it where there are any.
std::string ClockText(double seconds);

}  // namespace host
