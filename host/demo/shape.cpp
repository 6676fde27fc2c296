#include "shape.h"

#include <algorithm>
#include <cmath>

namespace demo {

std::uint32_t Shape::Vertex(const vect3& position, const vect3& normal, const UV& uv) {
    positions.push_back(position);
    normals.push_back(normal);
    uvs.push_back(uv);
    return static_cast<std::uint32_t>(positions.size() - 1);
}

std::uint32_t Shape::Vertex(const vect3& position, const color& c, const UV& uv) {
    positions.push_back(position);
    colors.push_back(c);
    uvs.push_back(uv);
    return static_cast<std::uint32_t>(positions.size() - 1);
}

void Shape::Triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
    indices.insert(indices.end(), {a, b, c});
}

void Shape::Quad(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    Triangle(a, b, c);
    Triangle(a, c, d);
}

void Shape::Add(const Shape& other, const matrix& m) {
    const auto first = static_cast<std::uint32_t>(positions.size());
    const auto turned = [&](const vect3& v) {
        return vect3{v.x * m.m[0][0] + v.y * m.m[1][0] + v.z * m.m[2][0],
                     v.x * m.m[0][1] + v.y * m.m[1][1] + v.z * m.m[2][1],
                     v.x * m.m[0][2] + v.y * m.m[1][2] + v.z * m.m[2][2]};
    };
    for (const vect3& p : other.positions) positions.push_back(turned(p) + osm3d::MatrixGetTranslation(m));
    for (const vect3& n : other.normals) normals.push_back(Normal(turned(n)));
    uvs.insert(uvs.end(), other.uvs.begin(), other.uvs.end());
    colors.insert(colors.end(), other.colors.begin(), other.colors.end());
    for (const std::uint32_t index : other.indices) indices.push_back(first + index);
}

void Shape::Paint(const UV& uv) { uvs.assign(positions.size(), uv); }

Shape Shape::Mirrored() const {
    Shape out = *this;
    for (vect3& p : out.positions) p.z = -p.z;
    for (std::size_t i = 0; i + 2 < out.indices.size(); i += 3) std::swap(out.indices[i], out.indices[i + 1]);
    return out;
}

namespace {

void AddGrid(Shape& shape, int nu, int nv) {
    for (int j = 0; j < nv; ++j)
        for (int i = 0; i < nu; ++i) {
            const auto a = static_cast<std::uint32_t>(j * (nu + 1) + i);
            const std::uint32_t up = a + static_cast<std::uint32_t>(nu) + 1;
            shape.Quad(a, a + 1, up + 1, up);
        }
}

}  // namespace

Shape Surface(int nu, int nv, const std::function<vect3(float, float)>& at) {
    Shape out;
    constexpr float kStep = 1e-3f;
    for (int j = 0; j <= nv; ++j)
        for (int i = 0; i <= nu; ++i) {
            const float u = F(i) / F(nu), v = F(j) / F(nv);
            // A pole has no direction of u: the normal is taken a little beside it.
            const float beside = std::min(std::max(v, 2 * kStep), 1 - 2 * kStep);
            const vect3 du = at(u + kStep, beside) - at(u - kStep, beside);
            const vect3 dv = at(u, beside + kStep) - at(u, beside - kStep);
            out.Vertex(at(u, v), Normal(osm3d::Cross(du * 1000, dv * 1000)), {u, 1 - v});
        }
    AddGrid(out, nu, nv);
    return out;
}

Shape ColoredSurface(int nu, int nv, const std::function<vect3(float, float)>& at,
                     const std::function<color(float, float)>& paint) {
    Shape out;
    for (int j = 0; j <= nv; ++j)
        for (int i = 0; i <= nu; ++i) {
            const float u = F(i) / F(nu), v = F(j) / F(nv);
            out.Vertex(at(u, v), paint(u, v), {u, 1 - v});
        }
    AddGrid(out, nu, nv);
    return out;
}

Shape Sphere(float radius, int nu, int nv) {
    return Surface(nu, nv, [=](float u, float v) {
        const float a = 2 * kPi * u, e = kPi * (v - 0.5f);
        return vect3{std::cos(a) * std::cos(e), std::sin(a) * std::cos(e), std::sin(e)} * radius;
    });
}

