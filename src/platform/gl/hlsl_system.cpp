// CompileShader on this machine: the scan here, the rest in a process of its own. The front end has been seen
// to crash on broken text.
#include <algorithm>
#include <cstring>

#include "platform/gl/hlsl_compiler.h"
#include "platform/gl/hlsl_front_end.h"
#include "platform/gl/isolated.h"

namespace platform {
namespace gl {
namespace {

// Results on their way between the processes, which are of the same make.
class Writer {
  public:
    void Number(u32 value) {
        bytes_.resize(bytes_.size() + sizeof(value));
        std::memcpy(bytes_.data() + bytes_.size() - sizeof(value), &value, sizeof(value));
    }
    void Text(const std::string& text) {
        Number(static_cast<u32>(text.size()));
        bytes_.insert(bytes_.end(), text.begin(), text.end());
    }
    std::vector<u8> Take() { return std::move(bytes_); }

  private:
    std::vector<u8> bytes_;
};

class Reader {
  public:
    explicit Reader(const std::vector<u8>& bytes) : bytes_(bytes) {}
    u32 Number() {
        u32 value = 0;
        if (bytes_.size() - at_ < sizeof(value)) return 0;
        std::memcpy(&value, bytes_.data() + at_, sizeof(value));
        at_ += sizeof(value);
        return value;
    }
    std::string Text() {
        const std::size_t length = std::min<std::size_t>(Number(), bytes_.size() - at_);
        std::string text(reinterpret_cast<const char*>(bytes_.data()) + at_, length);
        at_ += length;
        return text;
    }
    /// A count, held to what can still follow.
    u32 Count() { return std::min(Number(), static_cast<u32>((bytes_.size() - at_) / sizeof(u32))); }

  private:
    const std::vector<u8>& bytes_;
    std::size_t at_ = 0;
};

std::vector<u8> Pack(const CompiledShader& shader, const std::vector<CompileMessage>& messages) {
    Writer to;
    to.Number(static_cast<u32>(messages.size()));
    for (const CompileMessage& it : messages) {
        to.Number(it.line);
        to.Number(it.column);
        to.Text(it.text);
    }
    to.Number(static_cast<u32>(shader.tokens.size()));
    for (const DWORD token : shader.tokens) to.Number(static_cast<u32>(token));
    to.Number(static_cast<u32>(shader.constants.size()));
    for (const ShaderConstantInfo& it : shader.constants) {
        to.Text(it.name);
        for (const u32 value : {static_cast<u32>(it.set), it.first_register, it.register_count,
                                static_cast<u32>(it.type), it.rows, it.columns, it.elements}) {
            to.Number(value);
        }
    }
    to.Number(static_cast<u32>(shader.samplers.size()));
    for (const ShaderSamplerInfo& it : shader.samplers) {
        to.Text(it.name);
        to.Number(it.unit);
        to.Number(it.cube ? 1 : 0);
    }
    return to.Take();
}

void Unpack(const std::vector<u8>& bytes, CompiledShader& shader, std::vector<CompileMessage>& messages) {
    Reader from(bytes);
    messages.resize(from.Count());
    for (CompileMessage& it : messages) {
        it.line = from.Number();
        it.column = from.Number();
        it.text = from.Text();
    }
    shader.tokens.resize(from.Count());
    for (DWORD& token : shader.tokens) token = from.Number();
    shader.constants.resize(from.Count());
    for (ShaderConstantInfo& it : shader.constants) {
        it.name = from.Text();
        it.set = static_cast<ShaderRegisterSet>(from.Number());
        it.first_register = from.Number();
        it.register_count = from.Number();
        it.type = static_cast<ShaderConstantClass>(from.Number());
        it.rows = from.Number();
        it.columns = from.Number();
        it.elements = from.Number();
    }
    shader.samplers.resize(from.Count());
    for (ShaderSamplerInfo& it : shader.samplers) {
        it.name = from.Text();
        it.unit = from.Number();
        it.cube = from.Number() != 0;
    }
}

}  // namespace
}  // namespace gl

namespace detail {

bool SystemCompileShader(const ShaderRequest& request, CompiledShader& out,
                         std::vector<CompileMessage>& messages) {
    bool vertex = false;
    if (!gl::HlslProfile(request.profile, vertex)) {
        messages.push_back({0, 0, "'" + request.profile + "' is no profile of shader model 1 or 2"});
        return false;
    }
    HlslScan scan;
    if (!ScanHlsl(request.text, request.entry, vertex, scan, messages)) return false;
    // The tables that every text needs are made here, once, and not in each copy.
    gl::PrepareFrontEnd(vertex);
    std::vector<u8> bytes;
    const bool whole = gl::RunIsolated(
        [&] {
            CompiledShader shader;
            std::vector<CompileMessage> said;
            gl::CompileHlsl(request, scan, shader, said);
            return gl::Pack(shader, said);
        },
        bytes);
    if (whole) gl::Unpack(bytes, out, messages);
    if (!out.tokens.empty()) return true;
    if (messages.empty()) {
        messages.push_back({scan.entry_line, scan.entry_column, "the compiler broke down on this shader"});
    }
    return false;
}

}  // namespace detail
}  // namespace platform
