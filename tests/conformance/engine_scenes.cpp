// The scene cases of all families.
#include "conformance/engine_cases.h"

namespace conformance {

std::vector<EngineCase> SceneCases() { return {}; }

}  // namespace conformance
