#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "platform/gl/pipeline.h"
#include "platform/gl/pipeline_programs.h"

namespace platform::gl {

namespace {

// See pipeline.h.
constexpr double kNudge = 1.0 / 1024.0;

using Doubles = std::array<std::array<double, 4>, 4>;

Doubles Widen(const D3DMATRIX& m) {
    Doubles out;
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) out[row][column] = m.m[row][column];
    }
    return out;
}

Doubles Multiply(const Doubles& a, const Doubles& b) {
    Doubles out;
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            out[row][column] = a[row][0] * b[0][column] + a[row][1] * b[1][column] +
                               a[row][2] * b[2][column] + a[row][3] * b[3][column];
        }
    }
    return out;
}

D3DMATRIX Narrow(const Doubles& m) {
    D3DMATRIX out;
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column)
            out.m[row][column] = static_cast<float>(m[row][column]);
    }
    return out;
}

struct Vector4 {
    float x, y, z, w;
};

Vector4 Color(DWORD color) {
    const auto channel = [&](u32 shift) { return static_cast<float>(color >> shift & 0xff) / 255.0f; };
    return {channel(16), channel(8), channel(0), channel(24)};
}

Vector4 Color(const D3DCOLORVALUE& color) { return {color.r, color.g, color.b, color.a}; }

// v as a row vector through m; w 1 for a point, 0 for a direction.
Vector4 Through(const D3DVECTOR& v, float w, const D3DMATRIX& m) {
    const auto column = [&](int c) {
        return v.x * m.m[0][c] + v.y * m.m[1][c] + v.z * m.m[2][c] + w * m.m[3][c];
    };
    return {column(0), column(1), column(2), 0.0f};
}

Vector4 Normalized(const Vector4& v) {
    const float length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    if (length == 0.0f) return {0.0f, 0.0f, 0.0f, 0.0f};
    return {v.x / length, v.y / length, v.z / length, 0.0f};
}

double Extent(DWORD size) { return size == 0 ? 1.0 : static_cast<double>(size); }

}  // namespace

D3DMATRIX Product(const D3DMATRIX& a, const D3DMATRIX& b) { return Narrow(Multiply(Widen(a), Widen(b))); }

D3DMATRIX TargetProjection(const D3DMATRIX& projection, const D3DVIEWPORT9& viewport) {
    const double x = 1.0 / Extent(viewport.Width), y = 1.0 / Extent(viewport.Height);
    Doubles m = Widen(projection);
    for (auto& row : m) {
        row[0] += row[3] * x;
        row[1] = row[3] * y - row[1];
        row[2] = 2.0 * row[2] - row[3];
    }
    return Narrow(m);
}

std::array<float, 9> NormalMatrix(const D3DMATRIX& m) {
    const auto& a = m.m;
    // Cofactors over the determinant are the inverse, transposed.
    const auto minor = [&](int r0, int c0, int r1, int c1) {
        return static_cast<double>(a[r0][c0]) * a[r1][c1] - static_cast<double>(a[r0][c1]) * a[r1][c0];
    };
    const double cofactors[9] = {minor(1, 1, 2, 2),  -minor(1, 0, 2, 2), minor(1, 0, 2, 1),
                                 -minor(0, 1, 2, 2), minor(0, 0, 2, 2),  -minor(0, 0, 2, 1),
                                 minor(0, 1, 1, 2),  -minor(0, 0, 1, 2), minor(0, 0, 1, 1)};
    const double determinant = a[0][0] * cofactors[0] + a[0][1] * cofactors[1] + a[0][2] * cofactors[2];
    std::array<float, 9> out{};
    if (determinant == 0.0) return out;
    for (std::size_t i = 0; i < 9; ++i) out[i] = static_cast<float>(cofactors[i] / determinant);
    return out;
}

bool Invert(const D3DMATRIX& m, D3DMATRIX& out) {
    Doubles left = Widen(m), right{};
    for (std::size_t i = 0; i < 4; ++i) right[i][i] = 1.0;
    for (std::size_t column = 0; column < 4; ++column) {
        std::size_t pivot = column;
        for (std::size_t row = column + 1; row < 4; ++row) {
            if (std::fabs(left[row][column]) > std::fabs(left[pivot][column])) pivot = row;
        }
        if (left[pivot][column] == 0.0) return false;
        std::swap(left[pivot], left[column]);
        std::swap(right[pivot], right[column]);
        const double scale = 1.0 / left[column][column];
        for (std::size_t k = 0; k < 4; ++k) {
            left[column][k] *= scale;
            right[column][k] *= scale;
        }
        for (std::size_t row = 0; row < 4; ++row) {
            if (row == column) continue;
            const double factor = left[row][column];
            for (std::size_t k = 0; k < 4; ++k) {
                left[row][k] -= factor * left[column][k];
                right[row][k] -= factor * right[column][k];
            }
        }
    }
    out = Narrow(right);
    return true;
}

