#ifdef _WIN32

#include "platform/shader_compiler.h"

namespace platform::detail {

bool SystemCompileShader(const ShaderRequest&, CompiledShader&, std::vector<CompileMessage>& messages) {
    messages.push_back({0, 0, "there is no shader compiler on this system"});
    return false;
}

}  // namespace platform::detail

#endif
