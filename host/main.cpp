// osmplay: a host for the module. Renders scenes and projects.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include "cli/system.h"
#include "commands.h"
#include "frame_rate.h"
#include "interrupt.h"
#include "play.h"
#include "system.h"

// As a shell has it of a program that Ctrl-C ends.
constexpr int kInterruptedStatus = 130;

// NOLINTNEXTLINE(bugprone-exception-escape): outside the try blocks only a mistake in the options throws.
int main(int argc, char** argv) {
    cli::PrepareStreams();
    CLI::App app{"Renders .om2 scenes and projects through the osmDriver module", "osmplay"};
    app.allow_windows_style_options(false);  // "/a/file" is a file on any system
    app.require_subcommand(1);

    host::Common common;
    app.add_option("--module", common.module,
                   fmt::format("the module; else {} beside this program", host::kModuleName));
    app.add_option("--library", common.effects_file,
                   "the effect library; else libfx.xml beside this program");
    app.fallthrough();

    std::string size;
    const auto add_samples = [](CLI::App* command, std::optional<unsigned>& samples) {
        command->add_option("--samples", samples, "2 or 4 a pixel, 0 for none; else the project's")
            ->check(CLI::IsMember({0u, 2u, 4u}));
    };
    host::StillOptions still;
    CLI::App* still_command = app.add_subcommand("still", "one picture of a scene or a project");
    still_command->add_option("FILE", still.in, "a scene (.om2) or a project (.xml)")->required();
    still_command->add_option("-o,--output", still.out, "the .png file")->required();
    still_command->add_option("--time", still.time,
                              "a scene's time in its key units, a project's in seconds");
    still_command->add_option("--camera", still.camera, "which of the scene's cameras; else its own")
        ->check(CLI::NonNegativeNumber);
    still_command->add_option("--size", size, "WIDTHxHEIGHT; else the project's, or 640x480");
    add_samples(still_command, still.samples);
    still_command->add_flag("--profile", still.profile, "print where the frame's time went");

    host::PlayOptions play;
    CLI::App* play_command = app.add_subcommand("play", "a window with sound and timeline");
    play_command->add_option("PROJECT", play.in, "the project (.xml)")->required();
    play_command->add_flag("--paused", play.is_paused, "stand at the first frame; space plays");
    play_command->add_flag("--loop", play.is_looping, "begin anew at the end");
    play_command->add_flag("--full-screen", play.is_full_screen, "as the F key does");
    add_samples(play_command, play.samples);
    play_command->add_flag("--bench", play.bench, "show every frame without waiting, and print what they took");
    play_command->footer(
        "Keys: space plays and pauses; left, right a second, with shift a frame; up, down to the cut before and\n"
        "after; Home, End; F full screen; S saves the picture here; R reloads what changed on disk; L over and\n"
        "over; Tab hides the timeline; Esc leaves full screen, then the program. Click or drag on the timeline to\n"
        "go there, turn the wheel to look closer.");

    host::RenderOptions render;
    CLI::App* render_command = app.add_subcommand("render", "every frame of a project as pictures or video");
    render_command->add_option("PROJECT", render.in, "the project (.xml)")->required();
    render_command
        ->add_option("-o,--output", render.out,
                     "a folder for .png files, a video file (.mp4 .mkv .mov), or - for Y4M")
        ->required();
    render_command->add_option("--fps", render.frames_per_second, "frames a second; else the project's")
        ->check(CLI::Range(1.0, 1000.0));
    render_command->add_option("--frames", render.frames, "A:B, the frames from A up to, not including, B");
    render_command->add_option("--size", size, "WIDTHxHEIGHT; else the project's");
    add_samples(render_command, render.samples);
    render_command->add_option("--jobs", render.jobs, "so many processes draw, the frames by turns")
        ->check(CLI::Range(1, 64));
    render_command->add_flag("--resume", render.resume, "keep the frames that are in the folder already");
    render_command->add_flag("--share", render.is_share)->group("");  // for processes of --jobs

    host::BenchOptions bench;
    CLI::App* bench_command = app.add_subcommand("bench", "how many frames a second are drawn, without output");
    bench_command->add_option("FILE", bench.in, "a project (.xml), a package or a scene (.om2)")->required();
    bench_command->add_option("--frames", bench.frames, "A:B, or several such ranges with commas between");
    bench_command->add_option("--every", bench.every, "one in so many of the frames")
        ->check(CLI::Range(1, 1000000));
    bench_command->add_option("--rounds", bench.rounds, "so many times over, after one that is not counted")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    bench_command->add_option("--size", size, "WIDTHxHEIGHT; else the project's, or 640x480");
    bench_command->add_flag("--profile", bench.profile, "print where the frames' time went");

    host::ExportOptions exported;
    CLI::App* export_command = app.add_subcommand("export", "a project and its data in one file");
    export_command->add_option("PROJECT", exported.in, "the project (.xml)")->required();
    export_command->add_option("-o,--output", exported.out, "the file")->required();
    export_command->add_flag("--loadable", exported.loadable, "in the form that osmplay plays itself");

    host::PeakOptions peaks;
    CLI::App* envelope_command = app.add_subcommand("envelope", "how loud a sound is, from peak to peak");
    envelope_command->add_option("SOUND", peaks.in, "a sound file")->required();
    envelope_command->add_option("-o,--output", peaks.out, "draw them into this .png file");
    envelope_command->add_option("--resolution", peaks.resolution, "one peak covers 88200 / R samples")
        ->check(CLI::Range(0.01, 88200.0))
        ->capture_default_str();

    std::string checked;
    CLI::App* check_command = app.add_subcommand("check", "everything that is wrong with a project");
    check_command->add_option("PROJECT", checked, "the project (.xml)")->required();

    CLI::App* effects_command = app.add_subcommand("effects", "the effects and their parameters by position");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    try {
        if (!size.empty()) still.size = render.size = bench.size = host::ParseSize(size);
        if (*still_command) host::Still(common, still);
        if (*play_command) host::Play(common, play);
        if (*render_command) host::Render(common, render);
        if (*bench_command) host::Bench(common, bench);
        if (*export_command) host::Export(common, exported);
        if (*envelope_command) host::PrintPeaks(common, peaks);
        if (*check_command) host::Check(common, checked);
        if (*effects_command) host::Effects(common);
    } catch (const host::Interrupted& stop) {
        std::fprintf(stderr, "osmplay: %s\n", stop.what());
        return kInterruptedStatus;
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "osmplay: %s\n", error.what());
        return 1;
    }
    return 0;
}
