#include "effect_library.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "xml_file.h"

namespace host {
namespace {

constexpr std::array<std::pair<const char*, ParameterType>, 5> kTypes = {{{"string", ParameterType::String},
                                                                          {"float", ParameterType::Float},
                                                                          {"int", ParameterType::Int},
                                                                          {"choice", ParameterType::Choice},
                                                                          {"object", ParameterType::Object}}};

ParameterType ReadType(const XmlFile& file, const pugi::xml_node& node) {
    const std::string text = file.Required(node, "type");
    for (const auto& [name, type] : kTypes)
        if (text == name) return type;
    file.Fail(node, fmt::format("type=\"{}\" is not one of string, float, int, choice, object", text));
}

}  // namespace

const char* TypeName(ParameterType type) {
    for (const auto& [name, t] : kTypes)
        if (t == type) return name;
    return "?";
}

EffectLibrary::EffectLibrary(const std::string& path) {
    const XmlFile file(path, "library");
    file.Expect(file.Root(), "version", "effect");
    for (const pugi::xml_node& node : file.Root().children("effect")) {
        file.Expect(node, "name title role description", "parameter");
        EffectEntry effect;
        effect.name = file.Required(node, "name");
        effect.title = node.attribute("title").as_string();
        effect.role = node.attribute("role").as_string();
        effect.description = node.attribute("description").as_string();
        for (const pugi::xml_node& child : node.children("parameter")) {
            file.Expect(child, "name type default data description", "choice");
            Parameter parameter;
            parameter.name = file.Required(child, "name");
            parameter.type = ReadType(file, child);
            parameter.default_text = child.attribute("default").as_string();
            parameter.data = child.attribute("data").as_string();
            parameter.description = child.attribute("description").as_string();
            const bool is_number = parameter.type == ParameterType::Float ||
                                   parameter.type == ParameterType::Int ||
                                   parameter.type == ParameterType::Choice;
            if (is_number && child.attribute("default"))
                file.ToNumber(child, "default", parameter.default_text);
            for (const pugi::xml_node& choice : child.children("choice"))
                parameter.choices.push_back(
                    {file.Required(choice, "value"), choice.attribute("title").as_string()});
            effect.parameters.push_back(std::move(parameter));
        }
        effects_.push_back(std::move(effect));
    }
}

const EffectEntry* EffectLibrary::Find(const std::string& name) const {
    for (const EffectEntry& effect : effects_)
        if (effect.name == name) return &effect;
    return nullptr;
}

}  // namespace host
