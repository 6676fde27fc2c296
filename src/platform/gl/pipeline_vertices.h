// Vertex arrays: where a draw's vertices lie, told to OpenGL only where it changed.
#pragma once

#include <epoxy/gl.h>

#include <array>
#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/gl/device_state.h"
#include "platform/gl/gl_context.h"
#include "platform/gl/pipeline_objects.h"

namespace platform::gl {

struct PipelineStats;

/// One stream as a draw reads it.
struct StreamSource {
    GLuint buffer = 0;
    u32 offset = 0, stride = 0;
};

/// Vertex array objects, one per declaration and vertex shader object. The offset of a stream moves the first
/// vertex of a draw instead of the attributes wherever it is whole strides away.
class VertexArrays {
  public:
    VertexArrays(GlContext& context, PipelineStats& stats) : context_(context), stats_(stats) {}
    ~VertexArrays();
    VertexArrays(const VertexArrays&) = delete;
    VertexArrays& operator=(const VertexArrays&) = delete;

    /// Binds the array for these sources; returns by how many vertices the draw must be moved.
    /// `index_buffer`: 0 for a draw without indices, which leaves the array's own alone.
    u32 Bind(const VertexDeclaration& declaration, const VertexShader* shader,
             const std::array<StreamSource, kMaxStreams>& sources, GLuint index_buffer);
    void ForgetBuffer(GLuint name);
    /// A declaration or shader object goes away.
    void Forget(u32 serial);

  private:
    struct Attribute {
        GLuint location;
        VertexElement element;
    };
    struct Array {
        GLuint name = 0;
        u32 declaration = 0, shader = 0;
        std::vector<Attribute> attributes;
        std::array<StreamSource, kMaxStreams> known{};  // with what is left of the offsets
        GLuint index_buffer = 0;
    };
    Array& Find(const VertexDeclaration& declaration, const VertexShader* shader);
    void Point(const Attribute& attribute, const StreamSource& source);

    GlContext& context_;
    PipelineStats& stats_;
    std::unordered_map<u64, std::unique_ptr<Array>> arrays_;
    u64 last_key_ = 0;
    Array* last_ = nullptr;
};

/// A ring of buffer memory for data that is drawn once.
class StreamRing {
  public:
    StreamRing(GlContext& context, u32 bytes) : context_(context), capacity_(bytes) {}
    ~StreamRing();
    StreamRing(const StreamRing&) = delete;
    StreamRing& operator=(const StreamRing&) = delete;

    /// Copies data in and returns where it starts; `alignment` need not be a power of two.
    u32 Put(const void* data, u32 bytes, u32 alignment);
    GLuint Name() const { return name_; }

  private:
    GlContext& context_;
    GLuint name_ = 0;
    u32 capacity_, next_ = 0;
};

}  // namespace platform::gl
