// The grammar of effect texts.
#pragma once

#include "fxutil/effect_document.h"
#include "fxutil/effect_preprocessor.h"

namespace fxutil {

/// Reads the words of a text. False, with messages, when they make no effect. The nesting of what is read
/// with recursion is bounded.
bool ParseEffect(const PreprocessedText& text, EffectDocument& out, EffectMessages& messages);

}  // namespace fxutil