Shape Torus(float radius, float thickness, int nu, int nv) {
    return Surface(nu, nv, [=](float u, float v) {
        const float a = 2 * kPi * u, e = 2 * kPi * v;
        const float r = radius + thickness * std::cos(e);
        return vect3{r * std::cos(a), r * std::sin(a), thickness * std::sin(e)};
    });
}

Shape Lathe(const std::vector<ProfilePoint>& profile, int segments) {
    Shape out;
    float length = 0;
    for (std::size_t i = 1; i < profile.size(); ++i)
        length +=
            std::hypot(profile[i].radius - profile[i - 1].radius, profile[i].height - profile[i - 1].height);
    float passed = 0;
    for (std::size_t i = 1; i < profile.size(); ++i) {
        const ProfilePoint &a = profile[i - 1], &b = profile[i];
        const float part = std::hypot(b.radius - a.radius, b.height - a.height);
        if (part <= 0) continue;
        const float nr = (b.height - a.height) / part, nz = (a.radius - b.radius) / part;
        const float v0 = 1 - passed / length, v1 = 1 - (passed + part) / length;
        passed += part;
        std::uint32_t before = 0;
        for (int s = 0; s <= segments; ++s) {
            const float u = F(s) / F(segments), c = std::cos(2 * kPi * u), n = std::sin(2 * kPi * u);
            const vect3 normal{nr * c, nr * n, nz};
            const std::uint32_t low = out.Vertex({a.radius * c, a.radius * n, a.height}, normal, {u, v0});
            out.Vertex({b.radius * c, b.radius * n, b.height}, normal, {u, v1});
            if (s > 0) out.Quad(before, low, low + 1, before + 1);
            before = low;
        }
    }
    return out;
}

Shape Box(const vect3& low, const vect3& high) {
    Shape out;
    const auto side = [&](const vect3& a, const vect3& b, const vect3& c, const vect3& d) {
        const vect3 n = Normal(osm3d::Cross(b - a, d - a));
        const std::uint32_t i = out.Vertex(a, n, {0, 1});
        out.Vertex(b, n, {1, 1});
        out.Vertex(c, n, {1, 0});
        out.Vertex(d, n, {0, 0});
        out.Quad(i, i + 1, i + 2, i + 3);
    };
    const float x0 = low.x, y0 = low.y, z0 = low.z, x1 = high.x, y1 = high.y, z1 = high.z;
    side({x0, y0, z0}, {x1, y0, z0}, {x1, y0, z1}, {x0, y0, z1});
    side({x1, y0, z0}, {x1, y1, z0}, {x1, y1, z1}, {x1, y0, z1});
    side({x1, y1, z0}, {x0, y1, z0}, {x0, y1, z1}, {x1, y1, z1});
    side({x0, y1, z0}, {x0, y0, z0}, {x0, y0, z1}, {x0, y1, z1});
    side({x0, y0, z1}, {x1, y0, z1}, {x1, y1, z1}, {x0, y1, z1});
    side({x0, y1, z0}, {x1, y1, z0}, {x1, y0, z0}, {x0, y0, z0});
    return out;
}

Shape Gear(int teeth, float hole, float root, float tip, float thickness) {
    Shape out;
    // The outline, four points a tooth: up the flank, along the tip, down, along the root.
    std::vector<ProfilePoint> rim;
    for (int t = 0; t < teeth; ++t) {
        const float pitch = 2 * kPi / F(teeth), a = pitch * F(t);
        rim.push_back({a, root});
        rim.push_back({a + 0.28f * pitch, root});
        rim.push_back({a + 0.40f * pitch, tip});
        rim.push_back({a + 0.72f * pitch, tip});
        rim.push_back({a + 0.84f * pitch, root});
    }
    const float h = thickness / 2;
    const auto at = [](float radius, float angle, float z) {
        return vect3{radius * std::cos(angle), radius * std::sin(angle), z};
    };
    for (std::size_t i = 0; i < rim.size(); ++i) {
        const std::size_t next = (i + 1) % rim.size();
        const float a = rim[i].radius, b = rim[next].radius + (next == 0 ? 2 * kPi : 0.0f);
        const float ra = rim[i].height, rb = rim[next].height;
        const auto quad = [&](const vect3& p, const vect3& q, const vect3& r, const vect3& s) {
            const vect3 n = Normal(osm3d::Cross(q - p, s - p));
            const auto uv = [&](const vect3& v) {
                return UV{0.5f + v.x / (2 * tip), 0.5f - v.y / (2 * tip)};
            };
            const std::uint32_t k = out.Vertex(p, n, uv(p));
            out.Vertex(q, n, uv(q));
            out.Vertex(r, n, uv(r));
            out.Vertex(s, n, uv(s));
            out.Quad(k, k + 1, k + 2, k + 3);
        };
        quad(at(ra, a, -h), at(rb, b, -h), at(rb, b, h), at(ra, a, h));
        quad(at(hole, a, h), at(ra, a, h), at(rb, b, h), at(hole, b, h));
        quad(at(ra, a, -h), at(hole, a, -h), at(hole, b, -h), at(rb, b, -h));
        quad(at(hole, b, -h), at(hole, a, -h), at(hole, a, h), at(hole, b, h));
    }
    return out;
}

