#include "material/texture_cubemap_file.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include "fxutil/texture.h"
#include "io/block.h"
#include "io/stream.h"
#include "material/image_bytes.h"
#include "render/context.h"
#include "trace/tracer.h"

namespace osm3d {

namespace {

enum Contents : i32 { kHasCube = 1, kHasFaces = 2, kEmbedded = 4 };

// The face whose presence tells that there are separate ones.
constexpr i32 kTellingFace = 5;

struct FaceRule {
    D3DCUBEMAP_FACES face;
    i32 key;
    u32 angle;
};

constexpr std::array<FaceRule, 6> kFaceRules{{
    {D3DCUBEMAP_FACE_NEGATIVE_X, 3, 270},
    {D3DCUBEMAP_FACE_POSITIVE_X, 4, 90},
    {D3DCUBEMAP_FACE_POSITIVE_Y, 5, 180},
    {D3DCUBEMAP_FACE_NEGATIVE_Y, 6, 0},
    {D3DCUBEMAP_FACE_POSITIVE_Z, 1, 0},
    {D3DCUBEMAP_FACE_NEGATIVE_Z, 2, 180},
}};

// The entry of `key`, or an empty one where a map lacks it.
template <class T>
const T& EntryOf(const std::map<i32, T>& map, i32 key) {
    static const T none;
    const auto found = map.find(key);
    return found != map.end() ? found->second : none;
}

void QuarterTurn(u32* pixels, std::size_t pitch, u32 n) {
    std::vector<u32> before(std::size_t{n} * n);
    for (u32 row = 0; row < n; ++row) {
        std::memcpy(&before[std::size_t{row} * n], pixels + row * pitch, n * sizeof(u32));
    }
    for (u32 row = 0; row < n; ++row) {
        u32* out = pixels + row * pitch;
        const std::size_t column = n - 1 - row;
        for (u32 x = 0; x < n; ++x) out[x] = before[std::size_t{x} * n + column];
    }
}

// An odd middle row stays as it is.
void HalfTurn(u32* pixels, std::size_t pitch, u32 n) {
    for (u32 y = 0; y < n / 2; ++y) {
        u32* upper = pixels + y * pitch;
        u32* lower = pixels + (n - 1 - y) * pitch;
        for (u32 x = 0; x < n; ++x) std::swap(upper[x], lower[n - 1 - x]);
    }
}

}  // namespace

bool TextureCubemapFile::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) return false;
    i32 contents = 0;
    in->ReadI32(&contents);
    const auto readImage = [&](i32 key) {
        if ((contents & kEmbedded) == 0) {
            in->ReadString(fileNames[key]);
            return true;
        }
        i32 size = 0;
        in->ReadI32(&size);
        return osmio::ReadBlock(in, fileData[key], size, "bytes of an image");
    };
    separated = (contents & kHasFaces) != 0;
    if ((contents & kHasCube) != 0 && !readImage(kWholeCube)) return false;
    if (!separated) return true;
    for (i32 key = kFirstFace; key <= kLastFace; ++key) {
        if (!readImage(key)) return false;
    }
    return true;
}

void TextureCubemapFile::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("TXCF"), 1);
    const bool embedded = !fileData.empty();
    const auto has = [&](i32 key) { return embedded ? fileData.contains(key) : fileNames.contains(key); };
    i32 contents = embedded ? kEmbedded : 0;
    if (has(kWholeCube)) contents |= kHasCube;
    if (has(kTellingFace)) contents |= kHasFaces;
    out->WriteI32(contents);
    const auto writeImage = [&](i32 key) {
        if (!embedded) {
            out->WriteString(EntryOf(fileNames, key));
            return;
        }
        const std::vector<u8>& bytes = EntryOf(fileData, key);
        out->WriteI32(static_cast<i32>(bytes.size()));
        osmio::WriteBlock(out, bytes);
    };
    if ((contents & kHasCube) != 0) writeImage(kWholeCube);
    if ((contents & kHasFaces) == 0) return;
    for (i32 key = kFirstFace; key <= kLastFace; ++key) writeImage(key);
}

void TextureCubemapFile::SetFace(u32 key, const std::string& path) {
    if (key > static_cast<u32>(kLastFace)) return;
    fileNames[static_cast<i32>(key)] = path;
    separated = separated || key != static_cast<u32>(kWholeCube);
}

void TextureCubemapFile::SetFaceData(u32 key, std::vector<u8> bytes) {
    if (key > static_cast<u32>(kLastFace)) return;
    fileData[static_cast<i32>(key)] = std::move(bytes);
    separated = separated || key != static_cast<u32>(kWholeCube);
}

void TextureCubemapFile::Update(f32) {}

IDirect3DBaseTexture9* TextureCubemapFile::GetDeviceTexture() {
    trace::BoxIf(!textures.contains(kWholeCube),
                 "TextureCubemapFile :: Cannot set a separated cubemap texture.");
    return EntryOf(textures, kWholeCube).Get();
}

void TextureCubemapFile::SetToStage(u32 stage) { GetContext()->SetTexture(stage, GetDeviceTexture()); }

void TextureCubemapFile::Prepare() {}

void TextureCubemapFile::SetNormalMap(bool) {}

IDirect3DBaseTexture9* TextureCubemapFile::GetFace(u32 key) const {
    return key <= static_cast<u32>(kLastFace) ? EntryOf(textures, static_cast<i32>(key)).Get() : nullptr;
}

