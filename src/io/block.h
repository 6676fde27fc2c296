// Arrays of plain values, read and written in one piece.
#pragma once

#include <algorithm>
#include <bit>
#include <type_traits>
#include <vector>

#include "io/stream.h"

namespace osmio {

static_assert(std::endian::native == std::endian::little, "values are stored as their memory image");

/// Reads `count` elements into `out`, replacing what it holds. `T` must have no padding, so that its bytes
/// are those of its fields in order. False, with `out` empty and the stream failed, if the stream cannot hold
/// them. `what` names the elements in the reason.
template <class T, class Allocator>
bool ReadBlock(InStream* in, std::vector<T, Allocator>& out, i32 count, const char* what) {
    static_assert(std::is_trivially_copyable_v<T> && !std::is_same_v<T, bool>);
    out.clear();
    if (!in->CanHold(count, sizeof(T), what)) return false;
    const std::size_t total = static_cast<std::size_t>(count);
    out.reserve(total);
    // Growing in steps that stay in the cache, rather than at once, spares a second trip to memory.
    constexpr std::size_t kStep = std::max<std::size_t>(1, (256u << 10) / sizeof(T));
    while (out.size() < total) {
        const std::size_t done = out.size();
        const std::size_t step = std::min(kStep, total - done);
        out.resize(done + step);
        in->ReadBytes(out.data() + done, static_cast<u32>(step * sizeof(T)));
    }
    return true;
}

/// Writes the elements, without their count.
template <class T, class Allocator>
void WriteBlock(OutStream* out, const std::vector<T, Allocator>& values) {
    static_assert(std::is_trivially_copyable_v<T> && !std::is_same_v<T, bool>);
    if (!values.empty()) out->WriteBytes(values.data(), static_cast<u32>(values.size() * sizeof(T)));
}

/// One plain value as its bytes: a vect3 as three floats, and so on.
template <class T>
void ReadPlain(InStream* in, T& value) {
    static_assert(std::is_trivially_copyable_v<T> && !std::is_same_v<T, bool> && !std::is_pointer_v<T>);
    in->ReadBytes(&value, sizeof(T));
}

template <class T>
void WritePlain(OutStream* out, const T& value) {
    static_assert(std::is_trivially_copyable_v<T> && !std::is_same_v<T, bool> && !std::is_pointer_v<T>);
    out->WriteBytes(&value, sizeof(T));
}

}  // namespace osmio
