// Macros and conditional parts of an effect text.
#pragma once

#include <string_view>
#include <vector>

#include "fxutil/effect_text.h"

struct D3DXMACRO;

namespace fxutil {

/// The words that are left, and the texts that they lie in.
struct PreprocessedText {
    TextStore store;
    std::vector<Token> tokens;
};

/// Carries out #define (with and without arguments, # and ##), #undef, #if, #ifdef, #ifndef, #elif, #else,
/// #endif, #error and #line, and replaces macros. #include and `#pragma pack_matrix` are errors, other
/// #pragmas are left out. `defines` may be null; the last one has a null name. False, with messages, when
/// something is wrong. Time and memory are bounded whatever the macros say.
bool Preprocess(std::string_view source, const D3DXMACRO* defines, PreprocessedText& out,
                EffectMessages& messages);

}  // namespace fxutil
