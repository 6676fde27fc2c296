// The first look at a shader text, before the compiler sees it: what it declares, what the entry reaches, and
// whether it stays within bounds that keep the work on it small.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/shader_compiler.h"

namespace platform {

/// No text is longer, nests deeper, or has longer statements: what comes after walks nested text by
/// recursion.
inline constexpr std::size_t kHlslTextLimit = 256 * 1024;
inline constexpr u32 kHlslNestingLimit = 64;
inline constexpr u32 kHlslStatementLimit = 2048;   // tokens
inline constexpr u32 kHlslElseLimit = 128;         // in one function
inline constexpr u32 kHlslExpandedLimit = 100000;  // tokens of an entry with every call written out
/// No array is longer, and no structure or global has more scalars.
inline constexpr u32 kHlslArrayLimit = 4096;

/// A global that is neither `static` nor `const`: a constant or a sampler of the program.
struct HlslGlobal {
    std::string name, type;
    /// Number in `: register(cN)`; -1 without one.
    i32 register_number = -1;
    bool sampler = false;
    u32 line = 0, column = 0;
};

struct HlslScan {
    /// For the compiler: without comments, functions that the entry does not reach, semantics, registers and
    /// default values of globals; line breaks where they were.
    std::string text;
    /// In the order of declaration.
    std::vector<HlslGlobal> globals;
    u32 entry_line = 0, entry_column = 0;
};

/// False, with a message, for what is no text to compile: out of bounds, no entry function, directives.
/// `keep_registers`: the registers stay, for a compiler that places constants itself.
bool ScanHlsl(std::string_view text, std::string_view entry, bool vertex, HlslScan& out,
              std::vector<CompileMessage>& messages, bool keep_registers = false);

/// Column of `token` as a whole word in a line of `text`; 1 when it is not there. Lines count from 1.
u32 ColumnOf(std::string_view text, u32 line, std::string_view token);

}  // namespace platform
