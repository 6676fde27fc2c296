// A pointer that may own what it points at.
#pragma once

#include <utility>

#include "io/serializable.h"
#include "io/stream.h"

namespace osmio {

/// Holds an object that was either attached in code, and is then owned and deleted by the slot, or made by a
/// file, and then belongs to that file's ObjectGraph. Constness is that of a pointer.
template <class T>
class Slot {
  public:
    Slot() = default;
    ~Slot() { Clear(); }

    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
    Slot(Slot&& other) noexcept
        : object(std::exchange(other.object, nullptr)), owned(std::exchange(other.owned, false)) {}
    Slot& operator=(Slot&& other) noexcept {
        if (this != &other) {
            Clear();
            object = std::exchange(other.object, nullptr);
            owned = std::exchange(other.owned, false);
        }
        return *this;
    }

    /// Takes `value`, which may be null, over; what was owned before is deleted.
    void Own(T* value) { Set(value, value != nullptr); }

    /// Points at `value`, which may be null, without owning it; what was owned before is deleted.
    void Refer(T* value) { Set(value, false); }

    void Clear() { Set(nullptr, false); }

    /// Gives the object back, empties the slot, deletes nothing. Whoever calls owns the object if the slot
    /// did (ask Owns first).
    T* Release() {
        owned = false;
        return std::exchange(object, nullptr);
    }

    T* Get() const { return object; }
    T* operator->() const { return object; }
    T& operator*() const { return *object; }
    explicit operator bool() const { return object != nullptr; }
    bool Owns() const { return owned; }

  private:
    void Set(T* value, bool own) {
        T* previous = owned && object != value ? object : nullptr;
        object = value;
        owned = own;
        delete previous;
    }

    T* object = nullptr;
    bool owned = false;
};

/// Reads one object slot; null for an empty one, for one that holds an object of another class, and on a
/// stream without chunks. The object belongs to the stream's graph.
template <class T>
T* ReadSlot(InStream* in) {
    return dynamic_cast<T*>(in->ReadObject());
}

}  // namespace osmio
