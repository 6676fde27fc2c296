// Hands pictures to a thread that writes them, so that writing goes on beside drawing.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "png_file.h"

namespace host {

class PictureQueue {
  public:
    using Write = std::function<void(std::size_t frame, const Picture& picture)>;

    // `write` is called for one picture after the other, in their order, on the queue's own thread. No more
    // than `depth` pictures wait for it.
    PictureQueue(std::size_t depth, Write write);
    // Leaves unwritten what still waits.
    ~PictureQueue();
    PictureQueue(const PictureQueue&) = delete;
    PictureQueue& operator=(const PictureQueue&) = delete;

    // Waits for room, and takes `picture`; gives in its place one whose memory can be used again. Both
    // operations throw what `write` has thrown; nothing is written after that.
    void Push(std::size_t frame, Picture& picture);
    // Returns when everything is written.
    void Finish();

  private:
    struct Waiting {
        std::size_t frame;
        Picture picture;
    };

    void Work();
    void ThrowFailure();

    const std::size_t depth_;
    Write write_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Waiting> waiting_;  // the first one is being written
    std::vector<Picture> spare_;
    std::exception_ptr failure_;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace host
