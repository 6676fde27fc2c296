// How far long work has come.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace host {

// One line on a terminal, rewritten as the work goes on and gone at its end; nothing where standard error is
// no terminal.
class Progress {
  public:
    explicit Progress(std::size_t count);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Step();
    std::size_t Done() const { return done_; }
    double Seconds() const;
    // "12 of 300 frames, 31.4 a second, 9 s left"
    std::string Line() const;

  private:
    std::size_t count_, done_ = 0;
    bool shown_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    double shown_at_ = -1;
};

}  // namespace host
