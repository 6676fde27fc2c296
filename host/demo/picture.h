// Pictures that the demo paints for itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "scene/value_types.h"

namespace demo {

using osm3d::color;
using osm3d::vect3;

inline constexpr float kPi = 3.14159265f;

template <class T>
constexpr float F(T value) {
    return static_cast<float>(value);
}

float Clamp01(float x);
// 0 below `low`, 1 above `high`, an S between them.
float Smooth(float low, float high, float x);
// From 0 at `from` to 1 at `to`, at rest at both.
float Eased(float from, float to, float time);
float Mix(float a, float b, float t);
color Mix(const color& a, const color& b, float t);
// The colour times `s`, alpha as it is.
color Shade(const color& c, float s);
vect3 Mix(const vect3& a, const vect3& b, float t);
vect3 Normal(const vect3& v);
float Length(const vect3& v);

// Repeatable random numbers, 0 to 1.
class Random {
  public:
    explicit Random(std::uint32_t seed) : state_(seed * 2654435761u + 1) {}
    float Next();
    float Between(float low, float high) { return Mix(low, high, Next()); }

  private:
    std::uint32_t state_;
};

// Smooth noise from -1 to 1 that repeats after `period` units, both ways.
float Noise(float x, float y, int period);
// Sum of `octaves` of it, each of half the size and strength; about -1 to 1.
float Fbm(float x, float y, int period, int octaves);

struct Picture32 {
    unsigned width = 0, height = 0;
    std::vector<std::uint8_t> rgba;  // rows from the top

    void Set(unsigned x, unsigned y, const color& c);
};

// A picture of paint(u, v) at the pixels' middles; u to the right, v downwards, 0 to 1.
template <class Paint>
Picture32 Painted(unsigned width, unsigned height, Paint paint) {
    Picture32 out;
    out.width = width;
    out.height = height;
    out.rgba.resize(std::size_t{4} * width * height);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x)
            out.Set(x, y, paint((F(x) + 0.5f) / F(width), (F(y) + 0.5f) / F(height)));
    return out;
}

// A soft round light: white, its alpha falling from the middle.
Picture32 GlowPicture(float hardness);

// The bytes of a PNG file.
std::vector<std::uint8_t> EncodePng(const Picture32& picture);

// White lettering with a soft glow, in capitals: one line, centred. `size` is the letters' height and
// `spacing` the gap between them, in parts of the picture's height and of the letters' height.
Picture32 Lettering(const std::string& text, unsigned width, unsigned height, float size, float spacing,
                    float weight, const color& top, const color& bottom, const color& glow);

}  // namespace demo
