// Draws every case with the system's Direct3D 9 and writes the pictures as they came: NAME.raw holds width
// and height (two 32-bit words), then A8R8G8B8, first row first. Usage: golden_runner OUTDIR [NAME...]
#include <cstdio>
#include <cstring>
#include <string>

#include "conformance/canvas.h"

namespace {

bool Wanted(const char* name, int argc, char** argv) {
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(name, argv[i]) == 0) {
            return true;
        }
    }
    return argc <= 2;
}

bool Write(const std::string& path, const conformance::Case& entry,
           const std::vector<std::uint32_t>& pixels) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    const std::uint32_t size[2] = {entry.width, entry.height};
    bool written = std::fwrite(size, 4, 2, file) == 2;
    written = std::fwrite(pixels.data(), 4, pixels.size(), file) == pixels.size() && written;
    return std::fclose(file) == 0 && written;
}

void PrintVersions(IDirect3D9* direct3d) {
    using WineVersion = const char*(CDECL*)();
    const HMODULE library = GetModuleHandleA("ntdll.dll");
    const FARPROC symbol = library != nullptr ? GetProcAddress(library, "wine_get_version") : nullptr;
    WineVersion version = nullptr;
    static_assert(sizeof(version) == sizeof(symbol));
    std::memcpy(&version, &symbol, sizeof(version));
    D3DADAPTER_IDENTIFIER9 adapter = {};
    direct3d->GetAdapterIdentifier(0, 0, &adapter);
    std::printf("Direct3D 9 of %s %s, adapter \"%s\"\n", version != nullptr ? "Wine" : "Windows",
                version != nullptr ? version() : "", adapter.Description);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: golden_runner OUTDIR [NAME...]\n");
        return 2;
    }
    const HWND window = CreateWindowA("STATIC", "conformance", WS_OVERLAPPEDWINDOW, 0, 0, 320, 240, nullptr,
                                      nullptr, GetModuleHandleA(nullptr), nullptr);
    IDirect3D9* direct3d = Direct3DCreate9(D3D_SDK_VERSION);
    if (direct3d == nullptr) {
        std::fprintf(stderr, "no Direct3D 9\n");
        return 1;
    }
    PrintVersions(direct3d);
    int drawn = 0;
    int failed = 0;
    for (const conformance::Case& entry : conformance::AllCases()) {
        if (!Wanted(entry.name, argc, argv)) {
            continue;
        }
        conformance::Canvas canvas;
        if (!canvas.Open(direct3d, window, entry.width, entry.height, entry.samples)) {
            std::fprintf(stderr, "%s: no device\n", entry.name);
            ++failed;
            continue;
        }
        canvas.device->BeginScene();
        entry.draw(canvas);
        canvas.device->EndScene();
        const std::vector<std::uint32_t> pixels = canvas.Read();
        if (canvas.failures() != 0) {
            std::fprintf(stderr, "%s: %d calls failed\n", entry.name, canvas.failures());
            ++failed;
        }
        if (pixels.empty() || !Write(std::string(argv[1]) + "/" + entry.name + ".raw", entry, pixels)) {
            std::fprintf(stderr, "%s: no picture\n", entry.name);
            ++failed;
            continue;
        }
        ++drawn;
    }
    direct3d->Release();
    std::printf("%d pictures, %d failures\n", drawn, failed);
    return failed == 0 ? 0 : 1;
}
