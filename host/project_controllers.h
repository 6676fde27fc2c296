// What the module asks of its host, on top of the project model: nodes, controllers and their factory.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "effects/host_interfaces.h"
#include "project.h"

namespace host {

// A <clip> element and its <controler> children, as the module reads them.
class ProjectNode final : public osm3d::HostNode {
  public:
    explicit ProjectNode(const pugi::xml_node& node);

    const std::string& GetName() override { return name_; }
    u32 GetChildCount() override { return static_cast<u32>(children_.size()); }
    osm3d::HostNode* GetChild(u32 index) override { return children_[index].get(); }
    std::string GetAttribute(const std::string& name) override {
        return node_.attribute(name.c_str()).as_string();
    }

    const pugi::xml_node& Xml() const { return node_; }

  private:
    pugi::xml_node node_;
    std::string name_;
    std::vector<std::unique_ptr<ProjectNode>> children_;
};

// Finds the data object that a project calls `name`; null for none.
using DataLookup = std::function<osm3d::DataObject*(const std::string& name)>;

// What a controller needs to read its clip: handed through LoadState as the context word.
struct ClipContext {
    const XmlFile* file = nullptr;
    double length = 0;  // of the clip, seconds
    DataLookup find_data;
};

// A parameter's value over the clip.
class ProjectController : public osm3d::HostController {
  public:
    explicit ProjectController(const Parameter& parameter);

    void Evaluate(f32 normalised_time) override;
    bool IsStatic() override { return !value_.IsAnimated(); }
    const std::string& GetString(std::string& out) override { return out = value_.text; }
    f32 GetFloat() override { return static_cast<f32>(number_); }
    i32 GetInt() override;
    osm3d::DataObject* GetObject() override { return object_; }
    // `context` is a ClipContext; it is not kept.
    void Load(osm3d::HostNode* node, void* context) override;

    // Sets a constant from code: an object or a number.
    void SetObject(osm3d::DataObject* object) { object_ = object; }
    void SetNumber(double number) { number_ = number; }

  private:
    const Parameter& parameter_;
    ParameterValue value_;
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
