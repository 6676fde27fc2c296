// Feeds bytes to the engine the way a host would, on a device that draws nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "effects/data_object.h"
#include "support/engine_device.h"
#include "support/recording_device.h"

namespace fuzz {

// A started Driver on the device that draws nothing, messages silenced. One at a time.
class Playground {
  public:
    Playground();
    ~Playground();
    Playground(const Playground&) = delete;
    Playground& operator=(const Playground&) = delete;

    // Loads the bytes as a scene file, updates and renders it once with a clip at `time`. True when it
    // loaded.
    bool Scene(const std::uint8_t* data, std::size_t size, float time = 37.0f);
    // Loads the bytes as an image file with that extension (".png") and draws it once. True when it has a
    // picture.
    bool Image(const std::uint8_t* data, std::size_t size, const std::string& extension);
    // Loads the bytes as a loadable animation, updates and renders each of its scenes once. True when it
    // loaded.
    bool Package(const std::uint8_t* data, std::size_t size);
    // What the engine asked of the device that a real one would refuse or read past: drawing beyond the ends
    // of its buffers. Empty when all was well.
    std::string Faults();

  private:
    void Show(osm3d::DataObject& scene, float time);
    const std::string& Write(const std::uint8_t* data, std::size_t size, const std::string& extension);

    support::RecordingSystem system_;
    support::TestWindow window_;
    std::string folder_, path_;
};

}  // namespace fuzz
