#include "fxutil/math.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

// ---------------------------------------------------------------------------------------------- vectors

f32 D3DXVec2Dot(const D3DXVECTOR2* a, const D3DXVECTOR2* b) { return a->x * b->x + a->y * b->y; }

f32 D3DXVec2Length(const D3DXVECTOR2* v) { return std::sqrt(v->x * v->x + v->y * v->y); }

f32 D3DXVec3Dot(const D3DXVECTOR3* a, const D3DXVECTOR3* b) {
    return a->x * b->x + a->y * b->y + a->z * b->z;
}

f32 D3DXVec3Length(const D3DXVECTOR3* v) { return std::sqrt(D3DXVec3Dot(v, v)); }

f32 D3DXVec3LengthSq(const D3DXVECTOR3* v) { return D3DXVec3Dot(v, v); }

D3DXVECTOR3* D3DXVec3Add(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b) {
    *out = *a + *b;
    return out;
}

D3DXVECTOR3* D3DXVec3Subtract(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b) {
    *out = *a - *b;
    return out;
}

D3DXVECTOR3* D3DXVec3Scale(D3DXVECTOR3* out, const D3DXVECTOR3* v, f32 s) {
    *out = *v * s;
    return out;
}

D3DXVECTOR3* D3DXVec3Minimize(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b) {
    *out = {std::min(a->x, b->x), std::min(a->y, b->y), std::min(a->z, b->z)};
    return out;
}

D3DXVECTOR3* D3DXVec3Maximize(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b) {
    *out = {std::max(a->x, b->x), std::max(a->y, b->y), std::max(a->z, b->z)};
    return out;
}

D3DXVECTOR3* D3DXVec3Lerp(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b, f32 s) {
    *out = *a + (*b - *a) * s;
    return out;
}

D3DXVECTOR3* D3DXVec3Cross(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b) {
    *out = osm3d::Cross(*a, *b);
    return out;
}

D3DXVECTOR3* D3DXVec3Normalize(D3DXVECTOR3* out, const D3DXVECTOR3* v) {
    const f32 length = D3DXVec3Length(v);
    *out = length == 0.0f ? D3DXVECTOR3{0.0f, 0.0f, 0.0f} : *v * (1.0f / length);
    return out;
}

D3DXVECTOR4* D3DXVec3Transform(D3DXVECTOR4* out, const D3DXVECTOR3* v, const D3DXMATRIX* m) {
    const auto& e = m->m;
    const D3DXVECTOR3 p = *v;
    out->x = p.x * e[0][0] + p.y * e[1][0] + p.z * e[2][0] + e[3][0];
    out->y = p.x * e[0][1] + p.y * e[1][1] + p.z * e[2][1] + e[3][1];
    out->z = p.x * e[0][2] + p.y * e[1][2] + p.z * e[2][2] + e[3][2];
    out->w = p.x * e[0][3] + p.y * e[1][3] + p.z * e[2][3] + e[3][3];
    return out;
}

D3DXVECTOR3* D3DXVec3TransformCoord(D3DXVECTOR3* out, const D3DXVECTOR3* v, const D3DXMATRIX* m) {
    D3DXVECTOR4 p;
    D3DXVec3Transform(&p, v, m);
    // Nearly every matrix is affine: w is then exactly one, and the division would change nothing.
    if (p.w == 1.0f) {
        *out = {p.x, p.y, p.z};
    } else {
        *out = {p.x / p.w, p.y / p.w, p.z / p.w};
    }
    return out;
}

D3DXVECTOR3* D3DXVec3TransformNormal(D3DXVECTOR3* out, const D3DXVECTOR3* v, const D3DXMATRIX* m) {
    const auto& e = m->m;
    const D3DXVECTOR3 p = *v;
    out->x = p.x * e[0][0] + p.y * e[1][0] + p.z * e[2][0];
    out->y = p.x * e[0][1] + p.y * e[1][1] + p.z * e[2][1];
    out->z = p.x * e[0][2] + p.y * e[1][2] + p.z * e[2][2];
    return out;
}