UniformStore::~UniformStore() {
    if (blend_buffer_ != 0) {
        context_.State().ForgetBuffer(blend_buffer_);
        glDeleteBuffers(1, &blend_buffer_);
    }
}

void UniformStore::Note(DeviceState& state, u32 dirty) {
    if ((dirty & (kDirtyWorld | kDirtyView)) != 0) matrices_stale_ = true;
    if ((dirty & (kDirtyProjection | kDirtyViewport)) != 0) matrices_stale_ = projection_stale_ = true;
    if ((dirty & (kDirtyWorld | kDirtyView | kDirtyProjection | kDirtyViewport)) != 0) Raise(kGroupTransform);
    if ((dirty & (kDirtyLights | kDirtyView)) != 0) Raise(kGroupLights);
    if ((dirty & (kDirtyMaterial | kDirtyLightValues)) != 0) Raise(kGroupMaterial);
    if ((dirty & kDirtyFogValues) != 0) Raise(kGroupFog);
    if ((dirty & kDirtyFragmentValues) != 0) Raise(kGroupFragment);
    if ((dirty & kDirtyTextureMatrices) != 0) {
        Raise(kGroupTextureMatrices);
        state.dirty_texture_matrices = 0;
    }
    if ((dirty & (kDirtyClipPlanes | kDirtyView)) != 0) Raise(kGroupClip);
    if ((dirty & (kDirtyPointValues | kDirtyViewport)) != 0) Raise(kGroupPoint);
    if ((dirty & kDirtyVertexConstants) != 0) Raise(kGroupVertexConstants);
    if ((dirty & kDirtyPixelConstants) != 0) Raise(kGroupPixelConstants);
}

void UniformStore::Derive(const DeviceState& state) {
    if (!matrices_stale_) return;
    if (projection_stale_) target_projection_ = TargetProjection(state.projection, state.viewport);
    const Doubles world_view = Multiply(Widen(state.world[0]), Widen(state.view));
    world_view_ = Narrow(world_view);
    transform_ = Narrow(Multiply(world_view, Widen(target_projection_)));
    matrices_stale_ = projection_stale_ = false;
}

void UniformStore::SendTransform(const DeviceState& state, const Program& program) {
    const D3DVIEWPORT9& viewport = state.viewport;
    if (program.pixel >= 0) {
        const double width = Extent(viewport.Width), height = Extent(viewport.Height);
        if (program.fixed_vertices) {
            const double shift = program.nudged ? 0.5 - kNudge : 0.5;
            glUniform4f(program.pixel, static_cast<float>(2.0 / width), static_cast<float>(2.0 / height),
                        static_cast<float>((shift - viewport.X) * 2.0 / width - 1.0),
                        static_cast<float>((shift - viewport.Y) * 2.0 / height - 1.0));
        } else {
            glUniform4f(program.pixel, static_cast<float>(1.0 / width), static_cast<float>(1.0 / height),
                        0.0f, 0.0f);
        }
    }
    if (!program.fixed_vertices || program.transformed) return;
    Derive(state);
    if (program.transform >= 0) glUniformMatrix4fv(program.transform, 1, GL_FALSE, &transform_.m[0][0]);
    if (program.projection >= 0)
        glUniformMatrix4fv(program.projection, 1, GL_FALSE, &target_projection_.m[0][0]);
    if (program.world_view >= 0) glUniformMatrix4fv(program.world_view, 1, GL_FALSE, &world_view_.m[0][0]);
    if (program.normal >= 0)
        glUniformMatrix3fv(program.normal, 1, GL_FALSE, NormalMatrix(world_view_).data());
    if (program.blends) SendBlendMatrices(state);
}

