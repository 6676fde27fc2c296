// Textures to draw into, and the pool that effects share them from.
#pragma once

#include <memory>
#include <vector>

#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace osm3d {

class Context;

/// A 2D texture with a depth buffer of its own; also, with a null texture, the record of the back buffer.
///
/// `viewport` is the used part of the texture, which may have been rounded up, so that
/// `viewport.Width * invWidth`, `viewport.Height * invHeight` are the texture coordinates of its lower right
/// corner. Destroying the current target makes the back buffer current.
struct RenderTarget {
    RenderTarget() = default;
    RenderTarget(const RenderTarget&) = delete;
    RenderTarget& operator=(const RenderTarget&) = delete;
    ~RenderTarget();

    ComPtr<IDirect3DTexture9> texture;
    ComPtr<IDirect3DSurface9> surface;  ///< level 0 of `texture`, or the back buffer
    ComPtr<IDirect3DSurface9> depth;
    D3DVIEWPORT9 viewport{};
    Context* owner = nullptr;  ///< set while this is the current target
    f32 invWidth = 0.0f;       ///< 1 / width of the texture as allocated; 0 for the back buffer
    f32 invHeight = 0.0f;
};

/// Makes a target on the global Context, in the display settings' colour and depth formats.
///
/// `powerOfTwo` rounds the texture up to powers of two. `keepAspect` narrows the viewport to the current
/// target's aspect within width x height. A device that refuses leaves the interfaces null.
std::unique_ptr<RenderTarget> CreateRenderTarget(u32 width, u32 height, bool powerOfTwo, bool keepAspect);

/// Lends targets of two kinds, one user at a time. Targets live as long as the process; the pool frees only
/// its lists. A target left over from an earlier device gets new surfaces when it is next handed out.
class RenderTargetPool {
  public:
    /// 0: 640 x 480 used of 1024 x 512. 1: 256 x 256 with the screen's aspect. Any other kind gives null,
    /// as does a want of a Context. The pool keeps ownership.
    RenderTarget* Acquire(u32 kind);

    /// Gives back; a target that is not the pool's is ignored.
    void Release(RenderTarget* target);

  private:
    struct Entry {
        bool inUse;
        RenderTarget* target;
    };
    std::vector<Entry> kinds_[2];
};

}  // namespace osm3d
