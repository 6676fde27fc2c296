#include "platform/system/system.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <utility>

#include "platform/system/system_detail.h"

#if defined(__i386__) || defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace platform {
namespace {

// Made on first use and never freed: messages may come while static objects are made and destroyed.
MessageBoxHandler& BoxHandler() {
    static auto* handler = new MessageBoxHandler();
    return *handler;
}

DebugStringHandler& DebugHandler() {
    static auto* handler = new DebugStringHandler();
    return *handler;
}

std::map<u32, std::span<const u8>>& Resources() {
    static auto* resources = new std::map<u32, std::span<const u8>>();
    return *resources;
}

}  // namespace

void ShowMessageBox(const std::string& text, const std::string& caption, u32 icon) {
    const MessageBoxHandler& handler = BoxHandler();
    if (handler) {
        handler(text, caption, icon);
    } else {
        detail::SystemMessageBox(text, caption, icon);
    }
}

MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler) {
    return std::exchange(BoxHandler(), std::move(handler));
}

void PrintMessage(const std::string& text, const std::string& caption) {
    std::string line = caption + ": " + text;
    for (char& character : line) {
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7f) character = ' ';
    }
    std::fprintf(stderr, "%s\n", line.c_str());
}

void DebugString(const std::string& text) {
    const DebugStringHandler& handler = DebugHandler();
    if (handler) {
        handler(text);
    } else {
        detail::SystemDebugString(text);
    }
}

DebugStringHandler SetDebugStringHandler(DebugStringHandler handler) {
    return std::exchange(DebugHandler(), std::move(handler));
}

u32 TickCount() { return detail::SystemTickCount(); }

u64 CycleCount() {
#if defined(__i386__) || defined(__x86_64__)
    return __rdtsc();
#else
    return static_cast<u64>(std::chrono::steady_clock::now().time_since_epoch().count());
#endif
}

std::span<const u8> GetModuleResource(u32 id) {
    const auto found = Resources().find(id);
    return found != Resources().end() ? found->second : detail::SystemResource(id);
}

void RegisterModuleResource(u32 id, std::span<const u8> data) {
    if (data.empty()) {
        Resources().erase(id);
    } else {
        Resources()[id] = data;
    }
}

void FatalAbort() { std::abort(); }

}  // namespace platform
