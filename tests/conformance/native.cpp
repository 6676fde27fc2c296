// Draws a case with the native device.
#include "conformance/picture.h"
#include "platform/d3d9/factory.h"

namespace conformance {

bool DrawNative(const Case& entry, Picture& picture, std::string& reason) {
    const auto direct3d = platform::CreateDirect3D9(D3D_SDK_VERSION);
    if (!direct3d) {
        reason = "no Direct3D 9";
        return false;
    }
    Canvas canvas;
    if (!canvas.Open(direct3d.Get(), nullptr, entry.width, entry.height, entry.samples)) {
        reason = "no device";
        return false;
    }
    canvas.Check(canvas.device->BeginScene());
    entry.draw(canvas);
    canvas.Check(canvas.device->EndScene());
    picture.width = entry.width;
    picture.height = entry.height;
    picture.pixels = canvas.Read();
    if (picture.pixels.empty()) {
        reason = "the picture cannot be read back";
        return false;
    }
    if (canvas.failures() != 0) {
        reason = std::to_string(canvas.failures()) + " calls failed";
        return false;
    }
    return true;
}

}  // namespace conformance
