// What a shader compiler of Direct3D prints about a text.
#pragma once

#include <string_view>
#include <vector>

#include "platform/shader_compiler.h"

namespace platform {

/// Adds the errors of a log, the first 20 of them: "name(12,5-9): error X3000: what" and "name:12:5: E5000:
/// what", or without a place "error X3501: what". Warnings are left out. Of a log that holds nothing of the
/// kind its first line is taken as it stands; an empty one adds nothing.
void TakeCompileLog(std::string_view log, std::vector<CompileMessage>& messages);

}  // namespace platform
