// The one render device and everything it is known to hold.
//
//     osm3d::SetWindow(window);
//     osm3d::SetDisplaySize(640, 480, -1);
//     osm3d::Context* context = osm3d::Context::Create();
//     context->Clear(7, true);
//     context->BeginScene();
//     ...
//     context->EndScene();
//     context->Present();
//     osm3d::Context::Destroy();
//
// One thread, the one that made it. A lost device is not restored: all resources live as long as the device.
// Results of device calls are ignored except where an operation says otherwise.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/d3d9.h"
#include "platform/types.h"
#include "render/display.h"
#include "render/render_target.h"
#include "render/state_block.h"
#include "render/transform_cache.h"
#include "scene/value_types.h"

namespace osm3d {

struct OrientedBox;

/// What the engine asks of the device's capabilities.
struct DeviceCaps {
    u32 maxPaletteMatrices = 0;
    u32 maxClipPlanes = 0;
    u32 maxLights = 0;
    bool fogRange = false, fogTable = false, fogVertex = false, fogZ = false, fogW = false;
    u32 stencilBits = 0;  ///< of the depth buffer that the device was made with
    bool stencilKeep = false, stencilZero = false, stencilReplace = false, stencilIncrSat = false;
    bool stencilDecrSat = false, stencilInvert = false, stencilIncr = false, stencilDecr = false;
    bool stencilTwoSided = false;
    bool cubeMaps = false;
    bool autoGenMipmap = false;
};

struct ResourceStats {
    class Context* context = nullptr;
    std::string name;
    u32 availableTextureMemory = 0;  ///< bytes, at the device's start
    u32 counters[5] = {};
};

/// Fog as the device is to draw it.
struct FogParams {
    u32 formula = 0;  ///< 0 off, 1 linear, 2 exponential, 3 exponential squared
    u32 method = 0;   ///< 1 vertex fog, 2 table fog, 3 range-based vertex fog
    u32 colorARGB = 0;
    f32 start = 0.0f;  ///< view-space distances, for the linear formula
    f32 end = 1.0f;
    f32 density = 1.0f;  ///< for the exponential formulas
};

struct ProjectionParams {
    f32 fov = 0.0f;  ///< vertical, radians
    f32 aspect = 1.0f;
    f32 nearZ = 0.0f;
    f32 farZ = 1.0f;
};

/// Fields are there to be read by everyone; write them through the operations only, apart from
/// `effectActive`, which belongs to the effect materials.
class Context {
  public:
    /// Vertices and indices each have a ring of this many bytes.
    static constexpr u32 kScratchBytes = 0x100000;
    static constexpr u32 kStages = 8;

    /// Bits of Clear().
    enum ClearFlag : u32 { kClearColor = 1, kClearDepth = 2, kClearStencil = 4, kClearAlpha = 8 };

    /// Makes the device out of the display settings, sends it every default state, and makes it the global
    /// one. A device that cannot be had is fatal. Null only when memory is out.
    static Context* Create();

    /// Ends the global Context; nothing when there is none.
    static void Destroy();

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    ~Context();

    // ---- frame
    void BeginScene();
    void EndScene();
    void Present();
    void SetClearColor(const color& c);
    /// `flags` of ClearFlag. With `useDevice` a device clear of the whole viewport to `clearColor`, depth 1
    /// and stencil 0, without alpha-only. Otherwise a quad drawn over the viewport: it obeys the stencil
    /// test, so it must be inside a scene; it covers colour, depth and alpha-only, never stencil.
    void Clear(u32 flags, bool useDevice);

    // ---- targets
    /// Null is ignored. The target is not owned and must stay while it is current.
    void SetRenderTarget(RenderTarget* target);
    RenderTarget* GetRenderTarget() const { return renderTarget; }
    /// Writes into the current target as well.
    void SetViewport(const D3DVIEWPORT9& viewport);

    // ---- states
    void SetAmbient(const color& c);
    /// Makes the block's groups hold on the device, under the forced overlay; sends differences only.
    void ApplyRenderState(const RenderStateBlock& block);
    /// The complete default block, under the forced overlay.
    void ApplyDefaultRenderState();
    /// From now on the block's groups win over every applied block.
    void SetForcedRenderState(const RenderStateBlock& block);
    /// Ends the overlay and restores defaults, not what stood before it.
    void ClearForcedRenderState();
    /// Stages beyond the eighth are ignored.
    void ApplyStage(u32 stage, const TextureStageStateBlock& block);
    /// Unbinds stage 0 and lets the vertex colour through.
    void ResetStages();
    void SetTexture(u32 stage, IDirect3DBaseTexture9* texture);

