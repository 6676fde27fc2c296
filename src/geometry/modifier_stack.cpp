#include "geometry/modifier_stack.h"

#include <algorithm>
#include <cstddef>

#include "io/slot.h"
#include "io/stream.h"

namespace osm3d {

ModifierStack::~ModifierStack() { DeleteResults(); }

void ModifierStack::DeleteResults() {
    // A modifier without a shape of its own hands its input on, which then stands here more than once.
    for (std::size_t i = 0; i < results.size(); ++i) {
        Geometry* result = results[i];
        const auto earlier = results.begin() + static_cast<std::ptrdiff_t>(i);
        if (result != input && std::find(results.begin(), earlier, result) == earlier) delete result;
    }
    results.clear();
    results.shrink_to_fit();
}

bool ModifierStack::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) return false;
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, sizeof(i32), "modifiers")) return false;
    fromFile = true;
    modifiers.clear();
    modifiers.resize(static_cast<std::size_t>(count));
    for (osmio::Slot<Modifier>& slot : modifiers) slot.Refer(osmio::ReadSlot<Modifier>(in));
    return true;
}

void ModifierStack::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("MOST"), 1);
    out->WriteI32(static_cast<i32>(modifiers.size()));
    for (const osmio::Slot<Modifier>& slot : modifiers) out->WriteObject(slot.Get());
}

void ModifierStack::SetGeometry(Geometry* geometry) {
    DeleteResults();
    input = geometry;
    resultsPending = true;
    // While a file is being read nothing in it has been looked at yet: a shape may contain itself, and one
    // shape may be named by a thousand meshes.
    if (!fromFile) BuildResults();
}

void ModifierStack::BuildResults() {
    resultsPending = false;
    std::string reason;
    Geometry* current = input;
    if (fromFile && current != nullptr && !current->Validate(reason)) current = nullptr;
    for (const osmio::Slot<Modifier>& slot : modifiers) {
        const bool works = current != nullptr && slot && (!fromFile || slot->Validate(current, reason));
        current = works ? slot->CreateResult(current) : nullptr;
        results.push_back(current);
    }
}

bool ModifierStack::AddModifier(Modifier* modifier) {
    EnsureResults();
    modifiers.emplace_back().Own(modifier);
    if (modifier->IsDeforming()) {
        Geometry* previous = GetResult();
        results.push_back(previous != nullptr ? modifier->CreateResult(previous) : nullptr);
    }
    return true;
}

Geometry* ModifierStack::GetResult() {
    EnsureResults();
    return results.empty() ? input : results.back();
}

bool ModifierStack::InitializeResult() {
    EnsureResults();
    if (results.empty() || results.back() == nullptr) return false;
    results.back()->Initialize();
    return true;
}

bool ModifierStack::PrepareDraw() {
    bool prepared = false;
    for (const osmio::Slot<Modifier>& slot : modifiers) {
        if (!slot || !slot->NeedsDrawSetup()) continue;
        slot->SetupDraw();
        prepared = true;
    }
    return prepared;
}

void ModifierStack::Update(f32 time) {
    EnsureResults();
    Geometry* previous = input;
    std::size_t r = 0;
    for (const osmio::Slot<Modifier>& slot : modifiers) {
        if (!slot) continue;
        slot->Update(time);
        if (!slot->IsDeforming() || r >= results.size()) continue;
        Geometry* result = results[r];
        if (result != nullptr && previous != nullptr) slot->Apply(result, previous);
        previous = result;
        ++r;
    }
}

bool ModifierStack::Validate(std::string& reason) {
    for (const osmio::Slot<Modifier>& slot : modifiers) {
        if (!slot) {
            reason = "a modifier stack has an empty slot";
            return false;
        }
    }
    if (input == nullptr) return true;
    EnsureResults();
    const Geometry* previous = input;
    std::size_t r = 0;
    for (const osmio::Slot<Modifier>& slot : modifiers) {
        if (!slot->Validate(previous, reason)) return false;
        if (!slot->IsDeforming()) continue;
        const Geometry* result = r < results.size() ? results[r] : nullptr;
        if (result == nullptr) {
            reason = "a modifier stack has no result for its geometry";
            return false;
        }
        // SetGeometry gives every modifier a result, Update counts those that deform.
        if (result == previous) {
            reason = "a modifier that deforms stands behind one that does not";
            return false;
        }
        previous = result;
        ++r;
    }
    return true;
}

}  // namespace osm3d
