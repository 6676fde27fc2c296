// What the engine asks of the operating system.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "platform/types.h"

namespace platform {

/// Icons of a message box, as the system numbers them.
inline constexpr u32 kMessageExclamation = 48;
inline constexpr u32 kMessageInformation = 64;

using MessageBoxHandler = std::function<void(const std::string& text, const std::string& caption, u32 icon)>;

/// Shows a text to a person and waits until it is closed. Where there are no message boxes it is one line on
/// standard error, "caption: text". On Windows texts are in the process's code page, as paths are.
void ShowMessageBox(const std::string& text, const std::string& caption, u32 icon = kMessageExclamation);

/// Has `handler` show the texts from now on; an empty one brings the system's own way back. Gives back the
/// handler that was there.
MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler);

/// One line on standard error, "caption: text".
void PrintMessage(const std::string& text, const std::string& caption);

using DebugStringHandler = std::function<void(const std::string& text)>;

/// Hands a text to a debugger, if one listens.
void DebugString(const std::string& text);

/// Has `handler` take the texts from now on; an empty one brings the system's own way back. Gives back the
/// handler that was there.
DebugStringHandler SetDebugStringHandler(DebugStringHandler handler);

/// Milliseconds since some moment before the program began (on Windows, since the system did); wraps after 49
/// days.
u32 TickCount();

/// Ticks of the processor's counter.
u64 CycleCount();

/// The data that the module carries under `id`; empty if there is none. Lives as long as the module.
std::span<const u8> GetModuleResource(u32 id);

/// Makes `data`, which must stay where it is, the resource `id`, in place of the module's own. An empty one
/// takes it away again.
void RegisterModuleResource(u32 id, std::span<const u8> data);

/// Ends the process at once and abnormally.
[[noreturn]] void FatalAbort();

}  // namespace platform
