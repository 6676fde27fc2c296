// Effect functions to the container that this device takes: scanned (hlsl_scan), read by glslang
// (hlsl_front_end), their globals laid out in registers (hlsl_module), written as GLSL by SPIRV-Cross, and
// framed here. The writer's variables for inputs and outputs become plain globals of the text; the frame
// fills them from attributes and gives them on.
#include "platform/gl/hlsl_compiler.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <spirv_cross/spirv_glsl.hpp>

#include "platform/gl/hlsl_front_end.h"
#include "platform/gl/hlsl_module.h"
#include "platform/gl/shader_container.h"

namespace platform::gl {
namespace {

constexpr u32 kDeviceSamplers = 8;

struct Profile {
    const char* name;
    bool vertex;
    u32 floats, ints, samplers, coordinates;
};
// How many constants, samplers and texture coordinates each has. Integers and truth values came with 2_0 for
// vertices; the first model is given them as well, for loops that a compiler would unroll.
constexpr Profile kProfiles[] = {
    {"vs_1_0", true, 96, 16, 0, 8},   {"vs_1_1", true, 96, 16, 0, 8},   {"vs_2_0", true, 256, 16, 0, 8},
    {"vs_2_a", true, 256, 16, 0, 8},  {"vs_2_sw", true, 256, 16, 0, 8}, {"ps_1_0", false, 8, 16, 4, 4},
    {"ps_1_1", false, 8, 16, 4, 4},   {"ps_1_2", false, 8, 16, 4, 4},   {"ps_1_3", false, 8, 16, 4, 4},
    {"ps_1_4", false, 8, 16, 6, 6},   {"ps_2_0", false, 32, 16, 16, 8}, {"ps_2_a", false, 32, 16, 16, 8},
    {"ps_2_b", false, 32, 16, 16, 8}, {"ps_2_sw", false, 32, 16, 16, 8}};

const Profile* FindProfile(std::string_view name) {
    for (const Profile& profile : kProfiles) {
        if (name == profile.name) return &profile;
    }
    return nullptr;
}

std::optional<DWORD> UsageOf(const std::string& semantic) {
    static constexpr struct {
        const char* name;
        DWORD usage;
    } kUsages[] = {{"POSITION", D3DDECLUSAGE_POSITION},
                   {"SV_POSITION", D3DDECLUSAGE_POSITION},
                   {"BLENDWEIGHT", D3DDECLUSAGE_BLENDWEIGHT},
                   {"BLENDINDICES", D3DDECLUSAGE_BLENDINDICES},
                   {"NORMAL", D3DDECLUSAGE_NORMAL},
                   {"PSIZE", D3DDECLUSAGE_PSIZE},
                   {"TEXCOORD", D3DDECLUSAGE_TEXCOORD},
                   {"TANGENT", D3DDECLUSAGE_TANGENT},
                   {"BINORMAL", D3DDECLUSAGE_BINORMAL},
                   {"COLOR", D3DDECLUSAGE_COLOR},
                   {"TESSFACTOR", D3DDECLUSAGE_TESSFACTOR},
                   {"FOG", D3DDECLUSAGE_FOG},
                   {"DEPTH", D3DDECLUSAGE_DEPTH}};
    for (const auto& it : kUsages) {
        if (semantic == it.name) return it.usage;
    }
    return std::nullopt;
}

std::string TypeName(ScalarKind kind, u32 components) {
    static constexpr const char* kScalars[] = {"float", "int", "uint", "bool"};
    static constexpr const char* kVectors[] = {"vec", "ivec", "uvec", "bvec"};
    const auto at = static_cast<std::size_t>(kind);
    return components == 1 ? kScalars[at] : kVectors[at] + std::to_string(components);
}

// The first components of a vec4, as the type of a variable.
std::string From(const std::string& vector, const ModuleVariable& it) {
    static constexpr const char* kParts[] = {"", ".x", ".xy", ".xyz", ""};
    const std::string part = vector + kParts[it.components];
    return it.scalar == ScalarKind::kFloat ? part : TypeName(it.scalar, it.components) + "(" + part + ")";
}

// A variable as a vec4 with 0, 0, 1 for what it lacks.
std::string Whole(const std::string& name, const ModuleVariable& it) {
    static constexpr const char* kRest[] = {"", ", 0.0, 0.0, 1.0", ", 0.0, 1.0", ", 1.0", ""};
    const std::string value = it.scalar == ScalarKind::kFloat
                                  ? name
                                  : TypeName(ScalarKind::kFloat, it.components) + "(" + name + ")";
    return it.components == 4 ? value : "vec4(" + value + kRest[it.components] + ")";
}

class Compiler {
  public:
    Compiler(const ShaderRequest& request, const HlslScan& scan, CompiledShader& out,
             std::vector<CompileMessage>& messages)
        : request_(request), scan_(scan), out_(out), messages_(messages) {}

