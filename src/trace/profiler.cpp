#include "trace/profiler.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>

#include "platform/system/system.h"

namespace trace {
namespace {

u32 LowWord() { return static_cast<u32>(ReadCycles()); }

ProfilerNode root("Root");
u32 frameMark = 0;
u32 frameEndMark = 0;
u32 frameCycles = 0;
ProfilerSettings settings;

// The sections whose nodes are in the tree, and which of those without a parent runs. Made on first use:
// other files' sections may run while static objects are made.
std::vector<ProfilerSection*>& Sections() {
    static std::vector<ProfilerSection*> sections;
    return sections;
}
ProfilerSection* runningAtTop = nullptr;

/// The report's text, which takes no more than it holds.
class ReportText {
  public:
    void Clear() {
        length = 0;
        text[0] = '\0';
    }
    [[gnu::format(printf, 2, 3)]] void Add(const char* format, ...) {
        std::va_list args;
        va_start(args, format);
        const int wanted = std::vsnprintf(text.data() + length, text.size() - length, format, args);
        va_end(args);
        if (wanted > 0) {
            length = std::min(length + static_cast<std::size_t>(wanted), text.size() - 1);
        }
    }
    const char* Get() const { return text.data(); }

  private:
    std::array<char, 1024> text{};
    std::size_t length = 0;
};
ReportText report;

void Append(const ProfilerNode& node, u32 depth) {
    report.Add("\n");
    for (u32 i = 0; i < depth; ++i) {
        report.Add("    ");
    }
    const u32 cycles = node.leaveCycles - node.enterCycles;
    report.Add("%s:    %3.1f%%", node.name.c_str(),
               static_cast<double>(cycles) * 100.0 / static_cast<double>(frameCycles));
    if (settings.showCycles) {
        report.Add(", cycles: %d", static_cast<int>(cycles));
    }
    if (depth != settings.maxDepth) {
        for (const ProfilerNode* child : node.children) {
            Append(*child, depth + 1);
        }
    }
}

}  // namespace

u64 ReadCycles() { return platform::CycleCount(); }

ProfilerNode::~ProfilerNode() {
    for (const ProfilerNode* child : children) {
        delete child;
    }
}

u32 ProfilerNode::Enter() { return enterCycles = LowWord(); }

u32 ProfilerNode::Leave() { return leaveCycles = LowWord(); }

ProfilerSettings& GetProfilerSettings() { return settings; }

void FrameTick() {
    const u32 now = LowWord();
    frameEndMark = now;
    frameCycles = now - frameMark;
    frameMark = now;
    for (ProfilerSection* section : Sections()) {
        if (!section->ranThisFrame) {
            section->node->enterCycles = section->node->leaveCycles = 0;
        }
        section->ranThisFrame = false;
    }
}

ProfilerNode* ProfilerAddRoot(const char* name) { return ProfilerAddChild(&root, name); }

ProfilerNode* ProfilerAddChild(ProfilerNode* parent, const char* name) {
    parent->children.push_back(new ProfilerNode(name));
    return parent->children.back();
}

const char* ProfilerReport() {
    report.Clear();
    for (const ProfilerNode* node : root.children) {
        Append(*node, 0);
    }
    return report.Get();
}

ProfilerNode* ProfilerSection::Node() {
    if (node == nullptr) {
        node = parent != nullptr ? ProfilerAddChild(parent->Node(), name) : ProfilerAddRoot(name);
        Sections().push_back(this);
    }
    return node;
}

void ProfilerSection::Start(u32 now) {
    started = now;
    ProfilerNode* own = Node();
    if (!ranThisFrame) {
        own->enterCycles = own->leaveCycles = now;
        ranThisFrame = true;
    }
}

void ProfilerSection::Stop(u32 now) { node->leaveCycles += now - started; }

ProfilerScope::ProfilerScope(ProfilerSection& section_) : section(section_) {
    ProfilerSection*& running = section.parent != nullptr ? section.parent->running : runningAtTop;
    before = running;
    if (before == &section) {
        return;  // inside itself: the outer one goes on
    }
    const u32 now = LowWord();
    if (before != nullptr) {
        before->Stop(now);
    }
    running = &section;
    section.Start(now);
}

ProfilerScope::~ProfilerScope() {
    if (before == &section) {
        return;
    }
    const u32 now = LowWord();
    section.Stop(now);
    (section.parent != nullptr ? section.parent->running : runningAtTop) = before;
    if (before != nullptr) {
        before->Start(now);
    }
}

constinit ProfilerSection sceneUpdateSection("Scene update");
constinit ProfilerSection skinSection("Skin", &sceneUpdateSection);
constinit ProfilerSection clearSection("Clear");
constinit ProfilerSection drawSection("Draw");
constinit ProfilerSection meshesSection("Meshes", &drawSection);
constinit ProfilerSection shadowsSection("Shadows", &drawSection);
constinit ProfilerSection renderersSection("Renderers", &drawSection);
constinit ProfilerSection presentSection("Present");

}  // namespace trace
