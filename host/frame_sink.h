// Where the frames of a project go.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "png_file.h"

namespace host {

class FrameSink {
  public:
    virtual ~FrameSink() = default;
    // Throws cli::Error when the frame cannot be written. Frames come in ascending order.
    virtual void Write(std::size_t frame, const Picture& picture) = 0;
    // Comes after the last frame. Without it, what is not whole by itself is taken back.
    virtual void Finish() {}
};

// What a frame count by the second is as a fraction of whole numbers: "30:1".
struct Rate {
    long numerator = 30, denominator = 1;
};
Rate ToRate(double frames_per_second);

// The name of a frame's file in a folder of frames.
std::string FrameFile(const std::string& folder, std::size_t frame);

// A folder of PNG files, made when it is not there. Throws cli::Error when it cannot be.
std::unique_ptr<FrameSink> MakePngFolder(const std::string& folder);

// YUV4MPEG2 with whole colour resolution (C444), Rec. 601 colours in their limited range (black 16, white
// 235). `out` is not closed.
std::unique_ptr<FrameSink> MakeY4m(std::FILE* out, unsigned width, unsigned height, double frames_per_second);

struct VideoSound {
    std::string path;   // empty: none
    double delay = 0;   // seconds of silence at the video's beginning
    double offset = 0;  // seconds of the file that are left out
};

struct VideoFormat {
    unsigned width = 0, height = 0;
    double frames_per_second = 30;
    double length = 0;  // seconds, for the sound: cut there, or filled up with silence
    VideoSound sound;
};

// Whether `path` is named like a file that MakeVideo makes.
bool IsVideoName(const std::string& path);

// A video file by way of the program ffmpeg: H.264 and AAC. The file is there only after Finish. Throws
// cli::Error when ffmpeg is not there or refuses.
std::unique_ptr<FrameSink> MakeVideo(const std::string& path, const VideoFormat& format);

}  // namespace host