void TextureCubemapFile::Load() {
    const bool cubeMaps = GetContext()->caps.cubeMaps;
    if (!separated) {
        if (cubeMaps) {
            textures = LoadCube();
        } else {
            separated = true;
        }
        if (!separated) return;
    }
    textures.clear();
    for (auto& [key, face] : LoadFaces(D3DFMT_UNKNOWN, D3DPOOL_MANAGED)) textures[key] = face.Get();
    if (cubeMaps) textures[kWholeCube] = BuildCube().Get();
}

TextureCubemapFile::Textures TextureCubemapFile::LoadCube() {
    Textures result;
    const bool embedded = !fileData.empty();
    if (embedded ? !fileData.contains(kWholeCube) : !fileNames.contains(kWholeCube)) {
        trace::Box("cubemap with separated bitmaps is not supported");
        separated = true;
        return result;
    }
    IDirect3DDevice9* device = GetContext()->device.Get();
    ComPtr<IDirect3DCubeTexture9> cube;
    if (embedded) {
        const std::vector<u8>& bytes = fileData[kWholeCube];
        D3DXCreateCubeTextureFromFileInMemory(device, bytes.data(), static_cast<u32>(bytes.size()),
                                              cube.Put());
    } else {
        const std::string& name = fileNames[kWholeCube];
        if (FAILED(D3DXCreateCubeTextureFromFileA(device, name.c_str(), cube.Put()))) {
            ReportUnreadableImage(name);
        }
    }
    result[kWholeCube] = cube.Get();
    return result;
}

TextureCubemapFile::Faces TextureCubemapFile::LoadFaces(D3DFORMAT format, D3DPOOL pool) const {
    IDirect3DDevice9* device = GetContext()->device.Get();
    Faces faces;
    if (!fileData.empty()) {
        for (const auto& [key, bytes] : fileData) {
            D3DXCreateTextureFromFileInMemoryEx(device, bytes.data(), static_cast<u32>(bytes.size()),
                                                D3DX_DEFAULT, D3DX_DEFAULT, D3DX_DEFAULT, 0, format, pool,
                                                D3DX_DEFAULT, D3DX_DEFAULT, 0, nullptr, nullptr,
                                                faces[key].Put());
        }
        return faces;
    }
    for (const auto& [key, name] : fileNames) {
        if (FAILED(D3DXCreateTextureFromFileExA(device, name.c_str(), D3DX_DEFAULT, D3DX_DEFAULT,
                                                D3DX_DEFAULT, 0, format, pool, D3DX_DEFAULT, D3DX_DEFAULT, 0,
                                                nullptr, nullptr, faces[key].Put()))) {
            ReportUnreadableImage(name);
        }
    }
    return faces;
}

ComPtr<IDirect3DCubeTexture9> TextureCubemapFile::BuildCube() {
    Context* context = GetContext();
    IDirect3DDevice9* device = context->device.Get();
    // A second copy of the images, as the ones to draw with cannot be turned in place.
    const Faces faces = LoadFaces(D3DFMT_X8R8G8B8, D3DPOOL_SYSTEMMEM);
    IDirect3DTexture9* first = EntryOf(faces, kFirstFace).Get();
    D3DSURFACE_DESC desc{};
    if (first == nullptr || FAILED(first->GetLevelDesc(0, &desc))) return nullptr;
    faceWidth = static_cast<f32>(desc.Width);
    faceHeight = static_cast<f32>(desc.Height);

    const bool mipmaps = context->caps.autoGenMipmap;
    ComPtr<IDirect3DCubeTexture9> cube;
    D3DXCreateCubeTexture(device, desc.Width, mipmaps ? 0 : 1, mipmaps ? D3DUSAGE_AUTOGENMIPMAP : 0,
                          desc.Format, D3DPOOL_DEFAULT, cube.Put());
    if (!cube) return nullptr;
    for (const FaceRule& rule : kFaceRules) {
        IDirect3DTexture9* image = EntryOf(faces, rule.key).Get();
        ComPtr<IDirect3DSurface9> source;
        ComPtr<IDirect3DSurface9> target;
        cube->GetCubeMapSurface(rule.face, 0, target.Put());
        // The face of an image that could not be read stays as the device made it.
        if (image != nullptr) image->GetSurfaceLevel(0, source.Put());
        if (source && target) {
            if (rule.angle != 0) RotateSurface(source.Get(), rule.angle);
            device->UpdateSurface(source.Get(), nullptr, target.Get(), nullptr);
        }
        if (mipmaps) {
            cube->SetAutoGenFilterType(D3DTEXF_LINEAR);
            cube->GenerateMipSubLevels();
        }
    }
    return cube;
}

bool TextureCubemapFile::Embed() {
    if (!fileData.empty()) return true;
    // All or none: with some alone, Write would lose the names of the others.
    std::map<i32, std::vector<u8>> images;
    for (const auto& [key, name] : fileNames) {
        if (!ReadImageBytes(name, images[key])) return false;
    }
    fileData = std::move(images);
    return true;
}

void RotateSurface(IDirect3DSurface9* surface, u32 angle) {
    D3DSURFACE_DESC desc{};
    if (FAILED(surface->GetDesc(&desc)) || desc.Width != desc.Height) return;
    D3DLOCKED_RECT locked{};
    if (FAILED(surface->LockRect(&locked, nullptr, 0)) || locked.pBits == nullptr) return;
    auto* pixels = static_cast<u32*>(locked.pBits);
    const std::size_t pitch = static_cast<std::size_t>(locked.Pitch) / sizeof(u32);
    if (angle == 90 || angle == 270) QuarterTurn(pixels, pitch, desc.Width);
    if (angle == 180 || angle == 270) HalfTurn(pixels, pitch, desc.Width);
    surface->UnlockRect();
}

}  // namespace osm3d
