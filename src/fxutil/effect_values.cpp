#include "fxutil/effect_values.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "fxutil/effect_expression.h"

namespace fxutil {

bool EffectValues::Build(const EffectDocument& document) {
    document_ = &document;
    parameters_ = static_cast<u32>(document.parameters.size());
    if (parameters_ > kMaxEffectNodes) return false;
    nodes_.resize(parameters_);
    textures_.resize(parameters_);
    for (u32 i = 0; i < parameters_; ++i) {
        nodes_[i].root = i;
        if (!Append(document.parameters[i], i, false)) return false;
        names_.emplace(document.parameters[i].name, i);
    }
    for (u32 i = 0; i < parameters_; ++i) {
        u32 first = 0, count = 0;
        if (!AddAnnotations(document.parameters[i].annotations, first, count)) return false;
        nodes_[i].first_annotation = first;
        nodes_[i].annotation_count = count;
    }
    return true;
}

bool EffectValues::AddAnnotations(const std::vector<EffectParameter>& annotations, u32& first, u32& count) {
    first = Count();
    count = static_cast<u32>(annotations.size());
    if (first + count > kMaxEffectNodes) return false;
    nodes_.resize(first + count);
    for (u32 i = 0; i < count; ++i)
        if (!Append(annotations[i], first + i, true)) return false;
    return true;
}

bool EffectValues::Append(const EffectParameter& parameter, u32 at, bool read_only) {
    EffectNode& node = nodes_[at];
    node.name = parameter.name.c_str();
    node.semantic = parameter.semantic.c_str();
    node.type = parameter.type;
    node.elements = parameter.elements;
    node.cell = static_cast<u32>(cells_.size());
    node.cell_count = static_cast<u32>(parameter.cells.size());
    node.text = parameter.type.type == D3DXPT_STRING ? parameter.text.c_str() : nullptr;
    node.read_only = read_only;
    cells_.insert(cells_.end(), parameter.cells.begin(), parameter.cells.end());
    return Children(at);
}

// As deep as structures lie within each other, which is bounded.
bool EffectValues::Children(u32 at) {
    const EffectNode parent = nodes_[at];
    const bool structure = parent.type.type_class == D3DXPC_STRUCT;
    if (parent.elements == 0 && !structure) return true;
    const std::vector<EffectMember>* members =
        structure ? &document_->structures[parent.type.structure].members : nullptr;
    const u32 first = Count();
    const u32 count = parent.elements > 0 ? parent.elements : static_cast<u32>(members->size());
    if (first + count > kMaxEffectNodes) return false;
    nodes_[at].first_child = first;
    nodes_[at].child_count = count;
    nodes_.resize(first + count);
    u32 cell = parent.cell;
    for (u32 i = 0; i < count; ++i) {
        EffectNode& node = nodes_[first + i];
        node.root = parent.root;
        node.read_only = parent.read_only;
        node.cell = cell;
        if (parent.elements > 0) {
            node.name = parent.name;
            node.semantic = parent.semantic;
            node.type = parent.type;
        } else {
            const EffectMember& member = (*members)[i];
            node.name = member.name.c_str();
            node.semantic = member.semantic.c_str();
            node.type = member.type;
            node.elements = member.elements;
        }
        node.cell_count = CountCells(*document_, node.type, node.elements);
        cell += node.cell_count;
    }
    for (u32 i = 0; i < count; ++i)
        if (!Children(first + i)) return false;
    return true;
}

u32 EffectValues::Find(u32 parent, std::string_view path) const {
    u32 node = parent;
    bool first = true;
    while (!path.empty()) {
        if (path[0] == '[') {
            const std::size_t end = path.find(']');
            if (node == kNoNode || end == std::string_view::npos || end == 1 || end > 8) return kNoNode;
            u32 index = 0;
            for (const char c : path.substr(1, end - 1)) {
                if (c < '0' || c > '9') return kNoNode;
                index = index * 10 + static_cast<u32>(c - '0');
            }
            if (nodes_[node].elements == 0 || index >= nodes_[node].child_count) return kNoNode;
            node = nodes_[node].first_child + index;
            path.remove_prefix(end + 1);
            first = false;
            continue;
        }
        if (path[0] == '.') {
            if (first) return kNoNode;
            path.remove_prefix(1);
        } else if (!first) {
            return kNoNode;
        }
        const std::string_view name = path.substr(0, std::min(path.find_first_of(".["), path.size()));
        path.remove_prefix(name.size());
        if (node == kNoNode) {
            const auto found = names_.find(name);
            if (found == names_.end()) return kNoNode;
            node = found->second;
        } else {
            if (nodes_[node].elements == 1) node = nodes_[node].first_child;
            const EffectNode& structure = nodes_[node];
            if (structure.elements > 0) return kNoNode;
            u32 child = 0;
            while (child < structure.child_count && nodes_[structure.first_child + child].name != name)
                ++child;
            if (child == structure.child_count) return kNoNode;
            node = structure.first_child + child;
        }
        first = false;
    }
    return first ? kNoNode : node;
}

u32 EffectValues::FindSemantic(u32 parent, std::string_view semantic) const {
    if (semantic.empty()) return kNoNode;
    const bool top = parent == kNoNode;
    if (!top && nodes_[parent].elements > 0) return kNoNode;
    const u32 start = top ? 0 : nodes_[parent].first_child;
    const u32 count = top ? parameters_ : nodes_[parent].child_count;
    for (u32 i = 0; i < count; ++i)
        if (SameName(nodes_[start + i].semantic, semantic)) return start + i;
    return kNoNode;
}

u32 EffectValues::FindAnnotation(u32 first, u32 count, std::string_view name) const {
    for (u32 i = 0; i < count; ++i)
        if (nodes_[first + i].name == name) return first + i;
    return kNoNode;
}

f32 EffectValues::Float(const EffectNode& node, u32 at) const {
    const u32 cell = cells_[node.cell + at];
    return node.type.type == D3DXPT_FLOAT ? std::bit_cast<f32>(cell)
                                          : static_cast<f32>(std::bit_cast<i32>(cell));
}

i32 EffectValues::Int(const EffectNode& node, u32 at) const {
    const u32 cell = cells_[node.cell + at];
    if (node.type.type != D3DXPT_FLOAT) return std::bit_cast<i32>(cell);
    return std::bit_cast<i32>(ToCell(D3DXPT_INT, f64{std::bit_cast<f32>(cell)}));
}

bool EffectValues::Write(const EffectNode& node, u32 at, const f32* numbers, u32 count) {
    bool changed = false;
    count = std::min(count, node.cell_count - std::min(at, node.cell_count));
    for (u32 i = 0; i < count; ++i) {
        // As it stands, not through another format: a NaN keeps its bits.
        const u32 cell = node.type.type == D3DXPT_FLOAT ? std::bit_cast<u32>(numbers[i])
                                                        : ToCell(node.type.type, f64{numbers[i]});
        changed |= Put(node.cell + at + i, cell);
    }
    return changed;
}

bool EffectValues::Write(const EffectNode& node, u32 at, const i32* numbers, u32 count) {
    bool changed = false;
    count = std::min(count, node.cell_count - std::min(at, node.cell_count));
    for (u32 i = 0; i < count; ++i)
        changed |= Put(node.cell + at + i, ToCell(node.type.type, f64(numbers[i])));
    return changed;
}

bool EffectValues::WriteBytes(const EffectNode& node, const void* data, u32 bytes) {
    u32 cells = bytes / 4;
    const u8* from = static_cast<const u8*>(data);
    return PutBytes(node, from, cells);
}

bool EffectValues::PutBytes(const EffectNode& node, const u8*& data, u32& cells) {
    bool changed = false;
    if (node.type.type_class == D3DXPC_STRUCT) {
        for (u32 i = 0; i < node.child_count; ++i)
            changed |= PutBytes(nodes_[node.first_child + i], data, cells);
        return changed;
    }
    for (u32 i = 0; i < node.cell_count && cells > 0; ++i, --cells, data += 4) {
        u32 cell = 0;
        std::memcpy(&cell, data, 4);
        if (node.type.type == D3DXPT_BOOL) cell = cell != 0 ? 1 : 0;
        changed |= Put(node.cell + i, cell);
    }
    return changed;
}

bool EffectValues::SetTexture(u32 root, IDirect3DBaseTexture9* texture) {
    if (textures_[root] == texture) return false;
    textures_[root] = texture;
    return true;
}

}  // namespace fxutil
