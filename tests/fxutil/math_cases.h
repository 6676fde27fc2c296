// The inputs of the math table. Built twice: with Wine's D3DX for the table, and with ours for the test.
// Include the D3DX math that is to be run before this header.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace math_cases {

/// Receives one case: its name, such as "QuaternionMultiply 2 3" (the operation and the numbers of its
/// arguments in the lists below), and the floats that came out. An operation that can fail gives 1 or 0
/// before its floats.
using Emit = std::function<void(const std::string& name, const std::vector<float>& result)>;

inline std::vector<D3DXVECTOR3> Vectors() {
    return {D3DXVECTOR3{1, 0, 0},
            D3DXVECTOR3{0, -2, 0},
            D3DXVECTOR3{1, 2, 3},
            D3DXVECTOR3{-0.3f, 0.7f, 12.5f},
            D3DXVECTOR3{100, -250, 31.25f},
            D3DXVECTOR3{0, 0, 0},
            D3DXVECTOR3{1e-4f, 2e-4f, -1e-4f}};
}

inline D3DXMATRIX Matrix(const float (&e)[16]) {
    D3DXMATRIX m;
    for (int i = 0; i < 16; ++i) m.m[i / 4][i % 4] = e[i];
    return m;
}

inline std::vector<D3DXMATRIX> Matrices() {
    return {Matrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}),
            // Scale, a turn about a slanted axis, a shift.
            Matrix({1.2f, 0.9f, -0.4f, 0, -0.5f, 1.1f, 0.8f, 0, 0.7f, -0.3f, 1.6f, 0, 10, -20, 5, 1}),
            // A perspective.
            Matrix({1.3f, 0, 0, 0, 0, 1.7f, 0, 0, 0, 0, -1.01f, -1, 0, 0, -1.01f, 0}),
            // Nothing in particular.
            Matrix({3, -1, 2, 0.5f, 4, 2, -2, 1, 0.25f, 5, 1, -3, -1, 0.5f, 2, 4}),
            // Mirrored.
            Matrix({-2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 3, 0, 1}),
            // Of determinant zero: flat, with two equal rows, and all zero.
            Matrix({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1}),
            Matrix({1, 2, 3, 4, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13}),
            Matrix({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})};
}

inline std::vector<D3DXQUATERNION> Quaternions() {
    return {D3DXQUATERNION{0, 0, 0, 1},
            D3DXQUATERNION{0.70710678f, 0, 0, 0.70710678f},
            D3DXQUATERNION{0, 0, 1, 0},
            D3DXQUATERNION{0.1825742f, 0.3651484f, 0.5477226f, 0.7302967f},
            D3DXQUATERNION{-0.1825742f, -0.3651484f, -0.5477226f, -0.7302967f},
            D3DXQUATERNION{0.5f, -0.5f, 0.5f, -0.5f},
            D3DXQUATERNION{0, 0.01f, 0, 0.99995f},
            D3DXQUATERNION{1, 2, 3, 4},
            D3DXQUATERNION{0, 0, 0, 0}};
}

inline std::vector<D3DXPLANE> Planes() {
    return {D3DXPLANE{0, 0, 1, 0}, D3DXPLANE{0, 3, 0, -6}, D3DXPLANE{1, -2, 0.5f, 7}, D3DXPLANE{0, 0, 0, 2},
            D3DXPLANE{0, 0, 0, 0}};
}

inline std::vector<float> Angles() { return {0, 0.3f, -1.2f, 1.57079633f, 3.14159265f, 7.5f}; }

inline std::vector<float> Floats(const D3DXVECTOR3& v) { return {v.x, v.y, v.z}; }
inline std::vector<float> Floats(const D3DXVECTOR4& v) { return {v.x, v.y, v.z, v.w}; }
inline std::vector<float> Floats(const D3DXQUATERNION& v) { return {v.x, v.y, v.z, v.w}; }
inline std::vector<float> Floats(const D3DXPLANE& v) { return {v.a, v.b, v.c, v.d}; }
inline std::vector<float> Floats(float v) { return {v}; }
inline std::vector<float> Floats(const D3DXMATRIX& m) { return {&m.m[0][0], &m.m[0][0] + 16}; }

