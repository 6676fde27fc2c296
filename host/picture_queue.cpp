#include "picture_queue.h"

#include <utility>

namespace host {

PictureQueue::PictureQueue(std::size_t depth, Write write)
    : depth_(depth), write_(std::move(write)), thread_([this] { Work(); }) {}

PictureQueue::~PictureQueue() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void PictureQueue::ThrowFailure() {
    if (failure_) std::rethrow_exception(failure_);
}

void PictureQueue::Push(std::size_t frame, Picture& picture) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return waiting_.size() < depth_ || failure_; });
    ThrowFailure();
    waiting_.push_back({frame, std::move(picture)});
    picture = {};
    if (!spare_.empty()) {
        picture = std::move(spare_.back());
        spare_.pop_back();
    }
    changed_.notify_all();
}

void PictureQueue::Finish() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return waiting_.empty() || failure_; });
    ThrowFailure();
}

void PictureQueue::Work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return ending_ || !waiting_.empty(); });
        if (ending_) return;
        const Waiting& next = waiting_.front();  // others are added behind it meanwhile
        lock.unlock();
        std::exception_ptr failure;
        try {
            write_(next.frame, next.picture);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        failure_ = failure;
        spare_.push_back(std::move(waiting_.front().picture));
        waiting_.pop_front();
        changed_.notify_all();
        if (failure_) return;
    }
}

}  // namespace host
