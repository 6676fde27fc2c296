// A project as a person wrote it: data, a sound track, layers of clips, and the values of their parameters
// over time.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "effect_library.h"

namespace host {

class TemporaryFile;

// How the way from a key to the next one is gone.
enum class Curve { Step, Linear, Smooth };

struct Key {
    double time = 0;  // seconds from the clip's start
    double value = 0;
    Curve curve = Curve::Linear;
};

// What a project says of one parameter of a clip: a text, or keys in ascending order of time.
struct ParameterValue {
    const Parameter* parameter = nullptr;
    std::string text;
    std::vector<Key> keys;
    bool IsAnimated() const { return !keys.empty(); }
};

// The value of ascending `keys` at `time` seconds: the first key's before it, the last key's after it.
double Evaluate(const std::vector<Key>& keys, double time);

struct DataItem {
    std::string name;   // what clips call it
    std::string kind;   // "scene" or "bitmap"
    std::string path;   // as the module takes it
    std::string place;  // "file:line", for messages

    // What it is called in a package. No file has such a name, so that nothing else is taken for it.
    std::string Key() const { return kind + ":" + name; }
};

struct SoundTrack {
    std::string path;   // as the module takes it; empty: no sound
    double start = 0;   // seconds on the timeline at which it sets in
    double offset = 0;  // seconds of the file that are left out at its beginning
    std::string place;
    std::shared_ptr<const TemporaryFile> packed;  // what `path` names, out of a package; else null
};

struct Clip {
    std::string name, place;
    const EffectEntry* effect = nullptr;
    double start = 0, length = 0;  // seconds; the start counts from the project's, however deep the clip lies
    std::vector<ParameterValue> values;
    // What it draws from: a filter has one content, a transition two, a source none. The clips of each are
    // drawn in order, the first at the back.
    std::vector<std::vector<Clip>> contents;

    // Null when the project leaves the parameter out.
    const ParameterValue* Find(const std::string& parameter) const;
    // Is the clip there at `seconds`? From its start up to, not including, its end, but a frame whose rounded
    // time falls just short of an edge belongs behind it.
    bool IsActive(double seconds) const;
};

struct Project {
    unsigned width = 640, height = 480;
    double frames_per_second = 30;
    unsigned samples = 0;             // a pixel: 0 (no multisampling), 2 or 4
    double length = 0;                // seconds; where the file does not say: the end of the last clip
    float background[3] = {0, 0, 0};  // colour under everything, 0 to 1
    std::vector<DataItem> data;
    SoundTrack sound;
    struct Layer {
        std::string name;
        std::vector<Clip> clips;
    };
    std::vector<Layer> layers;  // drawn in order, the first at the back
    std::string text;           // the file as it stands
    std::string package;        // the file that all data lies in; empty: each in its own

    std::size_t FrameCount() const;
    // Whether any clip is active at `seconds`.
    bool HasPicture(double seconds) const;
    const DataItem* FindData(const std::string& name) const;
};

// The limits of what a project can say.
inline constexpr double kLongestProject = 24.0 * 3600;  // seconds
inline constexpr int kDeepestNesting = 32;              // clips within clips
inline constexpr double kGreatestNumber = 1e9;          // of a parameter, either sign

// What is wrong with a project: "file:line: what was expected", in the order of the lines.
using Mistakes = std::vector<std::string>;

// Reads and checks a whole project; `library` must outlive it. Gives what could be read, and adds what is
// wrong to `mistakes`: with any, the project is not to be played. Whether the files of its data are there is
// not looked at. Never throws.
Project ReadProject(const std::string& path, const EffectLibrary& library, Mistakes& mistakes);

// The same for a project's text, called `name` in messages. The paths of its data stay as they are written.
Project ParseProject(const std::string& name, const std::string& text, const EffectLibrary& library,
                     Mistakes& mistakes);

// The same, for who goes no further after a mistake: throws cli::Error with the first one.
Project ReadProject(const std::string& path, const EffectLibrary& library);

// A project of one clip that shows the scene file `path` at `time` (in its own key units). `camera` below 0:
// the scene's own current camera.
Project SceneProject(const std::string& path, double time, int camera, const EffectLibrary& library);

// The first of `mistakes` as one line, and how many more there are. Throws cli::Error with it unless there is
// none.
void ThrowFirst(const Mistakes& mistakes);

}  // namespace host
