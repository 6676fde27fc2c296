#include "controller/key_framed.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "controller/value_traits.h"
#include "io/stream.h"

namespace osm3d::controller {
namespace {

template <class T>
constexpr u32 kTag = 0;
template <>
constexpr u32 kTag<f32> = osmio::FourCC("CLFL");
template <>
constexpr u32 kTag<vect3> = osmio::FourCC("CLV3");
template <>
constexpr u32 kTag<quat> = osmio::FourCC("CLQU");
template <>
constexpr u32 kTag<color> = osmio::FourCC("CLCO");
template <>
constexpr u32 kTag<matrix> = osmio::FourCC("CLMT");

constexpr u32 kNone = ~0u;

/// Indices of the keys around `time`, kNone for none, where `timeOf(i)` is the time of key i of `count`.
template <class TimeOf>
std::pair<u32, u32> Search(u32 count, f32 time, TimeOf timeOf) {
    if (count == 0) return {kNone, kNone};
    if (timeOf(0) >= time) return {kNone, 0};
    if (time >= timeOf(count - 1)) return {count - 1, kNone};
    u32 low = 0;
    u32 high = count;
    while (high - low > 1) {
        const u32 middle = (low + high) / 2;
        if (timeOf(middle) > time) {
            high = middle;
        } else {
            low = middle;
        }
    }
    // Only a time that is not a number gets past the last key.
    return {low, high < count ? high : kNone};
}

/// A key as it stands in a stream.
template <class T>
struct StoredKey {
    f32 time;
    T value;
};

/// Keys that go through the stream at once.
template <class T>
constexpr std::size_t kBatch = 4096 / sizeof(StoredKey<T>);

}  // namespace

template <class T>
bool LinearKey<T>::Read(osmio::InStream* in) {
    in->ReadF32(&this->time);
    in->ReadBytes(&value, sizeof value);
    return true;
}

template <class T>
void LinearKey<T>::Write(osmio::OutStream* out) {
    out->WriteF32(this->time);
    out->WriteBytes(&value, sizeof value);
}

template <class T>
void KeyFramed<T>::FindKeys(f32 time, Key<T>*& prev, Key<T>*& next) {
    const auto [before, after] = Search(GetKeyCount(), time, [this](u32 i) { return GetKey(i)->time; });
    prev = before == kNone ? nullptr : GetKey(before);
    next = after == kNone ? nullptr : GetKey(after);
}

template <class T>
void Linear<T>::Update(f32 time) {
    const auto count = static_cast<u32>(keys.size());
    const auto [before, after] = Search(count, time, [this](u32 i) { return keys[i].time; });
    if (before == kNone && after == kNone) return;
    if (before == kNone) {
        this->value = keys[after].value;
    } else if (after == kNone) {
        this->value = keys[before].value;
    } else {
        const LinearKey<T>& prev = keys[before];
        const LinearKey<T>& next = keys[after];
        this->value = Blend(prev.value, next.value, (time - prev.time) / (next.time - prev.time));
    }
}

template <class T>
void Linear<T>::Scale(f32 factor) {
    for (LinearKey<T>& key : keys) key.value = Scaled(key.value, factor);
}

template <class T>
void Linear<T>::SetKeyCount(u32 count) {
    keys.resize(count);
}

template <class T>
void Linear<T>::AddKey(const Key<T>& key) {
    keys.emplace_back(key.time, key.GetValue());
}

template <class T>
bool Linear<T>::Read(osmio::InStream* in) {
    static_assert(sizeof(StoredKey<T>) == sizeof(f32) + sizeof(T));
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, sizeof(StoredKey<T>), "keys")) return false;
    SetKeyCount(static_cast<u32>(count));
    std::array<StoredKey<T>, kBatch<T>> batch{};
    for (std::size_t done = 0; done < keys.size();) {
        const std::size_t step = std::min(batch.size(), keys.size() - done);
        in->ReadBytes(batch.data(), static_cast<u32>(step * sizeof(StoredKey<T>)));
        for (std::size_t i = 0; i < step; ++i, ++done) {
            keys[done].time = batch[i].time;
            keys[done].value = batch[i].value;
        }
    }
    return true;
}

template <class T>
void Linear<T>::Write(osmio::OutStream* out) {
    out->BeginChunk(kTag<T>, 1);
    out->WriteI32(static_cast<i32>(keys.size()));
    std::array<StoredKey<T>, kBatch<T>> batch;
    for (std::size_t done = 0; done < keys.size();) {
        const std::size_t step = std::min(batch.size(), keys.size() - done);
        for (std::size_t i = 0; i < step; ++i, ++done) batch[i] = {keys[done].time, keys[done].value};
        out->WriteBytes(batch.data(), static_cast<u32>(step * sizeof(StoredKey<T>)));
    }
}

template class LinearKey<f32>;
template class LinearKey<vect3>;
template class LinearKey<quat>;
template class LinearKey<color>;
template class LinearKey<matrix>;
template class KeyFramed<f32>;
template class KeyFramed<vect3>;
template class KeyFramed<quat>;
template class KeyFramed<color>;
template class KeyFramed<matrix>;
template class Linear<f32>;
template class Linear<vect3>;
template class Linear<quat>;
template class Linear<color>;
template class Linear<matrix>;

}  // namespace osm3d::controller
