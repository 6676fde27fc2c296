#include "project.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <utility>

#include "cli/error.h"
#include "cli/path.h"
#include "xml_file.h"

namespace host {

double Evaluate(const std::vector<Key>& keys, double time) {
    const auto next = std::upper_bound(keys.begin(), keys.end(), time,
                                       [](double t, const Key& key) { return t < key.time; });
    if (next == keys.begin()) return keys.front().value;
    const Key& from = *(next - 1);
    if (next == keys.end() || from.curve == Curve::Step) return from.value;
    double u = (time - from.time) / (next->time - from.time);
    if (from.curve == Curve::Smooth) u = u * u * (3 - 2 * u);
    return from.value + (next->value - from.value) * u;
}

const ParameterValue* Clip::Find(const std::string& parameter) const {
    for (const ParameterValue& value : values)
        if (value.parameter->name == parameter) return &value;
    return nullptr;
}

bool Clip::IsActive(double seconds) const {
    constexpr double kRounding = 1e-6;
    return seconds + kRounding >= start && seconds + kRounding < start + length;
}

std::size_t Project::FrameCount() const {
    return static_cast<std::size_t>(std::ceil(length * frames_per_second - 1e-6));
}

bool Project::HasPicture(double seconds) const {
    return std::any_of(layers.begin(), layers.end(), [&](const Layer& layer) {
        return std::any_of(layer.clips.begin(), layer.clips.end(),
                           [&](const Clip& clip) { return clip.IsActive(seconds); });
    });
}

const DataItem* Project::FindData(const std::string& name) const {
    for (const DataItem& item : data)
        if (item.name == name) return &item;
    return nullptr;
}

namespace {

constexpr double kMaxSize = 8192;
constexpr double kAnyNumber = 1e12;

// What lies around a clip: the project, or the clip that holds it.
struct Holder {
    double start = 0;   // seconds, from the project's start
    double length = 0;  // 0: no end, which the project has none of
    int depth = 0;
};

class Reader {
  public:
    Reader(XmlFile& file, const EffectLibrary& library, std::filesystem::path folder)
        : file_(file), library_(library), folder_(std::move(folder)) {}

    void Read(Project& project);

  private:
    unsigned ReadSize(const pugi::xml_node& node, const char* attribute, double fallback);
    void ReadBackground(const pugi::xml_node& node, float* rgb);
    void ReadSamples(const pugi::xml_node& node, Project& project);
    std::string ReadPath(const pugi::xml_node& node);
    void ReadDataItem(const pugi::xml_node& node, Project& project);
    void ReadSound(const pugi::xml_node& node, SoundTrack& sound);
    void ReadClips(const pugi::xml_node& node, const Holder& holder, std::vector<Clip>& clips);
    bool ReadClip(const pugi::xml_node& node, const Holder& holder, Clip& clip);
    void ReadTimes(const pugi::xml_node& node, const Holder& holder, Clip& clip);
    void ReadContents(const pugi::xml_node& node, const Holder& holder, Clip& clip);
    void ReadValues(const pugi::xml_node& node, Clip& clip);
    void ReadValue(const pugi::xml_node& node, ParameterValue& value);
    void ReadConstant(const pugi::xml_node& node, ParameterValue& value);
    void ReadKeys(const pugi::xml_node& node, ParameterValue& value);
    void CheckObject(const pugi::xml_node& node, const Parameter& parameter, const std::string& name);

