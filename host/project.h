// A project as a person wrote it: data, layers of clips, and the values of their parameters over time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "effect_library.h"
#include "xml_file.h"

namespace host {

// How the way from a key to the next one is gone.
enum class Curve { Step, Linear, Smooth };

struct Key {
    double time = 0;  // seconds from the clip's start
    double value = 0;
    Curve curve = Curve::Linear;
};

// What a project says of one parameter of a clip: a text, or keys in ascending order of time.
struct ParameterValue {
    std::string text;
    std::vector<Key> keys;
    bool IsAnimated() const { return !keys.empty(); }
};

// The value of ascending `keys` at `time` seconds: the first key's before it, the last key's after it.
double Evaluate(const std::vector<Key>& keys, double time);

struct DataItem {
    std::string name;   // what clips call it
    std::string kind;   // "scene" or "bitmap"
    std::string path;   // as the file system takes it
    std::string place;  // "file:line", for messages
};

struct Clip {
    std::string name, place;
    const EffectEntry* effect = nullptr;
    double start = 0, length = 0;  // seconds
    pugi::xml_node node;           // the <clip> element, whose <controler> children hold the values
};

// Reads a <controler> element: its `value` attribute or its <key> children. Throws cli::Error at a mistake.
ParameterValue ReadParameterValue(const XmlFile& file, const pugi::xml_node& node,
                                  const Parameter& parameter);

struct Project {
    unsigned width = 640, height = 480;
    double frames_per_second = 30;
    double length = 0;                // seconds; where the file does not say: the end of the last clip
    float background[3] = {0, 0, 0};  // colour under everything, 0 to 1
    std::vector<DataItem> data;
    std::vector<std::vector<Clip>> layers;  // drawn in order, the first at the back
    std::unique_ptr<XmlFile> file;

    std::size_t FrameCount() const;
    const DataItem* FindData(const std::string& name) const;
};

// Reads and checks a whole project; `library` must outlive it. Throws cli::Error with file, line and what was
// expected.
Project ReadProject(const std::string& path, const EffectLibrary& library);

// A project of one clip that shows the scene file `path` at `time` (in its own key units). `camera` below 0:
// the scene's own current camera.
Project SceneProject(const std::string& path, double time, int camera, const EffectLibrary& library);

}  // namespace host
