// How the command-line programs report what a person must mend: one line that says what, where and how.
#pragma once

#include <stdexcept>
#include <string>

namespace cli {

// Thrown by the programs' own code only; caught in main, printed as one line, exit status 1.
class Error : public std::runtime_error {
  public:
    explicit Error(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace cli