void UniformStore::SendBlendMatrices(const DeviceState& state) {
    GlStateCache& gl = context_.State();
    if (blend_buffer_ == 0) {
        glGenBuffers(1, &blend_buffer_);
        gl.BindUniformBuffer(blend_buffer_);
        glBufferData(GL_UNIFORM_BUFFER, kBlendBlockBytes, nullptr, GL_DYNAMIC_DRAW);
    }
    if (blend_version_ != version_[kGroupTransform]) {
        blend_version_ = version_[kGroupTransform];
        std::array<std::array<float, 12>, kBlendMatrices> rows;
        for (std::size_t i = 0; i < kBlendMatrices; ++i) {
            const D3DMATRIX m = Product(state.world[i], state.view);
            for (std::size_t column = 0; column < 3; ++column) {
                for (std::size_t row = 0; row < 4; ++row) rows[i][column * 4 + row] = m.m[row][column];
            }
        }
        gl.BindUniformBuffer(blend_buffer_);
        glBufferSubData(GL_UNIFORM_BUFFER, 0, sizeof(rows), rows.data());
    }
    glBindBufferBase(GL_UNIFORM_BUFFER, 0, blend_buffer_);
    gl.BindUniformBuffer(blend_buffer_);
}

void UniformStore::SendLights(const DeviceState& state, const Program& program) {
    if (program.light < 0) return;
    std::array<Vector4, kMaxLights * kLightVectors> values{};
    std::size_t directional = 0, point = program.directional, spot = point + program.points, used = 0;
    for (u32 i = 0; i < state.active_light_count; ++i) {
        const D3DLIGHT9& light = state.lights[state.active_lights[i]].value;
        std::size_t place = 0;
        if (light.Type == D3DLIGHT_DIRECTIONAL) {
            place = directional++;
        } else if (light.Type == D3DLIGHT_POINT) {
            place = point++;
        } else if (light.Type == D3DLIGHT_SPOT) {
            place = spot++;
        } else {
            continue;
        }
        if (place >= kMaxLights) continue;
        used = std::max(used, place + 1);
        Vector4* out = &values[place * kLightVectors];
        out[0] = Color(light.Diffuse);
        out[1] = Color(light.Specular);
        out[2] = Color(light.Ambient);
        const Vector4 direction = Normalized(Through(light.Direction, 0.0f, state.view));
        if (light.Type == D3DLIGHT_DIRECTIONAL) {
            out[3] = {-direction.x, -direction.y, -direction.z, 0.0f};
            continue;
        }
        out[3] = Through(light.Position, 1.0f, state.view);
        out[3].w = light.Range;
        out[4] = direction;
        out[5] = {light.Attenuation0, light.Attenuation1, light.Attenuation2, 0.0f};
        out[6] = {std::cos(light.Theta * 0.5f), std::cos(light.Phi * 0.5f), light.Falloff, 0.0f};
    }
    glUniform4fv(program.light, static_cast<GLsizei>(used * kLightVectors), &values[0].x);
}

void UniformStore::SendMaterial(const DeviceState& state, const Program& program) {
    const D3DMATERIAL9& material = state.material;
    const std::array<Vector4, kMaterialVectors> values = {Color(material.Diffuse),
                                                          Color(material.Ambient),
                                                          Color(material.Specular),
                                                          Color(material.Emissive),
                                                          {material.Power, 0.0f, 0.0f, 0.0f},
                                                          Color(state.render[D3DRS_AMBIENT])};
    if (program.material >= 0) glUniform4fv(program.material, kMaterialVectors, &values[0].x);
}

void UniformStore::SendFragment(const DeviceState& state, const Program& program) {
    const auto send = [](GLint location, const Vector4& v) { glUniform4f(location, v.x, v.y, v.z, v.w); };
    if (program.factor >= 0) send(program.factor, Color(state.render[D3DRS_TEXTUREFACTOR]));
    if (program.alpha_ref >= 0) {
        glUniform1f(program.alpha_ref, static_cast<float>(state.render[D3DRS_ALPHAREF] & 0xff));
    }
    const auto stages = [&](GLint location, auto&& value) {
        if (location < 0) return;
        std::array<Vector4, kMaxStages> values;
        for (std::size_t i = 0; i < kMaxStages; ++i) values[i] = value(state.stage[i]);
        glUniform4fv(location, kMaxStages, &values[0].x);
    };
    const auto number = [](DWORD bits) { return std::bit_cast<float>(bits); };
    stages(program.constant, [](const auto& stage) { return Color(stage[D3DTSS_CONSTANT]); });
    stages(program.bump, [&](const auto& stage) {
        return Vector4{number(stage[D3DTSS_BUMPENVMAT00]), number(stage[D3DTSS_BUMPENVMAT01]),
                       number(stage[D3DTSS_BUMPENVMAT10]), number(stage[D3DTSS_BUMPENVMAT11])};
    });
    stages(program.bump_luminance, [&](const auto& stage) {
        return Vector4{number(stage[D3DTSS_BUMPENVLSCALE]), number(stage[D3DTSS_BUMPENVLOFFSET]), 0.0f, 0.0f};
    });
}