Shape Cutout(std::vector<UV> outline, float thickness) {
    const auto turn = [](const UV& a, const UV& b, const UV& c) {
        return (b.u - a.u) * (c.v - a.v) - (b.v - a.v) * (c.u - a.u);
    };
    float area = 0;
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const UV &a = outline[i], &b = outline[(i + 1) % outline.size()];
        area += a.u * b.v - b.u * a.v;
    }
    if (area < 0) std::reverse(outline.begin(), outline.end());
    Shape out;
    const float h = thickness / 2;
    const auto count = static_cast<std::uint32_t>(outline.size());
    for (const float side : {h, -h})
        for (const UV& p : outline) out.Vertex({p.u, p.v, side}, vect3{0, 0, side > 0 ? 1.0f : -1.0f}, p);
    // One corner after the other that sticks out and has no other corner in it is cut off.
    std::vector<std::uint32_t> left(count);
    for (std::uint32_t i = 0; i < count; ++i) left[i] = i;
    while (left.size() > 2) {
        const std::size_t before = left.size();
        for (std::size_t i = 0; i < left.size(); ++i) {
            const std::uint32_t a = left[(i + left.size() - 1) % left.size()], b = left[i],
                                c = left[(i + 1) % left.size()];
            if (turn(outline[a], outline[b], outline[c]) <= 0) continue;
            const bool empty = std::none_of(left.begin(), left.end(), [&](std::uint32_t other) {
                const UV& p = outline[other];
                return other != a && other != b && other != c && turn(outline[a], outline[b], p) >= 0 &&
                       turn(outline[b], outline[c], p) >= 0 && turn(outline[c], outline[a], p) >= 0;
            });
            if (!empty) continue;
            out.Triangle(a, b, c);
            out.Triangle(count + c, count + b, count + a);
            left.erase(left.begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
        if (left.size() == before) break;  // what is left has no area
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const UV &a = outline[i], &b = outline[(i + 1) % count];
        const vect3 n = Normal({b.v - a.v, a.u - b.u, 0});
        const std::uint32_t first = out.Vertex({a.u, a.v, -h}, n, a);
        out.Vertex({b.u, b.v, -h}, n, b);
        out.Vertex({b.u, b.v, h}, n, b);
        out.Vertex({a.u, a.v, h}, n, a);
        out.Quad(first, first + 1, first + 2, first + 3);
    }
    return out;
}

Shape Sprite(float half, const color& c) {
    Shape out;
    out.Vertex({-half, -half, 0}, c, {0, 1});
    out.Vertex({half, -half, 0}, c, {1, 1});
    out.Vertex({half, half, 0}, c, {1, 0});
    out.Vertex({-half, half, 0}, c, {0, 0});
    out.Quad(0, 1, 2, 3);
    return out;
}

quat Then(const quat& first, const quat& second) {
    const quat &p = second, &q = first;
    return {p.w * q.x + p.x * q.w + p.y * q.z - p.z * q.y, p.w * q.y - p.x * q.z + p.y * q.w + p.z * q.x,
            p.w * q.z + p.x * q.y - p.y * q.x + p.z * q.w, p.w * q.w - p.x * q.x - p.y * q.y - p.z * q.z};
}

matrix Moved(const vect3& position) { return osm3d::MatrixTranslation(position); }

matrix Placed(const vect3& position, const quat& rotation, float scale) {
    return osm3d::MatrixCompose(position, rotation, {scale, scale, scale});
}

}  // namespace demo
