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

ProjectNode::ProjectNode(const Clip& clip) : name_("clip") {
    for (const ParameterValue& value : clip.values)
        children_.push_back(std::unique_ptr<ProjectNode>(new ProjectNode(value)));
}

std::string ProjectNode::GetAttribute(const std::string& name) {
    return value_ && name == "name" ? value_->parameter->name : std::string();
}

ProjectController::ProjectController(const Parameter& parameter)
    : parameter_(parameter), number_(parameter.from) {
    // The module passes a controller without a type over, so that the effect keeps what it has.
    if (!parameter.IsNumber() || !parameter.default_text.empty()) type = static_cast<i32>(parameter.type);
}

void ProjectController::Evaluate(f32 normalised_time) {
    if (IsStatic()) return;
    const double t = std::isfinite(normalised_time) ? static_cast<double>(normalised_time) : 0;
    number_ = value_ ? host::Evaluate(value_->keys, t * length_)
                     : parameter_.from + (parameter_.to - parameter_.from) * std::clamp(t, 0.0, 1.0);
}

const std::string& ProjectController::GetString(std::string& out) {
    return out = value_ ? value_->text : parameter_.default_text;
}

i32 ProjectController::GetInt() {
    // An animated integer holds its value until the next whole one is reached.
    return static_cast<i32>(std::floor(std::clamp(number_ + 1e-6, -kGreatestNumber, kGreatestNumber)));
}

void ProjectController::Load(osm3d::HostNode* node, void* context) {
    const auto& clip = *static_cast<const ClipContext*>(context);
    value_ = static_cast<ProjectNode*>(node)->Value();
    length_ = clip.length;
    type = static_cast<i32>(parameter_.type);
    if (parameter_.type == ParameterType::Object) {
        object_ = value_->text.empty() ? nullptr : clip.find_data(value_->text);
    } else if (value_->IsAnimated()) {
        number_ = value_->keys.front().value;
    } else {
        number_ = std::strtod(value_->text.c_str(), nullptr);
    }
}

void ProjectController::SetNumber(double number) {
    type = static_cast<i32>(parameter_.type);
    number_ = number;
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