void UniformStore::SendClip(const DeviceState& state, const Program& program) {
    if (program.clip < 0) return;
    // Planes lie in the world for fixed-function vertices, which measure them in camera space, and in clip
    // space for shader objects.
    D3DMATRIX from_view{};
    if (program.fixed_vertices && !Invert(state.view, from_view)) from_view = {};
    std::array<std::array<float, 4>, kMaxClipPlanes> planes{};
    std::size_t count = 0;
    for (std::size_t i = 0; i < kMaxClipPlanes; ++i) {
        if ((state.render[D3DRS_CLIPPLANEENABLE] >> i & 1u) == 0) continue;
        const std::array<float, 4>& plane = state.clip_planes[i];
        std::array<float, 4>& out = planes[count++];
        out = plane;
        if (!program.fixed_vertices) continue;
        for (std::size_t row = 0; row < 4; ++row) {
            double sum = 0.0;
            for (std::size_t column = 0; column < 4; ++column) {
                sum += static_cast<double>(from_view.m[row][column]) * plane[column];
            }
            out[row] = static_cast<float>(sum);
        }
    }
    glUniform4fv(program.clip, static_cast<GLsizei>(count), planes[0].data());
}

namespace {

template <class Floats, class Ints, class Bools>
void SendConstants(const std::vector<Program::Constant>& constants, const Floats& floats, const Ints& ints,
                   const Bools& bools) {
    for (const Program::Constant& constant : constants) {
        const std::size_t first = constant.what.first_register;
        const GLsizei count = static_cast<GLsizei>(constant.what.register_count);
        switch (constant.what.type) {
            case ConstantType::kVec4:
                glUniform4fv(constant.location, count, floats[first].data());
                break;
            case ConstantType::kMat4:
                glUniformMatrix4fv(constant.location, 1, GL_FALSE, floats[first].data());
                break;
            case ConstantType::kIvec4:
                glUniform4iv(constant.location, count, ints[first].data());
                break;
            case ConstantType::kBool:
                glUniform1iv(constant.location, count, &bools[first]);
                break;
        }
    }
}

}  // namespace

void UniformStore::Send(const DeviceState& state, Program& program, PipelineStats& stats) {
    if (program.seen_all == version_all_) return;
    program.seen_all = version_all_;
    for (u32 group = 0; group < kUniformGroups; ++group) {
        if ((program.groups >> group & 1u) == 0 || program.seen[group] == version_[group]) continue;
        program.seen[group] = version_[group];
        ++stats.uniform_uploads;
        switch (group) {
            case kGroupTransform:
                SendTransform(state, program);
                break;
            case kGroupLights:
                SendLights(state, program);
                break;
            case kGroupMaterial:
                SendMaterial(state, program);
                break;
            case kGroupFog: {
                const float start = state.RenderFloat(D3DRS_FOGSTART), end = state.RenderFloat(D3DRS_FOGEND);
                const Vector4 color = Color(state.render[D3DRS_FOGCOLOR]);
                if (program.fog >= 0) {
                    glUniform4f(program.fog, start, end, end == start ? 1e30f : 1.0f / (end - start),
                                state.RenderFloat(D3DRS_FOGDENSITY));
                }
                if (program.fog_color >= 0)
                    glUniform4f(program.fog_color, color.x, color.y, color.z, color.w);
                break;
            }
            case kGroupFragment:
                SendFragment(state, program);
                break;
            case kGroupTextureMatrices:
                glUniformMatrix4fv(program.texture_matrix, kMaxStages, GL_FALSE,
                                   &state.texture_matrix[0].m[0][0]);
                break;
            case kGroupClip:
                SendClip(state, program);
                break;
            case kGroupPoint: {
                const float values[8] = {
                    state.RenderFloat(D3DRS_POINTSIZE),     state.RenderFloat(D3DRS_POINTSIZE_MIN),
                    state.RenderFloat(D3DRS_POINTSIZE_MAX), static_cast<float>(state.viewport.Height),
                    state.RenderFloat(D3DRS_POINTSCALE_A),  state.RenderFloat(D3DRS_POINTSCALE_B),
                    state.RenderFloat(D3DRS_POINTSCALE_C),  0.0f};
                glUniform4fv(program.point, 2, values);
                break;
            }
            case kGroupVertexConstants:
                SendConstants(program.vertex_constants, state.vs_float, state.vs_int, state.vs_bool);
                break;
            default:
                SendConstants(program.pixel_constants, state.ps_float, state.ps_int, state.ps_bool);
        }
    }
}

}  // namespace platform::gl