/// Calls `body` with every pair of indices.
template <class A, class B, class Body>
void Pairs(const std::vector<A>& a, const std::vector<B>& b, Body body) {
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t k = 0; k < b.size(); ++k) {
            body(a[i], b[k], " " + std::to_string(i) + " " + std::to_string(k));
        }
    }
}

template <class A, class Body>
void Singles(const std::vector<A>& a, Body body) {
    for (std::size_t i = 0; i < a.size(); ++i) body(a[i], " " + std::to_string(i));
}

inline void RunVectors(const Emit& emit) {
    Singles(Vectors(), [&](const D3DXVECTOR3& v, const std::string& n) {
        D3DXVECTOR3 out;
        emit("Vec3Length" + n, Floats(D3DXVec3Length(&v)));
        emit("Vec3Normalize" + n, Floats(*D3DXVec3Normalize(&out, &v)));
    });
    Pairs(Vectors(), Vectors(), [&](const D3DXVECTOR3& a, const D3DXVECTOR3& b, const std::string& n) {
        D3DXVECTOR3 out;
        emit("Vec3Dot" + n, Floats(D3DXVec3Dot(&a, &b)));
        emit("Vec3Cross" + n, Floats(*D3DXVec3Cross(&out, &a, &b)));
        emit("Vec3Lerp" + n, Floats(*D3DXVec3Lerp(&out, &a, &b, 0.25f)));
    });
    Pairs(Vectors(), Matrices(), [&](const D3DXVECTOR3& v, const D3DXMATRIX& m, const std::string& n) {
        D3DXVECTOR3 out;
        D3DXVECTOR4 four;
        emit("Vec3Transform" + n, Floats(*D3DXVec3Transform(&four, &v, &m)));
        emit("Vec3TransformCoord" + n, Floats(*D3DXVec3TransformCoord(&out, &v, &m)));
        emit("Vec3TransformNormal" + n, Floats(*D3DXVec3TransformNormal(&out, &v, &m)));
    });
}

