#include "support/engine_device.h"

#include "render/display.h"

namespace support {

void ResetDisplaySettings() { osm3d::GetDisplaySettings() = osm3d::DisplaySettings{}; }

EngineDevice::EngineDevice(const DeviceOptions& options, u32 width, u32 height)
    : system_(options), window_(width, height) {
    ResetDisplaySettings();
    osm3d::SetWindow(window_.Handle());
    osm3d::SetDisplaySize(width, height, -1);
    context_ = osm3d::Context::Create();
    system_.Recorded().Clear();
}

EngineDevice::~EngineDevice() {
    osm3d::Context::Destroy();
    ResetDisplaySettings();
}

}  // namespace support
