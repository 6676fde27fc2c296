// Presenting to a window of SDL's. SDL's offscreen video driver stands in for a display.
#include <SDL2/SDL.h>
#include <epoxy/gl.h>

#include "platform/device_fixture.h"
#include "platform/system/window.h"

namespace {

class WindowPresent : public DeviceTest {
  protected:
    void SetUp() override {
        SDL_SetHint(SDL_HINT_VIDEODRIVER, "offscreen");
        if (SDL_Init(SDL_INIT_VIDEO) == 0) {
            sdl_window = SDL_CreateWindow("present", 0, 0, 200, 100, SDL_WINDOW_OPENGL);
        }
        if (!sdl_window) GTEST_SKIP() << "SDL has no offscreen window here: " << SDL_GetError();
        window = platform::MakeSdlWindow(sdl_window);
        d3d = platform::CreateDirect3D9(D3D_SDK_VERSION);
        ASSERT_TRUE(d3d);
    }
    void TearDown() override {
        device.Reset();
        window.reset();
        if (sdl_window) SDL_DestroyWindow(sdl_window);
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
    }

    // What the window shows `y` rows from its top.
    static u32 Shown(int x, int y) {
        u8 rgba[4] = {};
        glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
        glReadBuffer(GL_FRONT);
        glReadPixels(x, 99 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
        return static_cast<u32>(rgba[0]) << 16 | static_cast<u32>(rgba[1]) << 8 | rgba[2];
    }

    SDL_Window* sdl_window = nullptr;
    std::unique_ptr<platform::Window> window;
};

TEST_F(WindowPresent, ShowsThePictureUprightAndScaled) {
    for (const auto samples : {D3DMULTISAMPLE_NONE, D3DMULTISAMPLE_4_SAMPLES}) {
        if (FAILED(
                d3d->CheckDeviceMultiSampleType(0, D3DDEVTYPE_HAL, D3DFMT_X8R8G8B8, TRUE, samples, nullptr)))
            continue;
        D3DPRESENT_PARAMETERS p = Parameters();
        p.BackBufferWidth = 100;
        p.BackBufferHeight = 50;
        p.MultiSampleType = samples;
        p.hDeviceWindow = window->Handle();
        device = Open(p);
        ASSERT_TRUE(device);
        const D3DRECT top_left = {0, 0, 50, 10};
        device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff0000ff, 1, 0);
        device->Clear(1, &top_left, D3DCLEAR_TARGET, 0xffff0000, 1, 0);
        ASSERT_EQ(D3D_OK, device->Present(nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(0xff0000u, Shown(5, 5));
        EXPECT_EQ(0xff0000u, Shown(90, 15));
        EXPECT_EQ(0x0000ffu, Shown(110, 5));
        EXPECT_EQ(0x0000ffu, Shown(5, 30));
        EXPECT_EQ(0x0000ffu, Shown(195, 95));
        device.Reset();
    }
}

}  // namespace
