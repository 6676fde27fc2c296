// What the whole engine draws before another Direct3D 9: small scenes and projects, each made by a function
// of its own into a folder of its own.
//
// A new case:
//   - write a function void Make(CaseFolder& folder) that leaves scene.om2 (folder.Save) or project.xml
//     (folder.Project), and the bitmaps that a project names (folder.Bitmap);
//   - name it in the vector of its family (ProjectCases, SceneCases, ...), with `.name`, `.make` and what
//   differs
//     from the defaults. A scene is a still of `times` in key units; a project with one picture a still of
//     `times` in seconds; with `.kind = Kind::Render` every frame of the project, each a picture;
//   - run ./run golden NAME and look at the picture: it must change when the thing it is about breaks.
// Each picture is called after its case, with ".1", ".2" ... behind it where the case has more than one.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "conformance/bounds.h"
#include "stage.h"

namespace conformance {

/// Where a case writes its files.
class CaseFolder {
  public:
    explicit CaseFolder(std::string path) : path_(std::move(path)) {}

    /// The full path of a file in it.
    std::string File(const std::string& name) const { return path_ + "/" + name; }

    // All throw cli::Error when a file cannot be written, Save also when the scene would not play.
    void Save(demo::Stage& stage, const std::string& name = "scene.om2") const { stage.Save(File(name)); }
    void Bitmap(const std::string& name, const demo::Picture32& picture) const;  // a PNG, with its alpha
    void Text(const std::string& name, const std::string& text) const;
    /// project.xml: `attributes` of the project element besides its size, and what stands in it.
    void Project(const std::string& attributes, const std::string& content) const {
        Text("project.xml", "<project " + attributes + ">\n" + content + "</project>\n");
    }

  private:
    std::string path_;
};

enum class Kind { Still, Render };

struct EngineCase {
    std::string name;
    std::function<void(CaseFolder&)> make;
    Kind kind = Kind::Still;
    std::vector<double> times = {0};  // of a still: key units of a scene, seconds of a project
    unsigned frames = 1;              // of a rendering: how many the project has
    unsigned width = 160, height = 120;
    unsigned samples = 0;            // 0, 2 or 4 a pixel
    unsigned reference_samples = 0;  // what the reference takes in their place, when its driver lacks them
    int camera = -1;       // of a scene; below 0 its own
    bool is_scene = false;
    Bounds bounds = {};  // another one than the default says why

    std::string Source() const { return is_scene ? "scene.om2" : "project.xml"; }
    unsigned PictureCount() const {
        return kind == Kind::Render ? frames : static_cast<unsigned>(times.size());
    }
    std::string PictureName(unsigned index) const {
        return PictureCount() > 1 ? name + "." + std::to_string(index + 1) : name;
    }
};

// The families. A scene case sets `.is_scene`.
std::vector<EngineCase> ProjectCases();
std::vector<EngineCase> SceneCases();

/// All cases, in the order of the families. Names are unique.
const std::vector<EngineCase>& AllEngineCases();

/// Writes what `entry` is made of into `folder`, which is made when it is not there. Throws cli::Error.
void MakeCase(const EngineCase& entry, const std::string& folder);

}  // namespace conformance
