// What the command-line programs ask of the operating system.
#pragma once

#include <cstdio>
#include <string>

namespace cli {

// To be called first in a program. From then on the bytes of the standard streams are those that we write and
// read, and a terminal takes them as UTF-8 with the usual control sequences.
void PrepareStreams();

// Whether a person sits at the other end.
bool IsTerminal(std::FILE* stream);

// Of the running program.
long ProcessId();

// A new file, for writing, that this user alone can read; the caller closes it. Null, and errno, when it
// cannot be made: EEXIST where the name is taken.
std::FILE* CreateFresh(const std::string& path);

// Gives the file `from` the name `to`, in place of a file that has it. False, and errno, when that fails.
bool MoveOver(const std::string& from, const std::string& to);

}  // namespace cli
