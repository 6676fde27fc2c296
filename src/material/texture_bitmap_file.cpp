#include "material/texture_bitmap_file.h"

#include <cstddef>
#include <cstdio>

#include "fxutil/texture.h"
#include "io/block.h"
#include "io/stream.h"
#include "platform/system/system.h"
#include "render/context.h"
#include "trace/tracer.h"

namespace osm3d {

namespace {

enum Contents : i32 { kEmbedded = 1, kNormalMap = 2 };

constexpr f32 kNormalMapAmplitude = 10.0f;

}  // namespace

TextureBitmapFile::TextureBitmapFile(const std::string& name, u32 value) : fileName(name), flags(value) {}

bool TextureBitmapFile::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) return false;
    i32 contents = 0;
    in->ReadI32(&contents);
    normalMap = (contents & kNormalMap) != 0;
    if ((contents & kEmbedded) == 0) {
        in->ReadString(fileName);
        return true;
    }
    i32 size = 0;
    in->ReadI32(&size);
    return osmio::ReadBlock(in, fileData, size, "bytes of an image");
}

void TextureBitmapFile::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("TXBF"), 1);
    i32 contents = 0;
    if (!fileData.empty()) contents |= kEmbedded;
    if (normalMap) contents |= kNormalMap;
    out->WriteI32(contents);
    if (fileData.empty()) {
        out->WriteString(fileName);
    } else {
        out->WriteI32(static_cast<i32>(fileData.size()));
        osmio::WriteBlock(out, fileData);
    }
}

void TextureBitmapFile::Update(f32) {}

IDirect3DBaseTexture9* TextureBitmapFile::GetDeviceTexture() { return texture.Get(); }

void TextureBitmapFile::SetToStage(u32 stage) { GetContext()->SetTexture(stage, texture.Get()); }

void TextureBitmapFile::Prepare() {}

void TextureBitmapFile::Load() {
    IDirect3DDevice9* device = GetContext()->device.Get();
    if (!fileData.empty()) {
        D3DXCreateTextureFromFileInMemory(device, fileData.data(), static_cast<u32>(fileData.size()),
                                          texture.Put());
    } else if (FAILED(D3DXCreateTextureFromFileA(device, fileName.c_str(), texture.Put()))) {
        platform::DebugString("Filename : " + fileName + "\n");
    }
    if (!normalMap || !texture) return;
    D3DSURFACE_DESC level;
    if (FAILED(texture->GetLevelDesc(0, &level))) return;
    ComPtr<IDirect3DTexture9> normals;
    D3DXCreateTexture(device, level.Width, level.Height, 0, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED,
                      normals.Put());
    if (normals) {
        D3DXComputeNormalMap(normals.Get(), texture.Get(), nullptr, D3DX_NORMALMAP_COMPUTE_OCCLUSION,
                             D3DX_CHANNEL_RED, kNormalMapAmplitude);
    }
    texture = std::move(normals);
}

bool TextureBitmapFile::Embed() {
    if (!fileData.empty()) return true;
    std::FILE* file = std::fopen(fileName.c_str(), "rb");
    trace::WarnIf(file == nullptr, "texture \"%s\" not embeddable.", fileName.c_str());
    if (file == nullptr) return false;
    std::fseek(file, 0, SEEK_END);
    const long size = std::ftell(file);
    std::fseek(file, 0, SEEK_SET);
    if (size > 0) {
        fileData.resize(static_cast<std::size_t>(size));
        fileData.resize(std::fread(fileData.data(), 1, fileData.size(), file));
    }
    std::fclose(file);
    return true;
}

}  // namespace osm3d
