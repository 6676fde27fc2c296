// What storing a graph of objects would come to, before it is stored.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "io/chunked_stream.h"
#include "io/leaf_stream.h"

namespace osmio {

/// Takes what objects write and keeps none of it. Each object is asked once, however many lead to it, so that
/// any graph is measured in time proportional to its size.
///
///     OutStreamMeasure measure;
///     measure.WriteObject(root);
///     if (measure.IsCircular()) ...
class OutStreamMeasure : public LeafOutStream {
  public:
    void WriteObject(Serializable* object) override;
    void WriteBytes(const void* bytes, u32 count) override;
    void WriteString(const std::string& text) override;
    void WriteCString(const char* text) override;
    bool IsOpen() override { return true; }
    u32 Tell() override { return 0; }
    void PatchU32(u32, u32) override {}
    bool Flush() override { return true; }

    /// Whether an object is part of itself: written without references it would have no end.
    bool IsCircular() const { return circular; }

    /// Whether objects nest deeper than InStreamChunked reads. What lies deeper was not looked at.
    bool IsTooDeep() const { return tooDeep; }

    /// Each object once, in the order in which they are met.
    const std::vector<Serializable*>& Objects() const { return objects; }

    /// What an OutStreamChunked would write.
    u64 ChunkedBytes() const { return chunkedBytes; }

    /// What an OutStreamMemory would gather, which holds an object again wherever it is mentioned; at most
    /// kEndless.
    u64 RepeatedBytes() const { return running.bytes; }

    /// How often objects are mentioned there, those in repeated ones included; at most kEndless.
    u64 Mentions() const { return running.mentions; }

    static constexpr u64 kEndless = u64{1} << 60;

  private:
    struct Total {
        u64 bytes = 0;
        u64 mentions = 0;
        bool isOpen = false;
    };

    static void Add(Total& to, const Total& more);

    std::unordered_map<const Serializable*, Total> totals;
    std::vector<Serializable*> objects;
    /// Of the object being written.
    Total running;
    u64 chunkedBytes = 0;
    u32 depth = 0;
    bool circular = false;
    bool tooDeep = false;
};

}  // namespace osmio
