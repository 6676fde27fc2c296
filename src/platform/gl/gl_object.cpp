#include "platform/gl/gl_object.h"

#include "platform/gl/gl_device.h"

namespace platform::gl {

ULONG GlObject::AddPublic() {
    if (public_ == 0) device_->AddRef();
    return ++public_;
}

ULONG GlObject::ReleasePublic() {
    if (public_ == 0) return 0;
    const ULONG left = --public_;
    if (left == 0) {
        GlDevice* device = device_;
        if (held_ == 0) delete this;
        device->Release();
    }
    return left;
}

void GlObject::Drop() {
    if (held_ > 0 && --held_ == 0 && public_ == 0) delete this;
}

HRESULT GlObject::DeviceOut(IDirect3DDevice9** out) const {
    if (!out) return D3DERR_INVALIDCALL;
    device_->AddRef();
    *out = device_;
    return D3D_OK;
}

}  // namespace platform::gl
