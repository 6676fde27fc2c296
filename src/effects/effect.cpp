#include "effects/effect.h"

#include <array>

#include "effects/simple_effects.h"

namespace osm3d {

namespace {

struct EffectType {
    const char* name;
    Effect* (*create)();
    Effect* (*load)(const EffectDefinition&, const std::string&, HostControllerFactory*);
};

template <class T>
constexpr EffectType TypeOf(const char* name) {
    return {name, []() -> Effect* { return new T(); },
            [](const EffectDefinition& definition, const std::string& clip,
               HostControllerFactory* factory) -> Effect* { return new T(definition, clip, factory); }};
}

// In the order in which names are tried. Types whose row has no functions do not exist yet.
constexpr std::array kEffectTypes{
    TypeOf<fx_simple_bmp>("fx_simple_bmp"),          TypeOf<fx_simple_scene>("fx_simple_scene"),
    TypeOf<fx_simple_color>("fx_simple_color"),      EffectType{"fx_blur_radial", nullptr, nullptr},
    EffectType{"fx_trans_white", nullptr, nullptr},  EffectType{"fx_trans_blend", nullptr, nullptr},
    EffectType{"fx_trans_direct", nullptr, nullptr}, EffectType{"fx_render_bw", nullptr, nullptr},
    EffectType{"fx_render_rgb", nullptr, nullptr},
};

const EffectType* FindType(const std::string& name) {
    for (const EffectType& type : kEffectTypes) {
        if (name == type.name) {
            return type.create != nullptr ? &type : nullptr;
        }
    }
    return nullptr;
}

}  // namespace

u32 BlendOfChoice(u32 choice) {
    constexpr std::array<u32, 4> kBlends{0, 1, 5, 4};
    return choice < kBlends.size() ? kBlends[choice] : 1;
}

Effect* CreateEffectByName(const std::string& name) {
    const EffectType* type = FindType(name);
    return type != nullptr ? type->create() : nullptr;
}

Effect* CreateEffectByDefinition(const EffectDefinition& definition, const std::string& instanceName,
                                 HostControllerFactory* factory) {
    const EffectType* type = FindType(definition.name);
    return type != nullptr ? type->load(definition, instanceName, factory) : nullptr;
}

}  // namespace osm3d
