#include "project.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <utility>

namespace host {
namespace {

constexpr double kMaxSize = 8192;
constexpr double kMaxLength = 24.0 * 3600;

unsigned ReadSize(const XmlFile& file, const pugi::xml_node& node, const char* attribute, double fallback) {
    const double value = file.Number(node, attribute, fallback);
    if (value < 1 || value > kMaxSize || value != std::floor(value))
        file.Fail(node, fmt::format("{} must be a whole number from 1 to {}", attribute, kMaxSize));
    return static_cast<unsigned>(value);
}

void ReadBackground(const XmlFile& file, const pugi::xml_node& node, float* rgb) {
    const std::string text = node.attribute("background").as_string("#000000");
    if (text.size() != 7 || text[0] != '#' ||
        text.find_first_not_of("0123456789abcdefABCDEF", 1) != text.npos)
        file.Fail(node, fmt::format("background=\"{}\" is not a colour of the form #rrggbb", text));
    for (std::size_t i = 0; i < 3; ++i)
        rgb[i] = static_cast<float>(std::strtol(text.substr(1 + 2 * i, 2).c_str(), nullptr, 16)) / 255.0f;
}

DataItem ReadDataItem(const XmlFile& file, const pugi::xml_node& node, const std::filesystem::path& folder) {
    file.Expect(node, "name file", "");
    DataItem item;
    item.kind = node.name();
    item.name = file.Required(node, "name");
    const std::filesystem::path path = file.Required(node, "file");
    item.path = path.is_absolute() ? path.string() : (folder / path).string();
    item.place = file.Place(node);
    const std::string extension = path.extension().string();
    const bool is_scene = extension == ".om2";
    if (is_scene != (item.kind == "scene"))
        file.Fail(node, fmt::format("a {} cannot be a \"{}\" file{}", item.kind, extension,
                                    is_scene ? "; use <scene>" : ""));
    return item;
}

void CheckObject(const Project& project, const XmlFile& file, const pugi::xml_node& node,
                 const Parameter& parameter, const std::string& name) {
    const DataItem* item = project.FindData(name);
    if (!item) file.Fail(node, fmt::format("there is no data named \"{}\" in <data>", name));
    if (item->kind != parameter.data)
        file.Fail(node, fmt::format("\"{}\" is a {}, but \"{}\" takes a {}", name, item->kind, parameter.name,
                                    parameter.data));
}

Clip ReadClip(const Project& project, const pugi::xml_node& node, const EffectLibrary& library) {
    const XmlFile& file = *project.file;
    file.Expect(node, "effect name start length", "controler");
    Clip clip;
    clip.node = node;
    clip.place = file.Place(node);
    const std::string effect = file.Required(node, "effect");
    clip.effect = library.Find(effect);
    if (!clip.effect)
        file.Fail(node, fmt::format("there is no effect \"{}\"; osmplay effects lists them", effect));
    clip.name = node.attribute("name").as_string(effect.c_str());
    clip.start = file.Number(node, "start", 0);
    if (!node.attribute("length")) file.Fail(node, "<clip> needs the attribute \"length\" (seconds)");
    clip.length = file.Number(node, "length", 0);
    if (clip.length <= 0 || clip.length > kMaxLength)
        file.Fail(node, "length must be above 0 and at most a day");
    if (std::abs(clip.start) > kMaxLength) file.Fail(node, "start lies more than a day away");

    std::set<std::string> seen;
    for (const pugi::xml_node& child : node.children("controler")) {
        const std::string name = file.Required(child, "name");
        const auto& all = clip.effect->parameters;
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const Parameter& p) { return p.name == name; });
        if (found == all.end())
            file.Fail(child,
                      fmt::format("{} has no parameter \"{}\"; osmplay effects lists them", effect, name));
        if (!seen.insert(name).second) file.Fail(child, fmt::format("\"{}\" is set twice", name));
        const ParameterValue value = ReadParameterValue(file, child, *found);
        if (found->type == ParameterType::Object && !value.text.empty())
            CheckObject(project, file, child, *found, value.text);
    }
    return clip;
}

}  // namespace

double Evaluate(const std::vector<Key>& keys, double time) {
    const auto next = std::find_if(keys.begin(), keys.end(), [&](const Key& k) { return k.time > time; });
    if (next == keys.begin()) return keys.front().value;
    const Key& from = *(next - 1);
    if (next == keys.end() || from.curve == Curve::Step) return from.value;
    double u = (time - from.time) / (next->time - from.time);
    if (from.curve == Curve::Smooth) u = u * u * (3 - 2 * u);
    return from.value + (next->value - from.value) * u;
}

