// Video by way of ffmpeg, which runs as a program of its own and is fed through a pipe.
#include <fmt/format.h>

#include <array>
#include <memory>
#include <utility>

#include "child_process.h"
#include "cli/error.h"
#include "cli/path.h"
#include "cli/whole_file.h"
#include "frame_sink.h"

namespace host {
namespace {

constexpr std::array<std::pair<const char*, const char*>, 3> kContainers = {
    {{".mp4", "mp4"}, {".mkv", "matroska"}, {".mov", "mov"}}};

const char* Container(const std::string& path) {
    const std::string extension = cli::ToText(cli::ToPath(path).extension());
    for (const auto& [name, container] : kContainers)
        if (extension == name) return container;
    return nullptr;
}

std::vector<std::string> Arguments(const VideoFormat& format, const char* container, const std::string& out) {
    const Rate rate = ToRate(format.frames_per_second);
    std::vector<std::string> arguments = {"ffmpeg",
                                          "-v",
                                          "error",
                                          "-nostdin",
                                          "-y",
                                          "-f",
                                          "rawvideo",
                                          "-pixel_format",
                                          "rgb24",
                                          "-video_size",
                                          fmt::format("{}x{}", format.width, format.height),
                                          "-framerate",
                                          fmt::format("{}/{}", rate.numerator, rate.denominator),
                                          "-i",
                                          "pipe:0"};
    const auto add = [&](std::initializer_list<std::string> more) {
        arguments.insert(arguments.end(), more.begin(), more.end());
    };
    const VideoSound& sound = format.sound;
    if (!sound.path.empty()) add({"-i", "file:" + sound.path, "-map", "0:v", "-map", "1:a:0"});
    add({"-vf", "scale=out_color_matrix=bt709:out_range=tv:flags=accurate_rnd+full_chroma_int", "-c:v",
         "libx264", "-preset", "medium", "-crf", "18", "-pix_fmt", "yuv420p", "-colorspace", "bt709",
         "-color_primaries", "bt709", "-color_trc", "bt709", "-color_range", "tv"});
    if (!sound.path.empty())
        add({"-af",
             fmt::format("atrim=start={:.6f},asetpts=PTS-STARTPTS,adelay={:.3f}:all=1,apad,atrim=end={:.6f}",
                         sound.offset, sound.delay * 1000, format.length),
             "-c:a", "aac", "-b:a", "192k"});
    add({"-movflags", "+faststart", "-f", container, "file:" + out});
    return arguments;
}

class Video final : public FrameSink {
  public:
    Video(const std::string& path, const VideoFormat& format) : file_(path) {
        const char* container = Container(path);
        if (format.width % 2 != 0 || format.height % 2 != 0)
            throw cli::Error(fmt::format("{}: video takes an even width and height, not {}x{}", path,
                                         format.width, format.height));
        file_.CloseHandle();
        ChildProcess::Plan plan;
        plan.arguments = Arguments(format, container, file_.Beside());
        plan.keeps_errors = true;
        plan.sees_interrupts = false;  // Ctrl-C is for us to act on
        try {
            ffmpeg_ = std::make_unique<ChildProcess>(plan);
        } catch (const cli::Error& error) {
            throw cli::Error(
                fmt::format("{}: video needs the program ffmpeg, which cannot be started: {}; a folder "
                            "name in its place takes the frames as pictures",
                            path, error.what()));
        }
    }
    ~Video() override {
        if (!ffmpeg_) return;
        ffmpeg_->Kill();
        ffmpeg_.reset();  // lets go of the file that is then taken back
    }
    Video(const Video&) = delete;
    Video& operator=(const Video&) = delete;

    void Write(std::size_t, const Picture& picture) override {
        if (!ffmpeg_->Write(picture.rgb.data(), picture.rgb.size())) Fail();
    }

    void Finish() override {
        ffmpeg_->CloseInput();
        if (!ffmpeg_->Wait()) Fail();
        file_.Commit();
    }

  private:
    // With what ffmpeg said last.
    [[noreturn]] void Fail() {
        ffmpeg_->CloseInput();
        ffmpeg_->Wait();
        const std::string last = ffmpeg_->LastError();
        throw cli::Error(
            fmt::format("ffmpeg cannot make the video: {}", last.empty() ? "it ended without a word" : last));
    }

    cli::WholeFile file_;
    std::unique_ptr<ChildProcess> ffmpeg_;
};

}  // namespace

bool IsVideoName(const std::string& path) { return Container(path) != nullptr; }

std::unique_ptr<FrameSink> MakeVideo(const std::string& path, const VideoFormat& format) {
    return std::make_unique<Video>(path, format);
}

}  // namespace host
