// A host for tests: controllers, their factory, project nodes.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "effects/data_object.h"
#include "effects/host_interfaces.h"
#include "trace/test_messages.h"

namespace fake_host {

using namespace osm3d;

/// A parameter. Static, it holds its value; otherwise a float is `number` times the time it was evaluated at.
class Controller : public HostController {
  public:
    explicit Controller(i32 kind) { type = kind; }
    ~Controller() override {
        if (alive != nullptr) --*alive;
    }
    void Evaluate(f32 t) override {
        times.push_back(t);
        last = t;
    }
    bool IsStatic() override { return fixed; }
    const std::string& GetString(std::string& out) override { return out = text; }
    f32 GetFloat() override { return fixed ? number : number * last; }
    i32 GetInt() override { return integer; }
    DataObject* GetObject() override { return object; }
    void Load(HostNode* node, void* context) override {
        loads.emplace_back(node, context);
        number = static_cast<f32>(loads.size());
    }

    bool fixed = true;
    f32 number = 0;
    f32 last = 1;
    i32 integer = 0;
    std::string text;
    DataObject* object = nullptr;
    std::vector<f32> times;
    std::vector<std::pair<HostNode*, void*>> loads;
    int* alive = nullptr;
};

class Node final : public HostNode {
  public:
    Node(std::string name_, std::map<std::string, std::string> attributes_ = {})
        : name(std::move(name_)), attributes(std::move(attributes_)) {}
    const std::string& GetName() override { return name; }
    u32 GetChildCount() override { return static_cast<u32>(children.size()); }
    HostNode* GetChild(u32 index) override { return children[index].get(); }
    std::string GetAttribute(const std::string& key) override { return attributes[key]; }
    Node& Add(std::string child, std::map<std::string, std::string> with = {}) {
        children.push_back(std::make_unique<Node>(std::move(child), std::move(with)));
        return *children.back();
    }

    std::string name;
    std::map<std::string, std::string> attributes;
    std::vector<std::unique_ptr<Node>> children;
};

/// Makes controllers of the kind that a definition's or node's name calls for, as "float 3" or "object".
class Factory : public HostControllerFactory {
  public:
    static i32 KindOf(const std::string& name) {
        static const std::map<std::string, i32> kinds{{"string", 0}, {"float", 1},  {"int", 2},
                                                      {"choice", 3}, {"object", 4}, {"odd", 5}};
        return kinds.at(name.substr(0, name.find(' ')));
    }
    HostController* CreateController(HostNode* node) override {
        fromNodes.push_back(node);
        return Make(KindOf(node->GetAttribute("name")));
    }
    HostController* CreateController(const ControllerDefinition& definition) override {
        auto* made = Make(KindOf(definition.name));
        const auto found = values.find(definition.name);
        if (found != values.end()) {
            made->number = static_cast<f32>(found->second);
            made->integer = static_cast<i32>(found->second);
        }
        made->object = made->type == kHostObject ? object : nullptr;
        return made;
    }
    Controller* Make(i32 kind) {
        auto* made = new Controller(kind);
        made->alive = &alive;
        ++alive;
        return made;
    }

    /// Start values by parameter name, and the value of every object parameter.
    std::map<std::string, f64> values;
    DataObject* object = nullptr;
    std::vector<HostNode*> fromNodes;
    int alive = 0;
};

inline EffectDefinition Definition(const std::string& effect, const std::vector<std::string>& parameters) {
    EffectDefinition definition;
    definition.name = effect;
    for (const std::string& parameter : parameters) {
        definition.children.emplace_back();
        definition.children.back().name = parameter;
    }
    return definition;
}

using testing_messages::Listener;

}  // namespace fake_host
