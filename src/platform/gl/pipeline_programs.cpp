#include "platform/gl/pipeline_programs.h"

#include <string>

#include "platform/gl/pipeline.h"
#include "platform/system/system.h"

namespace platform::gl {

ProgramCache::~ProgramCache() {
    for (const auto& [pair, program] : programs_) glDeleteProgram(program->name);
    for (const auto& [hash, stage] : vertices_) glDeleteShader(stage->name);
    for (const auto& [hash, stage] : fragments_) glDeleteShader(stage->name);
}

std::size_t ProgramCache::PairHash::operator()(const Pair& pair) const {
    return static_cast<std::size_t>(HashBytes(&pair, sizeof(pair)));
}

GLuint ProgramCache::Compile(GLenum kind, const std::string& text) {
    ++stats_.stages_compiled;
    const GLuint name = glCreateShader(kind);
    const char* source = text.c_str();
    glShaderSource(name, 1, &source, nullptr);
    glCompileShader(name);
    GLint good = 0;
    glGetShaderiv(name, GL_COMPILE_STATUS, &good);
    if (good != 0) return name;
    char log[2048] = "";
    glGetShaderInfoLog(name, sizeof(log), nullptr, log);
    DebugString(std::string("A shader does not compile: ") + log + "\n");
    glDeleteShader(name);
    return 0;
}

ProgramCache::VertexStage& ProgramCache::FindVertex(const VertexKey& key, const ShaderData* shader,
                                                    u32 coordinates) {
    // The coordinates of fixed stages are in their key.
    const u32 serial = shader != nullptr ? shader->serial : 0, outputs = shader != nullptr ? coordinates : 0;
    const u64 hash = HashBytes(&key, sizeof(key)) ^ (static_cast<u64>(serial) << 32) ^ outputs;
    const auto [first, last] = vertices_.equal_range(hash);
    for (auto it = first; it != last; ++it) {
        VertexStage& stage = *it->second;
        if (stage.key == key && stage.shader == serial && stage.coordinates == outputs) return stage;
    }
    auto stage = std::make_unique<VertexStage>();
    stage->key = key;
    stage->shader = serial;
    stage->coordinates = outputs;
    stage->name =
        Compile(GL_VERTEX_SHADER, shader != nullptr ? ShaderVertexText(shader->source, key, coordinates)
                                                    : FixedVertexText(key));
    return *vertices_.emplace(hash, std::move(stage))->second;
}

ProgramCache::FragmentStage& ProgramCache::FindFragment(const FragmentKey& key, const ShaderData* shader,
                                                        u32 coordinates) {
    const u32 serial = shader != nullptr ? shader->serial : 0;
    const u64 hash = HashBytes(&key, sizeof(key)) ^ (static_cast<u64>(serial) << 32);
    const auto [first, last] = fragments_.equal_range(hash);
    for (auto it = first; it != last; ++it) {
        FragmentStage& stage = *it->second;
        if (stage.key == key && stage.shader == serial) return stage;
    }
    auto stage = std::make_unique<FragmentStage>();
    stage->key = key;
    stage->shader = serial;
    stage->name =
        Compile(GL_FRAGMENT_SHADER, shader != nullptr ? ShaderFragmentText(shader->source, key, coordinates)
                                                      : FixedFragmentText(key));
    return *fragments_.emplace(hash, std::move(stage))->second;
}

Program* ProgramCache::Find(const VertexKey& vertex, const FragmentKey& fragment,
                            const ShaderData* vertex_shader, const ShaderData* pixel_shader,
                            u32 coordinates) {
    const VertexStage& vertex_stage = FindVertex(vertex, vertex_shader, coordinates);
    const FragmentStage& fragment_stage = FindFragment(fragment, pixel_shader, coordinates);
    std::unique_ptr<Program>& program = programs_[{&vertex_stage, &fragment_stage}];
    if (!program) {
        program = std::make_unique<Program>();
        Link(*program, vertex_stage, fragment_stage, vertex_shader, pixel_shader);
    }
    return program.get();
}

void ProgramCache::Link(Program& program, const VertexStage& vertex, const FragmentStage& fragment,
                        const ShaderData* vertex_shader, const ShaderData* pixel_shader) {
    if (vertex.name == 0 || fragment.name == 0) return;
    ++stats_.programs_compiled;
    const GLuint name = glCreateProgram();
    glAttachShader(name, vertex.name);
    glAttachShader(name, fragment.name);
    if (vertex_shader != nullptr) {
        // Attribute i of a shader object's table is at location i.
        GLuint location = 0;
        for (const ShaderAttribute& attribute : vertex_shader->source.attributes) {
            glBindAttribLocation(name, location++, attribute.name.c_str());
        }
    }
    glLinkProgram(name);
    GLint good = 0;
    glGetProgramiv(name, GL_LINK_STATUS, &good);
    if (good == 0) {
        char log[2048] = "";
        glGetProgramInfoLog(name, sizeof(log), nullptr, log);
        DebugString(std::string("A program does not link: ") + log + "\n");
        glDeleteProgram(name);
        return;
    }
    program.name = name;
    program.fixed_vertices = vertex_shader == nullptr;
    program.transformed = vertex.key.transformed != 0;
    for (const CoordKey& coord : vertex.key.coords) {
        program.nudged = program.nudged || (program.transformed && coord.used != 0);
    }
    program.blends = vertex.key.blend_matrices != 0;
    program.clip_planes = vertex.key.clip_planes;
    program.directional = vertex.key.directional;
    program.points = vertex.key.points;

    const auto find = [&](GLint& location, const char* uniform, UniformGroup group) {
        location = glGetUniformLocation(name, uniform);
        if (location >= 0) program.groups |= 1u << group;
    };
    find(program.transform, "u_transform", kGroupTransform);
    find(program.projection, "u_projection", kGroupTransform);
    find(program.world_view, "u_world_view", kGroupTransform);
    find(program.normal, "u_normal", kGroupTransform);
    find(program.pixel, "u_pixel", kGroupTransform);
    if (program.blends) program.groups |= 1u << kGroupTransform;
    find(program.light, "u_light", kGroupLights);
    find(program.material, "u_material", kGroupMaterial);
    find(program.fog, "u_fog", kGroupFog);
    find(program.fog_color, "u_fog_color", kGroupFog);
    find(program.factor, "u_factor", kGroupFragment);
    find(program.constant, "u_constant", kGroupFragment);
    find(program.bump, "u_bump", kGroupFragment);
    find(program.bump_luminance, "u_bump_luminance", kGroupFragment);
    find(program.alpha_ref, "u_alpha_ref", kGroupFragment);
    find(program.texture_matrix, "u_texture_matrix", kGroupTextureMatrices);
    find(program.clip, "u_clip", kGroupClip);
    find(program.point, "u_point", kGroupPoint);
    const auto constants = [&](const ShaderData* shader, std::vector<Program::Constant>& out,
                               UniformGroup group) {
        if (shader == nullptr) return;
        for (const ShaderConstant& constant : shader->source.constants) {
            const GLint location = glGetUniformLocation(name, constant.name.c_str());
            if (location < 0) continue;
            out.push_back({location, constant});
            program.groups |= 1u << group;
        }
    };
    constants(vertex_shader, program.vertex_constants, kGroupVertexConstants);
    constants(pixel_shader, program.pixel_constants, kGroupPixelConstants);
    const GLuint block = glGetUniformBlockIndex(name, "Blend");
    if (block != GL_INVALID_INDEX) glUniformBlockBinding(name, block, 0);

    context_.State().UseProgram(name);
    const auto sampler = [&](const char* uniform, u32 unit, bool cube) {
        const GLint location = glGetUniformLocation(name, uniform);
        if (location < 0) return;
        glUniform1i(location, static_cast<GLint>(unit));
        program.samplers |= 1u << unit;
        if (cube) program.cube_samplers |= 1u << unit;
    };
    if (pixel_shader != nullptr) {
        for (const ShaderSampler& it : pixel_shader->source.samplers) {
            sampler(it.name.c_str(), it.unit, it.type == SamplerType::kCube);
        }
    } else {
        for (u32 i = 0; i < fragment.key.stage_count; ++i) {
            const char uniform[3] = {'s', static_cast<char>('0' + i), '\0'};
            sampler(uniform, i, fragment.key.stages[i].texture == kTextureCube);
        }
    }
}

void ProgramCache::Forget(u32 shader_serial) {
    context_.State().UseProgram(0);
    std::erase_if(programs_, [&](const auto& entry) {
        if (entry.first.vertex->shader != shader_serial && entry.first.fragment->shader != shader_serial)
            return false;
        glDeleteProgram(entry.second->name);
        return true;
    });
    const auto drop = [&](auto& stages) {
        std::erase_if(stages, [&](const auto& entry) {
            if (entry.second->shader != shader_serial) return false;
            glDeleteShader(entry.second->name);
            return true;
        });
    };
    drop(vertices_);
    drop(fragments_);
}

}  // namespace platform::gl
