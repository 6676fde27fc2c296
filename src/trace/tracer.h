// Messages to a person.
#pragma once

#include <array>
#include <cstdarg>

namespace trace {

/// Takes the messages, printf-style.
class Tracer {
  public:
    Tracer() = default;
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;

    /// Something went wrong.
    virtual void Box(const char* format, std::va_list args) = 0;
    /// Something deserves a look.
    virtual void Warn(const char* format, std::va_list args) = 0;
    /// What is going on, in detail.
    virtual void Trace(const char* format, std::va_list args) = 0;
    virtual ~Tracer() = default;
};

/// Shows Box and Warn in message boxes, cut off at the size of its buffer, and nothing of Trace.
class TracerDefault : public Tracer {
  public:
    void Box(const char* format, std::va_list args) override;
    void Warn(const char* format, std::va_list args) override;
    void Trace(const char* format, std::va_list args) override;

  private:
    std::array<char, 8196> buffer{};
};

/// Each makes a TracerDefault, which is never freed, if there is no tracer yet.
[[gnu::format(printf, 1, 2)]] void Box(const char* format, ...);
[[gnu::format(printf, 2, 3)]] void BoxIf(bool condition, const char* format, ...);
[[gnu::format(printf, 2, 3)]] void WarnIf(bool condition, const char* format, ...);
[[gnu::format(printf, 1, 2)]] void Trace(const char* format, ...);

/// Installs `tracer`, not owned, and gives back the one that was there. Null lets the next message make a
/// default.
Tracer* SetTracer(Tracer* tracer);

}  // namespace trace
