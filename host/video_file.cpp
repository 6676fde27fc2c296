// Video by way of ffmpeg, which runs as a program of its own and is fed through a pipe.
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <utility>

#include "cli/error.h"
#include "cli/whole_file.h"
#include "frame_sink.h"

extern char** environ;

namespace host {
namespace {

constexpr std::array<std::pair<const char*, const char*>, 3> kContainers = {
    {{".mp4", "mp4"}, {".mkv", "matroska"}, {".mov", "mov"}}};

const char* Container(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
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
        errors_ = std::tmpfile();
        int ends[2];
        if (!errors_ || ::pipe2(ends, O_CLOEXEC) != 0)
            throw cli::Error(fmt::format("ffmpeg cannot be started: {}", std::strerror(errno)));
        const std::vector<std::string> arguments = Arguments(format, container, file_.Beside());
        std::vector<char*> argv;
        for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawnattr_t attributes;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
        ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions, ::fileno(errors_), STDERR_FILENO);
        // A group of its own: Ctrl-C is for us to act on. And the signals as a program expects them.
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setpgroup(&attributes, 0);
        sigset_t defaults;
        ::sigemptyset(&defaults);
        ::sigaddset(&defaults, SIGPIPE);
        ::posix_spawnattr_setsigdefault(&attributes, &defaults);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
        const int failure = ::posix_spawnp(&process_, "ffmpeg", &actions, &attributes, argv.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
        ::close(ends[0]);
        in_ = ends[1];
        if (failure != 0) {
            process_ = -1;
            Close();
            throw cli::Error(
                fmt::format("{}: video needs the program ffmpeg, which cannot be started: {}; a folder "
                            "name in its place takes the frames as pictures",
                            path, std::strerror(failure)));
        }
    }
    ~Video() override { Close(); }
    Video(const Video&) = delete;
    Video& operator=(const Video&) = delete;

    void Write(std::size_t, const Picture& picture) override {
        const std::uint8_t* data = picture.rgb.data();
        for (std::size_t left = picture.rgb.size(); left > 0;) {
            const ssize_t written = ::write(in_, data, left);
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) Fail();
            data += written;
            left -= static_cast<std::size_t>(written);
        }
    }

    void Finish() override {
        ::close(std::exchange(in_, -1));
        int status = 0;
        while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        process_ = -1;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) Fail();
        file_.Commit();
    }

  private:
    void Close() {
        if (in_ >= 0) ::close(std::exchange(in_, -1));
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
            }
            process_ = -1;
        }
        if (errors_) std::fclose(std::exchange(errors_, nullptr));
    }

    // With what ffmpeg said last.
    [[noreturn]] void Fail() {
        if (in_ >= 0) ::close(std::exchange(in_, -1));
        if (process_ > 0) {
            while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
            }
            process_ = -1;
        }
        std::string last;
        std::rewind(errors_);
        char line[1000];
        while (std::fgets(line, sizeof line, errors_)) {
            std::string text = line;
            while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
            if (!text.empty()) last = text;
        }
        throw cli::Error(
            fmt::format("ffmpeg cannot make the video: {}", last.empty() ? "it ended without a word" : last));
    }

    cli::WholeFile file_;
    std::FILE* errors_ = nullptr;
    int in_ = -1;
    pid_t process_ = -1;
};

}  // namespace

bool IsVideoName(const std::string& path) { return Container(path) != nullptr; }

std::unique_ptr<FrameSink> MakeVideo(const std::string& path, const VideoFormat& format) {
    return std::make_unique<Video>(path, format);
}

}  // namespace host
