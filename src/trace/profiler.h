// Where a frame's time goes: a tree of named sections, timed with the processor's cycle counter, and a report
// of each one's share of the last frame.
//
//     static trace::ProfilerNode* node = trace::ProfilerAddRoot("Water");
//     node->Enter();
//     ...
//     node->Leave();
//     ...
//     trace::FrameTick();
//     std::puts(trace::ProfilerReport());
//
// A section that runs several times in a frame, inside itself, or in the way of another is a ProfilerSection.
// For one thread.
#pragma once

#include <string>
#include <vector>

#include "platform/types.h"

namespace trace {

/// The processor's time stamp counter.
u64 ReadCycles();

/// One section. Cycle counts are differences of low words: a section of more than 2^32 cycles wraps.
class ProfilerNode {
  public:
    explicit ProfilerNode(std::string text) : name(std::move(text)) {}
    ~ProfilerNode();
    ProfilerNode(const ProfilerNode&) = delete;
    ProfilerNode& operator=(const ProfilerNode&) = delete;

    /// Each takes the counter's low word and gives it.
    u32 Enter();
    u32 Leave();

    std::string name;
    u32 enterCycles = 0;
    u32 leaveCycles = 0;
    /// Owned.
    std::vector<ProfilerNode*> children;
};

/// What the report shows and how.
struct ProfilerSettings {
    u32 maxDepth = 1;        ///< the depth whose children are left out
    bool showCycles = true;  ///< the cycle count behind each share
};
ProfilerSettings& GetProfilerSettings();

/// Ends one frame and begins the next. Sections that did not run in the frame that ends stand at 0.
void FrameTick();

/// A new node without children, owned by the tree for the life of the process.
ProfilerNode* ProfilerAddRoot(const char* name);
ProfilerNode* ProfilerAddChild(ProfilerNode* parent, const char* name);

/// One line per node, each begun by a line feed and indented by four blanks per depth: its share of the
/// cycles between the last two FrameTick calls. Cut off at 1023 characters. Good until the next call.
const char* ProfilerReport();

/// A node that sums up all that runs under it in one frame. Sections below one parent exclude each other:
/// while one runs inside another's time, the other stands still, so that their shares add up.
class ProfilerSection {
  public:
    /// The node is put into the tree when the section first runs, behind those that are there; a parent's
    /// comes first. `name` must stay.
    constexpr explicit ProfilerSection(const char* name_, ProfilerSection* parent_ = nullptr)
        : name(name_), parent(parent_) {}
    ProfilerSection(const ProfilerSection&) = delete;
    ProfilerSection& operator=(const ProfilerSection&) = delete;

  private:
    friend class ProfilerScope;
    friend void FrameTick();

    ProfilerNode* Node();
    void Start(u32 now);
    void Stop(u32 now);

    const char* name;
    ProfilerSection* parent;
    ProfilerNode* node = nullptr;
    /// The section below this one that is running.
    ProfilerSection* running = nullptr;
    u32 started = 0;
    bool ranThisFrame = false;
};

/// Runs a section for the life of this object.
class ProfilerScope {
  public:
    explicit ProfilerScope(ProfilerSection& section_);
    ~ProfilerScope();
    ProfilerScope(const ProfilerScope&) = delete;
    ProfilerScope& operator=(const ProfilerScope&) = delete;

  private:
    ProfilerSection& section;
    /// What ran in its place before.
    ProfilerSection* before;
};

/// The engine's own sections.
extern ProfilerSection sceneUpdateSection;
extern ProfilerSection skinSection;
extern ProfilerSection clearSection;
extern ProfilerSection drawSection;
extern ProfilerSection meshesSection;
extern ProfilerSection shadowsSection;
extern ProfilerSection renderersSection;
extern ProfilerSection presentSection;

}  // namespace trace
