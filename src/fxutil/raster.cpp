#include "fxutil/raster.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "fxutil/dxt.h"

namespace fxutil {

namespace {

/// Sums of weighted texels. Narrow texels are summed as bytes, so nothing is divided until the end.
Rgba Widen(u32 c) {
    return {static_cast<f32>(c >> 16 & 0xff), static_cast<f32>(c >> 8 & 0xff), static_cast<f32>(c & 0xff),
            static_cast<f32>(c >> 24)};
}
Rgba Widen(const Rgba& c) { return c; }

void Narrow(const Rgba& c, u32* out) {
    const auto byte = [](f32 v) { return static_cast<u32>(std::clamp(v + 0.5f, 0.0f, 255.0f)); };
    *out = byte(c.a) << 24 | byte(c.r) << 16 | byte(c.g) << 8 | byte(c.b);
}
void Narrow(const Rgba& c, Rgba* out) { *out = c; }

void Accumulate(Rgba* sum, const Rgba& c, f32 weight) {
    sum->r += c.r * weight;
    sum->g += c.g * weight;
    sum->b += c.b * weight;
    sum->a += c.a * weight;
}

/// The source texels that one target texel takes, and how much of each.
struct Tap {
    u32 index;
    f32 weight;
};

/// Taps of all target texels along one axis: those of texel i are taps[first[i]] to taps[first[i + 1]].
struct Axis {
    std::vector<u32> first;
    std::vector<Tap> taps;
};

u32 Beyond(i64 index, u32 size, bool mirror) {
    const i64 n = size;
    if (!mirror) return static_cast<u32>((index % n + n) % n);
    const i64 folded = (index % (2 * n) + 2 * n) % (2 * n);
    return static_cast<u32>(folded < n ? folded : 2 * n - 1 - folded);
}

Axis MakeAxis(u32 from, u32 to, ResampleKernel kernel, bool mirror) {
    Axis axis;
    axis.first.reserve(std::size_t{to} + 1);
    const f64 ratio = static_cast<f64>(from) / to;
    for (u32 i = 0; i < to; ++i) {
        axis.first.push_back(static_cast<u32>(axis.taps.size()));
        const std::size_t start = axis.taps.size();
        const f64 center = (i + 0.5) * ratio;
        const auto add = [&](i64 index, f64 weight) {
            if (weight > 0) axis.taps.push_back({Beyond(index, from, mirror), static_cast<f32>(weight)});
        };
        switch (kernel) {
            case ResampleKernel::kNone:
                if (i < from) add(i, 1);
                break;
            case ResampleKernel::kPoint:
                add(std::min<i64>(static_cast<i64>(center), i64{from} - 1), 1);
                break;
            case ResampleKernel::kLinear: {
                const f64 low = std::floor(center - 0.5);
                const f64 part = center - 0.5 - low;
                add(static_cast<i64>(low), 1 - part);
                add(static_cast<i64>(low) + 1, part);
                break;
            }
            case ResampleKernel::kTriangle: {
                const f64 radius = std::max(ratio, 1.0);
                const i64 last = static_cast<i64>(std::ceil(center + radius));
                for (i64 k = static_cast<i64>(std::floor(center - radius)); k <= last; ++k) {
                    add(k, 1 - std::abs(static_cast<f64>(k) + 0.5 - center) / radius);
                }
                break;
            }
            case ResampleKernel::kBox: {
                const f64 low = i * ratio, high = (i + 1) * ratio;
                const i64 last = std::min<i64>(static_cast<i64>(std::ceil(high)), from);
                for (i64 k = static_cast<i64>(low); k < last; ++k) {
                    const f64 at = static_cast<f64>(k);
                    add(k, std::min(at + 1, high) - std::max(at, low));
                }
                break;
            }
        }
        f32 total = 0;
        for (std::size_t k = start; k < axis.taps.size(); ++k) total += axis.taps[k].weight;
        for (std::size_t k = start; k < axis.taps.size(); ++k) axis.taps[k].weight /= total;
    }
    axis.first.push_back(static_cast<u32>(axis.taps.size()));
    return axis;
}

/// (a + b + c + d + 2) / 4 in each byte.
u32 Mean(u32 a, u32 b, u32 c, u32 d) {
    constexpr u32 kEven = 0x00ff00ffu;
    const u32 even = (a & kEven) + (b & kEven) + (c & kEven) + (d & kEven) + 0x00020002u;
    const u32 odd = (a >> 8 & kEven) + (b >> 8 & kEven) + (c >> 8 & kEven) + (d >> 8 & kEven) + 0x00020002u;
    return (even >> 2 & kEven) | (odd >> 2 & kEven) << 8;
}

Rgba Mean(const Rgba& a, const Rgba& b, const Rgba& c, const Rgba& d) {
    return {(a.r + b.r + c.r + d.r) * 0.25f, (a.g + b.g + c.g + d.g) * 0.25f, (a.b + b.b + c.b + d.b) * 0.25f,
            (a.a + b.a + c.a + d.a) * 0.25f};
}

/// Each side halves or is one already: the everyday step of a mip chain.
template <class Texel>
Raster<Texel> Halve(const Raster<Texel>& source, u32 width, u32 height) {
    Raster<Texel> result(width, height);
    const u32 step_x = source.width > 1 ? 1 : 0, step_y = source.height > 1 ? 1 : 0;
    for (u32 y = 0; y < height; ++y) {
        const Texel* upper = source.Row(y << step_y);
        const Texel* lower = source.Row((y << step_y) + step_y);
        Texel* out = result.Row(y);
        if (step_x) {
            for (u32 x = 0; x < width; ++x, upper += 2, lower += 2) {
                out[x] = Mean(upper[0], upper[1], lower[0], lower[1]);
            }
        } else {
            out[0] = Mean(upper[0], upper[0], lower[0], lower[0]);
        }
    }
    return result;
}

template <class Texel>
Raster<Texel> ResampleSeparable(const Raster<Texel>& source, u32 width, u32 height,
                                const ResampleFilter& filter) {
    const Axis across = MakeAxis(source.width, width, filter.kernel, filter.mirror_u);
    const Axis down = MakeAxis(source.height, height, filter.kernel, filter.mirror_v);
    Raster<Texel> result(width, height);
    std::vector<Rgba> row(source.width);
    for (u32 y = 0; y < height; ++y) {
        std::fill(row.begin(), row.end(), Rgba{0, 0, 0, 0});
        for (u32 k = down.first[y]; k < down.first[y + 1]; ++k) {
            const Texel* in = source.Row(down.taps[k].index);
            const f32 weight = down.taps[k].weight;
            for (u32 x = 0; x < source.width; ++x) Accumulate(&row[x], Widen(in[x]), weight);
        }
        Texel* out = result.Row(y);
        for (u32 x = 0; x < width; ++x) {
            Rgba sum{0, 0, 0, 0};
            for (u32 k = across.first[x]; k < across.first[x + 1]; ++k) {
                Accumulate(&sum, row[across.taps[k].index], across.taps[k].weight);
            }
            Narrow(sum, &out[x]);
        }
    }
    return result;
}

}  // namespace

template <class Texel>
Raster<Texel> ReadRaster(D3DFORMAT format, const u32* palette, const ImageLevel& level) {
    Raster<Texel> raster(level.width, level.height);
    const TexelFormat& texel_format = *FindTexelFormat(format);
    if (texel_format.kind == TexelKind::kBlock) {
        if constexpr (std::is_same_v<Texel, u32>) {
            DecodeDxt(format, level.data, level.pitch, level.width, level.height, raster.texels.data());
        } else {
            const Raster<u32> narrow = ReadRaster<u32>(format, palette, level);
            std::transform(narrow.texels.begin(), narrow.texels.end(), raster.texels.begin(), UnpackColor);
        }
        return raster;
    }
    for (u32 y = 0; y < level.height; ++y) {
        ReadTexels(texel_format, level.data + std::size_t{y} * level.pitch, palette, level.width,
                   raster.Row(y));
    }
    return raster;
}

template <class Texel>
void WriteRaster(const Raster<Texel>& raster, D3DFORMAT format, bool dither, u8* out, u32 pitch) {
    const TexelFormat& texel_format = *FindTexelFormat(format);
    if (texel_format.kind == TexelKind::kBlock) {
        if constexpr (std::is_same_v<Texel, u32>) {
            EncodeDxt(format, raster.texels.data(), raster.width, raster.height, out, pitch);
        } else {
            Raster<u32> narrow(raster.width, raster.height);
            std::transform(raster.texels.begin(), raster.texels.end(), narrow.texels.begin(), PackColor);
            EncodeDxt(format, narrow.texels.data(), raster.width, raster.height, out, pitch);
        }
        return;
    }
    for (u32 y = 0; y < raster.height; ++y) {
        WriteTexels(texel_format, raster.Row(y), raster.width, dither, y, out + std::size_t{y} * pitch);
    }
}

template <class Texel>
Raster<Texel> Resample(Raster<Texel> source, u32 width, u32 height, const ResampleFilter& filter) {
    if (width == source.width && height == source.height) return source;
    const bool halves = (source.width == 2 * width || (source.width == 1 && width == 1)) &&
                        (source.height == 2 * height || (source.height == 1 && height == 1));
    if (filter.kernel == ResampleKernel::kBox && halves) return Halve(source, width, height);
    return ResampleSeparable(source, width, height, filter);
}

template Raster<u32> ReadRaster<u32>(D3DFORMAT, const u32*, const ImageLevel&);
template Raster<Rgba> ReadRaster<Rgba>(D3DFORMAT, const u32*, const ImageLevel&);
template void WriteRaster<u32>(const Raster<u32>&, D3DFORMAT, bool, u8*, u32);
template void WriteRaster<Rgba>(const Raster<Rgba>&, D3DFORMAT, bool, u8*, u32);
template Raster<u32> Resample<u32>(Raster<u32>, u32, u32, const ResampleFilter&);
template Raster<Rgba> Resample<Rgba>(Raster<Rgba>, u32, u32, const ResampleFilter&);

void ApplyColorKey(Raster<u32>* raster, u32 key) {
    std::replace(raster->texels.begin(), raster->texels.end(), key, 0u);
}

void ApplyColorKey(Raster<Rgba>* raster, u32 key) {
    for (Rgba& texel : raster->texels) {
        if (PackColor(texel) == key) texel = {0, 0, 0, 0};
    }
}

Raster<Rgba> NormalMap(const Raster<Rgba>& source, const NormalMapOptions& options) {
    const u32 width = source.width, height = source.height;
    std::vector<f32> heights(source.texels.size());
    std::transform(source.texels.begin(), source.texels.end(), heights.begin(), [&](const Rgba& c) {
        switch (options.channel) {
            case HeightChannel::kGreen:
                return c.g;
            case HeightChannel::kBlue:
                return c.b;
            case HeightChannel::kAlpha:
                return c.a;
            case HeightChannel::kLuminance:
                return 0.2125f * c.r + 0.7154f * c.g + 0.0721f * c.b;
            case HeightChannel::kRed:
                break;
        }
        return c.r;
    });
    Raster<Rgba> result(width, height);
    // Mean of the three rows' (or columns') differences over the denominator.
    const f32 slope = options.amplitude / (3.0f * 2.0f) * (options.invert ? -1.0f : 1.0f);
    for (u32 y = 0; y < height; ++y) {
        const f32* rows[3];
        for (i64 k = 0; k < 3; ++k) {
            rows[k] = heights.data() + std::size_t{Beyond(i64{y} + k - 1, height, options.mirror_v)} * width;
        }
        for (u32 x = 0; x < width; ++x) {
            const u32 l = Beyond(i64{x} - 1, width, options.mirror_u);
            const u32 r = Beyond(i64{x} + 1, width, options.mirror_u);
            f32 dx = 0, dy = 0;
            for (const f32* row : rows) dx += row[l] - row[r];
            for (u32 column : {l, x, r}) dy += rows[0][column] - rows[2][column];
            const f32 nx = dx * slope, ny = dy * slope;
            const f32 scale = 0.5f / std::sqrt(nx * nx + ny * ny + 1.0f);
            f32 alpha = 1.0f;
            if (options.occlusion) {
                const f32 here = rows[1][x];
                f32 rise = 0;
                for (const f32* row : rows) {
                    for (u32 column : {l, x, r}) rise += std::max(row[column] - here, 0.0f);
                }
                // The neighbours' mean rise as the tangent of the angle below which the sky is hidden.
                rise *= options.amplitude / 8.0f;
                if (rise > 0) alpha = 1.0f - rise / std::sqrt(1.0f + rise * rise);
            }
            result.Row(y)[x] = {nx * scale + 0.5f, ny * scale + 0.5f, scale + 0.5f, alpha};
        }
    }
    return result;
}

}  // namespace fxutil
