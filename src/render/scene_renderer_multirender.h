// What the scene renderers that compose several pictures share.
#pragma once

#include "platform/types.h"
#include "scene/scene_renderer.h"

namespace osm3d {

class Material;

/// Base of the renderers that compose several pictures.
class SceneRendererMultirender : public SceneRenderer {
  public:
    /// Draws a rectangle with `material`, once per pass, or with the default material for null. Each
    /// rectangle is four floats x0, y0, x1, y1: `position` in clip space (y1 the upper edge, which takes the
    /// texture's y1), `uv0` to `uv2` in texture coordinates; the last two may be null.
    virtual void DrawScreenQuad(Material* material, const f32* position, const f32* uv0, const f32* uv1,
                                const f32* uv2);
};

}  // namespace osm3d
