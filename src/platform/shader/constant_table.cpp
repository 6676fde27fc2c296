#include "platform/shader/constant_table.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace platform {
namespace {

constexpr DWORD kComment = 0xfffe;
constexpr DWORD kTable = 0x42415443;  // 'CTAB'

// Sizes and places of the table's records, all offsets counted from its first byte.
constexpr u32 kHeaderSize = 28, kHeaderConstants = 12, kHeaderConstantInfo = 16;
constexpr u32 kConstantSize = 20, kConstantSet = 4, kConstantIndex = 6, kConstantCount = 8,
              kConstantType = 12;
constexpr u32 kTypeSize = 16;
constexpr u32 kMemberSize = 8;

enum TableSet : u32 { kBoolSet, kIntSet, kFloatSet, kSamplerSet };
enum TableClass : u32 { kScalar, kVector, kMatrixRows, kMatrixColumns, kObject, kStruct };
enum TableType : u32 { kBoolType = 1, kFloatType = 3, kSampler = 10, kSamplerCube = 14 };

constexpr std::size_t kLongestName = 128;
constexpr u32 kDeepest = 16;
constexpr u32 kMostParts = 16384;

class TableReader {
  public:
    TableReader(std::span<const DWORD> table, std::vector<ShaderConstantInfo>& constants,
                std::vector<ShaderSamplerInfo>& samplers)
        : bytes_(std::as_bytes(table)), constants_(constants), samplers_(samplers) {}

    bool Run() {
        if (!Holds(0, 1, kHeaderSize)) return false;
        const u32 count = Word(kHeaderConstants), first = Word(kHeaderConstantInfo);
        if (!Holds(first, count, kConstantSize)) return false;
        for (u32 i = 0; i < count; ++i) {
            const u32 at = first + i * kConstantSize;
            std::string name;
            if (!Name(Word(at), name)) return false;
            // The compiler marks a uniform parameter of the entry function.
            if (name[0] == '$') name.erase(0, 1);
            set_ = Half(at + kConstantSet);
            if (set_ > kSamplerSet) return false;
            next_ = Half(at + kConstantIndex);
            end_ = next_ + Half(at + kConstantCount);
            if (!Part(name, Word(at + kConstantType), 0)) return false;
        }
        return true;
    }

  private:
    struct Type {
        u32 type_class, type, rows, columns, elements, members, member_info;
    };

    bool Holds(u32 at, u64 count, u64 size) const {
        return at <= bytes_.size() && count * size <= bytes_.size() - at;
    }
    template <class T>
    T Number(u32 at) const {
        T value;
        std::memcpy(&value, bytes_.data() + at, sizeof(value));
        return value;
    }
    u32 Half(u32 at) const { return Number<u16>(at); }
    u32 Word(u32 at) const { return Number<u32>(at); }

    bool Name(u32 at, std::string& name) const {
        if (!Holds(at, 1, 1)) return false;
        const std::string_view rest(reinterpret_cast<const char*>(bytes_.data()) + at, bytes_.size() - at);
        const std::size_t length = rest.find('\0');
        if (length == 0 || length > kLongestName) return false;
        name = rest.substr(0, length);
        return true;
    }

    bool TypeAt(u32 at, Type& type) const {
        if (!Holds(at, 1, kTypeSize)) return false;
        type = {Half(at),      Half(at + 2), Half(at + 4), Half(at + 6), std::max(Half(at + 8), 1u),
                Half(at + 10), Word(at + 12)};
        return true;
    }

    // A constant or a part of one; takes its registers from next_ on, and is nothing where they are used up.
    bool Part(const std::string& name, u32 type_at, u32 depth) {
        if (next_ >= end_) return true;
        Type type{};
        if (++parts_ > kMostParts || depth > kDeepest || !TypeAt(type_at, type)) return false;
        if (type.type_class == kStruct) return Members(name, type, depth);
        if (type.type_class == kObject) return set_ != kSamplerSet || Sampler(name, type);
        return set_ == kSamplerSet || Numbers(name, type);
    }

    bool Members(const std::string& name, const Type& type, u32 depth) {
        if (!Holds(type.member_info, type.members, kMemberSize)) return false;
        for (u32 element = 0; element < type.elements && next_ < end_; ++element) {
            if (++parts_ > kMostParts) return false;
            const std::string head =
                (type.elements > 1 ? name + "[" + std::to_string(element) + "]" : name) + ".";
            for (u32 i = 0; i < type.members; ++i) {
                const u32 member = type.member_info + i * kMemberSize;
                std::string member_name;
                if (!Name(Word(member), member_name)) return false;
                if (!Part(head + member_name, Word(member + 4), depth + 1)) return false;
            }
        }
        return true;
    }

    bool Sampler(const std::string& name, const Type& type) {
        if (type.type < kSampler || type.type > kSamplerCube) return true;
        for (u32 element = 0; element < type.elements && next_ < end_; ++element, ++next_) {
            if (++parts_ > kMostParts) return false;
            samplers_.push_back({type.elements > 1 ? name + "[" + std::to_string(element) + "]" : name, next_,
                                 type.type == kSamplerCube});
        }
        return true;
    }

    bool Numbers(const std::string& name, const Type& type) {
        if (type.type < kBoolType || type.type > kFloatType || type.rows < 1 || type.rows > 4 ||
            type.columns < 1 || type.columns > 4 || type.type_class > kMatrixColumns) {
            return false;
        }
        static constexpr ShaderConstantClass kClasses[] = {
            ShaderConstantClass::kScalar, ShaderConstantClass::kVector, ShaderConstantClass::kMatrixRows,
            ShaderConstantClass::kMatrixColumns};
        ShaderConstantInfo info;
        info.name = name;
        info.type = kClasses[type.type_class];
        info.rows = type.rows;
        info.columns = type.columns;
        info.elements = type.elements;
        u32 each = type.type_class == kMatrixRows ? type.rows : 1;
        if (type.type_class == kMatrixColumns) each = type.columns;
        if (set_ == kBoolSet) each = type.rows * type.columns;
        info.set = set_ == kBoolSet  ? ShaderRegisterSet::kBool
                   : set_ == kIntSet ? ShaderRegisterSet::kInt
                                     : ShaderRegisterSet::kFloat;
        info.first_register = next_;
        // A compiler leaves out what is not used at the end.
        info.register_count = std::min(each * type.elements, end_ - next_);
        next_ += each * type.elements;
        constants_.push_back(std::move(info));
        return true;
    }

    std::span<const std::byte> bytes_;
    std::vector<ShaderConstantInfo>& constants_;
    std::vector<ShaderSamplerInfo>& samplers_;
    u32 set_ = 0, next_ = 0, end_ = 0;
    u32 parts_ = 0;
};

}  // namespace

bool ReadConstantTable(std::span<const DWORD> tokens, std::vector<ShaderConstantInfo>& constants,
                       std::vector<ShaderSamplerInfo>& samplers) {
    constants.clear();
    samplers.clear();
    if (tokens.empty() || tokens[0] >> 17 != 0x7fff) return false;
    for (std::size_t at = 1; at < tokens.size() && (tokens[at] & 0xffff) == kComment;) {
        const std::size_t length = tokens[at] >> 16 & 0x7fff;
        if (++at + length > tokens.size()) return false;
        if (length > 0 && tokens[at] == kTable) {
            if (TableReader(tokens.subspan(at + 1, length - 1), constants, samplers).Run()) return true;
            constants.clear();
            samplers.clear();
            return false;
        }
        at += length;
    }
    return true;
}

}  // namespace platform