namespace {

template <class Operation>
D3DXVECTOR3* ForEach(D3DXVECTOR3* out, u32 out_stride, const D3DXVECTOR3* in, u32 in_stride,
                     const D3DXMATRIX* m, u32 count, Operation operation) {
    const D3DXMATRIX matrix = *m;  // a copy, so that no write to `out` can seem to change it
    auto* to = reinterpret_cast<std::byte*>(out);
    const auto* from = reinterpret_cast<const std::byte*>(in);
    for (u32 i = 0; i < count; ++i, to += out_stride, from += in_stride) {
        operation(reinterpret_cast<D3DXVECTOR3*>(to), reinterpret_cast<const D3DXVECTOR3*>(from), &matrix);
    }
    return out;
}

}  // namespace

D3DXVECTOR3* D3DXVec3TransformCoordArray(D3DXVECTOR3* out, u32 out_stride, const D3DXVECTOR3* in,
                                         u32 in_stride, const D3DXMATRIX* m, u32 count) {
    return ForEach(out, out_stride, in, in_stride, m, count, D3DXVec3TransformCoord);
}

D3DXVECTOR3* D3DXVec3TransformNormalArray(D3DXVECTOR3* out, u32 out_stride, const D3DXVECTOR3* in,
                                          u32 in_stride, const D3DXMATRIX* m, u32 count) {
    return ForEach(out, out_stride, in, in_stride, m, count, D3DXVec3TransformNormal);
}

f32 D3DXVec4Dot(const D3DXVECTOR4* a, const D3DXVECTOR4* b) {
    return a->x * b->x + a->y * b->y + a->z * b->z + a->w * b->w;
}

D3DXVECTOR4* D3DXVec4Transform(D3DXVECTOR4* out, const D3DXVECTOR4* v, const D3DXMATRIX* m) {
    const auto& e = m->m;
    const D3DXVECTOR4 p = *v;
    out->x = p.x * e[0][0] + p.y * e[1][0] + p.z * e[2][0] + p.w * e[3][0];
    out->y = p.x * e[0][1] + p.y * e[1][1] + p.z * e[2][1] + p.w * e[3][1];
    out->z = p.x * e[0][2] + p.y * e[1][2] + p.z * e[2][2] + p.w * e[3][2];
    out->w = p.x * e[0][3] + p.y * e[1][3] + p.z * e[2][3] + p.w * e[3][3];
    return out;
}

// --------------------------------------------------------------------------------------------- matrices

namespace {

constexpr D3DXMATRIX kIdentity = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};

/// The 2 x 2 minors of the upper and of the lower two rows, from which determinant and inverse are put
/// together.
struct Minors {
    f32 s0, s1, s2, s3, s4, s5;
    f32 c0, c1, c2, c3, c4, c5;

    explicit Minors(const D3DXMATRIX& matrix) {
        const auto& m = matrix.m;
        s0 = m[0][0] * m[1][1] - m[1][0] * m[0][1];
        s1 = m[0][0] * m[1][2] - m[1][0] * m[0][2];
        s2 = m[0][0] * m[1][3] - m[1][0] * m[0][3];
        s3 = m[0][1] * m[1][2] - m[1][1] * m[0][2];
        s4 = m[0][1] * m[1][3] - m[1][1] * m[0][3];
        s5 = m[0][2] * m[1][3] - m[1][2] * m[0][3];
        c5 = m[2][2] * m[3][3] - m[3][2] * m[2][3];
        c4 = m[2][1] * m[3][3] - m[3][1] * m[2][3];
        c3 = m[2][1] * m[3][2] - m[3][1] * m[2][2];
        c2 = m[2][0] * m[3][3] - m[3][0] * m[2][3];
        c1 = m[2][0] * m[3][2] - m[3][0] * m[2][2];
        c0 = m[2][0] * m[3][1] - m[3][0] * m[2][1];
    }

    f32 Determinant() const { return s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0; }
};

}  // namespace

D3DXMATRIX* D3DXMatrixIdentity(D3DXMATRIX* out) {
    *out = kIdentity;
    return out;
}

bool D3DXMatrixIsIdentity(const D3DXMATRIX* m) { return *m == kIdentity; }

