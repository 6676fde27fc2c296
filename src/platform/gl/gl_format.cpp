#include "platform/gl/gl_format.h"

namespace platform::gl {
namespace {

constexpr GLenum kR = GL_RED, kG = GL_GREEN, kB = GL_BLUE, kA = GL_ALPHA, k1 = GL_ONE, k0 = GL_ZERO;

// clang-format off
constexpr FormatTraits kFormats[] = {
    // format            block  internal               format    type                              swizzle           target texture depth stencil alpha
    {D3DFMT_A8R8G8B8,    1, 4,  GL_RGBA8,              GL_BGRA,  GL_UNSIGNED_INT_8_8_8_8_REV,      {kR, kG, kB, kA}, true,  true,  false, false, true},
    {D3DFMT_X8R8G8B8,    1, 4,  GL_RGB8,               GL_BGRA,  GL_UNSIGNED_INT_8_8_8_8_REV,      {kR, kG, kB, k1}, true,  true,  false, false, false},
    {D3DFMT_R5G6B5,      1, 2,  GL_RGB565,             GL_RGB,   GL_UNSIGNED_SHORT_5_6_5,          {kR, kG, kB, k1}, true,  true,  false, false, false},
    {D3DFMT_X1R5G5B5,    1, 2,  GL_RGB5,               GL_BGRA,  GL_UNSIGNED_SHORT_1_5_5_5_REV,    {kR, kG, kB, k1}, true,  true,  false, false, false},
    {D3DFMT_A1R5G5B5,    1, 2,  GL_RGB5_A1,            GL_BGRA,  GL_UNSIGNED_SHORT_1_5_5_5_REV,    {kR, kG, kB, kA}, true,  true,  false, false, true},
    {D3DFMT_A4R4G4B4,    1, 2,  GL_RGBA4,              GL_BGRA,  GL_UNSIGNED_SHORT_4_4_4_4_REV,    {kR, kG, kB, kA}, true,  true,  false, false, true},
    {D3DFMT_X4R4G4B4,    1, 2,  GL_RGB4,               GL_BGRA,  GL_UNSIGNED_SHORT_4_4_4_4_REV,    {kR, kG, kB, k1}, false, true,  false, false, false},
    {D3DFMT_A8B8G8R8,    1, 4,  GL_RGBA8,              GL_RGBA,  GL_UNSIGNED_BYTE,                 {kR, kG, kB, kA}, true,  true,  false, false, true},
    {D3DFMT_X8B8G8R8,    1, 4,  GL_RGB8,               GL_RGBA,  GL_UNSIGNED_BYTE,                 {kR, kG, kB, k1}, true,  true,  false, false, false},
    {D3DFMT_A2R10G10B10, 1, 4,  GL_RGB10_A2,           GL_BGRA,  GL_UNSIGNED_INT_2_10_10_10_REV,   {kR, kG, kB, kA}, true,  true,  false, false, true},
    {D3DFMT_A8,          1, 1,  GL_R8,                 GL_RED,   GL_UNSIGNED_BYTE,                 {k0, k0, k0, kR}, false, true,  false, false, false},
    {D3DFMT_L8,          1, 1,  GL_R8,                 GL_RED,   GL_UNSIGNED_BYTE,                 {kR, kR, kR, k1}, false, true,  false, false, false},
    {D3DFMT_A8L8,        1, 2,  GL_RG8,                GL_RG,    GL_UNSIGNED_BYTE,                 {kR, kR, kR, kG}, false, true,  false, false, false},
    {D3DFMT_L16,         1, 2,  GL_R16,                GL_RED,   GL_UNSIGNED_SHORT,                {kR, kR, kR, k1}, false, true,  false, false, false},
    {D3DFMT_V8U8,        1, 2,  GL_RG8_SNORM,          GL_RG,    GL_BYTE,                          {kR, kG, k1, k1}, false, true,  false, false, false},
    {D3DFMT_Q8W8V8U8,    1, 4,  GL_RGBA8_SNORM,        GL_RGBA,  GL_BYTE,                          {kR, kG, kB, kA}, false, true,  false, false, false},
    {D3DFMT_R16F,        1, 2,  GL_R16F,               GL_RED,   GL_HALF_FLOAT,                    {kR, k1, k1, k1}, true,  true,  false, false, false},
    {D3DFMT_G16R16F,     1, 4,  GL_RG16F,              GL_RG,    GL_HALF_FLOAT,                    {kR, kG, k1, k1}, true,  true,  false, false, false},
    {D3DFMT_A16B16G16R16F, 1, 8, GL_RGBA16F,           GL_RGBA,  GL_HALF_FLOAT,                    {kR, kG, kB, kA}, true,  true,  false, false, true},
    {D3DFMT_R32F,        1, 4,  GL_R32F,               GL_RED,   GL_FLOAT,                         {kR, k1, k1, k1}, true,  true,  false, false, false},
    {D3DFMT_G32R32F,     1, 8,  GL_RG32F,              GL_RG,    GL_FLOAT,                         {kR, kG, k1, k1}, true,  true,  false, false, false},
    {D3DFMT_A32B32G32R32F, 1, 16, GL_RGBA32F,          GL_RGBA,  GL_FLOAT,                         {kR, kG, kB, kA}, true,  true,  false, false, true},
    {D3DFMT_DXT1,        4, 8,  GL_COMPRESSED_RGBA_S3TC_DXT1_EXT, 0, 0,                            {kR, kG, kB, kA}, false, true,  false, false, false},
    {D3DFMT_DXT2,        4, 16, GL_COMPRESSED_RGBA_S3TC_DXT3_EXT, 0, 0,                            {kR, kG, kB, kA}, false, true,  false, false, false},
    {D3DFMT_DXT3,        4, 16, GL_COMPRESSED_RGBA_S3TC_DXT3_EXT, 0, 0,                            {kR, kG, kB, kA}, false, true,  false, false, false},
    {D3DFMT_DXT4,        4, 16, GL_COMPRESSED_RGBA_S3TC_DXT5_EXT, 0, 0,                            {kR, kG, kB, kA}, false, true,  false, false, false},
    {D3DFMT_DXT5,        4, 16, GL_COMPRESSED_RGBA_S3TC_DXT5_EXT, 0, 0,                            {kR, kG, kB, kA}, false, true,  false, false, false},
    {D3DFMT_R8G8B8,      1, 3,  0,                     GL_BGR,   GL_UNSIGNED_BYTE,                 {kR, kG, kB, k1}, false, false, false, false, false},
    {D3DFMT_D16,         1, 2,  GL_DEPTH_COMPONENT16,  GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT,      {kR, kR, kR, kR}, false, false, true,  false, false},
    {D3DFMT_D24X8,       1, 4,  GL_DEPTH_COMPONENT24,  GL_DEPTH_COMPONENT, GL_UNSIGNED_INT,        {kR, kR, kR, kR}, false, false, true,  false, false},
    {D3DFMT_D24S8,       1, 4,  GL_DEPTH24_STENCIL8,   GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8,     {kR, kR, kR, kR}, false, false, true,  true,  false},
    {D3DFMT_D32,         1, 4,  GL_DEPTH_COMPONENT32,  GL_DEPTH_COMPONENT, GL_UNSIGNED_INT,        {kR, kR, kR, kR}, false, false, true,  false, false},
};
// clang-format on

}  // namespace

const FormatTraits* FindFormat(D3DFORMAT format) {
    for (const FormatTraits& traits : kFormats) {
        if (traits.d3d == format) return &traits;
    }
    return nullptr;
}

}  // namespace platform::gl
