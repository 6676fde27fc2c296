#include "jobs.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include "cli/error.h"
#include "system.h"

namespace host {
namespace {

// What comes through a pipe: a head, then `size` bytes, of a picture (rows of red, green, blue) or of a text.
struct Head {
    enum Kind : std::uint32_t { kDone, kPicture, kError } kind;
    std::uint32_t width, height, size;
};

// What a process says when nobody listens any more.
struct Deserted : std::runtime_error {
    Deserted() : std::runtime_error("") {}
};

void Send(const Head& head, const void* bytes) {
    if (std::fwrite(&head, sizeof head, 1, stdout) != 1 ||
        std::fwrite(bytes, 1, head.size, stdout) != head.size || std::fflush(stdout) != 0)
        throw Deserted();
}

}  // namespace

Jobs::Jobs(std::size_t count, const std::vector<std::size_t>& frames,
           const std::vector<std::string>& arguments) {
    ChildProcess::Plan plan;
    plan.arguments = {OwnProgram()};
    plan.arguments.insert(plan.arguments.end(), arguments.begin(), arguments.end());
    plan.gives_output = true;
    try {
        for (std::size_t k = 0; k < count; ++k) processes_.push_back(std::make_unique<ChildProcess>(plan));
    } catch (const cli::Error& error) {
        throw cli::Error(fmt::format("a process cannot be started: {}", error.what()));
    }
    for (std::size_t k = 0; k < count; ++k) {
        std::vector<std::uint64_t> share;
        for (std::size_t i = k; i < frames.size(); i += count) share.push_back(frames[i]);
        // One that does not listen has ended, and Next tells.
        processes_[k]->Write(share.data(), share.size() * sizeof share[0]);
        processes_[k]->CloseInput();
    }
}

Jobs::~Jobs() {
    // All are told before one is waited for.
    for (const auto& process : processes_) process->CloseOutput();
}

void Jobs::Next(Picture& picture) {
    ChildProcess& process = *processes_[next_++ % processes_.size()];
    Head head{};
    bool read = process.Read(&head, sizeof head);
    if (read && head.kind == Head::kError) {
        std::string what(head.size, ' ');
        process.Read(what.data(), what.size());
        throw cli::Error(what);
    }
    if (read && head.kind == Head::kPicture) {
        picture.width = head.width;
        picture.height = head.height;
        picture.rgb.resize(head.size);
        read = process.Read(picture.rgb.data(), head.size);
    }
    if (!read) throw cli::Error("a process that draws frames ended before its time");
}

void WorkForJobs(const FrameWork& work) {
    std::vector<std::size_t> frames;
    for (std::uint64_t frame = 0; std::fread(&frame, sizeof frame, 1, stdin) == 1;)
        frames.push_back(static_cast<std::size_t>(frame));
    try {
        work(frames, [](std::size_t, const Picture* picture) {
            Head head{Head::kDone, 0, 0, 0};
            if (picture)
                head = {Head::kPicture, picture->width, picture->height,
                        static_cast<std::uint32_t>(picture->rgb.size())};
            Send(head, picture ? picture->rgb.data() : nullptr);
        });
    } catch (const Deserted&) {
    } catch (const std::exception& error) {
        const std::string what = error.what();
        try {
            Send({Head::kError, 0, 0, static_cast<std::uint32_t>(what.size())}, what.data());
        } catch (const Deserted&) {
        }
    }
}

}  // namespace host
