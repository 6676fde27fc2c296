// What render, depth, stencil, blend and sampler states mean in OpenGL.
#pragma once

#include <epoxy/gl.h>

#include <array>
#include <unordered_map>

#include "platform/gl/device_state.h"
#include "platform/gl/gl_context.h"

namespace platform::gl {

/// Sends the groups of `dirty` that no program takes up: raster, blend, depth, stencil, viewport, scissor and
/// target. `transformed`: the draw's vertices are pre-transformed, and the viewport's depth range does not
/// act.
void SendOutputState(const DeviceState& state, u32 dirty, bool transformed, GlStateCache& gl);

GLenum CompareFunc(DWORD func);
/// Number of vertices of a count of primitives; 0 for a type that does not exist.
u64 VertexCount(D3DPRIMITIVETYPE type, u64 primitive_count);
/// GL_POINTS to GL_TRIANGLE_FAN.
GLenum PrimitiveMode(D3DPRIMITIVETYPE type);

/// One OpenGL sampler object per distinct set of sampler states.
class SamplerCache {
  public:
    explicit SamplerCache(GlContext& context);
    ~SamplerCache();
    SamplerCache(const SamplerCache&) = delete;
    SamplerCache& operator=(const SamplerCache&) = delete;

    /// The sampler object for the states of a sampler, as one that reads a cube texture or a plain one.
    GLuint Find(const std::array<DWORD, kSamplerStates>& states, bool cube);

  private:
    struct Key {
        std::array<DWORD, 9> values{};
        bool operator==(const Key&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Key& key) const;
    };
    GLint Wrap(DWORD mode) const;
    GLuint Make(const Key& key) const;

    GlContext& context_;
    bool mirror_once_;
    std::unordered_map<Key, GLuint, Hash> samplers_;
};

}  // namespace platform::gl