f32 D3DXMatrixDeterminant(const D3DXMATRIX* m) { return Minors(*m).Determinant(); }

bool D3DXMatrixDecompose(D3DXVECTOR3* scale, D3DXQUATERNION* rotation, D3DXVECTOR3* translation,
                         const D3DXMATRIX* m) {
    const D3DXMATRIX matrix = *m;
    const auto row = [&](int i) { return D3DXVECTOR3{matrix.m[i][0], matrix.m[i][1], matrix.m[i][2]}; };
    const D3DXVECTOR3 rows[3] = {row(0), row(1), row(2)};
    *scale = {D3DXVec3Length(&rows[0]), D3DXVec3Length(&rows[1]), D3DXVec3Length(&rows[2])};
    *translation = row(3);
    if (scale->x == 0.0f || scale->y == 0.0f || scale->z == 0.0f) return false;
    D3DXMATRIX turn = kIdentity;
    const f32 inverse[3] = {1.0f / scale->x, 1.0f / scale->y, 1.0f / scale->z};
    for (int i = 0; i < 3; ++i) {
        turn.m[i][0] = rows[i].x * inverse[i];
        turn.m[i][1] = rows[i].y * inverse[i];
        turn.m[i][2] = rows[i].z * inverse[i];
    }
    D3DXQuaternionRotationMatrix(rotation, &turn);
    return true;
}

D3DXMATRIX* D3DXMatrixTranspose(D3DXMATRIX* out, const D3DXMATRIX* m) {
    const D3DXMATRIX in = *m;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) out->m[row][column] = in.m[column][row];
    }
    return out;
}

D3DXMATRIX* D3DXMatrixMultiply(D3DXMATRIX* out, const D3DXMATRIX* a, const D3DXMATRIX* b) {
    D3DXMATRIX result;
    for (int row = 0; row < 4; ++row) {
        const f32 x = a->m[row][0], y = a->m[row][1], z = a->m[row][2], w = a->m[row][3];
        for (int column = 0; column < 4; ++column) {
            result.m[row][column] =
                x * b->m[0][column] + y * b->m[1][column] + z * b->m[2][column] + w * b->m[3][column];
        }
    }
    *out = result;
    return out;
}

D3DXMATRIX* D3DXMatrixMultiplyTranspose(D3DXMATRIX* out, const D3DXMATRIX* a, const D3DXMATRIX* b) {
    return D3DXMatrixTranspose(out, D3DXMatrixMultiply(out, a, b));
}

D3DXMATRIX* D3DXMatrixInverse(D3DXMATRIX* out, f32* determinant, const D3DXMATRIX* matrix) {
    const Minors k(*matrix);
    const f32 det = k.Determinant();
    if (det == 0.0f) return nullptr;
    if (determinant) *determinant = det;
    const f32 r = 1.0f / det;
    const D3DXMATRIX in = *matrix;
    const auto& m = in.m;
    auto& o = out->m;
    o[0][0] = (m[1][1] * k.c5 - m[1][2] * k.c4 + m[1][3] * k.c3) * r;
    o[0][1] = (-m[0][1] * k.c5 + m[0][2] * k.c4 - m[0][3] * k.c3) * r;
    o[0][2] = (m[3][1] * k.s5 - m[3][2] * k.s4 + m[3][3] * k.s3) * r;
    o[0][3] = (-m[2][1] * k.s5 + m[2][2] * k.s4 - m[2][3] * k.s3) * r;
    o[1][0] = (-m[1][0] * k.c5 + m[1][2] * k.c2 - m[1][3] * k.c1) * r;
    o[1][1] = (m[0][0] * k.c5 - m[0][2] * k.c2 + m[0][3] * k.c1) * r;
    o[1][2] = (-m[3][0] * k.s5 + m[3][2] * k.s2 - m[3][3] * k.s1) * r;
    o[1][3] = (m[2][0] * k.s5 - m[2][2] * k.s2 + m[2][3] * k.s1) * r;
    o[2][0] = (m[1][0] * k.c4 - m[1][1] * k.c2 + m[1][3] * k.c0) * r;
    o[2][1] = (-m[0][0] * k.c4 + m[0][1] * k.c2 - m[0][3] * k.c0) * r;
    o[2][2] = (m[3][0] * k.s4 - m[3][1] * k.s2 + m[3][3] * k.s0) * r;
    o[2][3] = (-m[2][0] * k.s4 + m[2][1] * k.s2 - m[2][3] * k.s0) * r;
    o[3][0] = (-m[1][0] * k.c3 + m[1][1] * k.c1 - m[1][2] * k.c0) * r;
    o[3][1] = (m[0][0] * k.c3 - m[0][1] * k.c1 + m[0][2] * k.c0) * r;
    o[3][2] = (-m[3][0] * k.s3 + m[3][1] * k.s1 - m[3][2] * k.s0) * r;
    o[3][3] = (m[2][0] * k.s3 - m[2][1] * k.s1 + m[2][2] * k.s0) * r;
    return out;
}

