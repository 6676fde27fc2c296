#include "driver/playback_host.h"

#include "render/context.h"
#include "render/display.h"
#include "trace/profiler.h"

namespace osm3d {

bool PlaybackHost::Start(HWND window, HINSTANCE instance, u32 pixelWidth, u32 pixelHeight, i32 colorBits,
                         bool windowed, u32 antialias) {
    width = pixelWidth;
    height = pixelHeight;
    SetDisplayFlags(!windowed, false, false);
    SetMultisample(antialias == 1 ? 2 : antialias == 2 ? 4 : 0, 0);
    SetWindow(window);
    SetInstance(instance);
    SetDisplaySize(width, height, windowed ? -1 : colorBits);
    context = Context::Create();
    started = true;
    return true;
}

void PlaybackHost::Stop() {
    if (beforeStop) {
        beforeStop();
    }
    Context::Destroy();
    context = nullptr;
    started = false;
}

void PlaybackHost::DrawEmptyFrame() {
    constexpr u32 kAll = Context::kClearColor | Context::kClearDepth | Context::kClearStencil;
    constexpr color kRed{1, 0, 0, 0};
    context->Clear(kAll, true);
    context->BeginScene();
    const f32 w = static_cast<f32>(width);
    const f32 h = static_cast<f32>(height);
    context->DrawLine2D({0, 0, 0}, {w, h, 0}, kRed);
    context->DrawLine2D({0, h, 0}, {w, 0, 0}, kRed);
    context->EndScene();
}

void PlaybackHost::Present() {
    {
        const trace::ProfilerScope scope(trace::presentSection);
        context->Present();
    }
    trace::FrameTick();
}

const char* PlaybackHost::GetProfile() { return trace::ProfilerReport(); }

}  // namespace osm3d
