// The programs of the pipeline: made once per pair of stages, and their uniforms, sent where they changed.
#pragma once

#include <epoxy/gl.h>

#include <array>
#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/gl/ff_key.h"
#include "platform/gl/ff_shader.h"
#include "platform/gl/gl_context.h"

namespace platform::gl {

struct PipelineStats;

/// Uniforms that change together. Each has a version that rises with every change of its values; a program
/// remembers the version that it was last given.
enum UniformGroup : u32 {
    kGroupTransform,  // matrices, viewport
    kGroupLights,
    kGroupMaterial,
    kGroupFog,
    kGroupFragment,  // texture factor, constants, bump matrices, alpha reference
    kGroupTextureMatrices,
    kGroupClip,
    kGroupPoint,
    kGroupVertexConstants,
    kGroupPixelConstants,
    kUniformGroups
};

struct Program {
    GLuint name = 0;                      // 0: it did not compile
    u32 groups = 0;                       // one bit per group that it has a uniform of
    u32 samplers = 0, cube_samplers = 0;  // units that it reads, and which of them as cubes
    bool blends = false;
    bool transformed = false;
    bool nudged = false;  // transformed and textured: see pipeline.h
    bool fixed_vertices = true;
    u32 clip_planes = 0;
    u32 directional = 0, points = 0;  // lights; the rest are spots

    GLint transform = -1, projection = -1, world_view = -1, normal = -1, pixel = -1;
    GLint material = -1, light = -1, fog = -1, fog_color = -1, factor = -1, constant = -1, bump = -1,
          bump_luminance = -1, alpha_ref = -1, texture_matrix = -1, clip = -1, point = -1;
    struct Constant {
        GLint location;
        ShaderConstant what;
    };
    std::vector<Constant> vertex_constants, pixel_constants;

    std::array<u64, kUniformGroups> seen{};
    u64 seen_all = 0;
};

/// Finds and makes programs.
class ProgramCache {
  public:
    ProgramCache(GlContext& context, PipelineStats& stats) : context_(context), stats_(stats) {}
    ~ProgramCache();
    ProgramCache(const ProgramCache&) = delete;
    ProgramCache& operator=(const ProgramCache&) = delete;

    /// The program for the keys, with shader objects in the place of the fixed stages where they are not
    /// null. `coordinates`: texture coordinates that the fragment stage reads. Never null; a program that did
    /// not compile has the name 0, and it is not tried again.
    Program* Find(const VertexKey& vertex, const FragmentKey& fragment, const ShaderData* vertex_shader,
                  const ShaderData* pixel_shader, u32 coordinates);
    /// A shader object goes away: so do its stages and programs.
    void Forget(u32 shader_serial);

  private:
    struct VertexStage {
        VertexKey key;
        u32 shader = 0, coordinates = 0;
        GLuint name = 0;
    };
    struct FragmentStage {
        FragmentKey key;
        u32 shader = 0;
        GLuint name = 0;
    };
    template <class Stage>
    using Stages = std::unordered_multimap<u64, std::unique_ptr<Stage>>;
    GLuint Compile(GLenum kind, const std::string& text);
    VertexStage& FindVertex(const VertexKey& key, const ShaderData* shader, u32 coordinates);
    FragmentStage& FindFragment(const FragmentKey& key, const ShaderData* shader, u32 coordinates);
    void Link(Program& program, const VertexStage& vertex, const FragmentStage& fragment,
              const ShaderData* vertex_shader, const ShaderData* pixel_shader);

    GlContext& context_;
    PipelineStats& stats_;
    Stages<VertexStage> vertices_;
    Stages<FragmentStage> fragments_;
    struct Pair {
        const VertexStage* vertex;
        const FragmentStage* fragment;
        bool operator==(const Pair&) const = default;
    };
    struct PairHash {
        std::size_t operator()(const Pair& pair) const;
    };
    std::unordered_map<Pair, std::unique_ptr<Program>, PairHash> programs_;
};

/// Values of uniforms derived from the state, and their versions.
class UniformStore {
  public:
    explicit UniformStore(GlContext& context) : context_(context) {}
    ~UniformStore();
    UniformStore(const UniformStore&) = delete;
    UniformStore& operator=(const UniformStore&) = delete;

    /// Takes up the bits of `dirty`: raises the versions of the groups that they touch.
    void Note(DeviceState& state, u32 dirty);
    /// Sends what the program has not seen. The program must be in use.
    void Send(const DeviceState& state, Program& program, PipelineStats& stats);

  private:
    void Raise(UniformGroup group) {
        ++version_[group];
        ++version_all_;
    }
    void Derive(const DeviceState& state);
    void SendTransform(const DeviceState& state, const Program& program);
    void SendLights(const DeviceState& state, const Program& program);
    void SendMaterial(const DeviceState& state, const Program& program);
    void SendFragment(const DeviceState& state, const Program& program);
    void SendClip(const DeviceState& state, const Program& program);
    void SendBlendMatrices(const DeviceState& state);

    GlContext& context_;
    std::array<u64, kUniformGroups> version_ = [] {
        std::array<u64, kUniformGroups> first{};
        first.fill(1);
        return first;
    }();
    u64 version_all_ = 1;
    bool matrices_stale_ = true, projection_stale_ = true;
    D3DMATRIX world_view_{}, transform_{}, target_projection_{};
    GLuint blend_buffer_ = 0;
    u64 blend_version_ = 0;
};

/// a x b, with every sum kept in double precision.
D3DMATRIX Product(const D3DMATRIX& a, const D3DMATRIX& b);
/// The projection that gives OpenGL's clip position for this viewport: half a pixel, the sign of y, the range
/// of z.
D3DMATRIX TargetProjection(const D3DMATRIX& projection, const D3DVIEWPORT9& viewport);
/// Inverse of the upper left 3 x 3 part, transposed, row by row; zero when there is none.
std::array<float, 9> NormalMatrix(const D3DMATRIX& m);
/// False when there is no inverse.
bool Invert(const D3DMATRIX& m, D3DMATRIX& out);

}  // namespace platform::gl
