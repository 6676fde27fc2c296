// Frames drawn by several processes, each its share of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "png_file.h"

#include <sys/types.h>

namespace host {

// Processes of this very program that draw frames by turns: of `frames`, process k of n draws number k, k +
// n, k + 2n, and so on, so that all of them are needed at the same pace. To be made before anything starts
// threads.
class Jobs {
  public:
    // What a process does with its frames: draw each and call `done` with its number and its picture, or with
    // none when its picture stays there.
    using Done = std::function<void(std::size_t frame, const Picture* picture)>;
    using Work = std::function<void(const std::vector<std::size_t>& frames, const Done& done)>;

    // Starts `count` of them.
    Jobs(std::size_t count, const std::vector<std::size_t>& frames, const Work& work);
    // Ends those that still work, after the frame that they are at.
    ~Jobs();
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;

    // Waits until the next one of all frames is done, in their order, and takes its picture if one was given.
    // Throws cli::Error with what went wrong in its process.
    void Next(Picture& picture);

  private:
    struct Process {
        pid_t id = -1;
        int pipe = -1;
    };

    std::vector<Process> processes_;
    std::size_t next_ = 0;
};

}  // namespace host
