// Passes made ready for a device: shaders, the registers that they take their parameters from, and states.
#pragma once

#include <array>
#include <vector>

#include "fxutil/effect_document.h"
#include "fxutil/effect_values.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/shader_compiler.h"

namespace fxutil {

/// A parameter, or a part of one, that a shader reads from registers.
struct EffectConstant {
    platform::ShaderConstantInfo info;
    u32 node = 0;
    /// The cells are what the registers hold.
    bool direct = false;
};

/// A compiled shader. Without an interface when the device did not take it.
struct EffectShaderObject {
    bool vertex = false;
    platform::CompiledShader compiled;
    ComPtr<IDirect3DVertexShader9> vertex_shader;
    ComPtr<IDirect3DPixelShader9> pixel_shader;
    std::vector<EffectConstant> constants;

    bool Made() const { return vertex ? static_cast<bool>(vertex_shader) : static_cast<bool>(pixel_shader); }
};

/// The numbers of a state, taken from the effect's or a constant.
struct EffectAction {
    const EffectStateInfo* info = nullptr;
    u32 index = 0;
    /// Takes its value from this parameter, unless kNoNode.
    u32 node = kNoNode;
    /// Constant numbers, in EffectPassObject::cells.
    u32 cell = 0, cell_count = 0;
    /// Index of an EffectShaderObject; kMaxEffectShaders for none.
    u32 shader = kMaxEffectShaders;
};

struct EffectPassObject {
    const EffectPass* text = nullptr;
    u32 first_annotation = 0, annotation_count = 0;
    /// Samplers of the shaders first, then the states of the text in its order.
    std::vector<EffectAction> actions;
    std::vector<u32> cells;
    u32 vertex_shader = kMaxEffectShaders, pixel_shader = kMaxEffectShaders;
    bool valid = true;
};

/// Registers of one file, from `first` on.
struct EffectRegisters {
    bool vertex = false;
    platform::ShaderRegisterSet set = platform::ShaderRegisterSet::kFloat;
    u32 first = 0, count = 0;
    /// Where they are kept, in words.
    u32 cell = 0;
};

/// What Begin saves and End restores.
struct EffectSavedState {
    struct Word {
        EffectStateKind kind;
        u32 index, state;
        DWORD value = 0;
        bool saved = false;
    };
    struct Texture {
        u32 unit;
        ComPtr<IDirect3DBaseTexture9> value;
        bool saved = false;
    };
    struct Transform {
        u32 state;
        D3DMATRIX value{};
        bool saved = false;
    };
    std::vector<Word> words;
    std::vector<Texture> textures;
    std::vector<Transform> transforms;
    std::vector<EffectRegisters> registers;
    std::vector<u32> register_cells;
    std::vector<u8> registers_saved;
    bool uses_vertex_shader = false, uses_pixel_shader = false, uses_material = false;
    bool vertex_shader_saved = false, pixel_shader_saved = false, material_saved = false;
    ComPtr<IDirect3DVertexShader9> vertex_shader;
    ComPtr<IDirect3DPixelShader9> pixel_shader;
    D3DMATERIAL9 material{};

    /// Adds what an action changes; twice the same counts once.
    void Add(const EffectAction& action);
    /// Adds the registers of all these shaders.
    void AddRegisters(const std::vector<const EffectShaderObject*>& shaders);
    /// `flags`: D3DXFX_DONOTSAVESTATE and the others. What the device does not tell is not restored.
    void Save(IDirect3DDevice9* device, DWORD flags);
    void Restore(IDirect3DDevice9* device);
};

struct EffectTechniqueObject {
    const EffectTechnique* text = nullptr;
    u32 first_annotation = 0, annotation_count = 0;
    u32 first_pass = 0, pass_count = 0;
    bool valid = true;
    EffectSavedState saved;
};

/// Sends states and constants. Holds no more than scratch space.
class EffectSender {
  public:
    /// `registers`: the most that any constant takes.
    void Reserve(u32 registers) { scratch_.assign(std::size_t{registers} * 4, 0); }
    void Send(IDirect3DDevice9* device, const EffectValues& values, const std::vector<u32>& cells,
              const EffectAction& action) const;
    void Send(IDirect3DDevice9* device, const EffectValues& values, bool vertex,
              const EffectConstant& constant);

  private:
    void Pack(const EffectValues& values, const EffectConstant& constant);

    std::vector<u32> scratch_;
};

}  // namespace fxutil
