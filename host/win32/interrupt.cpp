#include "interrupt.h"

#include <atomic>

#include "cli/win32/wide.h"

namespace host {
namespace {

std::atomic<bool> interrupted = false;

// Comes on a thread of the system's.
BOOL WINAPI Note(DWORD event) {
    const bool was = interrupted.exchange(true);
    // The process is ended when this returns: the main thread is to end it before.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
    return was ? FALSE : TRUE;
}

}  // namespace

void CatchInterrupts() { SetConsoleCtrlHandler(Note, TRUE); }

bool WasInterrupted() { return interrupted; }

}  // namespace host
