// What osmplay asks of the operating system, beside windows (picture_window.h), processes (child_process.h)
// and what all our programs ask (cli/system.h).
#pragma once

#include <string>

namespace host {

// The module's file, beside this program.
extern const char* const kModuleName;

using Function = void (*)();
// Loads the shared library `path` for the life of this process, and finds `name` in it: null when it has
// none. Throws cli::Error when it cannot be loaded.
Function LoadFunction(const std::string& path, const char* name);

// The running program: its path, and a name by which it can be started again.
std::string ProgramPath();
std::string OwnProgram();

}  // namespace host
