#include "platform/shader_compiler.h"

namespace platform::detail {

bool SystemCompileShader(const ShaderRequest&, CompiledShader&, std::vector<CompileMessage>& messages) {
    messages.push_back({0, 0, "the compiler is being written"});
    return false;
}

}  // namespace platform::detail
