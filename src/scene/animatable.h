// What changes over time.
#pragma once

#include <vector>

#include "controller/controller.h"
#include "io/slot.h"

namespace osm3d {

/// A thing with a list of controllers to run.
class Animatable {
  public:
    Animatable() = default;
    Animatable(const Animatable&) = delete;
    Animatable& operator=(const Animatable&) = delete;
    virtual ~Animatable() = default;

    /// Brings the thing to `time`, in the unit of the controllers' keys.
    virtual void Update(f32 time) = 0;

    /// Runs the controllers in the order in which they were added.
    void UpdateControllers(f32 time);

    /// Appends `c`, not owned, even if it is there already.
    void AddController(Controller* c) { controllers.push_back(c); }

    /// Takes `c` out of the list. Of two entries of it side by side the second stays.
    void RemoveController(Controller* c);

    /// Takes what `slot` holds out of the list, and deletes it if owned; then makes `slot` the owner of `c`
    /// and appends `c` to the list. `c` may be null.
    template <class T>
    void ReplaceController(osmio::Slot<ControllerBase<T>>& slot, ControllerBase<T>* c) {
        if (slot) RemoveController(slot.Get());
        slot.Own(c);
        if (c) AddController(c);
    }

    /// The same with a controller out of the next object slot of `in`, which the file's graph owns.
    template <class T>
    void ReadController(osmio::InStream* in, osmio::Slot<ControllerBase<T>>& slot) {
        auto* c = osmio::ReadSlot<ControllerBase<T>>(in);
        if (slot) RemoveController(slot.Get());
        slot.Refer(c);
        if (c) AddController(c);
    }

    const std::vector<Controller*>& Controllers() const { return controllers; }

  protected:
    /// Not owned.
    std::vector<Controller*> controllers;
};

}  // namespace osm3d
