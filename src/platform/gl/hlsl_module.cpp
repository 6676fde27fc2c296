#include "platform/gl/hlsl_module.h"

#include <spirv_cross/spirv.hpp>

#include <algorithm>
#include <charconv>
#include <map>
#include <set>

namespace platform::gl {
namespace {

constexpr u32 kHeaderWords = 5;
constexpr u32 kRegisterBytes = 16;
constexpr u32 kFileSize = 256;

struct Instruction {
    spv::Op op;
    std::vector<u32> words;  // with the first one
};

struct Type {
    spv::Op op = spv::OpNop;
    std::vector<u32> operands;  // after the result
};

// A string operand, and how many words it takes.
std::string Text(const std::vector<u32>& words, std::size_t at) {
    std::string text;
    for (; at < words.size(); ++at) {
        for (u32 shift = 0; shift < 32; shift += 8) {
            const char c = static_cast<char>(words[at] >> shift & 0xff);
            if (c == '\0') return text;
            text += c;
        }
    }
    return text;
}

std::string Upper(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

std::vector<u32> Make(spv::Op op, std::vector<u32> operands) {
    operands.insert(operands.begin(), static_cast<u32>(op) | static_cast<u32>(operands.size() + 1)
                                                                 << spv::WordCountShift);
    return operands;
}

bool TypeInstruction(spv::Op op) {
    return (op >= spv::OpTypeVoid && op <= spv::OpTypeForwardPointer) ||
           (op >= spv::OpConstantTrue && op <= spv::OpSpecConstantOp) || op == spv::OpVariable ||
           op == spv::OpUndef;
}

class Rewriter {
  public:
    Rewriter(const HlslScan& scan, bool vertex, HlslModule& out, std::vector<CompileMessage>& messages)
        : scan_(scan), vertex_(vertex), out_(out), messages_(messages) {}

    bool Run(const std::vector<u32>& words) {
        out_ = {};
        if (!Parse(words) || !FindVariables()) return false;
        if (block_ != 0 && (!FindUsed() || !PlaceConstants())) return false;
        Write(words);
        return true;
    }

  private:
    struct Member {
        u32 index = 0, type = 0;
        bool row_major = false;  // as the module says it: the text's columns
        const HlslGlobal* global = nullptr;
        ShaderRegisterSet set = ShaderRegisterSet::kFloat;
        u32 registers = 0, first = 0;
        u32 new_index = 0, new_constant = 0;
    };

    // A message that belongs to a global, or to the entry function.
    bool Fail(const HlslGlobal* global, std::string text) {
        messages_.push_back({global != nullptr ? global->line : scan_.entry_line,
                             global != nullptr ? global->column : scan_.entry_column, std::move(text)});
        return false;
    }
    const Type& TypeOf(u32 id) const {
        static const Type kNone;
        const auto found = types_.find(id);
        return found != types_.end() ? found->second : kNone;
    }
    const HlslGlobal* GlobalOf(const std::string& name) const {
        for (const HlslGlobal& global : scan_.globals) {
            if (global.name == name) return &global;
        }
        return nullptr;
    }
    u32 ConstantOf(u32 id) const {
        const auto found = constants_.find(id);
        return found != constants_.end() ? found->second : 0;
    }
    bool Scalar(u32 type, ScalarKind& kind, u32& components) const;
    bool Parse(const std::vector<u32>& words);
    bool FindVariables();
    bool Interface(u32 id, u32 type, std::vector<ModuleVariable>& into);
    bool Sampler(u32 id, u32 type);
    bool FindUsed();
    bool PlaceConstants();
    bool Registers(const HlslGlobal* global, u32 type, bool row_major, u32& registers, u32 depth);
    void Describe(const std::string& name, u32 type, bool row_major, ShaderRegisterSet set, u32 first);
    void Write(const std::vector<u32>& words);

    const HlslScan& scan_;
    bool vertex_;
    HlslModule& out_;
    std::vector<CompileMessage>& messages_;
    std::vector<Instruction> code_;
    std::map<u32, Type> types_;
    std::map<u32, u32> constants_, constant_types_;
    std::map<u32, std::string> names_, semantics_;
    std::map<std::pair<u32, u32>, std::string> member_names_;
    std::set<std::pair<u32, u32>> row_major_;
    std::set<u32> loaded_, dropped_;
    u32 block_ = 0, block_type_ = 0, block_pointer_ = 0;
    std::vector<Member> members_;
    // New layout: strides of arrays and offsets of members, by type.
    std::map<u32, u32> strides_;
    std::map<std::pair<u32, u32>, u32> offsets_;
    u32 index_type_ = 0;
};

bool Rewriter::Parse(const std::vector<u32>& words) {
    if (words.size() < kHeaderWords) return Fail(nullptr, "the front end gave no module");
    bool in_function = false;
    for (std::size_t at = kHeaderWords; at < words.size();) {
        const u32 length = words[at] >> spv::WordCountShift;
        if (length == 0 || length > words.size() - at) return Fail(nullptr, "the front end gave no module");
        Instruction it{static_cast<spv::Op>(words[at] & spv::OpCodeMask),
                       std::vector<u32>(words.begin() + static_cast<std::ptrdiff_t>(at),
                                        words.begin() + static_cast<std::ptrdiff_t>(at + length))};
        at += length;
        const std::vector<u32>& w = it.words;
        switch (it.op) {
            case spv::OpName:
                names_[w[1]] = Text(w, 2);
                break;
            case spv::OpMemberName:
                member_names_[{w[1], w[2]}] = Text(w, 3);
                break;
            case spv::OpDecorateString:
                if (length > 3 && w[2] == spv::DecorationHlslSemanticGOOGLE) semantics_[w[1]] = Text(w, 3);
                break;
            case spv::OpDecorate:
                if (w[2] == spv::DecorationBuiltIn && !semantics_.contains(w[1])) semantics_[w[1]] = "SV_";
                break;
            case spv::OpMemberDecorate:
                if (w[3] == spv::DecorationRowMajor) row_major_.insert({w[1], w[2]});
                break;
            case spv::OpConstant:
                constant_types_[w[2]] = w[1];
                constants_[w[2]] = w[3];
                break;
            case spv::OpFunction:
                in_function = true;
                break;
            case spv::OpLoad:
                loaded_.insert(w[3]);
                break;
            case spv::OpFunctionCall:
                for (u32 i = 4; i < length; ++i) loaded_.insert(w[i]);
                break;
            default:
                if (it.op >= spv::OpTypeVoid && it.op <= spv::OpTypeForwardPointer && length > 1) {
                    types_[w[1]] = {it.op, std::vector<u32>(w.begin() + 2, w.end())};
                }
        }
        if (!in_function && it.op == spv::OpVariable && w[3] == spv::StorageClassUniform) {
            const u32 pointee = TypeOf(w[1]).operands.size() > 1 ? TypeOf(w[1]).operands[1] : 0;
            if (block_ != 0 || names_[pointee] != "$Global") {
                return Fail(nullptr, "only plain globals can be constants");
            }
            block_ = w[2];
            block_pointer_ = w[1];
            block_type_ = pointee;
        }
        code_.push_back(std::move(it));
    }
    return true;
}

bool Rewriter::Scalar(u32 id, ScalarKind& kind, u32& components) const {
    const Type* type = &TypeOf(id);
    components = 1;
    if (type->op == spv::OpTypeVector) {
        components = type->operands[1];
        type = &TypeOf(type->operands[0]);
    }
    if (type->op == spv::OpTypeBool) {
        kind = ScalarKind::kBool;
        return true;
    }
    if (type->op == spv::OpTypeInt && type->operands[0] == 32) {
        kind = type->operands[1] != 0 ? ScalarKind::kInt : ScalarKind::kUint;
        return true;
    }
    kind = ScalarKind::kFloat;
    return type->op == spv::OpTypeFloat && type->operands[0] == 32;
}

bool Rewriter::FindVariables() {
    for (const Instruction& it : code_) {
        if (it.op == spv::OpFunction) break;
        if (it.op != spv::OpVariable) continue;
        const u32 id = it.words[2], pointee = TypeOf(it.words[1]).operands[1];
        bool good = true;
        switch (static_cast<spv::StorageClass>(it.words[3])) {
            case spv::StorageClassInput:
                good = Interface(id, pointee, out_.inputs);
                break;
            case spv::StorageClassOutput:
                good = Interface(id, pointee, out_.outputs);
                break;
            case spv::StorageClassUniformConstant:
                good = Sampler(id, pointee);
                break;
            case spv::StorageClassUniform:
            case spv::StorageClassPrivate:
                break;
            default:
                return Fail(nullptr, "a global of this kind is not supported");
        }
        if (!good) return false;
    }
    std::stable_sort(
        out_.samplers.begin(), out_.samplers.end(),
        [&](const ModuleSampler& a, const ModuleSampler& b) { return GlobalOf(a.name) < GlobalOf(b.name); });
    return true;
}

bool Rewriter::Interface(u32 id, u32 type, std::vector<ModuleVariable>& into) {
    ModuleVariable made;
    made.id = id;
    made.name = names_[id];
    // Parts of one parameter are called "input.uv[1]", results "@entryPointOutput.uv[1]".
    const bool result = made.name.starts_with("@entryPointOutput");
    const std::string shown =
        result ? "what the entry function returns"
               : (&into == &out_.outputs ? "the output '" : "the input '") + made.name + "'";
    const auto semantic = semantics_.find(id);
    if (semantic == semantics_.end()) return Fail(nullptr, shown + " has no semantic");
    made.semantic = Upper(semantic->second);
    std::size_t digits = made.semantic.size();
    while (digits > 0 && made.semantic[digits - 1] >= '0' && made.semantic[digits - 1] <= '9') --digits;
    std::from_chars(made.semantic.data() + digits, made.semantic.data() + made.semantic.size(), made.index);
    made.semantic.resize(digits);
    if (made.name.ends_with("]")) {
        u32 element = 0;
        const std::size_t open = made.name.rfind('[');
        if (open != std::string::npos) {
            std::from_chars(made.name.data() + open + 1, made.name.data() + made.name.size(), element);
        }
        made.index += element;
    }
    if (TypeOf(type).op == spv::OpTypeArray) {
        made.elements = ConstantOf(TypeOf(type).operands[1]);
        type = TypeOf(type).operands[0];
        if (made.elements == 0 || made.elements > 16) return Fail(nullptr, shown + " has too many elements");
    }
    if (!Scalar(type, made.scalar, made.components)) {
        return Fail(nullptr, shown + " must be a number or a vector");
    }
    into.push_back(std::move(made));
    return true;
}

bool Rewriter::Sampler(u32 id, u32 type) {
    const std::string& name = names_[id];
    const HlslGlobal* global = GlobalOf(name);
    if (!loaded_.contains(id)) {
        dropped_.insert(id);
        return true;
    }
    const Type& sampled = TypeOf(type);
    if (sampled.op != spv::OpTypeSampledImage || global == nullptr) {
        return Fail(global, "'" + name + "' is no sampler that Direct3D 9 has");
    }
    const Type& image = TypeOf(sampled.operands[0]);
    const u32 dimension = image.operands[1];
    if (dimension != spv::Dim2D && dimension != spv::DimCube) {
        return Fail(global, "'" + name + "' is neither a two-dimensional sampler nor one of a cube");
    }
    if (vertex_) return Fail(global, "a vertex shader cannot read the sampler '" + name + "'");
    out_.samplers.push_back({id, name, dimension == spv::DimCube});
    return true;
}

// Which globals the code reads, and of which kind they are.
bool Rewriter::FindUsed() {
    std::set<u32> used;
    for (const Instruction& it : code_) {
        if ((it.op != spv::OpAccessChain && it.op != spv::OpInBoundsAccessChain) || it.words[3] != block_) {
            continue;
        }
        if (it.words.size() < 5) return Fail(nullptr, "the globals cannot be used as a whole");
        used.insert(ConstantOf(it.words[4]));
        index_type_ = constant_types_[it.words[4]];
    }
    const std::vector<u32>& types = TypeOf(block_type_).operands;
    for (const u32 index : used) {
        if (index >= types.size()) return Fail(nullptr, "the front end gave no module");
        Member member;
        member.index = index;
        member.type = types[index];
        member.row_major = row_major_.contains({block_type_, index});
        const std::string& name = member_names_[{block_type_, index}];
        member.global = GlobalOf(name);
        if (member.global == nullptr) return Fail(nullptr, "'" + name + "' is no global");
        u32 element = member.type, components = 0;
        if (TypeOf(element).op == spv::OpTypeArray) element = TypeOf(element).operands[0];
        ScalarKind kind = ScalarKind::kFloat;
        if (Scalar(element, kind, components) && kind != ScalarKind::kFloat) {
            const bool truth = member.global->type.starts_with("bool");
            if (truth && components > 1) {
                return Fail(member.global, "a vector of bool cannot be a constant: '" + name + "'");
            }
            if (!truth && kind != ScalarKind::kInt) {
                return Fail(member.global, "an unsigned number cannot be a constant: '" + name + "'");
            }
            member.set = truth ? ShaderRegisterSet::kBool : ShaderRegisterSet::kInt;
        }
        if (!Registers(member.global, member.type, member.row_major, member.registers, 0)) return false;
        members_.push_back(member);
    }
    return true;
}

// How many registers a type takes; notes the layout that this means for its parts.
bool Rewriter::Registers(const HlslGlobal* global, u32 id, bool row_major, u32& registers, u32 depth) {
    const Type& type = TypeOf(id);
    const auto stays = [&](auto& map, const auto& key, u32 value) {
        const auto [it, fresh] = map.emplace(key, value);
        return fresh || it->second == value ||
               Fail(global, "'" + global->name + "' shares a type with a constant of another layout");
    };
    if (depth > 16) return Fail(global, "'" + global->name + "' nests too deep");
    switch (type.op) {
        case spv::OpTypeArray: {
            if (!Registers(global, type.operands[0], row_major, registers, depth + 1)) return false;
            const u32 elements = ConstantOf(type.operands[1]);
            if (!stays(strides_, id, registers * kRegisterBytes)) return false;
            if (elements == 0 || static_cast<u64>(registers) * elements > kFileSize) {
                return Fail(global, "'" + global->name + "' takes more registers than there are");
            }
            registers *= elements;
            return true;
        }
        case spv::OpTypeStruct: {
            registers = 0;
            for (u32 i = 0; i < type.operands.size(); ++i) {
                u32 each = 0;
                ScalarKind kind = ScalarKind::kFloat;
                u32 components = 0, element = type.operands[i];
                if (TypeOf(element).op == spv::OpTypeArray) element = TypeOf(element).operands[0];
                if (Scalar(element, kind, components) && kind != ScalarKind::kFloat) {
                    return Fail(global, "a structure of constants holds float only: '" + global->name + "'");
                }
                if (!Registers(global, type.operands[i], row_major_.contains({id, i}), each, depth + 1) ||
                    !stays(offsets_, std::pair(id, i), registers * kRegisterBytes)) {
                    return false;
                }
                registers += each;
                if (registers > kFileSize) {
                    return Fail(global, "'" + global->name + "' takes more registers than there are");
                }
            }
            return registers != 0 || Fail(global, "'" + global->name + "' is empty");
        }
        case spv::OpTypeMatrix: {
            const u32 columns = type.operands[0];
            registers = row_major ? TypeOf(columns).operands[1] : type.operands[1];
            ScalarKind kind = ScalarKind::kFloat;
            u32 components = 0;
            return (Scalar(columns, kind, components) && kind == ScalarKind::kFloat) ||
                   Fail(global, "a matrix of constants holds float only: '" + global->name + "'");
        }
        default: {
            ScalarKind kind = ScalarKind::kFloat;
            u32 components = 0;
            registers = 1;
            return Scalar(id, kind, components) ||
                   Fail(global, "'" + global->name + "' is of no type that a constant can have");
        }
    }
}

// Registers asked for by number first, the others in order where they fit.
bool Rewriter::PlaceConstants() {
    for (u32 set = 0; set < 3; ++set) {
        const u32 size = set == 0 ? kFileSize : 16;
        std::vector<bool> taken(size);
        u32 first = size, last = 0;
        const auto free = [&](u32 from, u32 count) {
            if (from + count > size) return false;
            return std::none_of(taken.begin() + from, taken.begin() + from + count, [](bool t) { return t; });
        };
        for (const bool asked : {true, false}) {
            for (Member& member : members_) {
                if (static_cast<u32>(member.set) != set || (member.global->register_number >= 0) != asked) {
                    continue;
                }
                u32 at = asked ? static_cast<u32>(member.global->register_number) : 0;
                while (!asked && at < size && !free(at, member.registers)) ++at;
                if (!free(at, member.registers)) {
                    return Fail(member.global,
                                "there is no room in the registers for '" + member.global->name + "'");
                }
                std::fill_n(taken.begin() + at, member.registers, true);
                member.first = at;
                first = std::min(first, at);
                last = std::max(last, at + member.registers);
            }
        }
        if (last == 0) continue;
        out_.blocks[set].first_register = first;
        out_.blocks[set].register_count = last - first;
    }
    for (const Member& member : members_) {
        Describe(member.global->name, member.type, member.row_major, member.set, member.first);
    }
    return true;
}

void Rewriter::Describe(const std::string& name, u32 id, bool row_major, ShaderRegisterSet set, u32 first) {
    const Type* type = &TypeOf(id);
    if (type->op == spv::OpTypeStruct) {
        for (u32 i = 0; i < type->operands.size(); ++i) {
            Describe(name + "." + member_names_[{id, i}], type->operands[i], row_major_.contains({id, i}),
                     set, first + offsets_[{id, i}] / kRegisterBytes);
        }
        return;
    }
    ShaderConstantInfo info;
    info.name = name;
    info.set = set;
    info.first_register = first;
    if (type->op == spv::OpTypeArray) {
        info.elements = ConstantOf(type->operands[1]);
        const u32 element = type->operands[0], stride = strides_[id] / kRegisterBytes;
        if (TypeOf(element).op == spv::OpTypeStruct) {
            for (u32 i = 0; i < info.elements; ++i) {
                Describe(name + "[" + std::to_string(i) + "]", element, row_major, set, first + i * stride);
            }
            return;
        }
        type = &TypeOf(element);
        id = element;
        info.register_count = info.elements * stride;
    } else if (type->op == spv::OpTypeMatrix) {
        info.register_count = row_major ? TypeOf(type->operands[0]).operands[1] : type->operands[1];
    }
    if (type->op == spv::OpTypeMatrix) {
        // The front end keeps matrices turned over: a column of the module is a row of the text.
        info.type = row_major ? ShaderConstantClass::kMatrixColumns : ShaderConstantClass::kMatrixRows;
        info.rows = type->operands[1];
        info.columns = TypeOf(type->operands[0]).operands[1];
    } else {
        ScalarKind kind = ScalarKind::kFloat;
        Scalar(id, kind, info.columns);
        info.type =
            type->op == spv::OpTypeVector ? ShaderConstantClass::kVector : ShaderConstantClass::kScalar;
    }
    out_.constants.push_back(std::move(info));
}

void Rewriter::Write(const std::vector<u32>& words) {
    std::vector<u32>& to = out_.words;
    to.assign(words.begin(), words.begin() + kHeaderWords);
    u32 bound = words[3];
    const auto put = [&](const std::vector<u32>& instruction) {
        to.insert(to.end(), instruction.begin(), instruction.end());
    };

    // The new blocks: decorations go before the types, the rest before the functions.
    std::vector<std::vector<u32>> decorations, declarations;
    std::map<u32, Member*> by_index;
    for (u32 set = 0; set < 3; ++set) {
        std::vector<u32> structure;
        const u32 type = bound;
        for (Member& member : members_) {
            if (static_cast<u32>(member.set) != set) continue;
            if (structure.empty()) structure.push_back(type);
            member.new_index = static_cast<u32>(structure.size() - 1);
            structure.push_back(member.type);
            by_index[member.index] = &member;
            decorations.push_back(Make(spv::OpMemberDecorate,
                                       {type, member.new_index, spv::DecorationOffset,
                                        (member.first - out_.blocks[set].first_register) * kRegisterBytes}));
            u32 element = member.type;
            while (TypeOf(element).op == spv::OpTypeArray) element = TypeOf(element).operands[0];
            if (TypeOf(element).op != spv::OpTypeMatrix) continue;
            decorations.push_back(Make(
                spv::OpMemberDecorate,
                {type, member.new_index,
                 static_cast<u32>(member.row_major ? spv::DecorationRowMajor : spv::DecorationColMajor)}));
            decorations.push_back(Make(spv::OpMemberDecorate, {type, member.new_index,
                                                               spv::DecorationMatrixStride, kRegisterBytes}));
        }
        if (structure.empty()) continue;
        const u32 pointer = type + 1, variable = type + 2;
        bound += 3;
        decorations.push_back(Make(spv::OpDecorate, {type, spv::DecorationBlock}));
        declarations.push_back(Make(spv::OpTypeStruct, structure));
        declarations.push_back(Make(spv::OpTypePointer, {pointer, spv::StorageClassUniform, type}));
        declarations.push_back(Make(spv::OpVariable, {pointer, variable, spv::StorageClassUniform}));
        out_.blocks[set].id = variable;
        out_.blocks[set].type = type;
    }
    for (Member& member : members_) {
        member.new_constant = bound++;
        declarations.push_back(Make(spv::OpConstant, {index_type_, member.new_constant, member.new_index}));
    }

    bool types_begun = false, functions_begun = false;
    for (Instruction& it : code_) {
        std::vector<u32>& w = it.words;
        if (!types_begun && TypeInstruction(it.op)) {
            types_begun = true;
            for (const auto& made : decorations) put(made);
        }
        if (!functions_begun && it.op == spv::OpFunction) {
            functions_begun = true;
            for (const auto& made : declarations) put(made);
        }
        switch (it.op) {
            case spv::OpName:
            case spv::OpMemberName:
            case spv::OpSource:
            case spv::OpSourceContinued:
            case spv::OpSourceExtension:
            case spv::OpString:
            case spv::OpLine:
            case spv::OpNoLine:
            case spv::OpExtension:
            case spv::OpDecorateString:
            case spv::OpMemberDecorateString:
                continue;
            case spv::OpDecorate:
                if (dropped_.contains(w[1]) || w[2] == spv::DecorationBuiltIn) continue;
                if (block_ != 0 && (w[1] == block_ || w[1] == block_type_)) continue;
                if (w[2] == spv::DecorationArrayStride && strides_.contains(w[1])) w[3] = strides_[w[1]];
                break;
            case spv::OpMemberDecorate:
                if (w[1] == block_type_ && block_ != 0) continue;
                if (w[3] == spv::DecorationBuiltIn) continue;
                if (w[3] == spv::DecorationMatrixStride) w[4] = kRegisterBytes;
                if (w[3] == spv::DecorationOffset && offsets_.contains({w[1], w[2]})) {
                    w[4] = offsets_[{w[1], w[2]}];
                }
                break;
            case spv::OpTypeStruct:
            case spv::OpTypePointer:
                if (block_ != 0 && (w[1] == block_type_ || w[1] == block_pointer_)) continue;
                break;
            case spv::OpVariable:
                if ((block_ != 0 && w[2] == block_) || dropped_.contains(w[2])) continue;
                break;
            case spv::OpAccessChain:
            case spv::OpInBoundsAccessChain:
                if (block_ == 0 || w[3] != block_) break;
                if (const Member* member = by_index[ConstantOf(w[4])]; member != nullptr) {
                    w[3] = out_.blocks[static_cast<u32>(member->set)].id;
                    w[4] = member->new_constant;
                }
                break;
            default:
                break;
        }
        put(w);
    }
    to[3] = bound;
}

}  // namespace

bool TakeModule(const std::vector<u32>& words, const HlslScan& scan, bool vertex, HlslModule& out,
                std::vector<CompileMessage>& messages) {
    return Rewriter(scan, vertex, out, messages).Run(words);
}

}  // namespace platform::gl