inline void RunMatrices(const Emit& emit) {
    D3DXMATRIX out;
    Singles(Matrices(), [&](const D3DXMATRIX& m, const std::string& n) {
        emit("MatrixDeterminant" + n, Floats(D3DXMatrixDeterminant(&m)));
        emit("MatrixTranspose" + n, Floats(*D3DXMatrixTranspose(&out, &m)));
        float determinant = 0;
        const bool done = D3DXMatrixInverse(&out, &determinant, &m) != nullptr;
        std::vector<float> result{done ? 1.0f : 0.0f};
        if (done) {
            result.push_back(determinant);
            for (float f : Floats(out)) result.push_back(f);
        }
        emit("MatrixInverse" + n, result);
    });
    Pairs(Matrices(), Matrices(), [&](const D3DXMATRIX& a, const D3DXMATRIX& b, const std::string& n) {
        emit("MatrixMultiply" + n, Floats(*D3DXMatrixMultiply(&out, &a, &b)));
    });
    const auto a = Matrices()[1], b = Matrices()[3];
    emit("MatrixMultiplyTranspose", Floats(*D3DXMatrixMultiplyTranspose(&out, &a, &b)));
    emit("MatrixScaling", Floats(*D3DXMatrixScaling(&out, 2, -3, 0.5f)));
    emit("MatrixTranslation", Floats(*D3DXMatrixTranslation(&out, 2, -3, 0.5f)));
    Singles(Angles(), [&](float angle, const std::string& n) {
        emit("MatrixRotationX" + n, Floats(*D3DXMatrixRotationX(&out, angle)));
        emit("MatrixRotationY" + n, Floats(*D3DXMatrixRotationY(&out, angle)));
        emit("MatrixRotationZ" + n, Floats(*D3DXMatrixRotationZ(&out, angle)));
        emit("MatrixRotationYawPitchRoll" + n,
             Floats(*D3DXMatrixRotationYawPitchRoll(&out, angle, 0.4f - angle, angle * 0.5f)));
    });
    Pairs(Vectors(), Angles(), [&](const D3DXVECTOR3& v, float angle, const std::string& n) {
        emit("MatrixRotationAxis" + n, Floats(*D3DXMatrixRotationAxis(&out, &v, angle)));
    });
    Singles(Quaternions(), [&](const D3DXQUATERNION& q, const std::string& n) {
        emit("MatrixRotationQuaternion" + n, Floats(*D3DXMatrixRotationQuaternion(&out, &q)));
    });
    Pairs(Vectors(), Vectors(), [&](const D3DXVECTOR3& eye, const D3DXVECTOR3& at, const std::string& n) {
        const D3DXVECTOR3 up[] = {{0, 0, 1}, {0, 1, 0}, {0.1f, 2, -0.5f}};
        for (int i = 0; i < 3; ++i) {
            emit("MatrixLookAtRH" + n + " " + std::to_string(i),
                 Floats(*D3DXMatrixLookAtRH(&out, &eye, &at, &up[i])));
        }
    });
    emit("MatrixPerspectiveFovRH 0",
         Floats(*D3DXMatrixPerspectiveFovRH(&out, 0.785398f, 1.3333334f, 1, 1000)));
    emit("MatrixPerspectiveFovRH 1", Floats(*D3DXMatrixPerspectiveFovRH(&out, 2.5f, 0.75f, 0.1f, 10000)));
    emit("MatrixPerspectiveRH", Floats(*D3DXMatrixPerspectiveRH(&out, 4, 3, 1, 100)));
    emit("MatrixOrthoRH", Floats(*D3DXMatrixOrthoRH(&out, 640, 480, -1, 100)));
    emit("MatrixOrthoOffCenterRH", Floats(*D3DXMatrixOrthoOffCenterRH(&out, -10, 30, -5, 25, 1, 100)));
    Singles(Planes(), [&](const D3DXPLANE& plane, const std::string& n) {
        emit("MatrixReflect" + n, Floats(*D3DXMatrixReflect(&out, &plane)));
        const D3DXVECTOR4 light = {3, 10, -2, 1}, sun = {0.2f, 1, 0.3f, 0};
        emit("MatrixShadow" + n + " 0", Floats(*D3DXMatrixShadow(&out, &light, &plane)));
        emit("MatrixShadow" + n + " 1", Floats(*D3DXMatrixShadow(&out, &sun, &plane)));
    });
    for (std::size_t i : {0u, 1u, 2u, 3u, 4u}) {
        // Scale x rotation x translation of uneven scales, taken apart again.
        D3DXMATRIX scale, turn;
        const auto q = Quaternions()[i];
        D3DXMatrixScaling(&scale, 2, 0.5f, 3);
        D3DXMatrixRotationQuaternion(&turn, &q);
        D3DXMatrixMultiply(&out, &scale, &turn);
        out.m[3][0] = 4, out.m[3][1] = -5, out.m[3][2] = 6;
        D3DXVECTOR3 s, t;
        D3DXQUATERNION r;
        D3DXMatrixDecompose(&s, &r, &t, &out);
        emit("MatrixDecompose " + std::to_string(i), {s.x, s.y, s.z, r.x, r.y, r.z, r.w, t.x, t.y, t.z});
    }
}