    // ---- lights and fog
    /// Sets and enables the next device light. The caller keeps to caps.maxLights.
    void AddLight(const D3DLIGHT9& light);
    /// Disables the lights added since the last reset.
    void ResetLights();
    /// Off when `enable` is false or the formula is 0.
    void SetFog(bool enable, const FogParams& params);

    // ---- transforms
    void SetWorld(const matrix& m);
    void SetView(const matrix& m);
    void SetProjection(const matrix& m);
    /// Right-handed, `fov` vertical in radians; stored, sent and returned.
    matrix SetPerspective(f32 fov, f32 aspect, f32 nearZ, f32 farZ);
    /// World space; what lies on the normal's side is kept.
    void AddClipPlane(const plane& p);
    void ClearClipPlanes();

    // ---- resources; null when the device refuses
    ComPtr<IDirect3DTexture9> CreateTexture(u32 width, u32 height, u32 levels, u32 usage, D3DFORMAT format,
                                            D3DPOOL pool);
    ComPtr<IDirect3DVertexBuffer9> CreateVertexBuffer(u32 fvf, u32 stride, u32 count, bool dynamic);
    ComPtr<IDirect3DIndexBuffer9> CreateIndexBuffer(u32 count, bool dynamic);

    // ---- immediate drawing
    /// Room for `count` vertices, to be written only, until UnlockScratchVertices. Null when they do not fit
    /// the ring at all or the device refuses: then the draws that follow do nothing.
    void* LockScratchVertices(u32 fvf, u32 stride, u32 count);
    void UnlockScratchVertices();
    /// Draws out of the last lock, from vertex `first` on.
    void DrawScratch(D3DPRIMITIVETYPE primitive, u32 first, u32 primitiveCount);
    /// As LockScratchVertices; indices count from the first vertex of the last vertex lock.
    u16* LockScratchIndices(u32 count);
    void UnlockScratchIndices();
    void DrawScratchIndexed(D3DPRIMITIVETYPE primitive, u32 first, u32 primitiveCount);

    // ---- debug drawing: unlit, untextured, inside a scene
    /// From (x, y) of `p0` to that of `p1`, in pixels.
    void DrawLine2D(const vect3& p0, const vect3& p1, const color& c);
    /// A world-space point. Leaves the world matrix at identity.
    void DrawPoint3D(const vect3& position, const color& c);
    /// The twelve edges. The world matrix is as before afterwards.
    void DrawBox(const OrientedBox& box, const color& c);

    color clearColor{0.0f, 0.0f, 1.0f, 0.0f};
    std::vector<plane> clipPlanes;
    DeviceCaps caps;
    ResourceStats resourceStats;
    RenderStateBlock renderState{RenderStateBlock::kComplete};  ///< what the device is known to hold
    RenderStateBlock forcedRenderState{0};
    std::array<TextureStageStateBlock, kStages> stageState;  ///< what the device is known to hold
    color ambient{0.0f, 0.0f, 0.0f, 0.0f};
    u32 lightCount = 0;  ///< device lights 0 to lightCount - 1 are on
    RenderTarget* renderTarget = nullptr;
    bool effectActive = false;  ///< an effect material owns the vertex shader: immediate draws leave it alone
    TransformCache transforms;
    ProjectionParams projectionParams;
    D3DFORMAT textureFormat = D3DFMT_UNKNOWN;  ///< what the display settings prefer for textures
    ComPtr<IDirect3D9> d3d;
    ComPtr<IDirect3DDevice9> device;

  private:
    friend struct RenderTarget;
    Context(ComPtr<IDirect3D9> d3d_, ComPtr<IDirect3DDevice9> device_);
    void Initialize();
    void FillCaps();
    void MakeDebugFont();
    void UseFixedVertices();
    void DropTarget(RenderTarget* target);
    void PrepareDebugDraw();

    struct ScratchVertices {
        ComPtr<IDirect3DVertexBuffer9> buffer;
        u32 fvf = 0;
        u32 offset = 0;
        u32 bytes = 0;
        u32 stride = 0;
        bool usable = false;  // the last lock succeeded
    };
    struct ScratchIndices {
        ComPtr<IDirect3DIndexBuffer9> buffer;
        u32 offset = 0;
        u32 bytes = 0;
        bool usable = false;
    };

    ScratchVertices scratchVertices_;
    ScratchIndices scratchIndices_;
    std::unique_ptr<RenderTarget> backBuffer_;
};

/// The one Context; null before Create and after Destroy.
Context* GetContext();

/// Tells a person, then aborts the process.
[[noreturn]] void Fatal(const char* message);

}  // namespace osm3d
