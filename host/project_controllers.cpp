#include "project_controllers.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace host {
namespace {

const Parameter& NoParameter() {
    static const Parameter none{};
    return none;
}

}  // namespace

ProjectNode::ProjectNode(const pugi::xml_node& node) : node_(node), name_(node.name()) {
    for (const pugi::xml_node& child : node.children())
        if (child.type() == pugi::node_element) children_.push_back(std::make_unique<ProjectNode>(child));
}

ProjectController::ProjectController(const Parameter& parameter) : parameter_(parameter) {
    const bool is_number = parameter.type != ParameterType::Object && parameter.type != ParameterType::String;
    // The module passes a controller without a type over, so that the effect keeps what it has.
    if (!is_number || !parameter.default_text.empty()) type = static_cast<i32>(parameter.type);
    number_ = std::atof(parameter.default_text.c_str());
    if (parameter.type == ParameterType::String) value_.text = parameter.default_text;
}

void ProjectController::Evaluate(f32 normalised_time) {
    if (!value_.IsAnimated()) return;
    const double seconds = static_cast<double>(normalised_time) * length_;
    number_ = host::Evaluate(value_.keys, std::isfinite(seconds) ? seconds : 0);
}

i32 ProjectController::GetInt() {
    // An animated integer holds its value until the next whole one is reached.
    return static_cast<i32>(std::floor(std::clamp(number_ + 1e-6, -1e9, 1e9)));
}

void ProjectController::Load(osm3d::HostNode* node, void* context) {
    const auto& clip = *static_cast<const ClipContext*>(context);
    value_ = ReadParameterValue(*clip.file, static_cast<ProjectNode*>(node)->Xml(), parameter_);
    length_ = clip.length;
    type = static_cast<i32>(parameter_.type);
    if (parameter_.type == ParameterType::Object) {
        object_ = value_.text.empty() ? nullptr : clip.find_data(value_.text);
    } else if (value_.IsAnimated()) {
        number_ = value_.keys.front().value;
    } else {
        number_ = std::atof(value_.text.c_str());
    }
}

ProjectControllerFactory::ProjectControllerFactory(const EffectLibrary& library) : library_(library) {
    for (const EffectEntry& effect : library_.Effects())
        for (const Parameter& parameter : effect.parameters) parameters_.push_back(&parameter);
}

osm3d::HostController* ProjectControllerFactory::CreateController(osm3d::HostNode*) {
    return new ProjectController(NoParameter());
}

osm3d::HostController* ProjectControllerFactory::CreateController(
    const osm3d::ControllerDefinition& definition) {
    return new ProjectController(definition.id < parameters_.size() ? *parameters_[definition.id]
                                                                    : NoParameter());
}

osm3d::EffectDefinition ProjectControllerFactory::Definition(const EffectEntry& effect) const {
    osm3d::EffectDefinition definition;
    definition.name = effect.name;
    definition.description = effect.description;
    for (const Parameter& parameter : effect.parameters) {
        osm3d::ControllerDefinition child;
        const auto at = std::find(parameters_.begin(), parameters_.end(), &parameter);
        child.id = static_cast<u32>(at - parameters_.begin());
        child.name = parameter.name;
        child.description = parameter.description;
        for (const Choice& choice : parameter.choices)
            child.choices.push_back({choice.title, choice.value, 0});
        child.kind = static_cast<u32>(parameter.type);
        definition.children.push_back(std::move(child));
    }
    return definition;
}

}  // namespace host
