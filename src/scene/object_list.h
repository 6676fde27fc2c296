// Lists of object slots: an i32 count, then a slot for each element.
#pragma once

#include <vector>

#include "io/slot.h"
#include "io/stream.h"
#include "platform/types.h"

namespace osm3d {

/// Appends to `list`; an empty slot, or one of another class, gives a null entry. False when the stream
/// cannot hold the count; `what` names the elements in the reason.
template <class T>
bool ReadObjectList(osmio::InStream* in, std::vector<T*>& list, const char* what) {
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, sizeof(u32), what)) {
        return false;
    }
    list.reserve(list.size() + static_cast<std::size_t>(count));
    for (i32 i = 0; i < count; ++i) {
        list.push_back(osmio::ReadSlot<T>(in));
    }
    return true;
}

template <class T>
void WriteObjectList(osmio::OutStream* out, const std::vector<T*>& list) {
    out->WriteI32(static_cast<i32>(list.size()));
    for (T* object : list) {
        out->WriteObject(object);
    }
}

}  // namespace osm3d
