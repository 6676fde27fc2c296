#include "platform/gl/pipeline_vertices.h"

#include <cstring>

#include "platform/gl/pipeline.h"

namespace platform::gl {

VertexArrays::~VertexArrays() {
    context_.State().BindVertexArray(0);
    for (const auto& [key, array] : arrays_) glDeleteVertexArrays(1, &array->name);
}

VertexArrays::Array& VertexArrays::Find(const VertexDeclaration& declaration, const VertexShader* shader) {
    const u32 shader_serial = shader != nullptr ? shader->serial : 0;
    const u64 key = static_cast<u64>(declaration.serial) << 32 | shader_serial;
    if (last_ != nullptr && last_key_ == key) return *last_;
    std::unique_ptr<Array>& array = arrays_[key];
    if (!array) {
        array = std::make_unique<Array>();
        array->declaration = declaration.serial;
        array->shader = shader_serial;
        glGenVertexArrays(1, &array->name);
        context_.State().BindVertexArray(array->name);
        for (const VertexElement& element : declaration.Elements()) {
            if (shader == nullptr) {
                if (element.location != kNoLocation) array->attributes.push_back({element.location, element});
                continue;
            }
            GLuint location = 0;
            for (const ShaderAttribute& wanted : shader->source.attributes) {
                // A shader reads a pre-transformed position as any other.
                const u32 usage =
                    element.usage == D3DDECLUSAGE_POSITIONT ? u32{D3DDECLUSAGE_POSITION} : element.usage;
                if (wanted.usage == usage && wanted.usage_index == element.usage_index) {
                    array->attributes.push_back({location, element});
                }
                ++location;
            }
        }
        for (const Attribute& attribute : array->attributes) glEnableVertexAttribArray(attribute.location);
    }
    last_key_ = key;
    last_ = array.get();
    return *last_;
}

void VertexArrays::Point(const Attribute& attribute, const StreamSource& source) {
    struct Format {
        GLint components;
        GLenum type;
        GLboolean normalized;
    };
    static constexpr Format kFormats[] = {{1, GL_FLOAT, GL_FALSE},
                                          {2, GL_FLOAT, GL_FALSE},
                                          {3, GL_FLOAT, GL_FALSE},
                                          {4, GL_FLOAT, GL_FALSE},
                                          {GL_BGRA, GL_UNSIGNED_BYTE, GL_TRUE},
                                          {4, GL_UNSIGNED_BYTE, GL_FALSE},
                                          {2, GL_SHORT, GL_FALSE},
                                          {4, GL_SHORT, GL_FALSE},
                                          {4, GL_UNSIGNED_BYTE, GL_TRUE},
                                          {2, GL_SHORT, GL_TRUE},
                                          {4, GL_SHORT, GL_TRUE},
                                          {2, GL_UNSIGNED_SHORT, GL_TRUE},
                                          {4, GL_UNSIGNED_SHORT, GL_TRUE},
                                          {4, GL_UNSIGNED_INT_2_10_10_10_REV, GL_FALSE},
                                          {4, GL_INT_2_10_10_10_REV, GL_TRUE},
                                          {2, GL_HALF_FLOAT, GL_FALSE},
                                          {4, GL_HALF_FLOAT, GL_FALSE}};
    const Format& format = kFormats[attribute.element.type];
    const std::size_t offset = static_cast<std::size_t>(source.offset) + attribute.element.offset;
    glVertexAttribPointer(attribute.location, format.components, format.type, format.normalized,
                          static_cast<GLsizei>(source.stride), reinterpret_cast<const void*>(offset));
}

u32 VertexArrays::Bind(const VertexDeclaration& declaration, const VertexShader* shader,
                       const std::array<StreamSource, kMaxStreams>& sources, GLuint index_buffer) {
    GlStateCache& gl = context_.State();
    Array& array = Find(declaration, shader);
    gl.BindVertexArray(array.name);
    const u32 streams = declaration.StreamMask();
    // Only one stream can be moved by moving the vertices.
    u32 moved = 0;
    u32 moving = kMaxStreams;
    if ((streams & (streams - 1)) == 0) {
        for (moving = 0; (streams >> moving & 1u) == 0;) ++moving;
        if (sources[moving].stride != 0) moved = sources[moving].offset / sources[moving].stride;
    }
    for (u32 i = 0; (streams >> i) != 0; ++i) {
        if ((streams >> i & 1u) == 0) continue;
        StreamSource wanted = sources[i];
        if (i == moving) wanted.offset -= moved * wanted.stride;
        StreamSource& known = array.known[i];
        if (known.buffer == wanted.buffer && known.offset == wanted.offset && known.stride == wanted.stride)
            continue;
        known = wanted;
        ++stats_.attribute_setups;
        gl.BindArrayBuffer(wanted.buffer);
        for (const Attribute& attribute : array.attributes) {
            if (attribute.element.stream == i) Point(attribute, wanted);
        }
    }
    if (index_buffer != 0 && array.index_buffer != index_buffer) {
        array.index_buffer = index_buffer;
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, index_buffer);
    }
    return moved;
}

void VertexArrays::ForgetBuffer(GLuint name) {
    for (const auto& [key, array] : arrays_) {
        for (StreamSource& known : array->known) {
            if (known.buffer == name) known = {};
        }
        if (array->index_buffer == name) array->index_buffer = 0;
    }
}

void VertexArrays::Forget(u32 serial) {
    last_ = nullptr;
    std::erase_if(arrays_, [&](const auto& entry) {
        if (entry.second->declaration != serial && entry.second->shader != serial) return false;
        context_.State().BindVertexArray(0);
        glDeleteVertexArrays(1, &entry.second->name);
        return true;
    });
}

StreamRing::~StreamRing() {
    if (name_ == 0) return;
    context_.State().ForgetBuffer(name_);
    glDeleteBuffers(1, &name_);
}

u32 StreamRing::Put(const void* data, u32 bytes, u32 alignment) {
    GlStateCache& gl = context_.State();
    const bool fresh = name_ == 0;
    if (fresh) glGenBuffers(1, &name_);
    gl.BindCopyWriteBuffer(name_);
    u64 start = (static_cast<u64>(next_) + alignment - 1) / alignment * alignment;
    if (fresh || start + bytes > capacity_) {
        // New storage under the same name: what is still being drawn keeps the old one.
        while (capacity_ < bytes) capacity_ *= 2;
        glBufferData(GL_COPY_WRITE_BUFFER, capacity_, nullptr, GL_STREAM_DRAW);
        start = 0;
    }
    void* place =
        glMapBufferRange(GL_COPY_WRITE_BUFFER, static_cast<GLintptr>(start), bytes,
                         GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_RANGE_BIT | GL_MAP_UNSYNCHRONIZED_BIT);
    if (place != nullptr) {
        std::memcpy(place, data, bytes);
        glUnmapBuffer(GL_COPY_WRITE_BUFFER);
    } else {
        glBufferSubData(GL_COPY_WRITE_BUFFER, static_cast<GLintptr>(start), bytes, data);
    }
    next_ = static_cast<u32>(start) + bytes;
    return static_cast<u32>(start);
}

}  // namespace platform::gl
