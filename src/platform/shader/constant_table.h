// The table of constants that a Direct3D 9 shader carries among its tokens, as its compiler wrote it there.
#pragma once

#include <span>
#include <vector>

#include "platform/shader_compiler.h"

namespace platform {

/// Reads the comment CTAB before the first instruction of a vertex or pixel shader into what the seam tells
/// of constants and samplers, in the order of the table. A structure is told by its members, as far as
/// registers of it are used. An array of one element is told like a plain one, which the table does not keep
/// apart.
///
/// A shader without that comment has none of either. False when `tokens` are no shader or the table is
/// damaged; the lists are empty then. Work and memory are bounded whatever the table says.
bool ReadConstantTable(std::span<const DWORD> tokens, std::vector<ShaderConstantInfo>& constants,
                       std::vector<ShaderSamplerInfo>& samplers);

}  // namespace platform
