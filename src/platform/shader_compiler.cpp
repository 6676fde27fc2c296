#include "platform/shader_compiler.h"

#include <utility>

namespace platform {
namespace {

ShaderCompiler g_compiler;

}  // namespace

bool CompileShader(const ShaderRequest& request, CompiledShader& out, std::vector<CompileMessage>& messages) {
    out = {};
    messages.clear();
    return g_compiler ? g_compiler(request, out, messages)
                      : detail::SystemCompileShader(request, out, messages);
}

ShaderCompiler SetShaderCompiler(ShaderCompiler compiler) {
    return std::exchange(g_compiler, std::move(compiler));
}

}  // namespace platform