D3DXMATRIX* D3DXMatrixScaling(D3DXMATRIX* out, f32 x, f32 y, f32 z) {
    *out = {{{x, 0, 0, 0}, {0, y, 0, 0}, {0, 0, z, 0}, {0, 0, 0, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixTranslation(D3DXMATRIX* out, f32 x, f32 y, f32 z) {
    *out = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {x, y, z, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixRotationX(D3DXMATRIX* out, f32 angle) {
    const f32 s = std::sin(angle), c = std::cos(angle);
    *out = {{{1, 0, 0, 0}, {0, c, s, 0}, {0, -s, c, 0}, {0, 0, 0, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixRotationY(D3DXMATRIX* out, f32 angle) {
    const f32 s = std::sin(angle), c = std::cos(angle);
    *out = {{{c, 0, -s, 0}, {0, 1, 0, 0}, {s, 0, c, 0}, {0, 0, 0, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixRotationZ(D3DXMATRIX* out, f32 angle) {
    const f32 s = std::sin(angle), c = std::cos(angle);
    *out = {{{c, s, 0, 0}, {-s, c, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixRotationAxis(D3DXMATRIX* out, const D3DXVECTOR3* axis, f32 angle) {
    D3DXVECTOR3 n;
    D3DXVec3Normalize(&n, axis);
    const f32 s = std::sin(angle), c = std::cos(angle), d = 1.0f - c;
    *out = {{{d * n.x * n.x + c, d * n.x * n.y + s * n.z, d * n.x * n.z - s * n.y, 0},
             {d * n.y * n.x - s * n.z, d * n.y * n.y + c, d * n.y * n.z + s * n.x, 0},
             {d * n.z * n.x + s * n.y, d * n.z * n.y - s * n.x, d * n.z * n.z + c, 0},
             {0, 0, 0, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixRotationQuaternion(D3DXMATRIX* out, const D3DXQUATERNION* q) {
    const f32 x = q->x, y = q->y, z = q->z, w = q->w;
    *out = {{{1.0f - 2.0f * (y * y + z * z), 2.0f * (x * y + z * w), 2.0f * (x * z - y * w), 0},
             {2.0f * (x * y - z * w), 1.0f - 2.0f * (x * x + z * z), 2.0f * (y * z + x * w), 0},
             {2.0f * (x * z + y * w), 2.0f * (y * z - x * w), 1.0f - 2.0f * (x * x + y * y), 0},
             {0, 0, 0, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixRotationYawPitchRoll(D3DXMATRIX* out, f32 yaw, f32 pitch, f32 roll) {
    D3DXMATRIX x, y, z;
    D3DXMatrixRotationZ(&z, roll);
    D3DXMatrixRotationX(&x, pitch);
    D3DXMatrixRotationY(&y, yaw);
    D3DXMatrixMultiply(&z, &z, &x);
    return D3DXMatrixMultiply(out, &z, &y);
}

D3DXMATRIX* D3DXMatrixLookAtRH(D3DXMATRIX* out, const D3DXVECTOR3* eye, const D3DXVECTOR3* at,
                               const D3DXVECTOR3* up) {
    const D3DXVECTOR3 e = *eye;
    D3DXVECTOR3 x, y, z = e - *at;
    D3DXVec3Normalize(&z, &z);
    D3DXVec3Cross(&x, up, &z);
    D3DXVec3Normalize(&x, &x);
    D3DXVec3Cross(&y, &z, &x);
    *out = {{{x.x, y.x, z.x, 0},
             {x.y, y.y, z.y, 0},
             {x.z, y.z, z.z, 0},
             {-D3DXVec3Dot(&x, &e), -D3DXVec3Dot(&y, &e), -D3DXVec3Dot(&z, &e), 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixPerspectiveFovRH(D3DXMATRIX* out, f32 fov_y, f32 aspect, f32 near_z, f32 far_z) {
    const f32 y = 1.0f / std::tan(fov_y * 0.5f);
    const f32 x = y / aspect;
    const f32 depth = far_z / (near_z - far_z);
    *out = {{{x, 0, 0, 0}, {0, y, 0, 0}, {0, 0, depth, -1}, {0, 0, near_z * depth, 0}}};
    return out;
}

D3DXMATRIX* D3DXMatrixPerspectiveRH(D3DXMATRIX* out, f32 width, f32 height, f32 near_z, f32 far_z) {
    const f32 depth = far_z / (near_z - far_z);
    *out = {{{2.0f * near_z / width, 0, 0, 0},
             {0, 2.0f * near_z / height, 0, 0},
             {0, 0, depth, -1},
             {0, 0, near_z * depth, 0}}};
    return out;
}

D3DXMATRIX* D3DXMatrixOrthoRH(D3DXMATRIX* out, f32 width, f32 height, f32 near_z, f32 far_z) {
    const f32 depth = 1.0f / (near_z - far_z);
    *out = {{{2.0f / width, 0, 0, 0}, {0, 2.0f / height, 0, 0}, {0, 0, depth, 0}, {0, 0, near_z * depth, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixOrthoOffCenterRH(D3DXMATRIX* out, f32 left, f32 right, f32 bottom, f32 top, f32 near_z,
                                       f32 far_z) {
    const f32 depth = 1.0f / (near_z - far_z);
    *out = {{{2.0f / (right - left), 0, 0, 0},
             {0, 2.0f / (top - bottom), 0, 0},
             {0, 0, depth, 0},
             {(left + right) / (left - right), (top + bottom) / (bottom - top), near_z * depth, 1}}};
    return out;
}

D3DXMATRIX* D3DXMatrixShadow(D3DXMATRIX* out, const D3DXVECTOR4* light, const D3DXPLANE* plane) {
    const D3DXVECTOR4 l = *light;
    D3DXPLANE p;
    D3DXPlaneNormalize(&p, plane);
    const f32 d = D3DXPlaneDot(&p, &l);
    *out = {{{d - p.a * l.x, -p.a * l.y, -p.a * l.z, -p.a * l.w},
             {-p.b * l.x, d - p.b * l.y, -p.b * l.z, -p.b * l.w},
             {-p.c * l.x, -p.c * l.y, d - p.c * l.z, -p.c * l.w},
             {-p.d * l.x, -p.d * l.y, -p.d * l.z, d - p.d * l.w}}};
    return out;
}

D3DXMATRIX* D3DXMatrixReflect(D3DXMATRIX* out, const D3DXPLANE* plane) {
    D3DXPLANE p;
    D3DXPlaneNormalize(&p, plane);
    *out = {{{1.0f - 2.0f * p.a * p.a, -2.0f * p.a * p.b, -2.0f * p.a * p.c, 0},
             {-2.0f * p.a * p.b, 1.0f - 2.0f * p.b * p.b, -2.0f * p.b * p.c, 0},
             {-2.0f * p.c * p.a, -2.0f * p.c * p.b, 1.0f - 2.0f * p.c * p.c, 0},
             {-2.0f * p.d * p.a, -2.0f * p.d * p.b, -2.0f * p.d * p.c, 1}}};
    return out;
}

// ------------------------------------------------------------------------------------------ quaternions

D3DXQUATERNION* D3DXQuaternionIdentity(D3DXQUATERNION* out) {
    *out = {0, 0, 0, 1};
    return out;
}

bool D3DXQuaternionIsIdentity(const D3DXQUATERNION* q) { return *q == D3DXQUATERNION{0, 0, 0, 1}; }

f32 D3DXQuaternionDot(const D3DXQUATERNION* a, const D3DXQUATERNION* b) {
    return a->x * b->x + a->y * b->y + a->z * b->z + a->w * b->w;
}

f32 D3DXQuaternionLength(const D3DXQUATERNION* q) { return std::sqrt(D3DXQuaternionDot(q, q)); }

f32 D3DXQuaternionLengthSq(const D3DXQUATERNION* q) { return D3DXQuaternionDot(q, q); }

D3DXQUATERNION* D3DXQuaternionConjugate(D3DXQUATERNION* out, const D3DXQUATERNION* q) {
    *out = {-q->x, -q->y, -q->z, q->w};
    return out;
}

D3DXQUATERNION* D3DXQuaternionNormalize(D3DXQUATERNION* out, const D3DXQUATERNION* q) {
    const f32 length = D3DXQuaternionLength(q);
    const f32 scale = length == 0.0f ? 0.0f : 1.0f / length;
    *out = {q->x * scale, q->y * scale, q->z * scale, q->w * scale};
    return out;
}

D3DXQUATERNION* D3DXQuaternionInverse(D3DXQUATERNION* out, const D3DXQUATERNION* q) {
    const f32 norm = D3DXQuaternionDot(q, q);
    *out = {-q->x / norm, -q->y / norm, -q->z / norm, q->w / norm};
    return out;
}

D3DXQUATERNION* D3DXQuaternionMultiply(D3DXQUATERNION* out, const D3DXQUATERNION* a,
                                       const D3DXQUATERNION* b) {
    *out = {b->w * a->x + b->x * a->w + b->y * a->z - b->z * a->y,
            b->w * a->y - b->x * a->z + b->y * a->w + b->z * a->x,
            b->w * a->z + b->x * a->y - b->y * a->x + b->z * a->w,
            b->w * a->w - b->x * a->x - b->y * a->y - b->z * a->z};
    return out;
}

D3DXQUATERNION* D3DXQuaternionRotationMatrix(D3DXQUATERNION* out, const D3DXMATRIX* matrix) {
    const auto& m = matrix->m;
    const f32 trace = m[0][0] + m[1][1] + m[2][2];
    if (trace > 0.0f) {
        const f32 s = 2.0f * std::sqrt(trace + 1.0f);
        *out = {(m[1][2] - m[2][1]) / s, (m[2][0] - m[0][2]) / s, (m[0][1] - m[1][0]) / s, 0.25f * s};
        return out;
    }
    // The largest diagonal element names the component of the axis that is safe to divide by.
    int i = m[1][1] > m[0][0] ? 1 : 0;
    if (m[2][2] > m[i][i]) i = 2;
    const int j = (i + 1) % 3, k = (i + 2) % 3;
    const f32 s = 2.0f * std::sqrt(1.0f + m[i][i] - m[j][j] - m[k][k]);
    f32 v[3];
    v[i] = 0.25f * s;
    v[j] = (m[i][j] + m[j][i]) / s;
    v[k] = (m[i][k] + m[k][i]) / s;
    *out = {v[0], v[1], v[2], (m[j][k] - m[k][j]) / s};
    return out;
}

D3DXQUATERNION* D3DXQuaternionRotationAxis(D3DXQUATERNION* out, const D3DXVECTOR3* axis, f32 angle) {
    D3DXVECTOR3 n;
    D3DXVec3Normalize(&n, axis);
    const f32 s = std::sin(angle * 0.5f);
    *out = {s * n.x, s * n.y, s * n.z, std::cos(angle * 0.5f)};
    return out;
}

D3DXQUATERNION* D3DXQuaternionRotationYawPitchRoll(D3DXQUATERNION* out, f32 yaw, f32 pitch, f32 roll) {
    const f32 sy = std::sin(yaw * 0.5f), cy = std::cos(yaw * 0.5f);
    const f32 sp = std::sin(pitch * 0.5f), cp = std::cos(pitch * 0.5f);
    const f32 sr = std::sin(roll * 0.5f), cr = std::cos(roll * 0.5f);
    *out = {sy * cp * sr + cy * sp * cr, sy * cp * cr - cy * sp * sr, cy * cp * sr - sy * sp * cr,
            cy * cp * cr + sy * sp * sr};
    return out;
}

void D3DXQuaternionToAxisAngle(const D3DXQUATERNION* q, D3DXVECTOR3* axis, f32* angle) {
    if (axis) *axis = {q->x, q->y, q->z};
    if (angle) *angle = 2.0f * std::acos(q->w);
}

D3DXQUATERNION* D3DXQuaternionSlerp(D3DXQUATERNION* out, const D3DXQUATERNION* a, const D3DXQUATERNION* b,
                                    f32 t) {
    f32 dot = D3DXQuaternionDot(a, b);
    const f32 sign = dot < 0.0f ? -1.0f : 1.0f;
    dot *= sign;
    f32 from = 1.0f - t, to = t;
    // Below this the arc is so short that its sine says nothing more than the straight line does.
    if (1.0f - dot > 0.001f) {
        const f32 theta = std::acos(dot);
        const f32 sine = std::sin(theta);
        from = std::sin(theta * from) / sine;
        to = std::sin(theta * to) / sine;
    }
    to *= sign;
    *out = {from * a->x + to * b->x, from * a->y + to * b->y, from * a->z + to * b->z,
            from * a->w + to * b->w};
    return out;
}

// ----------------------------------------------------------------------------------------------- planes

f32 D3DXPlaneDot(const D3DXPLANE* plane, const D3DXVECTOR4* v) {
    return plane->a * v->x + plane->b * v->y + plane->c * v->z + plane->d * v->w;
}

f32 D3DXPlaneDotCoord(const D3DXPLANE* plane, const D3DXVECTOR3* v) {
    return plane->a * v->x + plane->b * v->y + plane->c * v->z + plane->d;
}

f32 D3DXPlaneDotNormal(const D3DXPLANE* plane, const D3DXVECTOR3* v) {
    return plane->a * v->x + plane->b * v->y + plane->c * v->z;
}

D3DXPLANE* D3DXPlaneNormalize(D3DXPLANE* out, const D3DXPLANE* plane) {
    const f32 length = std::sqrt(plane->a * plane->a + plane->b * plane->b + plane->c * plane->c);
    const f32 scale = length == 0.0f ? 0.0f : 1.0f / length;
    *out = {plane->a * scale, plane->b * scale, plane->c * scale, plane->d * scale};
    return out;
}

D3DXPLANE* D3DXPlaneFromPointNormal(D3DXPLANE* out, const D3DXVECTOR3* point, const D3DXVECTOR3* normal) {
    *out = {normal->x, normal->y, normal->z, -D3DXVec3Dot(point, normal)};
    return out;
}

D3DXPLANE* D3DXPlaneFromPoints(D3DXPLANE* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b,
                               const D3DXVECTOR3* c) {
    D3DXVECTOR3 normal = osm3d::Cross(*b - *a, *c - *a);
    D3DXVec3Normalize(&normal, &normal);
    return D3DXPlaneFromPointNormal(out, a, &normal);
}

D3DXPLANE* D3DXPlaneTransform(D3DXPLANE* out, const D3DXPLANE* plane, const D3DXMATRIX* m) {
    const D3DXVECTOR4 v = {plane->a, plane->b, plane->c, plane->d};
    D3DXVECTOR4 moved;
    D3DXVec4Transform(&moved, &v, m);
    *out = {moved.x, moved.y, moved.z, moved.w};
    return out;
}

D3DXVECTOR3* D3DXPlaneIntersectLine(D3DXVECTOR3* out, const D3DXPLANE* plane, const D3DXVECTOR3* a,
                                    const D3DXVECTOR3* b) {
    const D3DXVECTOR3 direction = *b - *a;
    const f32 slope = D3DXPlaneDotNormal(plane, &direction);
    if (slope == 0.0f) return nullptr;
    *out = *a - direction * (D3DXPlaneDotCoord(plane, a) / slope);
    return out;
}
