#include "interrupt.h"

#include <csignal>

namespace host {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void Note(int) { interrupted = 1; }

}  // namespace

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = Note;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(signal, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

bool WasInterrupted() { return interrupted != 0; }

}  // namespace host
