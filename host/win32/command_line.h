// How programs of this system are given their arguments.
#pragma once

#include <string>
#include <vector>

namespace host {

// One line that the C library of a program takes apart into these arguments again.
std::string CommandLine(const std::vector<std::string>& arguments);

}  // namespace host