    bool Run() {
        profile_ = FindProfile(request_.profile);
        if (profile_ == nullptr) return Fail("there is no such profile");
        std::vector<u32> words;
        if (!ReadHlsl(scan_, request_.text, request_.entry, profile_->vertex, words, messages_) ||
            !TakeModule(words, scan_, profile_->vertex, module_, messages_)) {
            return false;
        }
        source_.kind = profile_->vertex ? ShaderKind::kVertex : ShaderKind::kPixel;
        if (!PlaceSamplers() || !CheckConstants() || !Frame()) return false;
        const std::string body = Body();
        source_.text = "precision highp float;\nprecision highp int;\n" + head_ + body + tail_;
        out_.tokens = PackShader(source_);
        if (out_.tokens.size() * 4 > kShaderContainerLimit) return Fail("the shader is too large");
        out_.constants = module_.constants;
        return true;
    }

  private:
    // A message that belongs to the entry function as a whole.
    bool Fail(std::string text) {
        messages_.push_back({scan_.entry_line, scan_.entry_column, std::move(text)});
        return false;
    }
    bool Fail(const HlslGlobal& global, std::string text) {
        messages_.push_back({global.line, global.column, std::move(text)});
        return false;
    }
    const HlslGlobal& GlobalOf(std::string_view name) const {
        return *std::find_if(scan_.globals.begin(), scan_.globals.end(),
                             [&](const HlslGlobal& global) { return global.name == name; });
    }
    // A uniform's name. Both stages of a program share its uniforms: the same name would be the same
    // registers.
    std::string StageName(const char* name) const {
        return std::string(name) + (profile_->vertex ? "v" : "p");
    }
    bool PlaceSamplers();
    bool CheckConstants();
    bool Frame();
    bool Input(const ModuleVariable& it, const std::string& name, u32 index);
    bool Output(const ModuleVariable& it, const std::string& name, u32 index);
    std::string Body() const;

