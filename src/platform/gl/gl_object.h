// Reference counting of the objects that the device makes.
#pragma once

#include "platform/d3d9/d3d9.h"

namespace platform::gl {

class GlDevice;

// Two counts: what the application holds, and what the device itself holds through a binding or a container.
// The object ends when both are gone. While the application holds an object, the object holds the device.
class GlObject {
  public:
    explicit GlObject(GlDevice& device) : device_(&device) {}
    GlObject(const GlObject&) = delete;
    GlObject& operator=(const GlObject&) = delete;

    // The application's references; the counts after the call.
    ULONG AddPublic();
    ULONG ReleasePublic();
    // The device's own references.
    void Hold() { ++held_; }
    void Drop();

    // Whether the application holds it.
    bool InUse() const { return public_ > 0; }

    GlDevice& Device() const { return *device_; }
    // What IDirect3DResource9::GetDevice answers.
    HRESULT DeviceOut(IDirect3DDevice9** out) const;

  protected:
    virtual ~GlObject() = default;

  private:
    GlDevice* device_;
    u32 public_ = 0, held_ = 0;
};

// Hold and Drop of a binding: `slot` takes `object` (null allowed) and lets go of what it had.
template <class T>
void Bind(T*& slot, T* object) {
    if (object) object->Hold();
    T* old = slot;
    slot = object;
    if (old) old->Drop();
}

}  // namespace platform::gl
