// Feeds bytes to the effect front end and draws with what comes out, on a device that draws nothing.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/d3d9/com_ptr.h"
#include "platform/shader_compiler.h"
#include "support/recording_device.h"

namespace fuzz {

// Takes every text and makes up its constants; a hundred times as fast as the machine's.
platform::ShaderCompiler MadeUpCompiler();

// One at a time.
class EffectPlayground {
  public:
    // Without the machine's compiler the made-up one stands in.
    explicit EffectPlayground(bool real_compiler);
    ~EffectPlayground();
    EffectPlayground(const EffectPlayground&) = delete;
    EffectPlayground& operator=(const EffectPlayground&) = delete;

    // Makes an effect of the bytes, sets and reads its parameters, and goes through its passes. True when it
    // was one.
    bool Play(const std::uint8_t* data, std::size_t size);

  private:
    support::RecordingSystem system_;
    ComPtr<IDirect3D9> d3d_;
    ComPtr<IDirect3DDevice9> device_;
    ComPtr<IDirect3DTexture9> texture_;
};

}  // namespace fuzz
