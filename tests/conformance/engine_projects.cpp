// Projects: effects, transitions and filters, alone and within each other.
#include "conformance/engine_cases.h"

namespace conformance {

std::vector<EngineCase> ProjectCases() { return {}; }

}  // namespace conformance