    XmlFile& file_;
    const EffectLibrary& library_;
    std::filesystem::path folder_;
    std::map<std::string, std::string> kinds_;  // of data, by name
    bool told_depth_ = false;
};

unsigned Reader::ReadSize(const pugi::xml_node& node, const char* attribute, double fallback) {
    const double value = file_.Number(node, attribute, fallback, -kAnyNumber, kAnyNumber);
    if (value >= 1 && value <= kMaxSize && value == std::floor(value)) return static_cast<unsigned>(value);
    file_.Mistake(node, fmt::format("{} must be a whole number from 1 to {}", attribute, kMaxSize));
    return static_cast<unsigned>(fallback);
}

void Reader::ReadSamples(const pugi::xml_node& node, Project& project) {
    const double value = file_.Number(node, "samples", 0, -kAnyNumber, kAnyNumber);
    if (value == 0 || value == 2 || value == 4)
        project.samples = static_cast<unsigned>(value);
    else
        file_.Mistake(node, "samples must be 2 or 4 a pixel, or 0 for no multisampling");
}

void Reader::ReadBackground(const pugi::xml_node& node, float* rgb) {
    const std::string text = node.attribute("background").as_string("#000000");
    if (text.size() != 7 || text[0] != '#' ||
        text.find_first_not_of("0123456789abcdefABCDEF", 1) != text.npos) {
        file_.Mistake(node,
                      fmt::format("background=\"{}\" is not a colour of the form #rrggbb", Quoted(text)));
        return;
    }
    for (std::size_t i = 0; i < 3; ++i)
        rgb[i] = static_cast<float>(std::strtol(text.substr(1 + 2 * i, 2).c_str(), nullptr, 16)) / 255.0f;
}

std::string Reader::ReadPath(const pugi::xml_node& node) {
    const std::filesystem::path path = cli::ToPath(file_.Required(node, "file"));
    return path.empty() ? std::string() : cli::ToText(folder_ / path);
}

void Reader::ReadDataItem(const pugi::xml_node& node, Project& project) {
    file_.Expect(node, "name file", "");
    DataItem item;
    item.kind = node.name();
    item.name = file_.Required(node, "name");
    item.path = ReadPath(node);
    item.place = file_.Place(node);
    if (!item.path.empty()) {
        const std::string extension = cli::ToText(cli::ToPath(item.path).extension());
        const bool is_scene = extension == ".om2";
        if (is_scene != (item.kind == "scene"))
            file_.Mistake(node, fmt::format("a {} cannot be a \"{}\" file{}", item.kind, Quoted(extension),
                                            is_scene ? "; use <scene>" : ""));
    }
    if (item.name.empty()) return;
    if (!kinds_.emplace(item.name, item.kind).second) {
        file_.Mistake(node, fmt::format("the name \"{}\" is taken already", Quoted(item.name)));
        return;
    }
    project.data.push_back(std::move(item));
}

void Reader::ReadSound(const pugi::xml_node& node, SoundTrack& sound) {
    file_.Expect(node, "file start offset", "");
    if (!sound.place.empty()) {
        file_.Mistake(node, fmt::format("a project has one <sound>, and there is one at {}", sound.place));
        return;
    }
    sound.path = ReadPath(node);
    sound.start = file_.Number(node, "start", 0, 0, kLongestProject);
    sound.offset = file_.Number(node, "offset", 0, 0, kLongestProject);
    sound.place = file_.Place(node);
}

void Reader::CheckObject(const pugi::xml_node& node, const Parameter& parameter, const std::string& name) {
    const auto kind = kinds_.find(name);
    if (kind == kinds_.end())
        file_.Mistake(node, fmt::format("there is no data named \"{}\" in <data>", Quoted(name)));
    else if (kind->second != parameter.data)
        file_.Mistake(node, fmt::format("\"{}\" is a {}, but \"{}\" takes a {}", Quoted(name), kind->second,
                                        parameter.name, parameter.data));
}

void Reader::ReadConstant(const pugi::xml_node& node, ParameterValue& value) {
    const Parameter& parameter = *value.parameter;
    value.text = node.attribute("value").value();
    if (parameter.type == ParameterType::Object && !value.text.empty())
        CheckObject(node, parameter, value.text);
    if (!parameter.IsNumber()) return;
    const double number =
        file_.ToNumber(node, "value", value.text, parameter.from, parameter.least, parameter.greatest);
    if (parameter.type != ParameterType::Float && number != std::floor(number))
        file_.Mistake(node, fmt::format("\"{}\" takes a whole number", parameter.name));
    const auto& choices = parameter.choices;
    if (!choices.empty() &&
        std::none_of(choices.begin(), choices.end(), [&](const Choice& c) { return c.value == value.text; }))
        file_.Mistake(node, fmt::format("value=\"{}\" is not one of the choices of \"{}\"",
                                        Quoted(value.text), parameter.name));
}

void Reader::ReadKeys(const pugi::xml_node& node, ParameterValue& value) {
    const Parameter& parameter = *value.parameter;
    if (!parameter.IsNumber() || parameter.type == ParameterType::Choice)
        file_.Mistake(node, fmt::format("\"{}\" is a {} and cannot be animated: use value", parameter.name,
                                        TypeName(parameter.type)));
    for (const pugi::xml_node& child : node.children("key")) {
        file_.Expect(child, "time value curve", "");
        Key key;
        file_.Required(child, "time");
        file_.Required(child, "value");
        if (*child.attribute("time").value())
            key.time = file_.Number(child, "time", 0, -kLongestProject, kLongestProject);
        if (*child.attribute("value").value())
            key.value = file_.Number(child, "value", 0, parameter.least, parameter.greatest);
        const std::string curve = child.attribute("curve").as_string("linear");
        if (curve == "step")
            key.curve = Curve::Step;
        else if (curve == "smooth")
            key.curve = Curve::Smooth;
        else if (curve != "linear")
            file_.Mistake(child,
                          fmt::format("curve=\"{}\" is not one of step, linear, smooth", Quoted(curve)));
        if (!value.keys.empty() && key.time < value.keys.back().time)
            file_.Mistake(child, "keys must stand in ascending order of time");
        value.keys.push_back(key);
    }
}

void Reader::ReadValue(const pugi::xml_node& node, ParameterValue& value) {
    file_.Expect(node, "name value", "key");
    const bool has_text = static_cast<bool>(node.attribute("value"));
    const bool has_keys = static_cast<bool>(node.child("key"));
    if (has_text == has_keys)
        file_.Mistake(node, "a <controler> takes either the attribute \"value\" or <key> elements");
    else if (has_text)
        ReadConstant(node, value);
    else
        ReadKeys(node, value);
}

void Reader::ReadValues(const pugi::xml_node& node, Clip& clip) {
    for (const pugi::xml_node& child : node.children("controler")) {
        const std::string name = file_.Required(child, "name");
        if (name.empty() || !clip.effect) continue;
        const auto& all = clip.effect->parameters;
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const Parameter& p) { return p.name == name; });
        if (found == all.end()) {
            file_.Mistake(child, fmt::format("{} has no parameter \"{}\"; osmplay effects lists them",
                                             clip.effect->name, Quoted(name)));
            continue;
        }
        if (clip.Find(name)) file_.Mistake(child, fmt::format("\"{}\" is set twice", name));
        ParameterValue value;
        value.parameter = &*found;
        ReadValue(child, value);
        clip.values.push_back(std::move(value));
    }
}

