// The front end that reads HLSL: glslang, in its mode for Direct3D 9.
#pragma once

#include "platform/shader/hlsl_scan.h"

namespace platform::gl {

/// Reads a scanned text and gives the module of its entry function. `original` is the text before the scan:
/// columns of messages are looked up in it. False with messages.
bool ReadHlsl(const HlslScan& scan, std::string_view original, const std::string& entry, bool vertex,
              std::vector<u32>& words, std::vector<CompileMessage>& messages);

/// Makes what every text of a kind needs; done by the first ReadHlsl if not before.
void PrepareFrontEnd(bool vertex);

}  // namespace platform::gl
