// A cube map out of one cube map file, or out of six images.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "material/texture.h"
#include "platform/d3d9/com_ptr.h"

namespace osm3d {

/// An environment: one cube map file, or six separate images, each named by a path or carried as the bytes of
/// its file. Stored as chunk TXCF.
///
/// Images are addressed by a key: 0 the whole cube, 1 to 6 the sides of the world, z up. Each stands upright
/// to who looks along the second column with the third one up:
///
/// | Key | Looking along | Up | In the cube built of them | Turned by |
/// |-----|---------------|----|---------------------------|-----------|
/// | 1   | +z            | -y | +z                        | 0         |
/// | 2   | -z            | +y | -z                        | 180       |
/// | 3   | -x            | +z | -x                        | 270       |
/// | 4   | +x            | +z | +x                        | 90        |
/// | 5   | -y            | +z | +y                        | 180       |
/// | 6   | +y            | +z | -y                        | 0         |
///
/// The cube is left-handed: sampled along (x, -y, z) it shows what the world has along (x, y, z).
///
///     TextureCubemapFile sky;
///     for (u32 key = 1; key <= 6; ++key) sky.SetFace(key, names[key - 1]);
///     sky.Load();
class TextureCubemapFile : public Texture {
  public:
    static constexpr i32 kWholeCube = 0;
    static constexpr i32 kFirstFace = 1;
    static constexpr i32 kLastFace = 6;

    TextureCubemapFile() = default;
    TextureCubemapFile(const TextureCubemapFile&) = delete;
    TextureCubemapFile& operator=(const TextureCubemapFile&) = delete;

    bool Read(osmio::InStream* in) override;
    /// Stores the embedded images if there is any, the names otherwise; the six faces when key 5 is there.
    void Write(osmio::OutStream* out) override;

    /// Names image `key`, 0 to 6. A key of 1 to 6 makes the texture one of separate images.
    void SetFace(u32 key, const std::string& path);
    /// Embeds `bytes`, those of an image file, as image `key`. Once there is one, names count no more.
    void SetFaceData(u32 key, std::vector<u8> bytes);

    void Update(f32 time) override;

    /// The cube; null, with a message, when only separate images could be loaded.
    IDirect3DBaseTexture9* GetDeviceTexture() override;
    void SetToStage(u32 stage) override;
    void Prepare() override;

    /// One cube image gives the cube alone; six images give the six, and on a device with cube maps the cube
    /// made of them, which takes its size from image 1. One debug string for each named image that cannot be
    /// read, at each reading. Run again, it replaces what was loaded.
    void Load() override;

    /// All images or none: a file that cannot be read leaves the names in force.
    bool Embed() override;
    u32 GetType() const override { return kTypeCube; }
    u32 GetFlags() const override { return 0; }
    void SetNormalMap(bool normalMap) override;

    /// What Load left under `key`: 1 to 6 a separate image, 0 the cube. Null when there is none.
    IDirect3DBaseTexture9* GetFace(u32 key) const;

    /// Texels of the images that the cube was built of; 0 as long as no cube was built, and so for a cube out
    /// of one file.
    f32 GetFaceWidth() const { return faceWidth; }
    f32 GetFaceHeight() const { return faceHeight; }

    /// Whether the images are separate; also set by Load where no cube could be loaded.
    bool IsSeparated() const { return separated; }

    const std::map<i32, std::string>& GetFileNames() const { return fileNames; }
    /// The bytes of the embedded image files; empty when the images are named.
    const std::map<i32, std::vector<u8>>& GetFileData() const { return fileData; }

  private:
    using Faces = std::map<i32, ComPtr<IDirect3DTexture9>>;
    using Textures = std::map<i32, ComPtr<IDirect3DBaseTexture9>>;

    Textures LoadCube();
    Faces LoadFaces(D3DFORMAT format, D3DPOOL pool) const;
    ComPtr<IDirect3DCubeTexture9> BuildCube();

    bool separated = false;
    std::map<i32, std::string> fileNames;
    std::map<i32, std::vector<u8>> fileData;
    Textures textures;
    f32 faceWidth = 0.0f;
    f32 faceHeight = 0.0f;
};

/// Turns the 32-bit pixels of a square, lockable surface in place by `angle`: 90, 180 or 270 degrees. Any
/// other angle, and a surface of another shape, stays as it is.
void RotateSurface(IDirect3DSurface9* surface, u32 angle);

}  // namespace osm3d
