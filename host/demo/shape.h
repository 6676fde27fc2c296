// Shapes that the demo builds for itself.
#pragma once

#include <functional>
#include <vector>

#include "geometry/geometry_simple.h"
#include "picture.h"
#include "scene/value_operations.h"

namespace demo {

using osm3d::matrix;
using osm3d::quat;
using osm3d::UV;

// Triangles with normals or colours and one set of texture coordinates. Seen from outside the corners of a
// triangle run counter-clockwise.
struct Shape {
    std::vector<vect3> positions, normals;
    std::vector<UV> uvs;
    std::vector<color> colors;
    std::vector<std::uint32_t> indices;

    std::uint32_t Vertex(const vect3& position, const vect3& normal, const UV& uv);
    std::uint32_t Vertex(const vect3& position, const color& c, const UV& uv = {0, 0});
    void Triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c);
    void Quad(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d);
    // Appends `other`, moved by `m`, which must not mirror.
    void Add(const Shape& other, const matrix& m = osm3d::kMatrixIdentity);
    // Every texture coordinate becomes `uv`.
    void Paint(const UV& uv);
    // The shape upside down at the plane z = 0, with the light of the shape that stands upright.
    Shape Mirrored() const;
};

// A grid over u and v from 0 to 1. Normals point along the cross product of the directions of u and v.
Shape Surface(int nu, int nv, const std::function<vect3(float, float)>& at);
// The same with colours in place of normals.
Shape ColoredSurface(int nu, int nv, const std::function<vect3(float, float)>& at,
                     const std::function<color(float, float)>& paint);

Shape Sphere(float radius, int nu, int nv);
Shape Torus(float radius, float thickness, int nu, int nv);
// A profile of radius (x) and height (y), from the bottom up outside, turned about z; each part has an edge
// to the next.
struct ProfilePoint {
    float radius, height;
};
Shape Lathe(const std::vector<ProfilePoint>& profile, int segments);
// From `low` to `high`, each side with the whole texture.
Shape Box(const vect3& low, const vect3& high);
// A toothed wheel about z, `teeth` teeth, between the radii `root` and `tip`, with a round hole.
Shape Gear(int teeth, float hole, float root, float tip, float thickness);
// A flat piece: `outline` in x and y, which must not cross itself, between z = -thickness / 2 and thickness
// / 2.
Shape Cutout(std::vector<UV> outline, float thickness);
// A square from -1 to 1 in x and y that faces z, white.
Shape Sprite(float half, const color& c);

// The rotation by `first` and then by `second`.
quat Then(const quat& first, const quat& second);
matrix Moved(const vect3& position);
matrix Placed(const vect3& position, const quat& rotation, float scale);

}  // namespace demo
