// Texts as the system's own operations take them.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <string>

namespace cli {

// From UTF-8, and back.
std::wstring Wide(const std::string& text);
std::string Narrow(const std::wstring& text);

// What an error number of the system means, without a line's end.
std::string SystemMessage(DWORD error);

}  // namespace cli
