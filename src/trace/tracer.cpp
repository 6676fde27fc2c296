#include "trace/tracer.h"

#include <cstdio>

#include "platform/system/system.h"

namespace trace {
namespace {

/// Whether a tracer exists, and the tracer that calls go through; both always name the same object.
Tracer* installed = nullptr;
Tracer* current = nullptr;

Tracer& Current() {
    if (!installed) installed = current = new TracerDefault();
    return *current;
}

}  // namespace

void TracerDefault::Box(const char* format, std::va_list args) {
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller starts it.
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    platform::ShowMessageBox(buffer.data(), "TracerDefault::Box", platform::kMessageExclamation);
}

void TracerDefault::Warn(const char* format, std::va_list args) {
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller starts it.
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    platform::ShowMessageBox(buffer.data(), "TracerDefault::Warn", platform::kMessageInformation);
}

void TracerDefault::Trace(const char*, std::va_list) {}

void Box(const char* format, ...) {
    Tracer& tracer = Current();
    std::va_list args;
    va_start(args, format);
    tracer.Box(format, args);
    va_end(args);
}

void BoxIf(bool condition, const char* format, ...) {
    if (!condition) return;
    Tracer& tracer = Current();
    std::va_list args;
    va_start(args, format);
    tracer.Box(format, args);
    va_end(args);
}

void WarnIf(bool condition, const char* format, ...) {
    if (!condition) return;
    Tracer& tracer = Current();
    std::va_list args;
    va_start(args, format);
    tracer.Warn(format, args);
    va_end(args);
}

void Trace(const char* format, ...) {
    Tracer& tracer = Current();
    std::va_list args;
    va_start(args, format);
    tracer.Trace(format, args);
    va_end(args);
}

Tracer* SetTracer(Tracer* tracer) {
    Tracer* previous = current;
    installed = current = tracer;
    return previous;
}

}  // namespace trace
