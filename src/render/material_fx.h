// The appearance that an effect text describes.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fxutil/effect.h"
#include "io/slot.h"
#include "material/material.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/types.h"

namespace osm3d {

class Modifier;
class Texture;

/// A material drawn by an effect: shaders and states out of a text, with textures and vectors bound by name
/// on each Begin. Stored as chunk MTFX: the file name and the inner material, nothing else.
///
///     auto glow = std::make_unique<MaterialFX>("glow.fx");
///     glow->SetMacro("TAPS", "4");           // before Load
///     glow->Load();
///     if (!glow->IsReady()) ... glow->GetLoadError() says why
///     glow->SetVector("Tint", {1, 0.5f, 0, 1});
///
/// A draw's transforms come through a modifier (CreateModifier) in the stack of what is drawn, or else
/// through PrepareDraw. The states that the passes change are those from before again after End.
class MaterialFX : public Material {
  public:
    MaterialFX() = default;

    /// `fileName` is opened as it stands, relative to the working directory. `innerMaterial` may be null and
    /// is not owned.
    explicit MaterialFX(const std::string& fileName, Material* innerMaterial = nullptr);

    /// A material whose text is the module's resource `id`, of which the low 16 bits count.
    static std::unique_ptr<MaterialFX> FromResource(u32 id);

    MaterialFX(const MaterialFX&) = delete;
    MaterialFX& operator=(const MaterialFX&) = delete;

    /// Any version.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    void Update(f32 time) override;
    u32 GetBlendClass() const override { return 1; }
    bool IsComposite() const override { return false; }

    /// Sets the first pass of the inner material, or the default material where there is none, then binds
    /// what was set here by name. 0 passes without a technique. The effect has the device until End.
    u32 Begin(u32 index) override;
    void Pass(u32 pass) override;
    void End() override;
    void PrepareDraw() override { BindTransforms(); }
    void Prepare() override;

    /// Compiles, and loads the inner material. On failure IsReady stays false. Needs a Context.
    void Load() override;

    /// Any file and any inner material will do.
    bool Validate(std::string&) const override { return true; }
    void References(std::vector<const Material*>& out) const override;

    /// Whether Load found a technique that the device can draw.
    virtual bool IsReady() const { return ready; }

    /// Why the last Load failed: "NAME(line,column): what", one message a line. Empty after a good one.
    const std::string& GetLoadError() const { return loadError; }

    /// Draws with this technique from the next Begin on; with none when the effect does not have it.
    void UseTechnique(const char* name);

    /// A new MaterialFXModifier for this material, for the caller to own.
    std::unique_ptr<Modifier> CreateModifier();

    /// Hands the Context's transforms to the parameters with the semantics WORLD, VIEW, VIEWI, PROJECTION,
    /// WORLDVIEW, WORLDVIEWI and WORLDVIEWPROJECTION. PROJECTION takes the inverse of the projection.
    void BindTransforms();

    /// Each binds a value to the parameter `name` on every Begin, in the place of an earlier one; an effect
    /// without that parameter goes without. Nothing is owned; a texture must stay as long as it is drawn
    /// with. Null binds no texture. Setting a name again does not allocate.
    void SetTexture(std::string_view name, Texture* texture);
    void SetDeviceTexture(std::string_view name, IDirect3DBaseTexture9* texture);
    void SetVector(std::string_view name, const D3DXVECTOR4& value);

    /// Defines a macro for the compiler, from the next Load on.
    void SetMacro(std::string_view name, std::string_view definition);

    const std::string& GetFile() const { return file; }
    u32 GetResourceId() const { return resourceId; }
    Material* GetInner() const { return inner; }
    /// Not owned.
    void SetInner(Material* value) { inner = value; }
    /// The compiled effect; null before Load, and when it failed.
    ID3DXEffect* GetEffect() const { return effect.Get(); }

  private:
    /// A value for a parameter, with the parameter's handle as far as it has been looked up.
    template <class T>
    struct Binding {
        T value{};
        D3DXHANDLE handle = nullptr;
    };
    template <class T>
    using Bindings = std::map<std::string, Binding<T>, std::less<>>;

    template <class T>
    void Set(Bindings<T>& bindings, std::string_view name, const T& value);
    template <class T>
    void FindParameters(Bindings<T>& bindings);
    HRESULT Compile(ComPtr<ID3DXBuffer>& errors);
    /// The text's place in messages.
    std::string SourceName() const;
    void Complain(const char* what);

    static constexpr u32 kTransforms = 7;

    Bindings<Texture*> textures;
    Bindings<IDirect3DBaseTexture9*> deviceTextures;
    Bindings<D3DXVECTOR4> vectors;
    std::map<std::string, std::string, std::less<>> macros;
    ComPtr<ID3DXEffect> effect;
    D3DXHANDLE technique = nullptr;
    UINT passCount = 0;
    u32 resourceId = 0;
    std::string file;
    Material* inner = nullptr;
    bool ready = false;
    bool begun = false;
    std::array<D3DXHANDLE, kTransforms> transformHandles{};
    std::string loadError;
};

}  // namespace osm3d
