// The chain of modifiers between a mesh's geometry and what is drawn.
#pragma once

#include <string>
#include <vector>

#include "geometry/modifier.h"
#include "io/slot.h"

namespace osm3d {

/// The modifiers of one mesh in the order of their application. Each deforming one has a result geometry,
/// which is the input of the next; the last result is what the mesh draws. Stored as chunk MOST.
class ModifierStack : public Animatable, public osmio::Serializable {
  public:
    ModifierStack() = default;

    /// Deletes the results, and those modifiers that no file made.
    ~ModifierStack() override;

    ModifierStack(const ModifierStack&) = delete;
    ModifierStack& operator=(const ModifierStack&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Updates each modifier and lets the deforming ones deform.
    void Update(f32 time) override;

    /// Sets the input, not owned, and builds a result for every modifier anew, deforming or not. A stack out
    /// of a file builds them when they are first asked for, and only as far as the modifiers accept their
    /// input: the results behind are null then, and Validate says why.
    void SetGeometry(Geometry* geometry);

    /// Appends `modifier` and takes ownership; only a deforming one gets a result. Always true.
    bool AddModifier(Modifier* modifier);

    /// The last result; the input when there are none. May be null.
    Geometry* GetResult();

    /// Makes the device buffers of the last result. False when there are no results.
    bool InitializeResult();

    /// Lets those modifiers that want it set device state for the draw to come. Whether any did.
    bool PrepareDraw();

    u32 ModifierCount() const { return static_cast<u32>(modifiers.size()); }

    /// Modifier number `index`, which must be below ModifierCount().
    Modifier* GetModifier(u32 index) const { return modifiers[index].Get(); }

    /// Whether Update and PrepareDraw can run, given that the input is valid; otherwise `reason` says why
    /// not.
    bool Validate(std::string& reason);

  private:
    void DeleteResults();
    void BuildResults();
    void EnsureResults() {
        if (resultsPending) BuildResults();
    }

    std::vector<osmio::Slot<Modifier>> modifiers;
    /// Entries may be the input itself, or an earlier entry; those are not owned.
    std::vector<Geometry*> results;
    Geometry* input = nullptr;
    bool fromFile = false;
    bool resultsPending = false;
};

}  // namespace osm3d
