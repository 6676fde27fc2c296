// The effects that a project can use, as libfx.xml describes them: parameters by position, with types and
// defaults.
#pragma once

#include <string>
#include <vector>

namespace host {

// How a parameter's value reaches its effect; the numbers are the module's controller types.
enum class ParameterType { String = 0, Float = 1, Int = 2, Choice = 3, Object = 4 };

// What an effect draws from: nothing, one content, or two inputs.
enum class Role { Source, Filter, Transition };

struct Choice {
    std::string value, title;
};

struct Parameter {
    std::string name, description, default_text;
    ParameterType type = ParameterType::Float;
    // Where a project leaves the parameter out: `from`, or a straight way from there to `to` over the clip.
    double from = 0, to = 0;
    double least = 0, greatest = 0;  // of numbers
    std::string data;                // objects: "scene" or "bitmap"
    std::vector<Choice> choices;

    bool IsNumber() const { return type != ParameterType::Object && type != ParameterType::String; }
};

struct EffectEntry {
    std::string name, title, description;
    Role role = Role::Source;
    std::vector<Parameter> parameters;  // in the order that the module numbers them
};

class EffectLibrary {
  public:
    // Reads `path`. Throws cli::Error with the place of the first mistake.
    explicit EffectLibrary(const std::string& path);

    const std::vector<EffectEntry>& Effects() const { return effects_; }
    // Null when there is no effect of that name.
    const EffectEntry* Find(const std::string& name) const;

  private:
    std::vector<EffectEntry> effects_;
};

// "string", "float", "int", "choice" or "object".
const char* TypeName(ParameterType type);
// "source", "filter" or "transition".
const char* RoleName(Role role);

}  // namespace host
