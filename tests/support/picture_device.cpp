#include "support/picture_device.h"

#include <cstdlib>
#include <cstring>

#include "render/display.h"
#include "support/engine_device.h"

namespace support {

PictureDevice::PictureDevice(u32 width, u32 height)
    : width_(width), height_(height), window_(platform::MakeOffscreenWindow(width, height)) {
    ResetDisplaySettings();
    osm3d::SetWindow(window_->Handle());
    osm3d::SetDisplaySize(width, height, 32);
    context_ = osm3d::Context::Create();
}

PictureDevice::~PictureDevice() {
    osm3d::Context::Destroy();
    ResetDisplaySettings();
}

void PictureDevice::Take() {
    IDirect3DDevice9* device = context_->device.Get();
    ComPtr<IDirect3DSurface9> target;
    ComPtr<IDirect3DSurface9> copy;
    D3DSURFACE_DESC desc{};
    D3DLOCKED_RECT locked{};
    pixels_.clear();
    const bool done = SUCCEEDED(device->GetRenderTarget(0, target.Put())) &&
                      SUCCEEDED(target->GetDesc(&desc)) && desc.Width == width_ && desc.Height == height_ &&
                      SUCCEEDED(device->CreateOffscreenPlainSurface(
                          width_, height_, desc.Format, D3DPOOL_SYSTEMMEM, copy.Put(), nullptr)) &&
                      SUCCEEDED(device->GetRenderTargetData(target.Get(), copy.Get())) &&
                      SUCCEEDED(copy->LockRect(&locked, nullptr, D3DLOCK_READONLY));
    if (!done) return;
    pixels_.resize(static_cast<std::size_t>(width_) * height_);
    for (u32 y = 0; y < height_; ++y) {
        const auto* row = static_cast<const u8*>(locked.pBits) + static_cast<std::size_t>(locked.Pitch) * y;
        std::memcpy(&pixels_[static_cast<std::size_t>(width_) * y], row, sizeof(u32) * width_);
    }
    copy->UnlockRect();
    for (u32& pixel : pixels_) pixel &= 0xffffff;
}

bool Alike(u32 a, u32 b, int by) {
    for (int shift = 0; shift < 24; shift += 8) {
        const int difference = static_cast<int>(a >> shift & 0xff) - static_cast<int>(b >> shift & 0xff);
        if (std::abs(difference) > by) return false;
    }
    return true;
}

}  // namespace support
