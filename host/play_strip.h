// The strip with the timeline under a playing picture, as Dear ImGui's lists of what is to be drawn.
#pragma once

#include <string>
#include <vector>

#include "timeline_view.h"

struct ImDrawData;
struct ImGuiContext;

namespace host {

struct Envelope;

// What the strip shows besides the clips.
struct StripContent {
    double position = 0, length = 0;
    bool is_playing = false;
    std::string status;               // one line over the clips, on the left
    std::string note;                 // the same on the right
    std::vector<std::string> errors;  // over the picture
    const Envelope* envelope = nullptr;
    double sound_start = 0, sound_offset = 0;  // as the project's
    float mouse_x = -1, mouse_y = -1;
};

// Coordinates are the window's, from its top left corner.
class Strip {
  public:
    // Makes Dear ImGui's context, and makes it current.
    Strip();
    ~Strip();
    Strip(const Strip&) = delete;
    Strip& operator=(const Strip&) = delete;

    // Height that the strip takes of a window of `window_height`.
    static float Height(const TimelineRows& rows, bool has_sound, float window_height);

    // Where it lies from now on: the lower part of a window of that size.
    void Place(const TimelineRows& rows, bool has_sound, float width, float height);
    float Top() const { return top_; }
    TimeScale& Scale() { return scale_; }
    // Whether pressing there takes hold of the play head.
    bool IsOnTime(float x, float y) const;
    // The row under `y`; -1 where there is none.
    int RowAt(float y) const;

    // Strip and errors, for a framebuffer that has `pixels` pixels for each unit of the window. With
    // `is_shown` false only the errors, and the note when there is one, as they lie over the picture. The
    // renderer has begun its frame; the lists are good until the next one.
    ImDrawData* Draw(const TimelineRows& rows, const StripContent& content, bool is_shown, float pixels);

  private:
    void DrawStrip(const TimelineRows& rows, const StripContent& content);
    void DrawSound(const StripContent& content);
    void DrawTip(const TimelineRows& rows, const StripContent& content);
    void DrawErrors(const StripContent& content, float bottom);

    ImGuiContext* imgui_;
    TimeScale scale_;
    float width_ = 1, height_ = 1, top_ = 0, rows_top_ = 0, row_height_ = 1, sound_top_ = 0;
    int rows_ = 0;
};

}  // namespace host
