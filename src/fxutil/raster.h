// Pictures in working colours: conversion from and to stored formats, resizing, mip levels, normal maps.
#pragma once

#include <vector>

#include "fxutil/image.h"
#include "fxutil/pixel_format.h"

namespace fxutil {

/// width x height texels, row by row from the top. Texel is u32 (0xAARRGGBB) for formats of up to 8 bits a
/// channel, Rgba for the others; everything below works on both.
template <class Texel>
struct Raster {
    u32 width = 0, height = 0;
    std::vector<Texel> texels;

    Raster() = default;
    Raster(u32 w, u32 h) : width(w), height(h), texels(std::size_t{w} * h) {}
    Texel* Row(u32 y) { return texels.data() + std::size_t{y} * width; }
    const Texel* Row(u32 y) const { return texels.data() + std::size_t{y} * width; }
};

/// How a picture is brought to another size.
enum class ResampleKernel : u8 {
    kNone,      ///< no scaling: cut off, or filled up with transparent black
    kPoint,     ///< the nearest texel
    kLinear,    ///< between the four nearest texels
    kTriangle,  ///< a tent as wide as two target texels or two source texels, whichever is more
    kBox,       ///< the mean of the area that a target texel covers
};

struct ResampleFilter {
    ResampleKernel kernel = ResampleKernel::kTriangle;
    bool mirror_u = false;  ///< beyond the edge the picture mirrors; otherwise it repeats
    bool mirror_v = false;
};

/// Any format with a TexelFormat.
template <class Texel>
Raster<Texel> ReadRaster(D3DFORMAT format, const u32* palette, const ImageLevel& level);

/// Writes all rows, `pitch` bytes apart. Any format with a TexelFormat but the palette ones.
template <class Texel>
void WriteRaster(const Raster<Texel>& raster, D3DFORMAT format, bool dither, u8* out, u32 pitch);

/// `width` and `height` at least 1, as are the source's.
template <class Texel>
Raster<Texel> Resample(Raster<Texel> source, u32 width, u32 height, const ResampleFilter& filter);

/// Turns every texel of exactly this colour into transparent black.
void ApplyColorKey(Raster<u32>* raster, u32 key);
void ApplyColorKey(Raster<Rgba>* raster, u32 key);

/// Which channel of a height map gives the height.
enum class HeightChannel : u8 { kRed, kGreen, kBlue, kAlpha, kLuminance };

struct NormalMapOptions {
    HeightChannel channel = HeightChannel::kRed;
    f32 amplitude = 1.0f;
    bool mirror_u = false, mirror_v = false;
    bool invert = false;     ///< turns the signs of x and y
    bool occlusion = false;  ///< alpha says how little the neighbours overshadow
};

/// The slope of a height map: central differences over 3 x 3 texels with a denominator of 2, x and y counted
/// along the texture coordinates. Red, green, blue are the unit normal's x, y, z brought to 0 to 1.
Raster<Rgba> NormalMap(const Raster<Rgba>& heights, const NormalMapOptions& options);

}  // namespace fxutil
