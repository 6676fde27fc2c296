// What each Direct3D format is to OpenGL and in memory.
#pragma once

#include <epoxy/gl.h>

#include "platform/d3d9/d3d9.h"

namespace platform::gl {

struct FormatTraits {
    D3DFORMAT d3d;
    u32 block_size;       // pixels along a block's edge: 4 for DXT, else 1
    u32 block_bytes;      // bytes of a block (of a pixel for plain formats)
    GLenum internal;      // sized internal format; 0 where GL has none (system memory only)
    GLenum format, type;  // of pixels in memory; 0 for compressed formats
    GLint swizzle[4];     // what the channels r, g, b, a read in a shader
    bool target;          // can be rendered to
    bool texture;         // can be a texture
    bool depth, stencil;
    bool alpha;  // a target of this format keeps destination alpha

    bool Compressed() const { return block_size > 1; }
    // Bytes of a row of blocks `width` pixels wide, and of a whole image, as LockRect lays them.
    u32 Pitch(u32 width) const { return (width + block_size - 1) / block_size * block_bytes; }
    u32 Rows(u32 height) const { return (height + block_size - 1) / block_size; }
};

// Null for formats that this device does not know.
const FormatTraits* FindFormat(D3DFORMAT format);

}  // namespace platform::gl
