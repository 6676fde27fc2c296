// The machine's shader compiler without the process around it.
#pragma once

#include "platform/shader/hlsl_scan.h"

namespace platform::gl {

/// What CompileShader does after the scan, in this process. `scan` is of the request's text.
bool CompileHlsl(const ShaderRequest& request, const HlslScan& scan, CompiledShader& out,
                 std::vector<CompileMessage>& messages);
/// Whether a profile is of shader model 1 or 2, and whether it is one of vertices.
bool HlslProfile(std::string_view name, bool& vertex);

}  // namespace platform::gl
