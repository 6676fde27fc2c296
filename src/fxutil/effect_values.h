// The parameters of an effect and their values.
#pragma once

#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fxutil/effect_document.h"
#include "platform/d3d9/com_ptr.h"

namespace fxutil {

inline constexpr u32 kNoNode = 0xffffffffu;

/// A parameter, an element or member of one, or an annotation.
struct EffectNode {
    const char* name = "";
    const char* semantic = "";
    EffectType type;
    /// 0 for what is no array.
    u32 elements = 0;
    /// The elements of an array or the members of a structure.
    u32 first_child = 0, child_count = 0;
    u32 first_annotation = 0, annotation_count = 0;
    /// Its numbers among all.
    u32 cell = 0, cell_count = 0;
    /// The parameter of the effect that it is part of, which is the document's of that number.
    u32 root = 0;
    /// Of a string.
    const char* text = nullptr;
    bool read_only = false;

    bool IsMatrix() const {
        return type.type_class == D3DXPC_MATRIX_ROWS || type.type_class == D3DXPC_MATRIX_COLUMNS;
    }
};

/// All values in one block, all parameters in one list: the effect's own first, in the order of the text.
/// Nothing allocates after Build.
class EffectValues {
  public:
    /// `document` stays where it is. False when there is more in it than kMaxEffectNodes.
    bool Build(const EffectDocument& document);
    /// Nodes for annotations of something else.
    bool AddAnnotations(const std::vector<EffectParameter>& annotations, u32& first, u32& count);

    u32 Count() const { return static_cast<u32>(nodes_.size()); }
    u32 ParameterCount() const { return parameters_; }
    const EffectNode& Node(u32 node) const { return nodes_[node]; }
    /// "name", "name.member", "name[2].member"; below `parent` unless that is kNoNode. kNoNode for none. The
    /// index of an array of one may be left out: tables of constants do not tell it from a plain structure.
    u32 Find(u32 parent, std::string_view path) const;
    u32 FindSemantic(u32 parent, std::string_view semantic) const;
    u32 FindAnnotation(u32 first, u32 count, std::string_view name) const;

    const u32* Cells(u32 node) const { return cells_.data() + nodes_[node].cell; }
    /// The number in a cell of a numeric node.
    f32 Float(const EffectNode& node, u32 at) const;
    i32 Int(const EffectNode& node, u32 at) const;

    /// Writes numbers from cell `at` of a numeric node on, converted to its type; what goes past its end is
    /// left out. True when anything is another one afterwards.
    bool Write(const EffectNode& node, u32 at, const f32* numbers, u32 count);
    bool Write(const EffectNode& node, u32 at, const i32* numbers, u32 count);
    /// Whole values as SetValue takes them.
    bool WriteBytes(const EffectNode& node, const void* data, u32 bytes);

    IDirect3DBaseTexture9* Texture(u32 root) const { return textures_[root].Get(); }
    bool SetTexture(u32 root, IDirect3DBaseTexture9* texture);

  private:
    bool Children(u32 node);
    bool Append(const EffectParameter& parameter, u32 node, bool read_only);
    bool Put(u32 cell, u32 value) {
        if (cells_[cell] == value) return false;
        cells_[cell] = value;
        return true;
    }
    bool PutBytes(const EffectNode& node, const u8*& data, u32& cells);

    const EffectDocument* document_ = nullptr;
    std::vector<EffectNode> nodes_;
    u32 parameters_ = 0;
    std::vector<u32> cells_;
    std::vector<ComPtr<IDirect3DBaseTexture9>> textures_;
    std::unordered_map<std::string_view, u32> names_;
};

}  // namespace fxutil