inline void RunQuaternions(const Emit& emit) {
    D3DXQUATERNION out;
    Singles(Quaternions(), [&](const D3DXQUATERNION& q, const std::string& n) {
        emit("QuaternionLength" + n, Floats(D3DXQuaternionLength(&q)));
        emit("QuaternionConjugate" + n, Floats(*D3DXQuaternionConjugate(&out, &q)));
        emit("QuaternionNormalize" + n, Floats(*D3DXQuaternionNormalize(&out, &q)));
        emit("QuaternionInverse" + n, Floats(*D3DXQuaternionInverse(&out, &q)));
        D3DXVECTOR3 axis;
        float angle;
        D3DXQuaternionToAxisAngle(&q, &axis, &angle);
        emit("QuaternionToAxisAngle" + n, {axis.x, axis.y, axis.z, angle});
    });
    Pairs(Quaternions(), Quaternions(),
          [&](const D3DXQUATERNION& a, const D3DXQUATERNION& b, const std::string& n) {
              emit("QuaternionDot" + n, Floats(D3DXQuaternionDot(&a, &b)));
              emit("QuaternionMultiply" + n, Floats(*D3DXQuaternionMultiply(&out, &a, &b)));
              for (float t : {0.0f, 0.3f, 1.0f, 1.5f}) {
                  char text[16];
                  std::snprintf(text, sizeof text, " %.1f", static_cast<double>(t));
                  emit("QuaternionSlerp" + n + text, Floats(*D3DXQuaternionSlerp(&out, &a, &b, t)));
              }
          });
    Pairs(Vectors(), Angles(), [&](const D3DXVECTOR3& axis, float angle, const std::string& n) {
        emit("QuaternionRotationAxis" + n, Floats(*D3DXQuaternionRotationAxis(&out, &axis, angle)));
        D3DXMATRIX turn;
        D3DXMatrixRotationAxis(&turn, &axis, angle);
        emit("QuaternionRotationMatrix" + n, Floats(*D3DXQuaternionRotationMatrix(&out, &turn)));
    });
    Pairs(Angles(), Angles(), [&](float yaw, float pitch, const std::string& n) {
        emit("QuaternionRotationYawPitchRoll" + n,
             Floats(*D3DXQuaternionRotationYawPitchRoll(&out, yaw, pitch, yaw + 2 * pitch - 1)));
    });
}

inline void RunPlanes(const Emit& emit) {
    D3DXPLANE out;
    Singles(Planes(), [&](const D3DXPLANE& plane, const std::string& n) {
        const D3DXVECTOR4 four = {1, -2, 3, 0.5f};
        const D3DXMATRIX m = Matrices()[3];
        emit("PlaneNormalize" + n, Floats(*D3DXPlaneNormalize(&out, &plane)));
        emit("PlaneDot" + n, Floats(D3DXPlaneDot(&plane, &four)));
        emit("PlaneTransform" + n, Floats(*D3DXPlaneTransform(&out, &plane, &m)));
    });
    Pairs(Planes(), Vectors(), [&](const D3DXPLANE& plane, const D3DXVECTOR3& v, const std::string& n) {
        const D3DXVECTOR3 from = {1, 5, -4};
        D3DXVECTOR3 hit;
        const bool met = D3DXPlaneIntersectLine(&hit, &plane, &from, &v) != nullptr;
        emit("PlaneIntersectLine" + n,
             met ? std::vector<float>{1, hit.x, hit.y, hit.z} : std::vector<float>{0});
    });
    Pairs(Vectors(), Vectors(), [&](const D3DXVECTOR3& a, const D3DXVECTOR3& b, const std::string& n) {
        emit("PlaneFromPointNormal" + n, Floats(*D3DXPlaneFromPointNormal(&out, &a, &b)));
        const D3DXVECTOR3 c = {2, 2, -7};
        emit("PlaneFromPoints" + n, Floats(*D3DXPlaneFromPoints(&out, &a, &b, &c)));
    });
}

inline void RunAll(const Emit& emit) {
    RunVectors(emit);
    RunMatrices(emit);
    RunQuaternions(emit);
    RunPlanes(emit);
}

}  // namespace math_cases
