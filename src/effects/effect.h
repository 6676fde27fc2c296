// What a clip on the host's timeline draws: the interface that the host holds, and the base of all effects.
#pragma once

#include <string>

#include "effects/host_interfaces.h"
#include "effects/timeline_base.h"
#include "platform/types.h"

namespace osm3d {

class RenderTargetPool;

/// A clip. The host calls, per frame: Update; for a filter BeginRender, the content, EndRender; on the effect
/// that opens the picture ClearTarget; then Draw. Draw and ClearTarget open and close the device's scene
/// themselves. The order of the operations is part of the module's interface.
class Effect {
  public:
    virtual void Accept(HostVisitor* visitor) = 0;
    virtual ~Effect() = default;
    /// True when the object is a TransitionEffect.
    virtual bool IsTransition() = 0;
    virtual bool QueryFlagA() = 0;
    virtual bool QueryFlagB() = 0;
    virtual f32 GetStart() = 0;
    virtual void SetStart(f32 time) = 0;
    virtual f32 GetLength() = 0;
    virtual void SetLength(f32 time) = 0;
    /// Hands every controller's value to the effect.
    virtual void ApplyAll() = 0;
    virtual void BeginRender() = 0;
    virtual void EndRender() = 0;
    /// Takes the animated parameters at `time`, in the unit of start and length. `word` is not used.
    virtual void Update(u32 word, f32 time) = 0;
    /// Takes what drawing needs. May come any number of times, each followed by Shutdown.
    virtual void Init() = 0;
    virtual void Shutdown() = 0;
    virtual void ClearTarget() = 0;
    virtual void Draw() = 0;
    virtual u32 GetControllerCount() = 0;
    /// `index` is not checked.
    virtual HostController* GetController(u32 index) = 0;
    virtual std::string& GetInstanceName() = 0;
    virtual void SetInstanceName(const std::string& name) = 0;
    virtual EffectDefinition& GetDefinition() = 0;
    /// Deletes this object.
    virtual void Release() = 0;
    virtual bool LoadState(HostNode* node, void* context) = 0;
    virtual bool LoadControllers(HostNode* node, void* context, HostControllerFactory* factory) = 0;
};

/// A clip that leads from input 1 to input 2.
class TransitionEffect : public Effect {
  public:
    /// Must the host produce `input`, 1 or 2, at the present progress?
    virtual bool IsInputNeeded(i32 input) = 0;
    /// Comes before the host draws `input`; EndRender comes after.
    virtual void BeginInput(i32 input) = 0;
    /// 1 in the first half, then 2.
    virtual i32 GetMainInput() = 0;
};

/// Joins an effect interface with the clip: the forwarders, and the defaults of what most effects leave
/// alone. Init, Shutdown and Draw are left to the effect.
template <class Interface>
class EffectForwarder : public Interface, public TimelineBase {
  public:
    EffectForwarder() = default;
    EffectForwarder(const EffectDefinition& effect, const std::string& name, HostControllerFactory* factory)
        : TimelineBase(effect, name, factory) {}

    void Accept(HostVisitor* visitor) override { visitor->VisitEffect(this); }
    bool QueryFlagA() override { return false; }
    bool QueryFlagB() override { return false; }
    f32 GetStart() override { return TimelineBase::GetStart(); }
    void SetStart(f32 time) override { TimelineBase::SetStart(time); }
    f32 GetLength() override { return TimelineBase::GetLength(); }
    void SetLength(f32 time) override { TimelineBase::SetLength(time); }
    void ApplyAll() override { TimelineBase::ApplyAll(); }
    void BeginRender() override {}
    void EndRender() override {}
    void Update(u32 word, f32 time) override { TimelineBase::Update(word, time); }
    void ClearTarget() override { TimelineBase::ClearTarget(); }
    u32 GetControllerCount() override { return TimelineBase::GetControllerCount(); }
    HostController* GetController(u32 index) override { return TimelineBase::GetController(index); }
    std::string& GetInstanceName() override { return TimelineBase::GetInstanceName(); }
    void SetInstanceName(const std::string& name) override { TimelineBase::SetInstanceName(name); }
    EffectDefinition& GetDefinition() override { return TimelineBase::GetDefinition(); }
    void Release() override { delete this; }
    bool LoadState(HostNode* node, void* context) override { return TimelineBase::LoadState(node, context); }
    bool LoadControllers(HostNode* node, void* context, HostControllerFactory* factory) override {
        return TimelineBase::LoadControllers(node, context, factory);
    }
};

/// The base of sources and filters.
class EffectBase : public EffectForwarder<Effect> {
  public:
    using EffectForwarder<Effect>::EffectForwarder;
    bool IsTransition() override { return false; }
};

/// The corner of an effect's quad: 28 bytes, pre-transformed, in the 640 x 480 design space.
struct EffectVertex {
    f32 x, y, z, rhw;
    u32 diffuse;
    f32 u, v;
};
static_assert(sizeof(EffectVertex) == 28);

/// D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1.
inline constexpr u32 kEffectFvf = 0x144;

/// The picture in which effects lay out their quads, whatever the target's size.
inline constexpr f32 kDesignWidth = 640.0f;
inline constexpr f32 kDesignHeight = 480.0f;

/// The RenderStateBlock blend value of a user's choice: 0 zero, 1 one, 2 inverse source alpha, 3 source
/// alpha. A choice above 3 counts as 1.
u32 BlendOfChoice(u32 choice);

/// A new effect of the type called `name` with no parameters, or null for an unknown type. Types that capture
/// a picture take their targets from `pool`, which must outlive them.
Effect* CreateEffectByName(const std::string& name, RenderTargetPool& pool);

/// The same with the parameters of `definition`, whose `name` gives the type. Types that capture a picture
/// have the pool make a target right away: with a Context there before them, none is made while playing.
Effect* CreateEffectByDefinition(const EffectDefinition& definition, const std::string& instanceName,
                                 HostControllerFactory* factory, RenderTargetPool& pool);

}  // namespace osm3d
