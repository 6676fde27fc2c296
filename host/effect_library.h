// The effects that a project can use, as libfx.xml describes them: parameters by position, with types and
// defaults.
#pragma once

#include <string>
#include <vector>

namespace host {

// How a parameter's value reaches its effect; the numbers are the module's controller types.
enum class ParameterType { String = 0, Float = 1, Int = 2, Choice = 3, Object = 4 };

struct Choice {
    std::string value, title;
};

struct Parameter {
    std::string name, description, default_text;
    ParameterType type = ParameterType::Float;
    std::string data;  // objects: "scene" or "bitmap"
    std::vector<Choice> choices;
};

struct EffectEntry {
    std::string name, title, role, description;
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

}  // namespace host
