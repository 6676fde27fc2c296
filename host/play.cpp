#include "play.h"

#include <SDL.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "cli/error.h"
#include "cli/path.h"
#include "png_file.h"
#include "source.h"

namespace host {
namespace {

constexpr double kSeekSeconds = 1;
// How long a note stands, and the strip over a full screen after the mouse has rested.
constexpr double kNoteSeconds = 4, kStripSeconds = 2.5;
// Seconds between two looks at a window in which nothing goes on.
constexpr double kIdle = 0.2;
// Between two pictures of the window for the mouse's sake.
constexpr double kMouseInterval = 1.0 / 60;
constexpr double kZoom = 0.8;
// Mistakes shown at once, files named in a note.
constexpr std::size_t kMostErrors = 6, kMostFiles = 3;
constexpr int kLeastWidth = 360, kLeastHeight = 270;

}  // namespace

PlayWindow::PlayWindow(const Common& common, const PlayOptions& options)
    : library_(LibraryPath(common)),
      path_(options.in),
      samples_(options.samples),
      project_((RequireFile(path_), std::make_unique<Project>(ReadSource(path_, library_)))),
      module_(ModulePath(common)),
      file_name_(cli::ToText(cli::ToPath(options.in).filename())),
      is_bench_(options.bench) {
    if (samples_) project_->samples = *samples_;
    WarnOfSize(*project_, {project_->width, project_->height});
    try {
        if (!options.bench) sound_ = PlaySound::Start(module_);
        OpenWindow();
        player_ = MakePlayer(*project_);
        OpenSound();
        TakeTimeline();
        clock_.SetLoop(options.is_looping);
        if (options.is_full_screen) ToggleFullScreen();
        Show(Now());
        if (!options.is_paused && !options.bench) clock_.Play(Now());
    } catch (...) {
        Close();
        throw;
    }
}

PlayWindow::~PlayWindow() { Close(); }

void PlayWindow::Close() {
    clock_.SetTimeline(0, nullptr, 0, 0);
    sound_.reset();
    player_.reset();
    surface_.reset();
    strip_.reset();
    if (window_) SDL_DestroyWindow(window_);
    SDL_Quit();
}

void PlayWindow::OpenWindow() {
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    SDL_SetHint(SDL_HINT_WINDOWS_DPI_SCALING, "1");
    if (SDL_Init(SDL_INIT_VIDEO) != 0)
        throw cli::Error(fmt::format("play needs a display, and there is none: {}", SDL_GetError()));

    const Project& project = *project_;
    rows_ = LayOut(project);
    const bool has_sound = !project.sound.path.empty() && !is_bench_;
    auto height = static_cast<float>(project.height);
    // The strip's height depends a little on the window's.
    for (int i = 0; i < 4; ++i)
        height = static_cast<float>(project.height) + Strip::Height(rows_, has_sound, height);
    SDL_Rect room{0, 0, 0, 0};
    int window_width = static_cast<int>(project.width), window_height = static_cast<int>(height);
    if (SDL_GetDisplayUsableBounds(0, &room) == 0 && room.w > 0 && room.h > 0) {
        window_width = std::min(window_width, room.w);
        window_height = std::min(window_height, room.h);
    }
    const std::string title = file_name_ + " - osmplay";
    window_ = SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                               std::max(window_width, kLeastWidth), std::max(window_height, kLeastHeight),
                               SurfaceWindowFlags() | SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
    if (!window_) throw cli::Error(fmt::format("play cannot open its window: {}", SDL_GetError()));
    SDL_SetWindowMinimumSize(window_, kLeastWidth, kLeastHeight);
    strip_ = std::make_unique<Strip>();
    surface_ =
        MakePlaySurface(window_, module_, !is_bench_,
                        {[this](int w, int h) { return PictureArea(w, h); }, [this] { return DrawOver(); }});
}

std::unique_ptr<Player> PlayWindow::MakePlayer(const Project& project) {
    return std::make_unique<Player>(module_, project, library_,
                                    surface_->MakePictureWindow(project.width, project.height));
}

void PlayWindow::OpenSound() {
    has_track_ = false;
    const SoundTrack& track = project_->sound;
    if (track.path.empty() || is_bench_) return;
    std::string why = "this machine's sound cannot be had";
    if (sound_ && sound_->Open(track.path, why)) {
        has_track_ = true;
    } else {
        errors_.push_back(fmt::format("{}: playing without sound: {}", track.place, why));
    }
}

void PlayWindow::TakeTimeline() {
    const Project& project = *project_;
    files_ = FileSnapshot(path_, project);
    rows_ = LayOut(project);
    if (project.length != clock_.Length()) strip_->Scale().Reset(project.length);
    clock_.SetTimeline(project.length, has_track_ ? sound_.get() : nullptr, project.sound.start,
                       project.sound.offset);
    PlaceStrip();
    meter_.Break();
    picture_due_ = true;
}

void PlayWindow::Reload() {
    if (!project_->package.empty()) {
        Say("a package holds its data itself: nothing to reload");
        return;
    }
    const bool was_playing = clock_.IsPlaying();
    clock_.Pause(Now());
    errors_.clear();
    Mistakes mistakes;
    auto next = std::make_unique<Project>(ReadSource(path_, library_, mistakes));
    if (samples_) next->samples = *samples_;
    if (mistakes.empty() && player_) CheckData(module_, *next, mistakes);
    const std::vector<std::string> changed =
        FileSnapshot::Changed(files_, FileSnapshot(path_, mistakes.empty() ? *next : *project_));
    if (mistakes.empty()) {
        // One device at a time: the old one goes before the new one comes.
        player_.reset();
        try {
            player_ = MakePlayer(*next);
            project_ = std::move(next);
        } catch (const cli::Error& error) {
            mistakes.push_back(error.what());
            Renew(mistakes);
        }
        if (mistakes.empty()) {
            OpenSound();
            TakeTimeline();
            Say(changed.empty() ? "nothing has changed; loaded anew"
                                : "reloaded " + ListOf(changed, kMostFiles));
        }
    }
    ShowMistakes(mistakes);
    picture_due_ = true;
    if (was_playing) clock_.Play(Now());
    meter_.Break();
}

void PlayWindow::Renew(Mistakes& mistakes) {
    player_.reset();
    try {
        player_ = MakePlayer(*project_);
    } catch (const cli::Error& error) {
        mistakes.push_back(error.what());
    }
    picture_due_ = true;
}

void PlayWindow::ShowMistakes(const Mistakes& mistakes) {
    if (mistakes.empty()) return;
    errors_.push_back(
        fmt::format("{} {} (R tries again):", file_name_,
                    player_ ? "is not reloaded, the last good state goes on" : "cannot be loaded any more"));
    for (std::size_t i = 0; i < std::min(mistakes.size(), kMostErrors); ++i) errors_.push_back(mistakes[i]);
    if (mistakes.size() > kMostErrors)
        errors_.push_back(
            fmt::format("and {} more: osmplay check tells them", mistakes.size() - kMostErrors));
}

bool PlayWindow::HasDevice() {
    const DeviceState state = surface_->Device();
    if (state == DeviceState::kBack) {
        Mistakes mistakes;
        Renew(mistakes);
        ShowMistakes(mistakes);
        meter_.Break();
    }
    return state != DeviceState::kLost;
}

void PlayWindow::SaveStill() {
    if (!player_) return;
    const std::string path = fmt::format("{}_{:06}.png", cli::ToText(cli::ToPath(path_).stem()), frame_);
    try {
        WritePng(path, player_->Grab());
        Say("saved " + path);
    } catch (const cli::Error& error) {
        Say(error.what());
    }
}

double PlayWindow::Now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void PlayWindow::Say(const std::string& note) {
    note_ = note;
    note_until_ = Now() + kNoteSeconds;
    window_due_ = true;
}

bool PlayWindow::IsFullScreen() const {
    return (SDL_GetWindowFlags(window_) & SDL_WINDOW_FULLSCREEN_DESKTOP) != 0;
}

void PlayWindow::ToggleFullScreen() {
    SDL_SetWindowFullscreen(window_, IsFullScreen() ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
    mouse_moved_ = -10;
    window_due_ = true;
}

bool PlayWindow::IsStripShown() const {
    if (!IsFullScreen()) return has_strip_;
    return is_holding_ || Now() - mouse_moved_ < kStripSeconds;
}

float PlayWindow::PixelsPerUnit() const {
    int width = 0, height = 0, pixel_width = 0, pixel_height = 0;
    SDL_GetWindowSize(window_, &width, &height);
    SDL_GetWindowSizeInPixels(window_, &pixel_width, &pixel_height);
    return width > 0 && pixel_width > 0 ? static_cast<float>(pixel_width) / static_cast<float>(width) : 1.0f;
}

void PlayWindow::PlaceStrip() {
    int width = 0, height = 0;
    SDL_GetWindowSize(window_, &width, &height);
    strip_->Place(rows_, has_track_, static_cast<float>(std::max(width, 1)),
                  static_cast<float>(std::max(height, 1)));
}

// ------------------------------------------------------------------------------------------ keys and mouse

void PlayWindow::SeekTo(double seconds) {
    clock_.Seek(seconds, Now());
    strip_->Scale().Follow(std::clamp(seconds, 0.0, clock_.Length()));
    meter_.Break();
    window_due_ = true;
}

void PlayWindow::StepFrame(int frames) {
    clock_.Pause(Now());
    const double frame = static_cast<double>(FrameAt(clock_.Position(Now()), Rate(), FrameCount())) + frames;
    SeekTo(std::min(frame, static_cast<double>(FrameCount() - 1)) / Rate());
}

void PlayWindow::TogglePlaying() {
    const double now = Now();
    if (clock_.IsPlaying())
        clock_.Pause(now);
    else
        clock_.Play(now);
    meter_.Break();
    window_due_ = true;
}

void PlayWindow::Hold(float x) {
    const TimeScale& scale = strip_->Scale();
    SeekTo(scale.Seconds(std::clamp(x, scale.Left(), scale.Right())));
}

void PlayWindow::HandleKey(int key, bool shift, bool is_repeat) {
    const double position = clock_.Position(Now());
    switch (key) {
        case SDLK_LEFT:
            shift ? StepFrame(-1) : SeekTo(position - kSeekSeconds);
            return;
        case SDLK_RIGHT:
            shift ? StepFrame(1) : SeekTo(position + kSeekSeconds);
            return;
        case SDLK_UP:
            SeekTo(NextCut(rows_, position, -1, clock_.Length()));
            return;
        case SDLK_DOWN:
            SeekTo(NextCut(rows_, position, 1, clock_.Length()));
            return;
        case SDLK_HOME:
            SeekTo(0);
            return;
        case SDLK_END:
            SeekTo(clock_.Length());
            return;
        default:
            break;
    }
    if (is_repeat) return;
    switch (key) {
        case SDLK_SPACE:
            TogglePlaying();
            break;
        case SDLK_f:
            ToggleFullScreen();
            break;
        case SDLK_s:
            SaveStill();
            break;
        case SDLK_r:
            Reload();
            break;
        case SDLK_l:
            clock_.SetLoop(!clock_.IsLooping());
            Say(clock_.IsLooping() ? "over and over" : "once");
            break;
        case SDLK_TAB:
            has_strip_ = !has_strip_;
            window_due_ = true;
            break;
        case SDLK_ESCAPE:
            if (IsFullScreen())
                ToggleFullScreen();
            else
                is_done_ = true;
            break;
        default:
            break;
    }
}

void PlayWindow::Handle(const SDL_Event& event) {
    switch (event.type) {
        case SDL_QUIT:
            is_done_ = true;
            break;
        case SDL_WINDOWEVENT:
            if (event.window.event == SDL_WINDOWEVENT_LEAVE) mouse_x_ = mouse_y_ = -1;
            PlaceStrip();
            window_due_ = true;
            break;
        case SDL_KEYDOWN:
            HandleKey(event.key.keysym.sym, (event.key.keysym.mod & KMOD_SHIFT) != 0, event.key.repeat != 0);
            break;
        case SDL_MOUSEMOTION:
            mouse_x_ = static_cast<float>(event.motion.x);
            mouse_y_ = static_cast<float>(event.motion.y);
            mouse_moved_ = Now();
            window_due_ = true;
            if (is_holding_) Hold(mouse_x_);
            break;
        case SDL_MOUSEBUTTONDOWN: {
            if (event.button.button != SDL_BUTTON_LEFT) break;
            const auto x = static_cast<float>(event.button.x), y = static_cast<float>(event.button.y);
            if (IsStripShown() && strip_->IsOnTime(x, y)) {
                is_holding_ = true;
                plays_after_hold_ = clock_.IsPlaying();
                clock_.Pause(Now());
                Hold(x);
            } else if (event.button.clicks == 2) {
                ToggleFullScreen();
            }
            break;
        }
        case SDL_MOUSEBUTTONUP:
            if (event.button.button != SDL_BUTTON_LEFT || !is_holding_) break;
            is_holding_ = false;
            if (plays_after_hold_) clock_.Play(Now());
            break;
        case SDL_MOUSEWHEEL:
            if (IsStripShown() && strip_->IsOnTime(mouse_x_, mouse_y_))
                strip_->Scale().Zoom(std::pow(kZoom, event.wheel.y), mouse_x_);
            window_due_ = true;
            break;
        default:
            break;
    }
}

// ------------------------------------------------------------------------------------------------- showing

Box PlayWindow::PictureArea(int width, int height) const {
    const bool has_room = !has_strip_ || IsFullScreen();
    const float room = has_room ? static_cast<float>(height) : strip_->Top() * PixelsPerUnit();
    return Letterbox(static_cast<int>(project_->width), static_cast<int>(project_->height), width,
                     static_cast<int>(room));
}

ImDrawData* PlayWindow::DrawOver() {
    const bool is_shown = IsStripShown();
    const bool has_note = !note_.empty() && Now() < note_until_;
    if (!is_shown && !has_note && errors_.empty()) return nullptr;
    StripContent content;
    content.position = clock_.IsPlaying() ? static_cast<double>(frame_) / Rate() : clock_.Position(Now());
    content.length = clock_.Length();
    content.is_playing = clock_.IsPlaying();
    content.status = fmt::format("{} / {}  frame {} of {}", ClockText(content.position),
                                 ClockText(content.length), frame_, FrameCount());
    if (content.is_playing) content.status += fmt::format("  {:.0f} fps", meter_.Rate(Now()));
    content.status += fmt::format("  {} dropped", meter_.Dropped());
    if (has_note) content.note = note_;
    content.errors = errors_;
    if (has_track_) content.envelope = &sound_->Peaks();
    content.sound_start = project_->sound.start;
    content.sound_offset = project_->sound.offset;
    content.mouse_x = mouse_x_;
    content.mouse_y = mouse_y_;
    return strip_->Draw(rows_, content, is_shown, PixelsPerUnit());
}

void PlayWindow::Show(double now) {
    const std::size_t frame = FrameAt(clock_.Position(now), Rate(), FrameCount());
    if (player_ && (frame != frame_ || picture_due_)) player_->Draw(static_cast<double>(frame) / Rate());
    frame_ = frame;
    surface_->Show();
    picture_due_ = window_due_ = false;
    shown_at_ = now;
}

bool PlayWindow::Step() {
    SDL_Event event;
    while (SDL_PollEvent(&event)) Handle(event);
    if (is_done_) return false;
    if (!HasDevice()) {
        SDL_WaitEventTimeout(nullptr, static_cast<int>(kIdle * 1000));
        return true;
    }

    const double now = Now();
    const double position = clock_.Position(now);
    const bool is_playing = clock_.IsPlaying();
    const std::size_t frame = FrameAt(position, Rate(), FrameCount());
    if (is_playing && !is_holding_) strip_->Scale().Follow(position);
    if (was_playing_ != is_playing || strip_was_shown_ != IsStripShown()) window_due_ = true;
    was_playing_ = is_playing;
    strip_was_shown_ = IsStripShown();
    if (IsFullScreen() == (SDL_ShowCursor(SDL_QUERY) == SDL_ENABLE) && IsFullScreen() != strip_was_shown_)
        SDL_ShowCursor(strip_was_shown_ || !IsFullScreen() ? SDL_ENABLE : SDL_DISABLE);
    if (!note_.empty() && now >= note_until_) {
        note_.clear();
        window_due_ = true;
    }

    const bool is_frame_due = frame != frame_ || picture_due_;
    if (is_frame_due || (window_due_ && now - shown_at_ >= kMouseInterval)) {
        if (is_playing && is_frame_due) meter_.Show(frame, now);
        Show(now);
        return true;
    }
    double wait = kIdle;
    if (is_playing) wait = std::min(wait, static_cast<double>(frame + 1) / Rate() - position);
    if (window_due_) wait = std::min(wait, kMouseInterval - (now - shown_at_));
    SDL_WaitEventTimeout(nullptr, std::max(1, static_cast<int>(wait * 1000)));
    return true;
}

std::vector<double> PlayWindow::ShowAll() {
    std::vector<double> taken;
    for (std::size_t frame = 0; frame < FrameCount() && !is_done_; ++frame) {
        SDL_Event event;
        while (SDL_PollEvent(&event))
            if (event.type == SDL_QUIT) is_done_ = true;
        if (!HasDevice()) throw cli::Error("the system took the display away while frames were measured");
        const double start = Now();
        clock_.Seek(static_cast<double>(frame) / Rate(), start);
        meter_.Show(frame, start);
        picture_due_ = true;
        Show(start);
        taken.push_back((Now() - start) * 1e3);
    }
    return taken;
}

void Play(const Common& common, const PlayOptions& options) {
    PlayWindow window(common, options);
    if (!options.bench) {
        while (window.Step()) {
        }
        return;
    }
    const double start = static_cast<double>(SDL_GetTicks64());
    const std::vector<double> taken = window.ShowAll();
    const double seconds = (static_cast<double>(SDL_GetTicks64()) - start) / 1e3;
    fmt::print(
        "{}: {} frames in the window, {:.1f} a second; milliseconds a frame: 50% within {:.2f}, 99% within "
        "{:.2f}, all within {:.2f}\n",
        options.in, taken.size(), seconds > 0 ? static_cast<double>(taken.size()) / seconds : 0,
        Percentile(taken, 50), Percentile(taken, 99), Percentile(taken, 100));
}

}  // namespace host
