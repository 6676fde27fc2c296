// A compiled module between the front end and the writer of GLSL: what it reads and writes, and its globals
// moved from the one block that the front end makes into one block per register file.
#pragma once

#include <string>
#include <vector>

#include "platform/gl/shader_container.h"
#include "platform/shader/hlsl_scan.h"

namespace platform::gl {

/// Kind of number that an interface variable holds.
enum class ScalarKind : u8 { kFloat, kInt, kUint, kBool };

/// An input or output of the entry function.
struct ModuleVariable {
    u32 id = 0;
    std::string semantic;  // upper case, without its number
    u32 index = 0;
    ScalarKind scalar = ScalarKind::kFloat;
    u32 components = 1;
    u32 elements = 0;  // 0: no array
    std::string name;  // for messages
};

struct ModuleSampler {
    u32 id = 0;
    std::string name;
    bool cube = false;
};

/// The block that holds the constants of one register file.
struct ModuleBlock {
    u32 id = 0;  // 0: there is none
    u32 type = 0;
    u32 first_register = 0, register_count = 0;
};

struct HlslModule {
    std::vector<u32> words;
    std::vector<ModuleVariable> inputs, outputs;
    std::vector<ModuleSampler> samplers;  // in the order of declaration
    std::vector<ShaderConstantInfo> constants;
    ModuleBlock blocks[3];  // by ShaderRegisterSet
};

/// Takes the module of the front end apart. `globals` gives the order and registers that the text asks for.
/// On success `out.words` is a module whose blocks are arrays of registers: constant n of a file lies at byte
/// (n - first_register) x 16. No name of the text is left in it.
bool TakeModule(const std::vector<u32>& words, const HlslScan& scan, bool vertex, HlslModule& out,
                std::vector<CompileMessage>& messages);

}  // namespace platform::gl
