// The commands of osmplay. Each throws cli::Error with one line for a person when it cannot do what was
// asked.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace host {

struct Size {
    unsigned width = 0, height = 0;
};

// "640x480". Throws cli::Error for anything else or a side outside 1 to 8192.
Size ParseSize(const std::string& text);

struct Range {
    std::size_t first = 0, end = 0;
};
// "A:B", frames from A up to, not including, B; either may be left out. Throws cli::Error when it is no range
// within `count` frames.
Range ParseRange(const std::string& text, std::size_t count);

struct Common {
    std::string module, effects_file;  // paths; empty: beside the program
};

struct StillOptions {
    std::string in, out;
    double time = 0;  // a scene file's in key units, a project's in seconds
    int camera = -1;  // below 0: the scene's own
    std::optional<Size> size;
    std::optional<unsigned> samples;  // a pixel: 0, 2 or 4; else the project's
    bool profile = false;             // print where the frame's time went
};
void Still(const Common& common, const StillOptions& options);

struct RenderOptions {
    std::string in;
    std::string out;               // a folder, a video file, or "-" for Y4M on standard output
    double frames_per_second = 0;  // 0: the project's
    std::optional<Size> size;
    std::optional<unsigned> samples;  // a pixel: 0, 2 or 4; else the project's
    std::string frames;               // empty: all
    std::size_t jobs = 1;             // processes
    bool resume = false;              // leave out what is in the folder already
    bool is_share = false;            // another process says which frames: see WorkForJobs
};
// Throws Interrupted when a person stops it.
void Render(const Common& common, const RenderOptions& options);

// Tells everything that is wrong with a project, on standard error but for the last mistake, which it throws;
// or that it is fine.
void Check(const Common& common, const std::string& path);

struct ExportOptions {
    std::string in, out;
    bool loadable = false;  // the form that osmplay itself plays
};
void Export(const Common& common, const ExportOptions& options);

struct PeakOptions {
    std::string in;
    std::string out;        // a .png file; empty: print
    float resolution = 40;  // one peak covers 88200 / resolution samples
};
void PrintPeaks(const Common& common, const PeakOptions& options);

// Prints the effects and their parameters by position.
void Effects(const Common& common);

// For the commands.
class Module;
// Peaks of a sound as the module gives them; none when it cannot decode the file.
std::vector<float> ReadPeaks(Module& module, const std::string& path, float resolution);
struct Project;
std::string LibraryPath(const Common& common);
std::string ModulePath(const Common& common);
// Throws cli::Error unless `path` is a file with something in it.
void RequireFile(const std::string& path);
void WarnOfSize(const Project& project, const Size& size);

}  // namespace host
