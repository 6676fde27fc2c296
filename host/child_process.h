// A program that this one runs and feeds through a pipe.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace host {

class ChildProcess {
  public:
    struct Plan {
        // The program first: a path, or a name that is looked up where the system looks for programs.
        std::vector<std::string> arguments;
        bool gives_output = false;    // its standard output is for Read; else it goes nowhere
        bool keeps_errors = false;    // its standard error is for LastError; else it goes where ours goes
        bool sees_interrupts = true;  // Ctrl-C at the terminal reaches it too
    };

    // Starts it. Throws cli::Error with no more than the system's reason.
    explicit ChildProcess(const Plan& plan);
    // Closes both pipes and waits for its end.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // To its standard input. False when nobody reads there any more.
    bool Write(const void* bytes, std::size_t size);
    void CloseInput();
    // From its standard output: false when it ends before that much has come.
    bool Read(void* bytes, std::size_t size);
    // What it still writes there goes to nobody, as it then finds out.
    void CloseOutput();
    void Kill();
    // Waits for its end; true when it says that all went well. Close its input before.
    bool Wait();
    // The last line that it has written on standard error, without the line's end; empty for none. Comes
    // after Wait.
    std::string LastError();

  private:
    struct System;
    std::unique_ptr<System> system_;
};

}  // namespace host
