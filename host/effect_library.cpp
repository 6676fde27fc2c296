#include "effect_library.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "project.h"
#include "xml_file.h"

namespace host {
namespace {

constexpr std::array<std::pair<const char*, ParameterType>, 5> kTypes = {{{"string", ParameterType::String},
                                                                          {"float", ParameterType::Float},
                                                                          {"int", ParameterType::Int},
                                                                          {"choice", ParameterType::Choice},
                                                                          {"object", ParameterType::Object}}};
constexpr std::array<std::pair<const char*, Role>, 3> kRoles = {
    {{"source", Role::Source}, {"filter", Role::Filter}, {"transition", Role::Transition}}};

// The value of `attribute` by its name in `table`.
template <class Table>
auto ReadName(XmlFile& file, const pugi::xml_node& node, const char* attribute, const Table& table) {
    const std::string text = file.Required(node, attribute);
    std::string names;
    for (const auto& [name, value] : table) {
        if (text == name) return value;
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    file.Mistake(node, fmt::format("{}=\"{}\" is not one of {}", attribute, Quoted(text), names));
    return table.front().second;
}

Parameter ReadParameter(XmlFile& file, const pugi::xml_node& node) {
    file.Expect(node, "name type default least greatest data description", "choice");
    Parameter parameter;
    parameter.name = file.Required(node, "name");
    parameter.type = ReadName(file, node, "type", kTypes);
    parameter.default_text = node.attribute("default").as_string();
    parameter.data = node.attribute("data").as_string();
    parameter.description = node.attribute("description").as_string();
    for (const pugi::xml_node& choice : node.children("choice"))
        parameter.choices.push_back({file.Required(choice, "value"), choice.attribute("title").as_string()});
    if (!parameter.IsNumber()) return parameter;

    parameter.least = file.Number(node, "least", -kGreatestNumber, -kGreatestNumber, kGreatestNumber);
    parameter.greatest = file.Number(node, "greatest", kGreatestNumber, parameter.least, kGreatestNumber);
    if (!node.attribute("default")) return parameter;
    const std::string& text = parameter.default_text;
    const std::size_t dots = text.find("..");
    const auto number = [&](const std::string& part) {
        return file.ToNumber(node, "default", part, 0, parameter.least, parameter.greatest);
    };
    parameter.from = number(text.substr(0, dots));
    parameter.to = dots == text.npos ? parameter.from : number(text.substr(dots + 2));
    return parameter;
}

}  // namespace

const char* TypeName(ParameterType type) {
    for (const auto& [name, t] : kTypes)
        if (t == type) return name;
    return "?";
}

const char* RoleName(Role role) {
    for (const auto& [name, r] : kRoles)
        if (r == role) return name;
    return "?";
}

EffectLibrary::EffectLibrary(const std::string& path) {
    XmlFile file(path, ReadTextFile(path), "library");
    file.Expect(file.Root(), "version", "effect");
    for (const pugi::xml_node& node : file.Root().children("effect")) {
        file.Expect(node, "name title role description", "parameter");
        EffectEntry effect;
        effect.name = file.Required(node, "name");
        effect.title = node.attribute("title").as_string();
        effect.role = ReadName(file, node, "role", kRoles);
        effect.description = node.attribute("description").as_string();
        for (const pugi::xml_node& child : node.children("parameter"))
            effect.parameters.push_back(ReadParameter(file, child));
        effects_.push_back(std::move(effect));
    }
    ThrowFirst(file.Mistakes());
}

const EffectEntry* EffectLibrary::Find(const std::string& name) const {
    for (const EffectEntry& effect : effects_)
        if (effect.name == name) return &effect;
    return nullptr;
}

}  // namespace host
