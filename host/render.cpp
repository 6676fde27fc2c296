// osmplay render: every frame of a project, to wherever they are asked for.
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "cli/error.h"
#include "cli/path.h"
#include "cli/system.h"
#include "commands.h"
#include "frame_sink.h"
#include "interrupt.h"
#include "jobs.h"
#include "module.h"
#include "picture_queue.h"
#include "player.h"
#include "png_file.h"
#include "progress.h"
#include "project.h"
#include "source.h"

namespace host {
namespace {

constexpr std::size_t kWaitingPictures = 4;
constexpr const char* kStandardOutput = "-";

// What a rendering is, worked out before anything is drawn.
struct Plan {
    Project project;
    Size size;
    Range range;
    std::vector<std::size_t> frames;  // those to be drawn, ascending
    bool is_folder = false;           // frames are files of their own
    std::size_t jobs = 1;
};

double TimeOf(const Plan& plan, std::size_t frame) {
    return static_cast<double>(frame) / plan.project.frames_per_second;
}

VideoFormat FormatOf(const Plan& plan) {
    const Project& project = plan.project;
    VideoFormat format;
    format.width = plan.size.width;
    format.height = plan.size.height;
    format.frames_per_second = project.frames_per_second;
    format.length = static_cast<double>(plan.range.end - plan.range.first) / project.frames_per_second;
    if (project.sound.path.empty()) return format;
    std::error_code error;
    if (!std::filesystem::is_regular_file(cli::ToPath(project.sound.path), error) &&
        !project.package.empty()) {
        std::fprintf(stderr, "osmplay: %s is not there: the video has no sound\n",
                     project.sound.path.c_str());
        return format;
    }
    if (!std::filesystem::is_regular_file(cli::ToPath(project.sound.path), error))
        throw cli::Error(fmt::format("{}: {} is not there (sound)", project.sound.place, project.sound.path));
    const double begin = TimeOf(plan, plan.range.first) - project.sound.start;
    format.sound = {project.sound.path, std::max(-begin, 0.0), project.sound.offset + std::max(begin, 0.0)};
    return format;
}

std::unique_ptr<FrameSink> MakeSink(const Plan& plan, const std::string& out) {
    if (plan.is_folder) return MakePngFolder(out);
    if (out == kStandardOutput)
        return MakeY4m(stdout, plan.size.width, plan.size.height, plan.project.frames_per_second);
    return MakeVideo(out, FormatOf(plan));
}

// Draws `frames`, and has `write` called for each beside the drawing. Returns early when interrupted.
void DrawFrames(const Common& common, const Plan& plan, const EffectLibrary& library,
                const std::vector<std::size_t>& frames, const PictureQueue::Write& write) {
    Module module(ModulePath(common));
    Player player(module, plan.project, library, plan.size.width, plan.size.height);
    PictureQueue queue(kWaitingPictures, write);
    Picture picture;
    for (const std::size_t frame : frames) {
        if (WasInterrupted()) break;
        player.Draw(TimeOf(plan, frame));
        player.Grab(picture);
        queue.Push(frame, picture);
    }
    queue.Finish();
}

// Gives the count of frames that were done.
std::size_t RunAlone(const Common& common, const Plan& plan, const EffectLibrary& library, FrameSink& sink,
                     Progress& progress) {
    DrawFrames(common, plan, library, plan.frames, [&](std::size_t frame, const Picture& picture) {
        sink.Write(frame, picture);
        progress.Step();
    });
    return progress.Done();
}

// What leads a process of this program to RenderShare, for the same pictures.
std::vector<std::string> ShareArguments(const Common& common, const RenderOptions& options,
                                        const Plan& plan) {
    std::vector<std::string> arguments = {"--module=" + ModulePath(common),
                                          "--library=" + LibraryPath(common),
                                          "render",
                                          "--share",
                                          "--output=" + options.out,
                                          fmt::format("--fps={}", plan.project.frames_per_second),
                                          fmt::format("--size={}x{}", plan.size.width, plan.size.height),
                                          fmt::format("--samples={}", plan.project.samples),
                                          "--",
                                          options.in};
    return arguments;
}

std::size_t RunJobs(const Common& common, const RenderOptions& options, const Plan& plan,
                    std::unique_ptr<FrameSink>& sink, Progress& progress) {
    Jobs jobs(plan.jobs, plan.frames, ShareArguments(common, options, plan));
    sink = MakeSink(plan, options.out);
    Picture picture;
    for (const std::size_t frame : plan.frames) {
        if (WasInterrupted()) break;
        try {
            jobs.Next(picture);
        } catch (const cli::Error&) {
            // On Ctrl-C the processes end by themselves.
            if (WasInterrupted()) break;
            throw;
        }
        if (!plan.is_folder) sink->Write(frame, picture);
        progress.Step();
    }
    return progress.Done();
}

Plan MakePlan(const RenderOptions& options, const EffectLibrary& library) {
    Plan plan;
    plan.project = ReadSource(options.in, library);
    Project& project = plan.project;
    if (options.samples) project.samples = *options.samples;
    if (options.frames_per_second > 0) project.frames_per_second = options.frames_per_second;
    plan.range = ParseRange(options.frames, project.FrameCount());
    plan.size = options.size.value_or(Size{project.width, project.height});
    plan.is_folder = options.out != kStandardOutput && !IsVideoName(options.out);
    if (options.resume && !plan.is_folder)
        throw cli::Error("--resume goes on with a folder of frames; video is made in one go");
    if (options.out == kStandardOutput && cli::IsTerminal(stdout))
        throw cli::Error("-o -: the frames would go to the terminal; lead them into a program or a file");
    for (std::size_t frame = plan.range.first; frame < plan.range.end; ++frame)
        if (!options.resume || !IsWholePng(FrameFile(options.out, frame), plan.size.width, plan.size.height))
            plan.frames.push_back(frame);
    plan.jobs = std::clamp<std::size_t>(options.jobs, 1, std::max<std::size_t>(plan.frames.size(), 1));
    return plan;
}

void RenderShare(const Common& common, const RenderOptions& options) {
    WorkForJobs([&](const std::vector<std::size_t>& frames, const FrameDone& done) {
        const EffectLibrary library(LibraryPath(common));
        Plan plan = MakePlan(options, library);
        plan.project.sound = {};  // a copy out of a package is not needed here
        const std::unique_ptr<FrameSink> own = plan.is_folder ? MakeSink(plan, options.out) : nullptr;
        DrawFrames(common, plan, library, frames, [&](std::size_t frame, const Picture& picture) {
            if (own) own->Write(frame, picture);
            done(frame, own ? nullptr : &picture);
        });
    });
}

}  // namespace

void Render(const Common& common, const RenderOptions& options) {
    if (options.is_share) {
        CatchInterrupts();
        return RenderShare(common, options);
    }
    RequireFile(options.in);
    const EffectLibrary library(LibraryPath(common));
    const Plan plan = MakePlan(options, library);
    const Project& project = plan.project;
    WarnOfSize(project, plan.size);
    CatchInterrupts();
    std::unique_ptr<FrameSink> sink;
    std::size_t done = 0;
    double seconds = 0;
    {
        Progress progress(plan.frames.size());
        if (plan.jobs > 1) {
            done = RunJobs(common, options, plan, sink, progress);
        } else {
            sink = MakeSink(plan, options.out);
            if (!plan.frames.empty()) done = RunAlone(common, plan, library, *sink, progress);
        }
        seconds = progress.Seconds();
    }
    if (done < plan.frames.size())
        throw Interrupted(plan.is_folder
                              ? fmt::format("stopped after {} of {} frames; --resume goes on from there",
                                            done, plan.frames.size())
                              : fmt::format("stopped after {} of {} frames", done, plan.frames.size()));
    sink->Finish();

    const bool to_output = options.out == kStandardOutput;
    std::string report = fmt::format("{}: {} frames of {}x{}, {:.1f} a second\n",
                                     to_output ? "standard output" : options.out, done, plan.size.width,
                                     plan.size.height, seconds > 0 ? static_cast<double>(done) / seconds : 0);
    const std::size_t before = plan.range.end - plan.range.first - plan.frames.size();
    if (before > 0) report += fmt::format("  {} more were there already\n", before);
    const auto empty = std::count_if(plan.frames.begin(), plan.frames.end(), [&](std::size_t frame) {
        return !project.HasPicture(TimeOf(plan, frame));
    });
    if (empty > 0)
        report += fmt::format("  {} of them show no clip, and so the module's empty frame\n", empty);
    std::fputs(report.c_str(), to_output ? stderr : stdout);
}

}  // namespace host
