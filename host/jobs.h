// Frames drawn by several processes, each its share of them.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "child_process.h"
#include "png_file.h"

namespace host {

// Processes of this very program that draw frames by turns: of `frames`, process k of n draws number k, k +
// n, k + 2n, and so on, so that all of them are needed at the same pace.
class Jobs {
  public:
    // Starts `count` of them, with arguments that lead them to WorkForJobs. Throws cli::Error when one cannot
    // be started.
    Jobs(std::size_t count, const std::vector<std::size_t>& frames,
         const std::vector<std::string>& arguments);
    // Ends those that still work, after the frame that they are at.
    ~Jobs();

    // Waits until the next one of all frames is done, in their order, and takes its picture if one was given.
    // Throws cli::Error with what went wrong in its process.
    void Next(Picture& picture);

  private:
    std::vector<std::unique_ptr<ChildProcess>> processes_;
    std::size_t next_ = 0;
};

// What a process does with its frames: draw each and call `done` with its number and its picture, or with
// none when its picture stays there.
using FrameDone = std::function<void(std::size_t frame, const Picture* picture)>;
using FrameWork = std::function<void(const std::vector<std::size_t>& frames, const FrameDone& done)>;

// The other end, in a process that a Jobs has started: standard input says which frames, standard output
// takes what is done, or what `work` threw. Returns early when nobody listens any more.
void WorkForJobs(const FrameWork& work);

}  // namespace host
