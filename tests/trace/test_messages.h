// The messages that a test provokes.
#pragma once

#include <string>
#include <vector>

#include "platform/system/system.h"

namespace testing_messages {

/// Takes the messages while it lives.
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

}  // namespace testing_messages
