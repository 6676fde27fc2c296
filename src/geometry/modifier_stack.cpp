#include "geometry/modifier_stack.h"

#include <algorithm>
#include <cstddef>

#include "io/slot.h"
#include "io/stream.h"

namespace osm3d {

ModifierStack::~ModifierStack() {
    DeleteResults();
    if (ownsModifiers) {
        for (Modifier* modifier : modifiers) delete modifier;
    }
}

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
    ownsModifiers = false;
    modifiers.assign(static_cast<std::size_t>(count), nullptr);
    for (Modifier*& modifier : modifiers) modifier = osmio::ReadSlot<Modifier>(in);
    return true;
}

void ModifierStack::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("MOST"), 1);
    out->WriteI32(static_cast<i32>(modifiers.size()));
    for (Modifier* modifier : modifiers) out->WriteObject(modifier);
}

void ModifierStack::SetGeometry(Geometry* geometry) {
    DeleteResults();
    input = geometry;
    Geometry* current = input;
    for (Modifier* modifier : modifiers) {
        if (modifier != nullptr && current != nullptr) current = modifier->CreateResult(current);
        results.push_back(current);
    }
}

bool ModifierStack::AddModifier(Modifier* modifier) {
    modifiers.push_back(modifier);
    if (modifier->IsDeforming()) results.push_back(modifier->CreateResult(GetResult()));
    return true;
}

Geometry* ModifierStack::GetResult() const { return results.empty() ? input : results.back(); }

bool ModifierStack::InitializeResult() {
    if (results.empty() || results.back() == nullptr) return false;
    results.back()->Initialize();
    return true;
}

void ModifierStack::PrepareDraw() {
    for (Modifier* modifier : modifiers) {
        if (modifier != nullptr && modifier->NeedsDrawSetup()) modifier->SetupDraw();
    }
}

void ModifierStack::Update(f32 time) {
    std::size_t r = 0;
    for (Modifier* modifier : modifiers) {
        if (modifier == nullptr) continue;
        modifier->Update(time);
        if (!modifier->IsDeforming() || r >= results.size()) continue;
        modifier->Apply(results[r], r > 0 ? results[r - 1] : input);
        ++r;
    }
}

bool ModifierStack::Validate(std::string& reason) const {
    if (std::find(modifiers.begin(), modifiers.end(), nullptr) != modifiers.end()) {
        reason = "a modifier stack has an empty slot";
        return false;
    }
    return true;
}

}  // namespace osm3d
