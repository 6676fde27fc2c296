#include "platform/gl/shader_container.h"

#include <cstring>

namespace platform::gl {

namespace {

constexpr std::size_t kHeaderWords = 8;
constexpr DWORD kMaxEntries = 256;
constexpr DWORD kMaxNameBytes = 128;

void PutText(std::vector<DWORD>& words, const std::string& text) {
    const std::size_t at = words.size();
    words.resize(at + (text.size() + 3) / 4, 0);
    if (!text.empty()) std::memcpy(words.data() + at, text.data(), text.size());
}

void PutName(std::vector<DWORD>& words, const std::string& name) {
    words.push_back(static_cast<DWORD>(name.size()));
    PutText(words, name);
}

bool Identifier(const std::string& name) {
    if (name.empty() || (name[0] >= '0' && name[0] <= '9')) return false;
    for (const char c : name) {
        const bool plain =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        if (!plain) return false;
    }
    return true;
}

// Reads words up to a known end; once a read does not fit, every later one gives nothing.
class Reader {
  public:
    Reader(const DWORD* words, std::size_t count) : words_(words), count_(count) {}
    DWORD Word() {
        if (at_ >= count_) {
            good_ = false;
            return 0;
        }
        return words_[at_++];
    }
    std::string Text(DWORD bytes) {
        const std::size_t needed = (static_cast<std::size_t>(bytes) + 3) / 4;
        if (needed > count_ - at_) {
            good_ = false;
            return {};
        }
        std::string text(reinterpret_cast<const char*>(words_ + at_), bytes);
        at_ += needed;
        return text;
    }
    std::string Name() {
        const DWORD bytes = Word();
        if (bytes > kMaxNameBytes) {
            good_ = false;
            return {};
        }
        std::string name = Text(bytes);
        good_ = good_ && Identifier(name);
        return name;
    }
    bool Good() const { return good_; }
    bool AtEnd() const { return at_ == count_; }

  private:
    const DWORD* words_;
    std::size_t count_, at_ = 0;
    bool good_ = true;
};

bool RegistersExist(const ShaderConstant& constant, ShaderKind kind) {
    DWORD limit = 16;
    if (constant.set == ConstantSet::kFloat) limit = kind == ShaderKind::kVertex ? 256 : 224;
    if (constant.register_count == 0 || constant.first_register >= limit) return false;
    return constant.register_count <= limit - constant.first_register;
}

bool TypeFits(const ShaderConstant& constant) {
    switch (constant.type) {
        case ConstantType::kVec4:
            return constant.set == ConstantSet::kFloat;
        case ConstantType::kMat4:
            return constant.set == ConstantSet::kFloat && constant.register_count == 4;
        case ConstantType::kIvec4:
            return constant.set == ConstantSet::kInt;
        case ConstantType::kBool:
            return constant.set == ConstantSet::kBool;
    }
    return false;
}

}  // namespace

std::vector<DWORD> PackShader(const ShaderSource& source) {
    std::vector<DWORD> words = {kShaderContainerMagic,
                                0,
                                kShaderContainerVersion,
                                static_cast<DWORD>(source.kind),
                                static_cast<DWORD>(source.text.size()),
                                static_cast<DWORD>(source.constants.size()),
                                static_cast<DWORD>(source.samplers.size()),
                                static_cast<DWORD>(source.attributes.size())};
    PutText(words, source.text);
    for (const ShaderConstant& constant : source.constants) {
        words.push_back(static_cast<DWORD>(constant.set));
        words.push_back(constant.first_register);
        words.push_back(constant.register_count);
        words.push_back(static_cast<DWORD>(constant.type));
        PutName(words, constant.name);
    }
    for (const ShaderSampler& sampler : source.samplers) {
        words.push_back(sampler.unit);
        words.push_back(static_cast<DWORD>(sampler.type));
        PutName(words, sampler.name);
    }
    for (const ShaderAttribute& attribute : source.attributes) {
        words.push_back(attribute.usage);
        words.push_back(attribute.usage_index);
        PutName(words, attribute.name);
    }
    words[1] = static_cast<DWORD>(words.size() * 4);
    return words;
}

bool UnpackShader(const DWORD* stream, ShaderKind kind, ShaderSource& out) {
    if (stream == nullptr || stream[0] != kShaderContainerMagic) return false;
    const DWORD bytes = stream[1];
    if (bytes % 4 != 0 || bytes < kHeaderWords * 4 || bytes > kShaderContainerLimit) return false;
    if (stream[2] != kShaderContainerVersion || stream[3] != static_cast<DWORD>(kind)) return false;
    const DWORD text_bytes = stream[4], constants = stream[5], samplers = stream[6], attributes = stream[7];
    if (constants > kMaxEntries || samplers > 16 || attributes > 16) return false;

    ShaderSource source;
    source.kind = kind;
    Reader in(stream + kHeaderWords, bytes / 4 - kHeaderWords);
    source.text = in.Text(text_bytes);
    if (source.text.find('\0') != std::string::npos) return false;
    for (DWORD i = 0; i < constants && in.Good(); ++i) {
        ShaderConstant constant;
        constant.set = static_cast<ConstantSet>(in.Word());
        constant.first_register = in.Word();
        constant.register_count = in.Word();
        constant.type = static_cast<ConstantType>(in.Word());
        constant.name = in.Name();
        if (!TypeFits(constant) || !RegistersExist(constant, kind)) return false;
        source.constants.push_back(std::move(constant));
    }
    for (DWORD i = 0; i < samplers && in.Good(); ++i) {
        ShaderSampler sampler;
        sampler.unit = in.Word();
        sampler.type = static_cast<SamplerType>(in.Word());
        sampler.name = in.Name();
        if (sampler.unit >= 16 || static_cast<DWORD>(sampler.type) > 1) return false;
        source.samplers.push_back(std::move(sampler));
    }
    for (DWORD i = 0; i < attributes && in.Good(); ++i) {
        ShaderAttribute attribute;
        attribute.usage = in.Word();
        attribute.usage_index = in.Word();
        attribute.name = in.Name();
        if (attribute.usage > MAXD3DDECLUSAGE || attribute.usage_index > MAXD3DDECLUSAGEINDEX) return false;
        source.attributes.push_back(std::move(attribute));
    }
    if (!in.Good() || !in.AtEnd()) return false;
    if (kind == ShaderKind::kPixel && !source.attributes.empty()) return false;
    out = std::move(source);
    return true;
}

UINT PackedShaderSize(const DWORD* stream) { return stream[1]; }

}  // namespace platform::gl
