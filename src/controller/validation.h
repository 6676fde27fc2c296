// Whether controllers that a file made can be evaluated.
#pragma once

#include <string>

#include "controller/controller.h"

namespace osm3d::controller {

/// Operators on operators, at most.
inline constexpr u32 kMaxOperatorDepth = 32;

/// Whether Update may be called: keys are there, a multiplication has both operands, a
/// conversion its source, and operators neither go in a circle nor nest deeper than kMaxOperatorDepth.
/// Otherwise `reason` says in one line why not. A null `subject` is valid. Takes time proportional to the
/// keys.
bool Validate(const Controller* subject, std::string& reason);

}  // namespace osm3d::controller