void Reader::ReadTimes(const pugi::xml_node& node, const Holder& holder, Clip& clip) {
    const double start = file_.Number(node, "start", 0, -kLongestProject, kLongestProject);
    const bool is_inner = holder.depth > 0;
    clip.start = holder.start + start;
    clip.length = is_inner ? holder.length - start : 1;
    if (is_inner && clip.length <= 0) {
        file_.Mistake(node, fmt::format("never shown: it starts at {} s, and what holds it lasts {} s", start,
                                        holder.length));
        clip.length = 1;
        return;
    }
    if (node.attribute("length")) {
        clip.length = file_.Number(node, "length", 1, -kAnyNumber, kAnyNumber);
        if (clip.length <= 0 || clip.length > kLongestProject) {
            file_.Mistake(node, "length must be above 0 and at most a day");
            clip.length = 1;
        } else if (start + clip.length <= 0) {
            file_.Mistake(node, fmt::format("never shown: it ends at {} s", start + clip.length));
        }
    } else if (!is_inner) {
        file_.Mistake(node, "<clip> needs the attribute \"length\" (seconds)");
    }
}

void Reader::ReadContents(const pugi::xml_node& node, const Holder& holder, Clip& clip) {
    const Holder inner{clip.start, clip.length, holder.depth + 1};
    const char* name = clip.effect ? clip.effect->name.c_str() : "";
    if (node.child("clip")) ReadClips(node, inner, clip.contents.emplace_back());
    for (const pugi::xml_node& input : node.children("input")) {
        file_.Expect(input, "name", "clip");
        ReadClips(input, inner, clip.contents.emplace_back());
    }
    if (!clip.effect) return;
    if (clip.effect->role == Role::Filter && clip.contents.empty())
        file_.Mistake(node, fmt::format("{} filters nothing: put clips into it", name));
    if (clip.effect->role == Role::Transition && clip.contents.size() != 2)
        file_.Mistake(node,
                      fmt::format("{} leads from one <input> to another: it takes two, here {} {}", name,
                                  clip.contents.size() == 1 ? "is" : "are", clip.contents.size()));
}

bool Reader::ReadClip(const pugi::xml_node& node, const Holder& holder, Clip& clip) {
    clip.place = file_.Place(node);
    const std::string effect = file_.Required(node, "effect");
    clip.effect = library_.Find(effect);
    if (!clip.effect && !effect.empty())
        file_.Mistake(node,
                      fmt::format("there is no effect \"{}\"; osmplay effects lists them", Quoted(effect)));
    const char* children = "controler clip input";
    if (clip.effect && clip.effect->role == Role::Source) children = "controler";
    if (clip.effect && clip.effect->role == Role::Filter) children = "controler clip";
    if (clip.effect && clip.effect->role == Role::Transition) children = "controler input";
    file_.Expect(node, "effect name start length", children);
    clip.name = node.attribute("name").as_string(effect.c_str());
    ReadTimes(node, holder, clip);
    ReadValues(node, clip);
    ReadContents(node, holder, clip);
    return clip.effect != nullptr;
}

