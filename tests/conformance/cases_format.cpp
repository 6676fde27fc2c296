#include "conformance/canvas.h"

namespace conformance {

void AddFormatCases(std::vector<Case>& cases) { static_cast<void>(cases); }

}  // namespace conformance
