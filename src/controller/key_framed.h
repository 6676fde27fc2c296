// Quantities animated by keys.
#pragma once

#include <vector>

#include "controller/controller.h"

namespace osm3d::controller {

/// A value at a time. Stored by its owner, without a header.
template <class T>
class Key : public osmio::Serializable {
  public:
    virtual const T& GetValue() const = 0;
    virtual void SetValue(const T& v) = 0;

    f32 time = 0;
};

/// The key of a Linear.
template <class T>
class LinearKey final : public Key<T> {
  public:
    LinearKey() = default;
    LinearKey(f32 at, const T& v) : value(v) { this->time = at; }

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
    const T& GetValue() const override { return value; }
    void SetValue(const T& v) override { value = v; }

    T value{};
};

/// Keys in ascending order of time, which whoever puts them in has to keep. Times have no fixed unit: it is
/// that of Update's argument. Before the first key and from the last on the value holds; nothing repeats.
template <class T>
class KeyFramed : public ControllerBase<T> {
  public:
    virtual u32 GetKeyCount() = 0;
    /// `index` must be below GetKeyCount.
    virtual Key<T>* GetKey(u32 index) = 0;
    /// New keys are at time 0 with a value of zeros; surplus ones go from the end.
    virtual void SetKeyCount(u32 count) = 0;
    /// Appends a copy, wherever its time lies.
    virtual void AddKey(const Key<T>& key) = 0;

    /// The keys around `time`: `prev` is the last one at or before it, null up to and at the first key;
    /// `next` is the one behind `prev`, null from the last key on. Of several keys at one time the last
    /// counts. Both are null without keys.
    void FindKeys(f32 time, Key<T>*& prev, Key<T>*& next);
};

/// Blends the two keys around the time: linearly, a rotation by slerp, a matrix not at all: it changes over
/// just after half way. Stored as CLFL, CLV3, CLQU, CLCO and CLMT for f32, vect3, quat, color and matrix.
template <class T>
class Linear : public KeyFramed<T> {
  public:
    /// With exactly one key.
    bool IsConstant() override { return keys.size() == 1; }
    /// Leaves `value` as it is without keys.
    void Update(f32 time) override;
    /// Every component of every key times `factor`, all 16 of a matrix; a rotation goes that fraction of the
    /// way from none.
    void Scale(f32 factor) override;
    /// False when the stream cannot hold the keys.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    u32 GetKeyCount() override { return static_cast<u32>(keys.size()); }
    Key<T>* GetKey(u32 index) override { return &keys[index]; }
    void SetKeyCount(u32 count) override;
    void AddKey(const Key<T>& key) override;

    std::vector<LinearKey<T>> keys;
};

extern template class LinearKey<f32>;
extern template class LinearKey<vect3>;
extern template class LinearKey<quat>;
extern template class LinearKey<color>;
extern template class LinearKey<matrix>;
extern template class KeyFramed<f32>;
extern template class KeyFramed<vect3>;
extern template class KeyFramed<quat>;
extern template class KeyFramed<color>;
extern template class KeyFramed<matrix>;
extern template class Linear<f32>;
extern template class Linear<vect3>;
extern template class Linear<quat>;
extern template class Linear<color>;
extern template class Linear<matrix>;

}  // namespace osm3d::controller
