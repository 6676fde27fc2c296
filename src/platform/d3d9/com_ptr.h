// A counted reference to an interface: AddRef when it takes a share, Release when it lets go.
#pragma once

#include <cstddef>
#include <utility>

// ComPtr<T> holds one reference to a T or nothing. Creation calls hand over the reference that they made:
//     ComPtr<IDirect3DTexture9> texture;
//     device->CreateTexture(..., texture.Put(), nullptr);
// A raw pointer given to the constructor or by assignment is shared (AddRef); Attach takes over a reference.
template <class T>
class ComPtr {
  public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    ComPtr(T* object) : object_(object) {
        if (object_) object_->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.object_) {}
    ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~ComPtr() { Reset(); }

    ComPtr& operator=(const ComPtr& other) {
        ComPtr(other).Swap(*this);
        return *this;
    }
    ComPtr& operator=(ComPtr&& other) noexcept {
        ComPtr(std::move(other)).Swap(*this);
        return *this;
    }
    ComPtr& operator=(T* object) {
        ComPtr(object).Swap(*this);
        return *this;
    }

    T* Get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }
    friend bool operator==(const ComPtr& a, const ComPtr& b) { return a.object_ == b.object_; }
    friend bool operator==(const ComPtr& a, const T* b) { return a.object_ == b; }

    // Lets go of what is held.
    void Reset() {
        if (T* old = std::exchange(object_, nullptr)) old->Release();
    }
    // Takes over a reference that the caller owns.
    void Attach(T* object) {
        Reset();
        object_ = object;
    }
    // Hands the reference to the caller, who then owes the Release.
    [[nodiscard]] T* Detach() { return std::exchange(object_, nullptr); }
    // Lets go and gives the place for a creation call to write to.
    T** Put() {
        Reset();
        return &object_;
    }
    void Swap(ComPtr& other) noexcept { std::swap(object_, other.object_); }

  private:
    T* object_ = nullptr;
};
