// A Direct3D 9 device that draws nothing, in real memory: for tests of what the engine sends and for tests
// that feed it rubbish. Needs no graphics at all.
//
//     support::RecordingSystem system;              // Direct3D comes from here while it lives
//     ... create a device, work with it ...
//     EXPECT_EQ(system.Recorded().Count("SetRenderState", {D3DRS_LIGHTING, FALSE}), 1u);
//     EXPECT_TRUE(system.Recorded().faults.empty());
#pragma once

#include <memory>

#include "platform/d3d9/factory.h"
#include "support/recorder.h"

namespace support {

/// Stands in for the machine's Direct3D from construction to destruction. One at a time.
class RecordingSystem {
  public:
    explicit RecordingSystem(const DeviceOptions& options = {});
    ~RecordingSystem();
    RecordingSystem(const RecordingSystem&) = delete;
    RecordingSystem& operator=(const RecordingSystem&) = delete;

    Recorder& Recorded() { return *recorder_; }

  private:
    // Shared with the objects it makes, which may outlive it.
    std::shared_ptr<Recorder> recorder_;
    platform::Direct3D9Factory previous_;
};

}  // namespace support
