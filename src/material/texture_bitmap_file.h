// A two-dimensional image out of a file, or out of the bytes of one.
#pragma once

#include <string>
#include <vector>

#include "material/texture.h"
#include "platform/d3d9/com_ptr.h"

namespace osm3d {

/// One 2D image, named by a path or carried as the bytes of its file. Stored as chunk TXBF.
class TextureBitmapFile : public Texture {
  public:
    /// An image without a name; Load of it fails.
    TextureBitmapFile() = default;

    /// `fileName` is opened as it stands, relative to the working directory. `flags` is kept for GetFlags.
    explicit TextureBitmapFile(const std::string& fileName, u32 flags = 0);

    TextureBitmapFile(const TextureBitmapFile&) = delete;
    TextureBitmapFile& operator=(const TextureBitmapFile&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    void Update(f32 time) override;
    IDirect3DBaseTexture9* GetDeviceTexture() override;
    void SetToStage(u32 stage) override;
    void Prepare() override;

    /// Leaves the device texture null, and sends one debug string, when the named image cannot be read. Run
    /// again, it replaces the device texture.
    void Load() override;
    bool Embed() override;
    u32 GetType() const override { return kType2D; }
    u32 GetFlags() const override { return flags; }
    void SetNormalMap(bool value) override { normalMap = value; }

    /// Whether Load makes a normal map of the image.
    bool IsNormalMap() const { return normalMap; }

    /// The path; empty for an embedded image out of a file.
    const std::string& GetFileName() const { return fileName; }

    /// The bytes of the embedded image file; empty when the image is named.
    const std::vector<u8>& GetFileData() const { return fileData; }

    /// Embeds `bytes`, those of an image file of any readable kind.
    void SetFileData(std::vector<u8> bytes) { fileData = std::move(bytes); }

  private:
    std::vector<u8> fileData;
    std::string fileName;
    ComPtr<IDirect3DTexture9> texture;
    u32 flags = 0;
    bool normalMap = false;
};

}  // namespace osm3d
