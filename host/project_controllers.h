// What the module asks of its host, on top of the project model: nodes, controllers and their factory.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "effects/host_interfaces.h"
#include "project.h"

namespace host {

// A clip and the parameters that its project sets, as the module reads them: a node with one child, called
// "controler", for each.
class ProjectNode final : public osm3d::HostNode {
  public:
    // `clip` must outlive the node.
    explicit ProjectNode(const Clip& clip);

    const std::string& GetName() override { return name_; }
    u32 GetChildCount() override { return static_cast<u32>(children_.size()); }
    osm3d::HostNode* GetChild(u32 index) override { return children_[index].get(); }
    std::string GetAttribute(const std::string& name) override;

    // Null for the clip's own node.
    const ParameterValue* Value() const { return value_; }

  private:
    explicit ProjectNode(const ParameterValue& value) : name_("controler"), value_(&value) {}

    std::string name_;
    const ParameterValue* value_ = nullptr;
    std::vector<std::unique_ptr<ProjectNode>> children_;
};

// Finds the data object that a project calls `name`; null for none.
using DataLookup = std::function<osm3d::DataObject*(const std::string& name)>;

// What a controller needs to read its clip: handed through LoadState as the context word.
struct ClipContext {
    double length = 0;  // of the clip, seconds
    DataLookup find_data;
};

// A parameter's value over the clip.
class ProjectController : public osm3d::HostController {
  public:
    explicit ProjectController(const Parameter& parameter);

    void Evaluate(f32 normalised_time) override;
    bool IsStatic() override { return value_ ? !value_->IsAnimated() : parameter_.from == parameter_.to; }
    const std::string& GetString(std::string& out) override;
    f32 GetFloat() override { return static_cast<f32>(number_); }
    i32 GetInt() override;
    osm3d::DataObject* GetObject() override { return object_; }
    // `context` is a ClipContext, which is not kept; the project behind `node` is.
    void Load(osm3d::HostNode* node, void* context) override;

    // Sets a constant from code.
    void SetNumber(double number);

  private:
    const Parameter& parameter_;
    const ParameterValue* value_ = nullptr;  // null where the project leaves the parameter out
    double number_ = 0;
    double length_ = 0;
    osm3d::DataObject* object_ = nullptr;
};

// Makes controllers for the effects of one library.
class ProjectControllerFactory : public osm3d::HostControllerFactory {
  public:
    // `library` must outlive the factory and what it makes.
    explicit ProjectControllerFactory(const EffectLibrary& library);

    // A project builds its effects from the library: this gives a controller without type, which the module
    // passes over.
    osm3d::HostController* CreateController(osm3d::HostNode* node) override;
    osm3d::HostController* CreateController(const osm3d::ControllerDefinition& definition) override;

    // The record by which the module builds `effect`. The ids in it lead back to the library's parameters.
    osm3d::EffectDefinition Definition(const EffectEntry& effect) const;

  private:
    const EffectLibrary& library_;
    std::vector<const Parameter*> parameters_;  // by id
};

}  // namespace host
