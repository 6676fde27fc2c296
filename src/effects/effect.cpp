#include "effects/effect.h"

#include <array>
#include <type_traits>

#include "effects/blur_radial.h"
#include "effects/render_effects.h"
#include "effects/simple_effects.h"
#include "effects/transitions.h"

namespace osm3d {

namespace {

struct EffectType {
    const char* name;
    Effect* (*create)(RenderTargetPool&);
    Effect* (*load)(const EffectDefinition&, const std::string&, HostControllerFactory*, RenderTargetPool&);
};

// Types that capture a picture are made with the pool.
template <class T>
constexpr EffectType TypeOf(const char* name) {
    return {name,
            [](RenderTargetPool& pool) -> Effect* {
                if constexpr (std::is_constructible_v<T, RenderTargetPool&>) {
                    return new T(pool);
                } else {
                    return new T();
                }
            },
            [](const EffectDefinition& definition, const std::string& clip, HostControllerFactory* factory,
               RenderTargetPool& pool) -> Effect* {
                if constexpr (std::is_constructible_v<T, RenderTargetPool&>) {
                    return new T(definition, clip, factory, pool);
                } else {
                    return new T(definition, clip, factory);
                }
            }};
}

// In the order in which names are tried.
constexpr std::array kEffectTypes{
    TypeOf<fx_simple_bmp>("fx_simple_bmp"),     TypeOf<fx_simple_scene>("fx_simple_scene"),
    TypeOf<fx_simple_color>("fx_simple_color"), TypeOf<fx_blur_radial>("fx_blur_radial"),
    TypeOf<fx_trans_white>("fx_trans_white"),   TypeOf<fx_trans_blend>("fx_trans_blend"),
    TypeOf<fx_trans_direct>("fx_trans_direct"), TypeOf<fx_render_bw>("fx_render_bw"),
    TypeOf<fx_render_rgb>("fx_render_rgb"),
};

const EffectType* FindType(const std::string& name) {
    for (const EffectType& type : kEffectTypes) {
        if (name == type.name) {
            return &type;
        }
    }
    return nullptr;
}

}  // namespace

u32 BlendOfChoice(u32 choice) {
    constexpr std::array<u32, 4> kBlends{0, 1, 5, 4};
    return choice < kBlends.size() ? kBlends[choice] : 1;
}

Effect* CreateEffectByName(const std::string& name, RenderTargetPool& pool) {
    const EffectType* type = FindType(name);
    return type != nullptr ? type->create(pool) : nullptr;
}

Effect* CreateEffectByDefinition(const EffectDefinition& definition, const std::string& instanceName,
                                 HostControllerFactory* factory, RenderTargetPool& pool) {
    const EffectType* type = FindType(definition.name);
    return type != nullptr ? type->load(definition, instanceName, factory, pool) : nullptr;
}

}  // namespace osm3d
