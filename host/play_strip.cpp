#include "play_strip.h"

#include <fmt/format.h>
#include <imgui.h>

#include <algorithm>
#include <cmath>

#include "play_sound.h"

namespace host {
namespace {

// Heights and widths in units of the window.
constexpr float kStatus = 22, kRuler = 16, kSound = 40, kGutter = 74, kMargin = 8, kBottom = 6;
constexpr float kRow = 16, kThinnestRow = 2, kRowWithText = 13;
// The part of the window that rows may take before they become thin.
constexpr float kMostRows = 0.35f;

constexpr ImU32 kGround = IM_COL32(24, 26, 30, 235), kLane = IM_COL32(38, 41, 47, 255),
                kInk = IM_COL32(222, 224, 228, 255), kFaint = IM_COL32(140, 146, 156, 255),
                kLine = IM_COL32(70, 75, 84, 255), kHead = IM_COL32(255, 214, 92, 255),
                kWave = IM_COL32(104, 172, 120, 255), kDarkInk = IM_COL32(16, 18, 22, 255),
                kAlarm = IM_COL32(128, 26, 26, 240);

ImU32 ColorOf(const Clip& clip) {
    switch (clip.effect->role) {
        case Role::Filter:
            return IM_COL32(178, 148, 214, 255);
        case Role::Transition:
            return IM_COL32(230, 168, 96, 255);
        case Role::Source:
            break;
    }
    return clip.effect->name == "fx_simple_scene" ? IM_COL32(112, 178, 196, 255)
                                                  : IM_COL32(150, 180, 136, 255);
}

float RowHeight(int rows, float window_height) {
    return std::clamp(std::floor(kMostRows * window_height / static_cast<float>(std::max(rows, 1))),
                      kThinnestRow, kRow);
}

const std::string& LabelOf(const Clip& clip) { return clip.name.empty() ? clip.effect->title : clip.name; }

void Text(ImDrawList& list, float x, float y, ImU32 color, const std::string& text) {
    list.AddText({x, y}, color, text.data(), text.data() + text.size());
}

float WidthOf(const std::string& text) {
    return ImGui::CalcTextSize(text.data(), text.data() + text.size()).x;
}

std::string RulerText(double seconds, double step) {
    const std::string text = ClockText(seconds);
    // Only the digits that differ from mark to mark.
    const std::size_t drop = step >= 1 ? 4 : step >= 0.1 ? 2 : 1;
    return text.substr(0, text.size() - drop);
}

}  // namespace

Strip::Strip() : imgui_(ImGui::CreateContext()) {
    ImGui::SetCurrentContext(imgui_);
    ImGui::GetIO().IniFilename = nullptr;
}

Strip::~Strip() { ImGui::DestroyContext(imgui_); }

float Strip::Height(const TimelineRows& rows, bool has_sound, float window_height) {
    return kStatus + kRuler + static_cast<float>(rows.count) * RowHeight(rows.count, window_height) +
           (has_sound ? kSound : 0) + kBottom;
}

void Strip::Place(const TimelineRows& rows, bool has_sound, float width, float height) {
    width_ = width;
    height_ = height;
    rows_ = rows.count;
    row_height_ = RowHeight(rows.count, height);
    top_ = height - Height(rows, has_sound, height);
    rows_top_ = top_ + kStatus + kRuler;
    sound_top_ = rows_top_ + static_cast<float>(rows_) * row_height_;
    scale_.Place(kGutter, width - kMargin);
}

bool Strip::IsOnTime(float x, float y) const {
    return x >= kGutter - kMargin && x < width_ && y >= top_ + kStatus && y < height_;
}

int Strip::RowAt(float y) const {
    const float row = std::floor((y - rows_top_) / row_height_);
    return row >= 0 && row < static_cast<float>(rows_) ? static_cast<int>(row) : -1;
}

ImDrawData* Strip::Draw(const TimelineRows& rows, const StripContent& content, bool is_shown, float pixels) {
    ImGui::SetCurrentContext(imgui_);
    ImGuiIO& io = ImGui::GetIO();
    io.DisplaySize = {width_, height_};
    io.DisplayFramebufferScale = {pixels, pixels};
    ImGui::NewFrame();
    if (is_shown) {
        DrawStrip(rows, content);
        DrawSound(content);
    } else if (!content.note.empty()) {
        ImDrawList& list = *ImGui::GetForegroundDrawList();
        const float x = width_ - WidthOf(content.note) - 2 * kMargin, y = height_ - kStatus - kMargin;
        list.AddRectFilled({x - kMargin, y}, {width_ - kMargin, y + kStatus}, kGround, 3);
        Text(list, x, y + 4, kInk, content.note);
    }
    DrawErrors(content, is_shown ? top_ : height_);
    if (is_shown) DrawTip(rows, content);
    ImGui::Render();
    return ImGui::GetDrawData();
}

void Strip::DrawStrip(const TimelineRows& rows, const StripContent& content) {
    ImDrawList& list = *ImGui::GetBackgroundDrawList();
    list.AddRectFilled({0, top_}, {width_, height_}, kGround);

    // What goes on, and how it goes.
    const float mark = top_ + 6;
    if (content.is_playing) {
        list.AddTriangleFilled({kMargin, mark}, {kMargin, mark + 10}, {kMargin + 9, mark + 5}, kHead);
    } else {
        list.AddRectFilled({kMargin, mark}, {kMargin + 3, mark + 10}, kFaint);
        list.AddRectFilled({kMargin + 6, mark}, {kMargin + 9, mark + 10}, kFaint);
    }
    const float status = kMargin + 18;
    Text(list, status, top_ + 5, kInk, content.status);
    const float note =
        std::max(width_ - kMargin - WidthOf(content.note), status + WidthOf(content.status) + 16);
    Text(list, note, top_ + 5, kHead, content.note);

    const float left = scale_.Left(), right = scale_.Right(), bottom = height_ - kBottom;
    const double step = scale_.Step(64);
    for (double time = std::ceil(scale_.First() / step) * step; time <= scale_.Last() + step * 1e-3;
         time += step) {
        const float x = std::floor(scale_.X(time)) + 0.5f;
        list.AddLine({x, rows_top_ - 5}, {x, rows_top_}, kFaint);
        const std::string text = RulerText(time, step);
        if (x + 3 + WidthOf(text) <= width_) Text(list, x + 3, top_ + kStatus, kFaint, text);
    }

    for (const TimelineRows::Layer& layer : rows.layers) {
        const float y = rows_top_ + static_cast<float>(layer.first) * row_height_;
        const float height = static_cast<float>(layer.count) * row_height_;
        list.AddRectFilled({left, y}, {right, y + height - 1}, kLane);
        list.AddLine({0, y + height - 0.5f}, {right, y + height - 0.5f}, kLine);
        if (row_height_ < kRowWithText) continue;
        list.PushClipRect({0, y}, {left - 4, y + height}, true);
        Text(list, kMargin, y + 1, kFaint, layer.name);
        list.PopClipRect();
    }
    list.PushClipRect({left, rows_top_}, {right, bottom}, true);
    for (const TimelineBar& bar : rows.bars) {
        if (bar.end <= scale_.First() || bar.start >= scale_.Last() || bar.end <= bar.start) continue;
        const float x = scale_.X(bar.start), y = rows_top_ + static_cast<float>(bar.row) * row_height_;
        const float end = std::max(scale_.X(bar.end), x + 2);
        const bool is_active = content.position >= bar.start && content.position < bar.end;
        const ImU32 full = ColorOf(*bar.clip);
        const ImU32 color = is_active ? full : (full & ~IM_COL32_A_MASK) | (ImU32{150} << IM_COL32_A_SHIFT);
        list.AddRectFilled({x, y}, {end - 1, y + row_height_ - 1}, color, row_height_ > 8 ? 2.0f : 0.0f);
        if (row_height_ < kRowWithText || end - x < 12) continue;
        list.PushClipRect({x, y}, {end - 2, y + row_height_}, true);
        // The name stays in sight when the clip begins left of the strip.
        Text(list, std::max(x, left) + 3, y + 1, kDarkInk, LabelOf(*bar.clip));
        list.PopClipRect();
    }
    list.PopClipRect();

    if (content.position < scale_.First() || content.position > scale_.Last()) return;
    ImDrawList& front = *ImGui::GetForegroundDrawList();
    const float x = std::floor(scale_.X(content.position)) + 0.5f;
    front.AddLine({x, rows_top_ - 6}, {x, bottom}, kHead, 1.5f);
    front.AddTriangleFilled({x - 5, rows_top_ - 10}, {x + 5, rows_top_ - 10}, {x, rows_top_ - 2}, kHead);
}

void Strip::DrawSound(const StripContent& content) {
    if (!content.envelope) return;
    ImDrawList& list = *ImGui::GetBackgroundDrawList();
    const float left = scale_.Left(), right = scale_.Right();
    const float middle = sound_top_ + kSound / 2, half = kSound / 2 - 3;
    list.AddRectFilled({left, sound_top_ + 1}, {right, sound_top_ + kSound - 1}, kLane);
    Text(list, kMargin, sound_top_ + 2, kFaint, "sound");
    const std::vector<float>& peaks = content.envelope->peaks;
    const auto index = [&](float x) {
        const double file = scale_.First() + static_cast<double>((x - left) / (right - left)) *
                                                 (scale_.Last() - scale_.First());
        return (file - content.sound_start + content.sound_offset) * content.envelope->per_second;
    };
    const double begin = content.sound_offset * content.envelope->per_second;
    for (float x = left; x < right; ++x) {
        const double from = std::floor(std::max(index(x), begin));
        // A highest and a lowest at least.
        const double to = std::min(std::max(index(x + 1), from + 2), static_cast<double>(peaks.size()));
        if (index(x + 1) <= begin || from >= to) continue;
        float high = 0, low = 0;
        for (auto i = static_cast<std::size_t>(from); static_cast<double>(i) < to; ++i) {
            high = std::max(high, peaks[i]);
            low = std::min(low, peaks[i]);
        }
        list.AddRectFilled({x, middle - high * half - 0.5f}, {x + 1, middle - low * half + 0.5f}, kWave);
    }
}

void Strip::DrawTip(const TimelineRows& rows, const StripContent& content) {
    if (!IsOnTime(content.mouse_x, content.mouse_y) || content.mouse_x < scale_.Left()) return;
    ImDrawList& list = *ImGui::GetForegroundDrawList();
    const double time = scale_.Seconds(content.mouse_x);
    const int row = RowAt(content.mouse_y);
    const TimelineBar* bar = row >= 0 ? rows.At(time, row) : nullptr;
    std::string text = ClockText(time);
    if (bar)
        text += fmt::format("  {}  {}\n{} to {}  {}", LabelOf(*bar->clip), bar->clip->effect->name,
                            ClockText(bar->clip->start), ClockText(bar->clip->start + bar->clip->length),
                            bar->clip->place);
    const ImVec2 size = ImGui::CalcTextSize(text.data(), text.data() + text.size());
    const float x = std::clamp(content.mouse_x + 12, 4.0f, std::max(4.0f, width_ - size.x - 12));
    const float y = std::max(4.0f, top_ - size.y - 6);
    list.AddRectFilled({x - 5, y - 4}, {x + size.x + 5, y + size.y + 4}, kGround, 3);
    list.AddRect({x - 5, y - 4}, {x + size.x + 5, y + size.y + 4}, kLine, 3);
    Text(list, x, y, kInk, text);
}

void Strip::DrawErrors(const StripContent& content, float bottom) {
    if (content.errors.empty()) return;
    ImDrawList& list = *ImGui::GetForegroundDrawList();
    const float wrap = width_ - 4 * kMargin;
    float height = 0;
    const auto size_of = [&](const std::string& line) {
        return ImGui::CalcTextSize(line.data(), line.data() + line.size(), false, wrap).y + 3;
    };
    for (const std::string& line : content.errors) height += size_of(line);
    const float top = std::max(0.0f, bottom - height - 3 * kMargin);
    list.AddRectFilled({kMargin, top}, {width_ - kMargin, bottom - kMargin}, kAlarm, 4);
    float y = top + kMargin;
    for (const std::string& line : content.errors) {
        list.AddText(nullptr, 0, {2 * kMargin, y}, kInk, line.data(), line.data() + line.size(), wrap);
        y += size_of(line);
    }
}

}  // namespace host
