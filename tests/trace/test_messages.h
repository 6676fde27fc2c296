// What a test provokes of messages.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/system/system.h"
#include "trace/tracer.h"

namespace testing_messages {

/// Takes the message boxes while it lives.
class Messages {
  public:
    Messages() {
        previous = platform::SetMessageBoxHandler(
            [this](const std::string& text, const std::string& caption, u32 icon) {
                texts.push_back(text);
                captions.push_back(caption);
                icons.push_back(icon);
            });
    }
    ~Messages() { platform::SetMessageBoxHandler(previous); }
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    std::vector<std::string> texts;
    std::vector<std::string> captions;
    std::vector<u32> icons;

  private:
    platform::MessageBoxHandler previous;
};

/// The tracer while it lives; keeps what it is told.
class Listener : public trace::Tracer {
  public:
    Listener() : previous(trace::SetTracer(this)) {}
    ~Listener() override { trace::SetTracer(previous); }
    void Box(const char* format, std::va_list args) override { Add(boxes, format, args); }
    void Warn(const char* format, std::va_list args) override { Add(warnings, format, args); }
    void Trace(const char* format, std::va_list args) override { Add(traces, format, args); }

    std::vector<std::string> boxes, warnings, traces;

  private:
    static void Add(std::vector<std::string>& to, const char* format, std::va_list args) {
        char text[512];
        std::vsnprintf(text, sizeof text, format, args);
        to.emplace_back(text);
    }
    trace::Tracer* previous;
};

}  // namespace testing_messages
