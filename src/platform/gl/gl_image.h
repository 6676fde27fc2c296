// The storage behind textures and surfaces: a chain of images in OpenGL, in system memory, or both, kept in
// step.
#pragma once

#include <memory>
#include <vector>

#include "platform/gl/gl_context.h"
#include "platform/gl/gl_format.h"

namespace platform::gl {

// A rectangle in pixels, right and bottom exclusive.
struct PixelRect {
    u32 left = 0, top = 0, right = 0, bottom = 0;
    bool Empty() const { return right <= left || bottom <= top; }
    void Unite(const PixelRect& other);
};

// Images of `faces` (1, or 6 of a cube) times `levels`. Memory of an image lies row by row from the top, rows
// tightly packed. Which side is newer is tracked per image: `Upload` brings OpenGL up to date, `Download`
// memory.
class GlImage {
  public:
    struct Desc {
        const FormatTraits* format = nullptr;
        u32 width = 1, height = 1;
        u32 levels = 1;     // seen by the application
        u32 gl_levels = 1;  // in OpenGL: more than `levels` when mip levels are generated
        u32 faces = 1;
        u32 samples = 0;         // 0 or 1: not multisampled; else a multisampled renderbuffer
        bool in_gl = true;       // false: system memory only
        bool in_memory = false;  // keeps memory from the start (lockable); else only while a lock needs it
        bool target = false;     // drawn, filled or copied to: made at once and cleared
        bool generate = false;   // levels below 0 are generated whenever level 0 changed
    };

    GlImage(GlContext& context, const Desc& desc);
    ~GlImage();
    GlImage(const GlImage&) = delete;
    GlImage& operator=(const GlImage&) = delete;

    const Desc& Description() const { return desc_; }
    const FormatTraits& Format() const { return *desc_.format; }
    u64 Id() const { return id_; }
    u32 Width(u32 level) const { return desc_.width >> level ? desc_.width >> level : 1; }
    u32 Height(u32 level) const { return desc_.height >> level ? desc_.height >> level : 1; }
    PixelRect Whole(u32 level) const { return {0, 0, Width(level), Height(level)}; }
    u32 Pitch(u32 level) const { return Format().Pitch(Width(level)); }
    // Bytes of memory that all images take.
    std::size_t Bytes() const;

    // Texture or renderbuffer; made by the first call. 0 when the image is in system memory only.
    GLuint Name();
    // GL_TEXTURE_2D, GL_TEXTURE_CUBE_MAP or GL_RENDERBUFFER.
    GLenum Target() const { return target_; }
    // As a framebuffer attachment.
    GlContext::Attachment AttachmentOf(u32 face, u32 level);

    // True when a draw that reads it must call Prepare first.
    bool NeedsPrepare() const { return stale_ || generate_pending_; }
    // True when memory is newer than OpenGL somewhere.
    bool NeedsUpload() const { return stale_; }
    // Brings OpenGL up to date (levels that memory has newer, levels to be generated).
    void Prepare();
    // Only what memory has newer.
    void Upload();

    // First row of an image in memory, after bringing memory up to date. Null when memory ran out.
    u8* Memory(u32 face, u32 level);
    // The same without bringing it up to date: what was there will be overwritten.
    u8* MemoryForOverwrite(u32 face, u32 level);
    // Memory of this part of an image has changed and is newer than OpenGL.
    void MarkMemoryWritten(u32 face, u32 level, const PixelRect& rect);
    // OpenGL rendered or copied into an image: memory is behind, and levels are to be generated.
    void MarkGlWritten(u32 face, u32 level) {
        At(face, level).gl_newer = true;
        if (desc_.generate) generate_pending_ = true;
    }
    // Writes a part of an image from rows of `pitch` bytes; x, y in pixels, on block borders.
    void Write(u32 face, u32 level, const PixelRect& rect, const u8* data, u32 pitch);
    // Reads an image as it lies in OpenGL into memory of `pitch` bytes a row.
    void ReadBack(u32 face, u32 level, u8* data, u32 pitch);

    // GL_TEXTURE_BASE_LEVEL, sent when it changes; the texture must be bound to `unit`.
    void SetBaseLevel(u32 unit, u32 level);

  private:
    struct Image {
        PixelRect dirty;         // memory newer than OpenGL
        bool gl_newer = false;   // OpenGL newer than memory
        std::size_t offset = 0;  // in memory_
    };
    Image& At(u32 face, u32 level) { return images_[face * desc_.levels + level]; }
    GLenum FaceTarget(u32 face) const;
    void Create();
    void CreateStorage();
    void ClearTargets();
    bool EnsureMemory();
    void BindForUpload();
    void Send(u32 face, u32 level, const PixelRect& rect, const u8* data, u32 pitch);

    GlContext& context_;
    Desc desc_;
    u64 id_;
    GLenum target_;
    GLuint name_ = 0;
    bool stale_ = false, generate_pending_ = false;
    u32 base_level_ = 0;
    std::vector<Image> images_;
    std::unique_ptr<u8[]> memory_;
};

}  // namespace platform::gl
