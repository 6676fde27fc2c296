// CompileShader on Windows: the scan that every text goes through, then the compiler of the system, which is
// looked up when the first shader is asked for.
#ifdef _WIN32

#include "platform/d3d9/d3d9.h"

#include <d3dcompiler.h>

#include <charconv>
#include <cstring>

#include "platform/d3d9/com_ptr.h"
#include "platform/shader/compile_log.h"
#include "platform/shader/constant_table.h"
#include "platform/shader/hlsl_scan.h"

namespace platform {
namespace {

// The compiler has vertex shaders of every model, but pixel shaders from model 2 on.
struct Profile {
    std::string_view name;
    bool vertex;
    const char* target;
    // Where the target's few instructions and registers do not do.
    const char* second_target;
};
constexpr Profile kProfiles[] = {
    {"vs_1_1", true, "vs_1_1", "vs_2_0"}, {"vs_2_0", true, "vs_2_0", nullptr},
    {"vs_2_a", true, "vs_2_a", nullptr},  {"ps_1_1", false, "ps_2_0", nullptr},
    {"ps_1_2", false, "ps_2_0", nullptr}, {"ps_1_3", false, "ps_2_0", nullptr},
    {"ps_1_4", false, "ps_2_0", nullptr}, {"ps_2_0", false, "ps_2_0", nullptr},
    {"ps_2_a", false, "ps_2_a", nullptr}, {"ps_2_b", false, "ps_2_b", nullptr},
};

const Profile* FindProfile(std::string_view name) {
    for (const Profile& profile : kProfiles) {
        if (profile.name == name) return &profile;
    }
    return nullptr;
}

pD3DCompile FindCompiler() {
    const HMODULE library = LoadLibraryA("d3dcompiler_47.dll");
    if (library == nullptr) return nullptr;
    const FARPROC function = GetProcAddress(library, "D3DCompile");
    return reinterpret_cast<pD3DCompile>(reinterpret_cast<void (*)()>(function));
}

std::string_view TextOf(ID3DBlob* blob) {
    return {static_cast<const char*>(blob->GetBufferPointer()), blob->GetBufferSize()};
}

// One run of the compiler.
bool Compile(pD3DCompile compile, const std::string& text, const std::string& entry, const Profile& profile,
             const char* target, CompiledShader& out, std::vector<CompileMessage>& messages) {
    // Warnings pass, and all that the text computes is left in the shader.
    const UINT flags = D3DCOMPILE_NO_PRESHADER;
    ComPtr<ID3DBlob> code, log;
    const HRESULT result = compile(text.data(), text.size(), "shader", nullptr, nullptr, entry.c_str(),
                                   target, flags, 0, code.Put(), log.Put());
    if (FAILED(result) || !code) {
        if (log) TakeCompileLog(TextOf(log.Get()), messages);
        if (messages.empty()) {
            char number[16] = {};
            std::to_chars(number, number + sizeof(number) - 1, static_cast<u32>(result), 16);
            messages.push_back(
                {0, 0, "'" + entry + "' does not compile for " + target + " (error 0x" + number + ")"});
        }
        return false;
    }
    out.tokens.resize(code->GetBufferSize() / sizeof(DWORD));
    std::memcpy(out.tokens.data(), code->GetBufferPointer(), out.tokens.size() * sizeof(DWORD));
    const DWORD kind = profile.vertex ? 0xfffe : 0xffff;
    if (!out.tokens.empty() && out.tokens[0] >> 16 == kind &&
        ReadConstantTable(out.tokens, out.constants, out.samplers)) {
        return true;
    }
    out = {};
    messages.push_back({0, 0, "what the compiler made of '" + entry + "' is no shader"});
    return false;
}

}  // namespace

namespace detail {

bool SystemCompileShader(const ShaderRequest& request, CompiledShader& out,
                         std::vector<CompileMessage>& messages) {
    const Profile* profile = FindProfile(request.profile);
    if (profile == nullptr) {
        messages.push_back({0, 0, "'" + request.profile + "' is no profile of shader model 1 or 2"});
        return false;
    }
    HlslScan scan;
    if (!ScanHlsl(request.text, request.entry, profile->vertex, scan, messages, true)) return false;
    static const pD3DCompile compile = FindCompiler();
    if (compile == nullptr) {
        messages.push_back({0, 0, "shaders need d3dcompiler_47.dll, which this system does not have"});
        return false;
    }
    bool good = Compile(compile, scan.text, request.entry, *profile, profile->target, out, messages);
    if (!good && profile->second_target != nullptr) {
        messages.clear();
        good = Compile(compile, scan.text, request.entry, *profile, profile->second_target, out, messages);
    }
    if (good) return true;
    for (CompileMessage& message : messages) {
        if (message.line != 0) continue;
        message.line = scan.entry_line;
        message.column = scan.entry_column;
    }
    return false;
}

}  // namespace detail
}  // namespace platform

#endif