    const ShaderRequest& request_;
    const HlslScan& scan_;
    CompiledShader& out_;
    std::vector<CompileMessage>& messages_;
    const Profile* profile_ = nullptr;
    HlslModule module_;
    ShaderSource source_;
    std::string head_, before_, after_, tail_;
    std::vector<std::string> written_;  // outputs, each once
};

bool Compiler::PlaceSamplers() {
    const u32 units = std::min(profile_->samplers, kDeviceSamplers);
    u32 taken = 0;
    out_.samplers.resize(module_.samplers.size());
    for (const bool asked : {true, false}) {
        for (std::size_t i = 0; i < module_.samplers.size(); ++i) {
            const ModuleSampler& it = module_.samplers[i];
            const HlslGlobal& global = GlobalOf(it.name);
            if ((global.register_number >= 0) != asked) continue;
            u32 unit = asked ? static_cast<u32>(global.register_number) : 0;
            while (!asked && unit < units && (taken >> unit & 1u) != 0) ++unit;
            if (unit >= units || (taken >> unit & 1u) != 0) {
                return Fail(global, "there is no unit for the sampler '" + it.name + "'");
            }
            taken |= 1u << unit;
            out_.samplers[i] = {it.name, unit, it.cube};
            const std::string name = "osm_s" + std::to_string(i);
            source_.samplers.push_back({unit, it.cube ? SamplerType::kCube : SamplerType::k2D, name});
            head_ += std::string("uniform ") + (it.cube ? "samplerCube " : "sampler2D ") + name + ";\n";
        }
    }
    return true;
}

bool Compiler::CheckConstants() {
    for (const ShaderConstantInfo& it : module_.constants) {
        const u32 limit = it.set == ShaderRegisterSet::kFloat ? profile_->floats : profile_->ints;
        if (it.first_register + it.register_count <= limit) continue;
        const std::string name = it.name.substr(0, it.name.find_first_of(".["));
        return Fail(GlobalOf(name),
                    "there is no room in the registers of " + request_.profile + " for '" + it.name + "'");
    }
    static constexpr struct {
        ConstantSet set;
        ConstantType type;
        const char* declared;
        const char* name;
    } kFiles[] = {{ConstantSet::kFloat, ConstantType::kVec4, "uniform vec4 ", "osm_f"},
                  {ConstantSet::kInt, ConstantType::kIvec4, "uniform ivec4 ", "osm_i"},
                  {ConstantSet::kBool, ConstantType::kBool, "uniform bool ", "osm_b"}};
    for (std::size_t i = 0; i < 3; ++i) {
        const ModuleBlock& block = module_.blocks[i];
        if (block.id == 0) continue;
        const std::string count = std::to_string(block.register_count);
        const std::string name = StageName(kFiles[i].name);
        head_ += kFiles[i].declared + name + "[" + count + "];\n";
        source_.constants.push_back(
            {kFiles[i].set, block.first_register, block.register_count, kFiles[i].type, name});
        if (kFiles[i].type == ConstantType::kBool) {
            // The writer reads truth values as numbers.
            head_ += "uvec4 osm_t[" + count + "];\n";
            for (u32 at = 0; at < block.register_count; ++at) {
                const std::string place = "[" + std::to_string(at) + "]";
                before_ += "    osm_t" + place + " = uvec4(" + name + place + ");\n";
            }
        }
    }
    return true;
}

bool Compiler::Input(const ModuleVariable& it, const std::string& name, u32 index) {
    const std::string shown = it.semantic + (index != 0 ? std::to_string(index) : "");
    std::string from;
    if (profile_->vertex) {
        const auto usage = UsageOf(it.semantic);
        if (!usage || index > 15) return Fail("no vertex input is called '" + shown + "'");
        const std::string attribute = "osm_a" + std::to_string(source_.attributes.size());
        for (const ShaderAttribute& other : source_.attributes) {
            if (other.usage == *usage && other.usage_index == index) {
                return Fail("the input '" + shown + "' is declared twice");
            }
        }
        if (source_.attributes.size() == 16) return Fail("there are more than 16 vertex inputs");
        source_.attributes.push_back({*usage, index, attribute});
        head_ += "in vec4 " + attribute + ";\n";
        from = attribute;
    } else if (it.semantic == "TEXCOORD") {
        if (index >= profile_->coordinates) {
            return Fail(request_.profile + " has no input '" + shown + "'");
        }
        from = "osm_TexCoord[" + std::to_string(index) + "]";
    } else if (it.semantic == "COLOR" && index < 2) {
        from = "osm_Color[" + std::to_string(index) + "]";
    } else if (it.semantic == "POSITION" || it.semantic == "FOG" || it.semantic == "PSIZE") {
        // What a vertex shader returns may be taken as a whole; these parts of it do not arrive here.
        from = "vec4(0.0)";
    } else {
        return Fail("no pixel input is called '" + shown + "'");
    }
    before_ += "    " + name + " = " + From(from, it) + ";\n";
    return true;
}

bool Compiler::Output(const ModuleVariable& it, const std::string& name, u32 index) {
    const std::string shown = it.semantic + (index != 0 ? std::to_string(index) : "");
    const std::string whole = Whole(name, it);
    std::string to;
    if (!profile_->vertex) {
        if ((it.semantic != "COLOR" && it.semantic != "SV_TARGET") || index != 0) {
            return Fail("a pixel shader cannot give '" + shown + "' here");
        }
        to = "color = " + whole;
    } else if ((it.semantic == "POSITION" || it.semantic == "SV_POSITION") && index == 0) {
        to = "osm_Position = " + whole;
    } else if (it.semantic == "COLOR" && index < 2) {
        to = "osm_Color[" + std::to_string(index) + "] = " + whole;
    } else if (it.semantic == "TEXCOORD" && index < profile_->coordinates) {
        to = "osm_TexCoord[" + std::to_string(index) + "] = " + whole;
    } else if (it.semantic == "FOG" && index == 0) {
        to = "osm_Fog = " + whole + ".x";
    } else if (it.semantic == "PSIZE" && index == 0) {
        to = "osm_PointSize = " + whole + ".x";
    } else {
        return Fail("no vertex output is called '" + shown + "'");
    }
    const std::string target = to.substr(0, to.find(' '));
    if (std::find(written_.begin(), written_.end(), target) != written_.end()) {
        return Fail("the output '" + shown + "' is declared twice");
    }
    written_.push_back(target);
    after_ += "    " + to + ";\n";
    return true;
}

// What stands around the writer's text.
bool Compiler::Frame() {
    const auto each = [&](const std::vector<ModuleVariable>& variables, const char* prefix, auto place) {
        for (std::size_t i = 0; i < variables.size(); ++i) {
            const ModuleVariable& it = variables[i];
            const std::string name = prefix + std::to_string(i);
            const std::string type = TypeName(it.scalar, it.components);
            head_ +=
                type + " " + name + (it.elements != 0 ? "[" + std::to_string(it.elements) + "]" : "") + ";\n";
            for (u32 n = 0; n < std::max(it.elements, 1u); ++n) {
                const std::string one = it.elements != 0 ? name + "[" + std::to_string(n) + "]" : name;
                if (prefix == std::string_view("osm_o")) before_ += "    " + one + " = " + type + "(0);\n";
                if (!(this->*place)(it, one, it.index + n)) return false;
            }
        }
        return true;
    };
    if (!each(module_.inputs, "osm_v", &Compiler::Input) ||
        !each(module_.outputs, "osm_o", &Compiler::Output)) {
        return false;
    }
    const char* const needed = profile_->vertex ? "osm_Position" : "color";
    if (std::find(written_.begin(), written_.end(), needed) == written_.end()) {
        return Fail(profile_->vertex ? "the vertex shader gives no POSITION"
                                     : "the pixel shader gives no COLOR");
    }
    tail_ = profile_->vertex ? "void osm_vertex() {\n" + before_ + "    osm_main();\n" + after_ + "}\n"
                             : "vec4 osm_pixel() {\n" + before_ + "    osm_main();\n    vec4 color;\n" +
                                   after_ + "    return color;\n}\n";
    return true;
}

std::string Compiler::Body() const {
    spirv_cross::CompilerGLSL writer(module_.words);
    spirv_cross::CompilerGLSL::Options options;
    options.version = 300;
    options.es = true;
    options.enable_420pack_extension = false;
    options.separate_shader_objects = false;
    options.emit_line_directives = false;
    options.fragment.default_float_precision = spirv_cross::CompilerGLSL::Options::Highp;
    options.fragment.default_int_precision = spirv_cross::CompilerGLSL::Options::Highp;
    writer.set_common_options(options);
    const auto hide = [&](u32 id, const std::string& name) {
        writer.set_name(id, name);
        writer.set_remapped_variable_state(id, true);
    };
    for (std::size_t i = 0; i < module_.inputs.size(); ++i) {
        hide(module_.inputs[i].id, "osm_v" + std::to_string(i));
    }
    for (std::size_t i = 0; i < module_.outputs.size(); ++i) {
        hide(module_.outputs[i].id, "osm_o" + std::to_string(i));
    }
    for (std::size_t i = 0; i < module_.samplers.size(); ++i) {
        hide(module_.samplers[i].id, "osm_s" + std::to_string(i));
    }
    static constexpr const char* kBlocks[] = {"osm_f", "osm_i", "osm_t"};
    for (std::size_t i = 0; i < 3; ++i) {
        if (module_.blocks[i].id == 0) continue;
        // An array in place of a block is called as the block's type.
        writer.flatten_buffer_block(module_.blocks[i].id);
        writer.set_name(module_.blocks[i].type, i < 2 ? StageName(kBlocks[i]) : std::string(kBlocks[i]));
        writer.set_remapped_variable_state(module_.blocks[i].id, true);
    }
    std::string text = writer.compile();
    // The frame has the version and the precision; main is called by it.
    std::string body;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        const std::string_view row(text.data() + at, end - at);
        at = end;
        if (row.starts_with("#version") || row.starts_with("precision ") || row == "\n") continue;
        body += row == "void main()\n" ? std::string_view("void osm_main()\n") : row;
    }
    return body;
}

}  // namespace

bool HlslProfile(std::string_view name, bool& vertex) {
    const Profile* profile = FindProfile(name);
    if (profile != nullptr) vertex = profile->vertex;
    return profile != nullptr;
}

bool CompileHlsl(const ShaderRequest& request, const HlslScan& scan, CompiledShader& out,
                 std::vector<CompileMessage>& messages) {
    try {
        if (Compiler(request, scan, out, messages).Run()) return true;
    } catch (const std::exception& error) {
        // Registers can be read by an index of a variable, their parts cannot.
        const std::string why = error.what();
        messages.push_back(
            {scan.entry_line, scan.entry_column,
             why.find("flattened") != std::string::npos
                 ? "a constant's component, row or whole array is taken in a way that registers do not have: "
                   "copy the constant to a local variable first"
                 : "the shader cannot be written: " + why});
    }
    out = {};
    return false;
}

}  // namespace platform::gl
