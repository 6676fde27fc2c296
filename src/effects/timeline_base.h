// The part of an effect that is a clip on the host's timeline.
#pragma once

#include <string>
#include <vector>

#include "effects/host_interfaces.h"
#include "platform/types.h"

namespace osm3d {

/// A start, a length, one host controller per parameter, and the road by which the controllers' values reach
/// the effect: the four On...Changed operations, which get the parameter's position.
class TimelineBase {
  public:
    /// No parameters. SetStart and SetLength must come before Update.
    TimelineBase();

    /// One controller per child of `definition`, in its order, from `factory`. Start and length are 0.
    TimelineBase(const EffectDefinition& definition, const std::string& instanceName,
                 HostControllerFactory* factory);

    TimelineBase(const TimelineBase&) = delete;
    TimelineBase& operator=(const TimelineBase&) = delete;

    /// Deletes the controllers.
    virtual ~TimelineBase();

    /// ApplyAll, the overriding one.
    virtual void Refresh();

    /// Hands every controller's present value on, static ones and choices too, without evaluating.
    virtual void ApplyAll();

    /// Evaluates every controller that is not static at (time - start) / length and hands its value on,
    /// choices apart. `time` is in the host's unit, that of start and length. `word` is not used.
    virtual void Update(u32 word, f32 time);

    /// Clears colour, depth and stencil of the current target. Nothing without a Context.
    virtual void ClearTarget();

    virtual u32 GetControllerCount();

    /// `index` is not checked.
    virtual HostController* GetController(u32 index);
    virtual std::string& GetInstanceName();
    virtual void SetInstanceName(const std::string& name);
    virtual EffectDefinition& GetDefinition();

    virtual void OnFloatChanged(u32 index, f32 value);
    virtual void OnIntChanged(u32 index, i32 value);
    virtual void OnStringChanged(u32 index, const std::string& value);
    /// `value` is not handed over and must outlive its use by the effect. May be null.
    virtual void OnObjectChanged(u32 index, DataObject* value);

    /// Deletes this object.
    virtual void Release();

    /// Restores each controller from the "controler" child of `node` that names it. What is unknown is told
    /// to the person through the tracer and passed over. Always true.
    virtual bool LoadState(HostNode* node, void* context);

    /// Makes one controller per "controler" child of `node`, then LoadState.
    virtual bool LoadControllers(HostNode* node, void* context, HostControllerFactory* factory);

    virtual f32 GetStart();
    virtual void SetStart(f32 time);
    virtual f32 GetLength();
    virtual void SetLength(f32 time);

    /// The controller of the first parameter called `name`, or null.
    HostController* FindController(const std::string& name);

  protected:
    EffectDefinition definition;
    std::string instanceName;
    /// Owned, one per child of the definition.
    std::vector<HostController*> controllers;
    f32 start;
    f32 length;

  private:
    void Deliver(u32 index, bool withChoices);
};

}  // namespace osm3d