void Reader::ReadClips(const pugi::xml_node& node, const Holder& holder, std::vector<Clip>& clips) {
    if (holder.depth > kDeepestNesting) {
        if (!told_depth_)
            file_.Mistake(node, fmt::format("clips lie within clips more than {} deep", kDeepestNesting));
        told_depth_ = true;
        return;
    }
    for (const pugi::xml_node& child : node.children("clip")) {
        Clip clip;
        if (ReadClip(child, holder, clip)) clips.push_back(std::move(clip));
    }
}

void Reader::Read(Project& project) {
    const pugi::xml_node root = file_.Root();
    if (!root) return;
    file_.Expect(root, "width height fps length background samples", "data sound layer");
    project.width = ReadSize(root, "width", 640);
    project.height = ReadSize(root, "height", 480);
    project.frames_per_second = file_.Number(root, "fps", 30, 1, 1000);
    ReadBackground(root, project.background);
    ReadSamples(root, project);
    for (const pugi::xml_node& list : root.children("data")) {
        file_.Expect(list, "", "scene bitmap");
        for (const pugi::xml_node& node : list.children())
            if (node.name() == std::string("scene") || node.name() == std::string("bitmap"))
                ReadDataItem(node, project);
    }
    for (const pugi::xml_node& node : root.children("sound")) ReadSound(node, project.sound);
    double end = 0;
    for (const pugi::xml_node& node : root.children("layer")) {
        file_.Expect(node, "name", "clip");
        Project::Layer& layer = project.layers.emplace_back();
        layer.name = node.attribute("name").as_string();
        ReadClips(node, {}, layer.clips);
        for (const Clip& clip : layer.clips) end = std::max(end, clip.start + clip.length);
    }
    project.length = file_.Number(root, "length", end, -kAnyNumber, kAnyNumber);
    const bool is_fine = file_.IsFine();
    if (project.length > kLongestProject) file_.Mistake(root, "a project lasts at most a day");
    if (project.length <= 0 && is_fine)
        file_.Mistake(root, "nothing to show: no clip ends after 0, and length is not above 0");
    project.length = std::clamp(project.length, 0.0, kLongestProject);
}

Project Parse(const std::string& name, const std::string& text, const std::filesystem::path& folder,
              const EffectLibrary& library, Mistakes& mistakes) {
    Project project;
    XmlFile file(name, text, "project");
    Reader(file, library, folder).Read(project);
    for (std::string& mistake : file.Mistakes()) mistakes.push_back(std::move(mistake));
    project.text = text;
    return project;
}

}  // namespace

Project ReadProject(const std::string& path, const EffectLibrary& library, Mistakes& mistakes) {
    std::string text;
    try {
        text = ReadTextFile(path);
    } catch (const cli::Error& error) {
        mistakes.emplace_back(error.what());
        return {};
    }
    return Parse(path, text, cli::ToPath(path).parent_path(), library, mistakes);
}

Project ParseProject(const std::string& name, const std::string& text, const EffectLibrary& library,
                     Mistakes& mistakes) {
    return Parse(name, text, {}, library, mistakes);
}

Project ReadProject(const std::string& path, const EffectLibrary& library) {
    Mistakes mistakes;
    Project project = ReadProject(path, library, mistakes);
    ThrowFirst(mistakes);
    return project;
}

Project SceneProject(const std::string& path, double time, int camera, const EffectLibrary& library) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("project");
    pugi::xml_node scene = root.append_child("data").append_child("scene");
    scene.append_attribute("name") = "scene";
    scene.append_attribute("file") = path.c_str();
    pugi::xml_node clip = root.append_child("layer").append_child("clip");
    clip.append_attribute("effect") = "fx_simple_scene";
    clip.append_attribute("length") = 1;
    auto set = [&](const char* name, const std::string& value) {
        pugi::xml_node controler = clip.append_child("controler");
        controler.append_attribute("name") = name;
        controler.append_attribute("value") = value.c_str();
    };
    set("scene", "scene");
    if (camera >= 0) set("camera", std::to_string(camera));
    set("time", fmt::format("{}", time / 100));
    std::ostringstream text;
    document.save(text);
    Mistakes mistakes;
    Project project = ParseProject(path, text.str(), library, mistakes);
    ThrowFirst(mistakes);
    return project;
}

void ThrowFirst(const Mistakes& mistakes) {
    if (mistakes.empty()) return;
    std::string what = mistakes.front();
    if (mistakes.size() > 1) what += fmt::format(" (and {} more: osmplay check)", mistakes.size() - 1);
    throw cli::Error(what);
}

}  // namespace host
