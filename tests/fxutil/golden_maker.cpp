// Runs the cases of the two tables through Wine's d3dx9_36.dll and prints what comes out. A Windows program,
// built and started by golden.sh: "golden_maker math" and "golden_maker images FILE...".
#include <d3dx9.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "math_cases.h"

namespace {

void PrintMath() {
    std::printf("# case | bits of the result | the same in decimals\n");
    math_cases::RunAll([](const std::string& name, const std::vector<float>& result) {
        std::printf("%s |", name.c_str());
        for (float f : result) {
            unsigned bits;
            std::memcpy(&bits, &f, 4);
            std::printf(" %08x", bits);
        }
        std::printf(" |");
        for (float f : result) std::printf(" %.9g", static_cast<double>(f));
        std::printf("\n");
    });
}

IDirect3DDevice9* CreateDevice() {
    IDirect3D9* d3d = Direct3DCreate9(D3D_SDK_VERSION);
    HWND window = CreateWindowA("static", "golden", WS_OVERLAPPEDWINDOW, 0, 0, 64, 64, nullptr, nullptr,
                                nullptr, nullptr);
    D3DPRESENT_PARAMETERS parameters{};
    parameters.BackBufferFormat = D3DFMT_X8R8G8B8;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.hDeviceWindow = window;
    parameters.Windowed = TRUE;
    IDirect3DDevice9* device = nullptr;
    if (d3d) {
        d3d->CreateDevice(0, D3DDEVTYPE_HAL, window, D3DCREATE_SOFTWARE_VERTEXPROCESSING, &parameters,
                          &device);
    }
    return device;
}

void PrintSurface(IDirect3DSurface9* surface, const char* name, unsigned face, unsigned level) {
    D3DSURFACE_DESC desc;
    D3DLOCKED_RECT locked;
    surface->GetDesc(&desc);
    if (FAILED(surface->LockRect(&locked, nullptr, D3DLOCK_READONLY))) return;
    std::printf("pixels %s %u %u %u %u", name, face, level, desc.Width, desc.Height);
    for (unsigned y = 0; y < desc.Height; ++y) {
        std::printf(" ");
        for (unsigned x = 0; x < desc.Width; ++x) {
            unsigned texel;
            std::memcpy(&texel, static_cast<char*>(locked.pBits) + y * locked.Pitch + x * 4, 4);
            std::printf("%08x", texel);
        }
    }
    std::printf("\n");
    surface->UnlockRect();
    surface->Release();
}

// The pixels of an image in A8R8G8B8, its own size, its own levels, nothing filtered.
void PrintPixels(IDirect3DDevice9* device, const std::string& data, const char* name, bool cube) {
    const UINT size = static_cast<UINT>(data.size());
    if (cube) {
        IDirect3DCubeTexture9* texture = nullptr;
        if (FAILED(D3DXCreateCubeTextureFromFileInMemoryEx(
                device, data.data(), size, D3DX_DEFAULT_NONPOW2, D3DX_FROM_FILE, 0, D3DFMT_A8R8G8B8,
                D3DPOOL_SYSTEMMEM, D3DX_FILTER_NONE, D3DX_FILTER_NONE, 0, nullptr, nullptr, &texture))) {
            std::printf("unreadable %s\n", name);
            return;
        }
        for (unsigned face = 0; face < 6; ++face) {
            for (unsigned level = 0; level < texture->GetLevelCount(); ++level) {
                IDirect3DSurface9* surface = nullptr;
                texture->GetCubeMapSurface(static_cast<D3DCUBEMAP_FACES>(face), level, &surface);
                if (surface) PrintSurface(surface, name, face, level);
            }
        }
        texture->Release();
        return;
    }
    IDirect3DTexture9* texture = nullptr;
    if (FAILED(D3DXCreateTextureFromFileInMemoryEx(device, data.data(), size, D3DX_DEFAULT_NONPOW2,
                                                   D3DX_DEFAULT_NONPOW2, D3DX_FROM_FILE, 0, D3DFMT_A8R8G8B8,
                                                   D3DPOOL_SYSTEMMEM, D3DX_FILTER_NONE, D3DX_FILTER_NONE, 0,
                                                   nullptr, nullptr, &texture))) {
        std::printf("unreadable %s\n", name);
        return;
    }
    for (unsigned level = 0; level < texture->GetLevelCount(); ++level) {
        IDirect3DSurface9* surface = nullptr;
        texture->GetSurfaceLevel(level, &surface);
        if (surface) PrintSurface(surface, name, 0, level);
    }
    texture->Release();
}

// Wine 8.0 takes indices packed several to a byte for whole bytes and reads on past the end: what it makes of
// these differs from run to run.
bool HasPackedIndices(const std::string& name) {
    return (name.rfind("bmp_1", 0) == 0 && name.rfind("bmp_16", 0) != 0) || name.rfind("bmp_4", 0) == 0 ||
           name == "png_palette_1.png" || name == "png_palette_4.png";
}

void PrintImage(IDirect3DDevice9* device, const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string data((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const char* name = path.c_str() + path.find_last_of("/\\") + 1;
    const UINT size = static_cast<UINT>(data.size());

    D3DXIMAGE_INFO info{};
    const HRESULT hr = D3DXGetImageInfoFromFileInMemory(data.data(), size, &info);
    if (FAILED(hr)) {
        std::printf("noinfo %s %08x\n", name, static_cast<unsigned>(hr));
        return;
    }
    std::printf("info %s %u %u %u %u %u %u %u\n", name, info.Width, info.Height, info.Depth, info.MipLevels,
                static_cast<unsigned>(info.Format), static_cast<unsigned>(info.ResourceType),
                static_cast<unsigned>(info.ImageFileFormat));

    // Wine 8.0 reads through a null palette when it makes a texture of a palette .dds.
    if (info.ImageFileFormat == D3DXIFF_DDS && info.Format == D3DFMT_P8) return;

    const bool cube = info.ResourceType == D3DRTYPE_CUBETEXTURE;
    D3DSURFACE_DESC desc{};
    DWORD levels = 0;
    HRESULT made;
    if (cube) {
        IDirect3DCubeTexture9* texture = nullptr;
        made = D3DXCreateCubeTextureFromFileInMemory(device, data.data(), size, &texture);
        if (SUCCEEDED(made)) {
            texture->GetLevelDesc(0, &desc);
            levels = texture->GetLevelCount();
            texture->Release();
        }
    } else {
        IDirect3DTexture9* texture = nullptr;
        made = D3DXCreateTextureFromFileInMemory(device, data.data(), size, &texture);
        if (SUCCEEDED(made)) {
            texture->GetLevelDesc(0, &desc);
            levels = texture->GetLevelCount();
            texture->Release();
        }
    }
    if (FAILED(made)) {
        std::printf("notexture %s %08x\n", name, static_cast<unsigned>(made));
        return;
    }
    std::printf("texture %s %u %u %u %u\n", name, desc.Width, desc.Height, static_cast<unsigned>(levels),
                static_cast<unsigned>(desc.Format));
    // Pictures above this size are there for their sizes alone.
    if (info.Width <= 32 && info.Height <= 32 && !HasPackedIndices(name))
        PrintPixels(device, data, name, cube);
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (argc >= 2 && std::strcmp(argv[1], "math") == 0) {
        PrintMath();
        return 0;
    }
    IDirect3DDevice9* device = CreateDevice();
    if (!device) {
        std::fprintf(stderr, "golden_maker: no device\n");
        return 1;
    }
    std::printf(
        "# info FILE width height depth levels format resource file-format, by "
        "D3DXGetImageInfoFromFileInMemory\n");
    std::printf("# texture FILE width height levels format, by D3DXCreateTextureFromFileInMemory\n");
    std::printf("# pixels FILE face level width height ROW..., as A8R8G8B8 with D3DX_FILTER_NONE\n");
    std::printf("# noinfo, notexture FILE result: refused there; unreadable: refused with these arguments\n");
    for (int i = 2; i < argc; ++i) PrintImage(device, argv[i]);
    return 0;
}