ParameterValue ReadParameterValue(const XmlFile& file, const pugi::xml_node& node,
                                  const Parameter& parameter) {
    file.Expect(node, "name value", "key");
    const bool has_text = static_cast<bool>(node.attribute("value"));
    const bool has_keys = static_cast<bool>(node.child("key"));
    if (has_text == has_keys)
        file.Fail(node, "a <controler> takes either the attribute \"value\" or <key> elements");
    const bool is_number = parameter.type != ParameterType::Object && parameter.type != ParameterType::String;
    ParameterValue result;
    if (has_text) {
        result.text = node.attribute("value").value();
        if (is_number) {
            const double value = file.ToNumber(node, "value", result.text);
            if (parameter.type != ParameterType::Float &&
                (value != std::floor(value) || std::abs(value) > 1e9))
                file.Fail(node, fmt::format("\"{}\" takes a whole number", parameter.name));
            const auto& choices = parameter.choices;
            if (!choices.empty() && std::none_of(choices.begin(), choices.end(),
                                                 [&](const Choice& c) { return c.value == result.text; }))
                file.Fail(node, fmt::format("value=\"{}\" is not one of the choices of \"{}\"", result.text,
                                            parameter.name));
        }
        return result;
    }
    if (!is_number || parameter.type == ParameterType::Choice)
        file.Fail(node, fmt::format("\"{}\" is a {} and cannot be animated: use value", parameter.name,
                                    TypeName(parameter.type)));
    for (const pugi::xml_node& child : node.children("key")) {
        file.Expect(child, "time value curve", "");
        Key key;
        file.Required(child, "time");
        file.Required(child, "value");
        key.time = file.Number(child, "time", 0);
        key.value = file.Number(child, "value", 0);
        const std::string curve = child.attribute("curve").as_string("linear");
        if (curve == "step")
            key.curve = Curve::Step;
        else if (curve == "smooth")
            key.curve = Curve::Smooth;
        else if (curve != "linear")
            file.Fail(child, fmt::format("curve=\"{}\" is not one of step, linear, smooth", curve));
        if (!result.keys.empty() && key.time < result.keys.back().time)
            file.Fail(child, "keys must stand in ascending order of time");
        result.keys.push_back(key);
    }
    return result;
}

std::size_t Project::FrameCount() const {
    return static_cast<std::size_t>(std::ceil(length * frames_per_second - 1e-6));
}

const DataItem* Project::FindData(const std::string& name) const {
    for (const DataItem& item : data)
        if (item.name == name) return &item;
    return nullptr;
}

namespace {

Project BuildProject(std::unique_ptr<XmlFile> xml, const EffectLibrary& library) {
    Project project;
    project.file = std::move(xml);
    const XmlFile& file = *project.file;
    const pugi::xml_node root = file.Root();
    file.Expect(root, "width height fps length background", "data layer");
    project.width = ReadSize(file, root, "width", 640);
    project.height = ReadSize(file, root, "height", 480);
    project.frames_per_second = file.Number(root, "fps", 30);
    if (project.frames_per_second < 1 || project.frames_per_second > 1000)
        file.Fail(root, "fps must lie between 1 and 1000");
    ReadBackground(file, root, project.background);

    const std::filesystem::path folder = std::filesystem::path(file.Path()).parent_path();
    for (const pugi::xml_node& list : root.children("data")) {
        file.Expect(list, "", "scene bitmap");
        for (const pugi::xml_node& node : list.children()) {
            if (node.type() != pugi::node_element) continue;
            DataItem item = ReadDataItem(file, node, folder);
            if (project.FindData(item.name))
                file.Fail(node, fmt::format("the name \"{}\" is taken already", item.name));
            project.data.push_back(std::move(item));
        }
    }
    double end = 0;
    for (const pugi::xml_node& layer : root.children("layer")) {
        file.Expect(layer, "name", "clip");
        auto& clips = project.layers.emplace_back();
        for (const pugi::xml_node& node : layer.children("clip")) {
            clips.push_back(ReadClip(project, node, library));
            end = std::max(end, clips.back().start + clips.back().length);
        }
    }
    project.length = file.Number(root, "length", end);
    if (project.length <= 0 || project.length > kMaxLength)
        file.Fail(root, "nothing to show: no clip ends after 0, and length is not above 0");
    return project;
}

}  // namespace

Project ReadProject(const std::string& path, const EffectLibrary& library) {
    return BuildProject(std::make_unique<XmlFile>(path, "project"), library);
}

Project SceneProject(const std::string& path, double time, int camera, const EffectLibrary& library) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("project");
    pugi::xml_node scene = root.append_child("data").append_child("scene");
    scene.append_attribute("name") = "scene";
    scene.append_attribute("file") = std::filesystem::absolute(path).c_str();
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
    return BuildProject(std::make_unique<XmlFile>(path, text.str(), "project"), library);
}

}  // namespace host
