#include "render/draw_queue.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace osm3d {

void DrawQueue::Insert(const DrawRecord& record) {
    records.push_back(record);
    DrawRecord& taken = records.back();
    if (std::isnan(taken.distance)) {
        taken.distance = std::numeric_limits<f32>::infinity();
    }
    if (records.size() > 1 && records[records.size() - 2].distance > taken.distance) {
        inOrder = false;
    }
}

const std::vector<DrawRecord>& DrawQueue::Records() {
    if (!inOrder) {
        Sort();
    }
    return records;
}

void DrawQueue::SetMaterial(Material* material) {
    for (DrawRecord& record : records) {
        record.material = material;
    }
}

void DrawQueue::SetStack(ModifierStack* stack) {
    for (DrawRecord& record : records) {
        record.stack = stack;
    }
}

void DrawQueue::Clear() {
    records.clear();
    inOrder = true;
}

// std::stable_sort would take memory in every frame; places among equals come from the indices instead.
void DrawQueue::Sort() {
    order.resize(records.size());
    for (u32 i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::sort(order.begin(), order.end(), [this](u32 a, u32 b) {
        const f32 da = records[a].distance;
        const f32 db = records[b].distance;
        return da < db || (da == db && a < b);
    });
    sorted.clear();
    sorted.reserve(records.size());
    for (const u32 index : order) {
        sorted.push_back(records[index]);
    }
    records.swap(sorted);
    inOrder = true;
}

}  // namespace osm3d
