#include "material/texture_bitmap_file.h"

#include "fxutil/texture.h"
#include "io/block.h"
#include "io/stream.h"
#include "material/image_bytes.h"
#include "render/context.h"

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
        ReportUnreadableImage(fileName);
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

bool TextureBitmapFile::Embed() { return !fileData.empty() || ReadImageBytes(fileName, fileData); }

}  // namespace osm3d
