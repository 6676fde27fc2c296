// A person's wish to stop, by Ctrl-C or by ending the program, kept until a good moment.
#pragma once

#include <stdexcept>

namespace host {

// Thrown to end a command that was interrupted; the program then gives the exit status of one.
class Interrupted : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// From here on the first wish to stop only sets WasInterrupted; a second one ends the program as ever. A
// reader of ours that has gone is an error of the write, not the program's end.
void CatchInterrupts();
bool WasInterrupted();

}  // namespace host
