#include "platform/gl/ff_shader.h"

namespace platform::gl {

namespace {

std::string Number(u32 value) { return std::to_string(value); }

// `text` with every "$" replaced by a number.
std::string With(std::string text, u32 number) {
    const std::string digits = Number(number);
    for (std::size_t at = text.find('$'); at != std::string::npos; at = text.find('$', at + digits.size())) {
        text.replace(at, 1, digits);
    }
    return text;
}

const char* Flat(u8 flat) { return flat != 0 ? "flat " : ""; }

void AddClipPlanes(std::string& text, u32 planes, const char* point) {
    for (u32 i = 0; i < planes; ++i) {
        text += With("    gl_ClipDistance[$] = dot(u_clip[$], ", i) + point + ");\n";
    }
}

void AddVertexOutputs(std::string& text, u8 flat, bool fog, u32 coordinates) {
    text += std::string(Flat(flat)) + "out vec4 v_color0;\n" + Flat(flat) + "out vec4 v_color1;\n";
    if (fog) text += "out float v_fog;\n";
    for (u32 i = 0; i < kMaxStages; ++i) {
        if ((coordinates >> i & 1u) != 0) text += With("out vec4 v_tex$;\n", i);
    }
}

void AddFogDistance(std::string& text, const VertexKey& key) {
    text += key.fog_range != 0 ? "    float fog_distance = length(eye.xyz);\n"
                               : "    float fog_distance = abs(eye.z);\n";
}

// Everything up to the colours, when the vertex is lit.
void AddLighting(std::string& text, const VertexKey& key) {
    const auto source = [](u8 from, u32 vector) -> std::string {
        if (from == kFromDiffuse) return "a_diffuse";
        if (from == kFromSpecular) return "a_specular";
        return With("u_material[$]", vector);
    };
    text +=
        "    vec3 sum_ambient = u_material[5].rgb;\n    vec3 sum_diffuse = vec3(0.0);\n"
        "    vec3 sum_specular = vec3(0.0);\n";
    if (key.light_specular != 0) {
        text += key.local_viewer != 0 ? "    vec3 to_viewer = -normalize(eye.xyz);\n"
                                      : "    vec3 to_viewer = vec3(0.0, 0.0, -1.0);\n";
    }
    const u32 lights = static_cast<u32>(key.directional) + key.points + key.spots;
    for (u32 i = 0; i < lights; ++i) {
        const u32 at = i * kLightVectors;
        const bool directional = i < key.directional;
        const bool spot = i >= static_cast<u32>(key.directional) + key.points;
        text += "    {\n        float reach = 1.0;\n";
        if (directional) {
            text += With("        vec3 to_light = u_light[$].xyz;\n", at + 3);
        } else {
            text += With("        vec3 to_light = u_light[$].xyz - eye.xyz;\n", at + 3) +
                    "        float far = length(to_light);\n"
                    "        to_light = far > 0.0 ? to_light / far : vec3(0.0);\n" +
                    With("        vec3 attenuation = u_light[$].xyz;\n", at + 5) +
                    // Without attenuation a light is boundless, not undefined.
                    With(
                        "        reach = far > u_light[$].w ? 0.0 : 1.0 / max(attenuation.x + "
                        "attenuation.y * far + attenuation.z * far * far, 1e-20);\n",
                        at + 3);
        }
        if (spot) {
            text +=
                With("        float rho = dot(-to_light, u_light[$].xyz);\n", at + 4) +
                With("        vec3 cone = u_light[$].xyz;\n", at + 6) +
                "        if (rho <= cone.y) reach = 0.0;\n"
                "        else if (rho <= cone.x) reach *= pow((rho - cone.y) / (cone.x - cone.y), cone.z);\n";
        }
        text += With("        sum_ambient += u_light[$].rgb * reach;\n", at + 2);
        if (key.normal != 0) {
            text += "        float facing = dot(normal, to_light);\n" +
                    With("        sum_diffuse += u_light[$].rgb * (max(facing, 0.0) * reach);\n", at);
            if (key.light_specular != 0) {
                text +=
                    "        float shine = dot(normal, normalize(to_light + to_viewer));\n"
                    "        if (facing > 0.0 && shine > 0.0) sum_specular += " +
                    With("u_light[$].rgb", at + 1) + " * (pow(shine, u_material[4].x) * reach);\n";
            }
        }
        text += "    }\n";
    }
    const std::string diffuse = source(key.source_diffuse, 0);
    text += "    vec3 lit = " + source(key.source_emissive, 3) + ".rgb + sum_ambient * " +
            source(key.source_ambient, 1) + ".rgb + sum_diffuse * " + diffuse + ".rgb;\n";
    text += "    v_color0 = clamp(vec4(lit, " + diffuse + ".a), 0.0, 1.0);\n";
    text += "    v_color1 = clamp(vec4(sum_specular * " + source(key.source_specular, 2) + ".rgb, " +
            (key.specular != 0 ? "a_specular.a" : "0.0") + "), 0.0, 1.0);\n";
}

void AddCoordinates(std::string& text, const VertexKey& key, u32 stage) {
    const CoordKey& coord = key.coords[stage];
    const std::string set = With("a_tex$", coord.set);
    std::string value;
    switch (coord.generate) {
        case 1:
            value = "vec4(normal, 1.0)";
            break;
        case 2:
            value = "vec4(eye.xyz, 1.0)";
            break;
        case 3:
            value = "vec4(reflect(normalize(eye.xyz), normal), 1.0)";
            break;
        case 4:
            value = "sphere_map(reflect(normalize(eye.xyz), normal))";
            break;
        default:
            if (coord.components == 0) {
                value = "vec4(0.0, 0.0, 0.0, 1.0)";
            } else if (coord.count != 0) {
                static const char* const kExtended[] = {"vec4(", ".x, 1.0, 0.0, 0.0)", ".xy, 1.0, 0.0)",
                                                        ".xyz, 1.0)", ")"};
                value = std::string("vec4(") + set + kExtended[coord.components];
            } else {
                value = set;
            }
    }
    if (coord.count != 0) {
        value = With("u_texture_matrix[$] * ", stage) + value;
        if (coord.count == 1) value = "vec4((" + value + ").x, 0.0, 0.0, 1.0)";
        if (coord.count == 2) value = "vec4((" + value + ").xy, 0.0, 1.0)";
        if (coord.count == 3) value = "vec4((" + value + ").xyz, 1.0)";
    }
    text += With("    v_tex$ = ", stage) + value + ";\n";
}

void AddPointSize(std::string& text, const VertexKey& key) {
    if (key.draws_points == 0) return;
    text += std::string("    float point_size = ") + (key.point_size != 0 ? "a_point_size" : "u_point[0].x") +
            ";\n";
    if (key.point_scale != 0) {
        text +=
            "    float viewer_distance = length(eye.xyz);\n"
            "    point_size *= u_point[0].w * inversesqrt(u_point[1].x + u_point[1].y * viewer_distance + "
            "u_point[1].z * viewer_distance * viewer_distance);\n";
    }
    text += "    gl_PointSize = clamp(point_size, u_point[0].y, u_point[0].z);\n";
}

// What a fragment program of either kind declares and how it ends: `color` holds the result.
void AddFragmentHead(std::string& text, const FragmentKey& key, bool fog, u32 coordinates) {
    text += std::string("#version 330 core\n") + Flat(key.flat) + "in vec4 v_color0;\n" + Flat(key.flat) +
            "in vec4 v_color1;\n";
    if (fog) text += "in float v_fog;\nuniform vec4 u_fog_color;\n";
    if (key.fog >= kFogTableLinear) text += "uniform vec4 u_fog;\n";
    if (key.alpha_func != 0) text += "uniform float u_alpha_ref;\n";
    for (u32 i = 0; i < kMaxStages; ++i) {
        if ((coordinates >> i & 1u) != 0 && key.point_sprite == 0) text += With("in vec4 v_tex$;\n", i);
    }
    text += "out vec4 o_color;\n";
}

void AddFragmentTail(std::string& text, const FragmentKey& key) {
    if (key.alpha_func != 0) {
        // Where alpha is a whole step of eight bits, it is compared as one: textures hold nothing between.
        static const char* const kPasses[] = {"",
                                              "false",
                                              "alpha < u_alpha_ref",
                                              "alpha == u_alpha_ref",
                                              "alpha <= u_alpha_ref",
                                              "alpha > u_alpha_ref",
                                              "alpha != u_alpha_ref",
                                              "alpha >= u_alpha_ref"};
        text +=
            "    float alpha = clamp(color.a, 0.0, 1.0) * 255.0;\n"
            "    float step = floor(alpha + 0.5);\n"
            "    if (abs(alpha - step) < 0.01) alpha = step;\n";
        text += std::string("    if (!(") + (key.alpha_func < 8 ? kPasses[key.alpha_func] : "true") +
                ")) discard;\n";
    }
    switch (key.fog) {
        case kNoFog:
            break;
        case kFogFactor:
            text += "    float fog = v_fog;\n";
            break;
        case kFogTableLinear:
            text += "    float fog = (u_fog.y - v_fog) * u_fog.z;\n";
            break;
        case kFogTableExp:
            text += "    float fog = exp(-v_fog * u_fog.w);\n";
            break;
        default:
            text += "    float fog = exp(-v_fog * v_fog * u_fog.w * u_fog.w);\n";
    }
    if (key.fog != kNoFog) {
        text += "    color.rgb = mix(u_fog_color.rgb, clamp(color.rgb, 0.0, 1.0), clamp(fog, 0.0, 1.0));\n";
    }
    text += "    o_color = color;\n}\n";
}

const char* kSpriteCoordinate = "vec4(gl_PointCoord.x, 1.0 - gl_PointCoord.y, 0.0, 1.0)";

// A stage's argument as a vec4 expression.
std::string Argument(u8 arg, u32 stage) {
    std::string value;
    switch (arg & D3DTA_SELECTMASK) {
        case D3DTA_DIFFUSE:
            value = "diffuse";
            break;
        case D3DTA_CURRENT:
            value = "current";
            break;
        case D3DTA_TEXTURE:
            value = With("tex$", stage);
            break;
        case D3DTA_TFACTOR:
            value = "u_factor";
            break;
        case D3DTA_SPECULAR:
            value = "specular";
            break;
        case D3DTA_TEMP:
            value = "temp";
            break;
        default:
            value = With("u_constant[$]", stage);
    }
    if ((arg & D3DTA_ALPHAREPLICATE) != 0) value += ".aaaa";
    if ((arg & D3DTA_COMPLEMENT) != 0) value = "(vec4(1.0) - " + value + ")";
    return value;
}

// The operation on whole vectors; colour and alpha each take their part. Where alpha weighs, it is broadcast.
std::string Operation(u8 op, const std::string& a0, const std::string& a1, const std::string& a2, u32 stage) {
    const auto blend = [&](const std::string& weight) {
        return "mix(" + a2 + ", " + a1 + ", " + weight + ")";
    };
    switch (op) {
        case D3DTOP_SELECTARG1:
        case D3DTOP_PREMODULATE:
            return a1;
        case D3DTOP_SELECTARG2:
            return a2;
        case D3DTOP_MODULATE:
            return a1 + " * " + a2;
        case D3DTOP_MODULATE2X:
            return a1 + " * " + a2 + " * 2.0";
        case D3DTOP_MODULATE4X:
            return a1 + " * " + a2 + " * 4.0";
        case D3DTOP_ADD:
            return a1 + " + " + a2;
        case D3DTOP_ADDSIGNED:
            return a1 + " + " + a2 + " - 0.5";
        case D3DTOP_ADDSIGNED2X:
            return "(" + a1 + " + " + a2 + " - 0.5) * 2.0";
        case D3DTOP_SUBTRACT:
            return a1 + " - " + a2;
        case D3DTOP_ADDSMOOTH:
            return a1 + " + " + a2 + " - " + a1 + " * " + a2;
        case D3DTOP_BLENDDIFFUSEALPHA:
            return blend("diffuse.a");
        case D3DTOP_BLENDTEXTUREALPHA:
            return blend(With("tex$.a", stage));
        case D3DTOP_BLENDFACTORALPHA:
            return blend("u_factor.a");
        case D3DTOP_BLENDTEXTUREALPHAPM:
            return a1 + " + " + a2 + With(" * (1.0 - tex$.a)", stage);
        case D3DTOP_BLENDCURRENTALPHA:
            return blend("current.a");
        case D3DTOP_MODULATEALPHA_ADDCOLOR:
            return a1 + " + " + a1 + ".a * " + a2;
        case D3DTOP_MODULATECOLOR_ADDALPHA:
            return a1 + " * " + a2 + " + " + a1 + ".a";
        case D3DTOP_MODULATEINVALPHA_ADDCOLOR:
            return a1 + " + (1.0 - " + a1 + ".a) * " + a2;
        case D3DTOP_MODULATEINVCOLOR_ADDALPHA:
            return "(vec4(1.0) - " + a1 + ") * " + a2 + " + " + a1 + ".a";
        case D3DTOP_DOTPRODUCT3:
            return "vec4(4.0 * dot((" + a1 + ").rgb - 0.5, (" + a2 + ").rgb - 0.5))";
        case D3DTOP_MULTIPLYADD:
            return a0 + " + " + a1 + " * " + a2;
        case D3DTOP_LERP:
            return "mix(" + a2 + ", " + a1 + ", " + a0 + ")";
        default:
            return "current";
    }
}

// The clamp to 0..1 after an operation, left out where arguments of that range cannot leave it.
std::string Clamped(u8 op, const std::string& value) {
    switch (op) {
        case D3DTOP_SELECTARG1:
        case D3DTOP_SELECTARG2:
        case D3DTOP_PREMODULATE:
        case D3DTOP_MODULATE:
        case D3DTOP_ADDSMOOTH:
        case D3DTOP_BLENDDIFFUSEALPHA:
        case D3DTOP_BLENDTEXTUREALPHA:
        case D3DTOP_BLENDFACTORALPHA:
        case D3DTOP_BLENDCURRENTALPHA:
        case D3DTOP_LERP:
            return value;
        default:
            return "clamp(" + value + ", 0.0, 1.0)";
    }
}

bool Bumps(u8 op) { return op == D3DTOP_BUMPENVMAP || op == D3DTOP_BUMPENVMAPLUMINANCE; }

void AddSample(std::string& text, const FragmentKey& key, u32 stage) {
    const StageKey& it = key.stages[stage];
    if (it.texture == kNoTexture) {
        text += With("    vec4 tex$ = vec4(1.0);\n", stage);
        return;
    }
    const std::string coord = With("coord$", stage);
    text += "    vec4 " + coord + " = " +
            (key.point_sprite != 0 ? kSpriteCoordinate : With("v_tex$", stage)) + ";\n";
    if (it.divide_by != 0 && key.point_sprite == 0) {
        static const char* const kDivisors[] = {"", ".x", ".y", ".z", ".w"};
        text += "    " + coord + ".xyz /= " + coord + kDivisors[it.divide_by] + ";\n";
    }
    const bool bumped = stage > 0 && Bumps(key.stages[stage - 1].color_op);
    if (bumped) {
        text += "    " + coord + With(".xy += vec2(dot(u_bump[$].xz, ", stage - 1) +
                With("tex$.rg), ", stage - 1) + With("dot(u_bump[$].yw, ", stage - 1) +
                With("tex$.rg));\n", stage - 1);
    }
    text += With("    vec4 tex$ = texture(s$, ", stage) + coord +
            (it.texture == kTextureCube ? ".xyz" : ".xy") + ");\n";
    if (bumped && key.stages[stage - 1].color_op == D3DTOP_BUMPENVMAPLUMINANCE) {
        text += With("    tex$.rgb *= ", stage) + With("clamp(tex$.b * ", stage - 1) +
                With("u_bump_luminance[$].x + ", stage - 1) +
                With("u_bump_luminance[$].y, 0.0, 1.0);\n", stage - 1);
    }
}

void AddStage(std::string& text, const FragmentKey& key, u32 stage) {
    const StageKey& it = key.stages[stage];
    if (stage > 0 && key.stages[stage - 1].color_op == D3DTOP_PREMODULATE) {
        text += With("    current.rgb *= tex$.rgb;\n", stage);
    }
    if (stage > 0 && key.stages[stage - 1].alpha_op == D3DTOP_PREMODULATE) {
        text += With("    current.a *= tex$.a;\n", stage);
    }
    if (Bumps(it.color_op)) return;
    const std::string result = it.to_temp != 0 ? "temp" : "current";
    const std::string color =
        Operation(it.color_op, Argument(it.color_arg0, stage), Argument(it.color_arg1, stage),
                  Argument(it.color_arg2, stage), stage);
    text += "    result = " + Clamped(it.color_op, color) + ";\n";
    // A dot product goes to all four channels.
    if (it.color_op != D3DTOP_DOTPRODUCT3) {
        if (it.alpha_op == D3DTOP_DISABLE) {
            text += "    result.a = " + result + ".a;\n";
        } else {
            const std::string alpha =
                Operation(it.alpha_op, Argument(it.alpha_arg0, stage), Argument(it.alpha_arg1, stage),
                          Argument(it.alpha_arg2, stage), stage);
            text += "    result.a = " + Clamped(it.alpha_op, "(" + alpha + ").a") + ";\n";
        }
    }
    text += "    " + result + " = result;\n";
}

}  // namespace

std::string FixedVertexText(const VertexKey& key) {
    std::string text = "#version 330 core\n";
    const bool eye =
        key.transformed == 0 &&
        (key.lighting != 0 || key.clip_planes != 0 || key.blend_matrices != 0 || key.point_scale != 0 ||
         (key.fog >= kFogVertexLinear && key.fog <= kFogVertexExp2) || [&] {
             for (const CoordKey& coord : key.coords) {
                 if (coord.generate != 0) return true;
             }
             return false;
         }());
    const bool fog = key.fog != kFogOff;
    text += With("layout(location = $) in vec4 a_position;\n", kLocPosition);
    if (key.blend_weights != 0) text += With("layout(location = $) in vec4 a_weights;\n", kLocBlendWeight);
    if (key.blend_indexed != 0) text += With("layout(location = $) in vec4 a_indices;\n", kLocBlendIndices);
    if (key.normal != 0) text += With("layout(location = $) in vec3 a_normal;\n", kLocNormal);
    if (key.point_size != 0) text += With("layout(location = $) in float a_point_size;\n", kLocPointSize);
    if (key.diffuse != 0) text += With("layout(location = $) in vec4 a_diffuse;\n", kLocDiffuse);
    if (key.specular != 0) text += With("layout(location = $) in vec4 a_specular;\n", kLocSpecular);
    u32 sets = 0, coordinates = 0, matrices = 0, sphere = 0;
    for (u32 i = 0; i < kMaxStages; ++i) {
        const CoordKey& coord = key.coords[i];
        if (coord.used == 0) continue;
        coordinates |= 1u << i;
        if (coord.components != 0) sets |= 1u << coord.set;
        matrices |= coord.count;
        sphere |= coord.generate == 4 ? 1u : 0u;
    }
    for (u32 i = 0; i < kMaxStages; ++i) {
        if ((sets >> i & 1u) != 0) {
            text += With("layout(location = $) in vec4 a_tex", kLocTexCoord0 + i) + Number(i) + ";\n";
        }
    }
    AddVertexOutputs(text, key.flat, fog, coordinates);
    text += "invariant gl_Position;\n";
    if (key.clip_planes != 0) {
        text += With("out float gl_ClipDistance[$];\n", key.clip_planes) +
                With("uniform vec4 u_clip[$];\n", key.clip_planes);
    }
    if (key.transformed != 0) {
        text += "uniform vec4 u_pixel;\n";
    } else {
        text += key.blend_matrices != 0 ? "uniform mat4 u_projection;\n" : "uniform mat4 u_transform;\n";
        if (eye && key.blend_matrices == 0) text += "uniform mat4 u_world_view;\n";
        if (key.normal != 0 && key.blend_matrices == 0) text += "uniform mat3 u_normal;\n";
        if (key.blend_matrices != 0) {
            text += With("layout(std140) uniform Blend { vec4 u_blend[$]; };\n", kBlendMatrices * 3);
        }
    }
    if (key.draws_points != 0) text += "uniform vec4 u_point[2];\n";
    if (key.fog >= kFogVertexLinear && key.fog <= kFogVertexExp2) text += "uniform vec4 u_fog;\n";
    if (key.lighting != 0) {
        text += With("uniform vec4 u_material[$];\n", kMaterialVectors);
        const u32 lights = static_cast<u32>(key.directional) + key.points + key.spots;
        if (lights != 0) text += With("uniform vec4 u_light[$];\n", lights * kLightVectors);
    }
    if (matrices != 0) text += With("uniform mat4 u_texture_matrix[$];\n", kMaxStages);
    if (sphere != 0) {
        text +=
            "vec4 sphere_map(vec3 r) {\n"
            "    float m = 2.0 * length(r + vec3(0.0, 0.0, 1.0));\n"
            "    return vec4(r.xy / m + 0.5, 0.0, 1.0);\n}\n";
    }
    if (key.blend_matrices != 0) {
        text +=
            "vec3 blended(vec4 v, int matrix) {\n    return vec3(dot(u_blend[matrix * 3], v), "
            "dot(u_blend[matrix * 3 + 1], v), dot(u_blend[matrix * 3 + 2], v));\n}\n";
    }

    text += "void main() {\n";
    if (key.transformed != 0) {
        text +=
            "    float w = a_position.w == 0.0 ? 1.0 : 1.0 / a_position.w;\n"
            "    gl_Position = vec4(a_position.xy * u_pixel.xy + u_pixel.zw, a_position.z * 2.0 - 1.0, 1.0) "
            "* w;\n";
    } else if (key.blend_matrices != 0) {
        text +=
            "    vec4 eye = vec4(0.0, 0.0, 0.0, 1.0);\n    vec3 normal = vec3(0.0);\n    float rest = 1.0;\n";
        for (u32 i = 0; i < key.blend_matrices; ++i) {
            static const char* const kParts[] = {".x", ".y", ".z", ".w"};
            std::string index = Number(i);
            if (key.blend_indexed != 0) {
                const char* const part = key.blend_index_colors != 0 ? (i == 0   ? ".z"
                                                                        : i == 2 ? ".x"
                                                                                 : kParts[i])
                                                                     : kParts[i];
                index = std::string("int(a_indices") + part +
                        (key.blend_index_colors != 0 ? " * 255.0 + 0.5)" : ")");
            }
            const bool last = i + 1u == key.blend_matrices;
            const std::string weight = last                    ? "rest"
                                       : i < key.blend_weights ? std::string("a_weights") + kParts[i]
                                                               : "0.0";
            text += "    eye.xyz += blended(a_position, " + index + ") * " + weight + ";\n";
            if (key.normal != 0) {
                text += "    normal += blended(vec4(a_normal, 0.0), " + index + ") * " + weight + ";\n";
            }
            if (!last) text += "    rest -= " + weight + ";\n";
        }
        text += "    gl_Position = u_projection * eye;\n";
    } else {
        text += "    gl_Position = u_transform * a_position;\n";
        if (eye) text += "    vec4 eye = u_world_view * a_position;\n";
        text +=
            key.normal != 0 ? "    vec3 normal = u_normal * a_normal;\n" : "    vec3 normal = vec3(0.0);\n";
    }
    if (key.transformed == 0 && key.normal != 0 && key.normalize != 0) {
        text +=
            "    float normal_length = length(normal);\n"
            "    normal = normal_length > 0.0 ? normal / normal_length : normal;\n";
    }
    if (key.lighting != 0) {
        AddLighting(text, key);
    } else {
        text += std::string("    v_color0 = ") + (key.diffuse != 0 ? "a_diffuse" : "vec4(1.0)") + ";\n";
        text += std::string("    v_color1 = ") + (key.specular != 0 ? "a_specular" : "vec4(0.0)") + ";\n";
    }
    switch (key.fog) {
        case kFogOff:
            break;
        case kFogSpecularAlpha:
            text += std::string("    v_fog = ") + (key.specular != 0 ? "a_specular.a" : "0.0") + ";\n";
            break;
        case kFogVertexLinear:
            AddFogDistance(text, key);
            text += "    v_fog = clamp((u_fog.y - fog_distance) * u_fog.z, 0.0, 1.0);\n";
            break;
        case kFogVertexExp:
            AddFogDistance(text, key);
            text += "    v_fog = clamp(exp(-fog_distance * u_fog.w), 0.0, 1.0);\n";
            break;
        case kFogVertexExp2:
            AddFogDistance(text, key);
            text += "    v_fog = clamp(exp(-fog_distance * fog_distance * u_fog.w * u_fog.w), 0.0, 1.0);\n";
            break;
        case kFogCoordZ:
            text += key.transformed != 0 ? "    v_fog = a_position.z;\n"
                                         : "    v_fog = gl_Position.z * 0.5 + 0.5 * gl_Position.w;\n";
            break;
        default:
            text += "    v_fog = gl_Position.w;\n";
    }
    for (u32 i = 0; i < kMaxStages; ++i) {
        if (key.coords[i].used != 0) AddCoordinates(text, key, i);
    }
    AddPointSize(text, key);
    AddClipPlanes(text, key.clip_planes, "eye");
    return text + "}\n";
}

std::string FixedFragmentText(const FragmentKey& key) {
    std::string text;
    u32 coordinates = 0;
    bool bumps = false;
    for (u32 i = 0; i < key.stage_count; ++i) {
        if (key.stages[i].texture != kNoTexture) coordinates |= 1u << i;
        bumps = bumps || Bumps(key.stages[i].color_op);
    }
    AddFragmentHead(text, key, key.fog != kNoFog, coordinates);
    for (u32 i = 0; i < key.stage_count; ++i) {
        if (key.stages[i].texture == kTexture2D) text += With("uniform sampler2D s$;\n", i);
        if (key.stages[i].texture == kTextureCube) text += With("uniform samplerCube s$;\n", i);
    }
    text += "uniform vec4 u_factor;\nuniform vec4 u_constant[8];\n";
    if (bumps) text += "uniform vec4 u_bump[8];\nuniform vec4 u_bump_luminance[8];\n";
    text +=
        "void main() {\n    vec4 diffuse = v_color0;\n    vec4 specular = v_color1;\n    vec4 current = "
        "diffuse;\n"
        "    vec4 temp = vec4(0.0);\n    vec4 result;\n";
    for (u32 i = 0; i < key.stage_count; ++i) {
        AddSample(text, key, i);
        AddStage(text, key, i);
    }
    text += "    vec4 color = current;\n";
    if (key.specular_add != 0) text += "    color.rgb = clamp(color.rgb + specular.rgb, 0.0, 1.0);\n";
    AddFragmentTail(text, key);
    return text;
}

std::string ShaderVertexText(const ShaderSource& source, const VertexKey& key, u32 coordinates) {
    std::string text = "#version 330 core\n";
    AddVertexOutputs(text, key.flat, key.fog != kFogOff, coordinates);
    if (key.clip_planes != 0) {
        text += With("out float gl_ClipDistance[$];\n", key.clip_planes) +
                With("uniform vec4 u_clip[$];\n", key.clip_planes);
    }
    if (key.draws_points != 0) text += "uniform vec4 u_point[2];\n";
    text +=
        "uniform vec4 u_pixel;\nvec4 osm_Position;\nvec4 osm_Color[2];\nvec4 osm_TexCoord[8];\nfloat "
        "osm_Fog;\n"
        "float osm_PointSize;\n#line 1\n" +
        source.text +
        "\nvoid main() {\n"
        "    osm_Position = vec4(0.0, 0.0, 0.0, 1.0);\n    osm_Color[0] = vec4(1.0);\n"
        "    osm_Color[1] = vec4(0.0);\n"
        "    for (int i = 0; i < 8; ++i) osm_TexCoord[i] = vec4(0.0, 0.0, 0.0, 1.0);\n"
        "    osm_Fog = 1.0;\n    osm_PointSize = -1.0;\n    osm_vertex();\n"
        "    gl_Position = vec4(osm_Position.x + osm_Position.w * u_pixel.x,\n"
        "                       -osm_Position.y + osm_Position.w * u_pixel.y,\n"
        "                       2.0 * osm_Position.z - osm_Position.w, osm_Position.w);\n"
        "    v_color0 = clamp(osm_Color[0], 0.0, 1.0);\n    v_color1 = clamp(osm_Color[1], 0.0, 1.0);\n";
    if (key.fog == kFogCoordZ) {
        text += "    v_fog = osm_Position.z;\n";
    } else if (key.fog == kFogCoordW) {
        text += "    v_fog = osm_Position.w;\n";
    } else if (key.fog != kFogOff) {
        text += "    v_fog = clamp(osm_Fog, 0.0, 1.0);\n";
    }
    for (u32 i = 0; i < kMaxStages; ++i) {
        if ((coordinates >> i & 1u) != 0) text += With("    v_tex$ = osm_TexCoord[$];\n", i);
    }
    if (key.draws_points != 0) {
        text +=
            "    gl_PointSize = clamp(osm_PointSize < 0.0 ? u_point[0].x : osm_PointSize, u_point[0].y, "
            "u_point[0].z);\n";
    }
    AddClipPlanes(text, key.clip_planes, "osm_Position");
    return text + "}\n";
}

std::string ShaderFragmentText(const ShaderSource& source, const FragmentKey& key, u32 coordinates) {
    std::string text;
    AddFragmentHead(text, key, key.fog != kNoFog, coordinates);
    text += "vec4 osm_Color[2];\nvec4 osm_TexCoord[8];\nfloat osm_Fog;\nvec4 osm_FragCoord;\n#line 1\n" +
            source.text + "\nvoid main() {\n    osm_Color[0] = v_color0;\n    osm_Color[1] = v_color1;\n";
    for (u32 i = 0; i < kMaxStages; ++i) {
        if ((coordinates >> i & 1u) == 0) continue;
        text += With("    osm_TexCoord[$] = ", i) +
                (key.point_sprite != 0 ? kSpriteCoordinate : With("v_tex$", i)) + ";\n";
    }
    text += key.fog != kNoFog ? "    osm_Fog = v_fog;\n" : "    osm_Fog = 1.0;\n";
    text +=
        "    osm_FragCoord = vec4(gl_FragCoord.xy - 0.5, gl_FragCoord.z, gl_FragCoord.w);\n"
        "    vec4 color = osm_pixel();\n";
    AddFragmentTail(text, key);
    return text;
}

u32 CoordinatesOf(const ShaderSource& pixel_shader) {
    const std::string& text = pixel_shader.text;
    const std::string name = "osm_TexCoord";
    u32 mask = 0;
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
        const std::size_t digit = at + name.size() + 1;
        const bool plain = digit + 1 < text.size() && text[digit - 1] == '[' && text[digit] >= '0' &&
                           text[digit] <= '7' && text[digit + 1] == ']';
        if (!plain) return 0xff;
        mask |= 1u << (text[digit] - '0');
    }
    return mask;
}

}  // namespace platform::gl
