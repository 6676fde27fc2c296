#include "io/measure_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace osmio {
namespace {

constexpr u32 kHeaderBytes = 12;
constexpr u32 kWordBytes = 4;

}  // namespace

void OutStreamMeasure::Add(Total& to, const Total& more) {
    to.bytes = std::min(kEndless, to.bytes + more.bytes);
    to.mentions = std::min(kEndless, to.mentions + more.mentions);
}

void OutStreamMeasure::WriteObject(Serializable* object) {
    if (!object) {
        WriteU32(0);
        return;
    }
    if (const auto found = totals.find(object); found != totals.end()) {
        chunkedBytes += kWordBytes;
        circular = circular || found->second.isOpen;
        Add(running, found->second);
        return;
    }
    objects.push_back(object);
    chunkedBytes += kHeaderBytes;
    if (depth == InStreamChunked::kMaxNesting) {
        tooDeep = true;
        totals[object] = {};
        return;
    }
    totals[object] = {0, 1, true};
    const Total outer = std::exchange(running, {0, 1, false});
    ++depth;
    object->Write(this);
    --depth;
    const Total inner = std::exchange(running, outer);
    totals[object] = inner;
    Add(running, inner);
}

void OutStreamMeasure::WriteBytes(const void*, u32 count) {
    chunkedBytes += count;
    running.bytes = std::min(kEndless, running.bytes + count);
}

void OutStreamMeasure::WriteString(const std::string& text) {
    WriteBytes(text.data(), static_cast<u32>(text.length()));
    ++chunkedBytes;
}

void OutStreamMeasure::WriteCString(const char* text) {
    const auto length = static_cast<u32>(std::strlen(text));
    WriteBytes(text, std::max<u32>(1, length));
    if (length > 0) ++chunkedBytes;
}

}  // namespace osmio
