#include "platform/gl/gl_image.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace platform::gl {
namespace {

u64 NextId() {
    static u64 last = 0;
    return ++last;
}

GLenum InternalFormat(const FormatTraits& format) {
    if (format.internal == GL_RGB565 && epoxy_gl_version() < 41 &&
        !epoxy_has_gl_extension("GL_ARB_ES2_compatibility")) {
        return GL_RGB5;
    }
    return format.internal;
}

}  // namespace

void PixelRect::Unite(const PixelRect& other) {
    if (other.Empty()) return;
    if (Empty()) {
        *this = other;
        return;
    }
    left = std::min(left, other.left);
    top = std::min(top, other.top);
    right = std::max(right, other.right);
    bottom = std::max(bottom, other.bottom);
}

GlImage::GlImage(GlContext& context, const Desc& desc)
    : context_(context),
      desc_(desc),
      id_(NextId()),
      target_(desc.samples > 1 || desc.format->depth ? GL_RENDERBUFFER
              : desc.faces == 6                      ? GL_TEXTURE_CUBE_MAP
                                                     : GL_TEXTURE_2D),
      images_(std::size_t{desc.faces} * desc.levels) {
    desc_.gl_levels = std::max(desc_.gl_levels, desc_.levels);
    std::size_t offset = 0;
    for (u32 face = 0; face < desc_.faces; ++face) {
        for (u32 level = 0; level < desc_.levels; ++level) {
            At(face, level).offset = offset;
            offset += std::size_t{Pitch(level)} * Format().Rows(Height(level));
        }
    }
    // Not later: a clear in the middle of a draw would change what the draw relies on.
    if (desc_.target) Name();
}

GlImage::~GlImage() {
    if (!name_) return;
    context_.Activate();
    context_.ForgetImage(id_);
    if (target_ == GL_RENDERBUFFER) {
        glDeleteRenderbuffers(1, &name_);
    } else {
        glDeleteTextures(1, &name_);
        context_.State().ForgetTexture(name_);
    }
}

std::size_t GlImage::Bytes() const {
    const Image& last = images_.back();
    const u32 level = desc_.levels - 1;
    return last.offset + std::size_t{Pitch(level)} * Format().Rows(Height(level));
}

GLuint GlImage::Name() {
    if (!name_ && desc_.in_gl) Create();
    return name_;
}

GLenum GlImage::FaceTarget(u32 face) const {
    return target_ == GL_TEXTURE_CUBE_MAP ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + face : target_;
}

GlContext::Attachment GlImage::AttachmentOf(u32 face, u32 level) {
    GlContext::Attachment result;
    result.name = Name();
    result.image = result.name ? id_ : 0;
    result.target = FaceTarget(face);
    result.level = static_cast<GLint>(level);
    result.depth = Format().depth;
    result.stencil = Format().stencil;
    return result;
}

void GlImage::Create() {
    context_.Activate();
    if (target_ == GL_RENDERBUFFER) {
        glGenRenderbuffers(1, &name_);
        glBindRenderbuffer(GL_RENDERBUFFER, name_);
        const auto width = static_cast<GLsizei>(desc_.width), height = static_cast<GLsizei>(desc_.height);
        glRenderbufferStorageMultisample(GL_RENDERBUFFER,
                                         desc_.samples > 1 ? static_cast<GLsizei>(desc_.samples) : 0,
                                         InternalFormat(Format()), width, height);
    } else {
        glGenTextures(1, &name_);
        CreateStorage();
    }
    if (desc_.target) ClearTargets();
}

void GlImage::CreateStorage() {
    const FormatTraits& format = Format();
    BindForUpload();
    const auto levels = static_cast<GLint>(desc_.gl_levels);
    // Mesa lays such an image out as it lies in memory when it hears of the pixels' order, and turns every
    // pixel around on its way otherwise; storage would not say.
    const bool by_pixels = format.format == GL_BGRA && format.type == GL_UNSIGNED_INT_8_8_8_8_REV;
    if (by_pixels) glTexParameteri(target_, GL_TEXTURE_MAX_LEVEL, levels - 1);
    if (context_.Features().texture_storage && !by_pixels) {
        glTexStorage2D(target_, levels, InternalFormat(format), static_cast<GLsizei>(desc_.width),
                       static_cast<GLsizei>(desc_.height));
    } else {
        std::vector<u8> zeros;
        for (u32 face = 0; face < desc_.faces; ++face) {
            for (u32 level = 0; level < desc_.gl_levels; ++level) {
                const auto width = static_cast<GLsizei>(Width(level)),
                           height = static_cast<GLsizei>(Height(level));
                if (format.Compressed()) {
                    const std::size_t bytes = std::size_t{Pitch(level)} * format.Rows(Height(level));
                    zeros.resize(std::max(zeros.size(), bytes));
                    glCompressedTexImage2D(FaceTarget(face), static_cast<GLint>(level), format.internal,
                                           width, height, 0, static_cast<GLsizei>(bytes), zeros.data());
                } else {
                    glTexImage2D(FaceTarget(face), static_cast<GLint>(level),
                                 static_cast<GLint>(InternalFormat(format)), width, height, 0, format.format,
                                 format.type, nullptr);
                }
            }
        }
    }
    glTexParameteri(target_, GL_TEXTURE_MAX_LEVEL, levels - 1);
    static constexpr GLenum kChannel[4] = {GL_TEXTURE_SWIZZLE_R, GL_TEXTURE_SWIZZLE_G, GL_TEXTURE_SWIZZLE_B,
                                           GL_TEXTURE_SWIZZLE_A};
    static constexpr GLint kPlain[4] = {GL_RED, GL_GREEN, GL_BLUE, GL_ALPHA};
    for (int i = 0; i < 4; ++i) {
        if (format.swizzle[i] != kPlain[i]) glTexParameteri(target_, kChannel[i], format.swizzle[i]);
    }
}

// What a new target holds is nobody's to rely on, but it must not differ between two runs.
void GlImage::ClearTargets() {
    GlStateCache& state = context_.State();
    context_.MarkTouched();
    state.Enable(GlStateCache::kScissorTest, false);
    const GLfloat zero[4] = {0, 0, 0, 0};
    for (u32 face = 0; face < desc_.faces; ++face) {
        for (u32 level = 0; level < desc_.levels; ++level) {
            GlContext::Attachment attachment;
            attachment.image = id_;
            attachment.name = name_;
            attachment.target = FaceTarget(face);
            attachment.level = static_cast<GLint>(level);
            attachment.depth = Format().depth;
            attachment.stencil = Format().stencil;
            if (Format().depth) {
                state.BindDrawFramebuffer(context_.Framebuffer({}, attachment));
                state.DepthMask(true);
                state.StencilMask(0xffffffffu);
                if (Format().stencil) {
                    glClearBufferfi(GL_DEPTH_STENCIL, 0, 1.0f, 0);
                } else {
                    const GLfloat one = 1;
                    glClearBufferfv(GL_DEPTH, 0, &one);
                }
            } else {
                state.BindDrawFramebuffer(context_.Framebuffer(attachment, {}));
                state.ColorMask(true, true, true, true);
                glClearBufferfv(GL_COLOR, 0, zero);
            }
        }
    }
}

void GlImage::BindForUpload() {
    context_.State().BindTexture(GlStateCache::kUploadUnit, target_, name_);
    context_.State().ActiveTexture(GlStateCache::kUploadUnit);
}

void GlImage::Send(u32 face, u32 level, const PixelRect& rect, const u8* data, u32 pitch) {
    const FormatTraits& format = Format();
    const GLenum target = FaceTarget(face);
    const auto gl_level = static_cast<GLint>(level);
    const auto x = static_cast<GLint>(rect.left);
    const auto width = static_cast<GLsizei>(rect.right - rect.left);
    BindForUpload();
    if (!format.Compressed()) {
        glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<GLint>(pitch / format.block_bytes));
        glTexSubImage2D(target, gl_level, x, static_cast<GLint>(rect.top), width,
                        static_cast<GLsizei>(rect.bottom - rect.top), format.format, format.type, data);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        return;
    }
    const u32 row_bytes = format.Pitch(rect.right - rect.left);
    if (row_bytes == pitch) {
        const u32 rows = format.Rows(rect.bottom - rect.top);
        glCompressedTexSubImage2D(target, gl_level, x, static_cast<GLint>(rect.top), width,
                                  static_cast<GLsizei>(rect.bottom - rect.top), format.internal,
                                  static_cast<GLsizei>(row_bytes * rows), data);
        return;
    }
    for (u32 y = rect.top; y < rect.bottom; y += format.block_size, data += pitch) {
        const u32 height = std::min(format.block_size, rect.bottom - y);
        glCompressedTexSubImage2D(target, gl_level, x, static_cast<GLint>(y), width,
                                  static_cast<GLsizei>(height), format.internal,
                                  static_cast<GLsizei>(row_bytes), data);
    }
}

void GlImage::Upload() {
    context_.Activate();
    stale_ = false;
    if (!Name()) return;
    for (u32 face = 0; face < desc_.faces; ++face) {
        for (u32 level = 0; level < desc_.levels; ++level) {
            Image& image = At(face, level);
            if (image.dirty.Empty()) continue;
            const PixelRect rect = image.dirty;
            image.dirty = {};
            const u32 pitch = Pitch(level), block = Format().block_size;
            const u8* data = memory_.get() + image.offset + std::size_t{rect.top / block} * pitch +
                             std::size_t{rect.left / block} * Format().block_bytes;
            Send(face, level, rect, data, pitch);
        }
    }
}

void GlImage::Prepare() {
    if (stale_) Upload();
    if (!generate_pending_) return;
    generate_pending_ = false;
    context_.Activate();
    if (!Name()) return;
    BindForUpload();
    if (base_level_) glTexParameteri(target_, GL_TEXTURE_BASE_LEVEL, 0);
    glGenerateMipmap(target_);
    if (base_level_) glTexParameteri(target_, GL_TEXTURE_BASE_LEVEL, static_cast<GLint>(base_level_));
}

bool GlImage::EnsureMemory() {
    if (!memory_) memory_.reset(new (std::nothrow) u8[Bytes()]());
    return memory_ != nullptr;
}

u8* GlImage::Memory(u32 face, u32 level) {
    if (!EnsureMemory()) return nullptr;
    Image& image = At(face, level);
    u8* data = memory_.get() + image.offset;
    if (image.gl_newer && Format().target) ReadBack(face, level, data, Pitch(level));
    image.gl_newer = false;
    return data;
}

u8* GlImage::MemoryForOverwrite(u32 face, u32 level) {
    if (!EnsureMemory()) return nullptr;
    At(face, level).gl_newer = false;
    return memory_.get() + At(face, level).offset;
}

void GlImage::MarkMemoryWritten(u32 face, u32 level, const PixelRect& rect) {
    if (!desc_.in_gl || rect.Empty()) return;
    // Compressed images change by whole blocks.
    PixelRect blocks = rect;
    const u32 block = Format().block_size;
    blocks.left -= blocks.left % block;
    blocks.top -= blocks.top % block;
    blocks.right = std::min((blocks.right + block - 1) / block * block, Width(level));
    blocks.bottom = std::min((blocks.bottom + block - 1) / block * block, Height(level));
    At(face, level).dirty.Unite(blocks);
    stale_ = true;
    if (desc_.generate && level == 0) generate_pending_ = true;
}

void GlImage::Write(u32 face, u32 level, const PixelRect& rect, const u8* data, u32 pitch) {
    if (rect.Empty()) return;
    if (desc_.in_memory || memory_ || !desc_.in_gl) {
        u8* memory = Memory(face, level);
        if (!memory) return;
        const u32 block = Format().block_size, own_pitch = Pitch(level);
        const std::size_t bytes = Format().Pitch(rect.right - rect.left);
        u8* to = memory + std::size_t{rect.top / block} * own_pitch +
                 std::size_t{rect.left / block} * Format().block_bytes;
        for (u32 row = Format().Rows(rect.bottom - rect.top); row > 0;
             --row, to += own_pitch, data += pitch) {
            std::memcpy(to, data, bytes);
        }
        MarkMemoryWritten(face, level, rect);
        return;
    }
    context_.Activate();
    if (!Name()) return;
    Send(face, level, rect, data, pitch);
    if (desc_.generate && level == 0) generate_pending_ = true;
}

void GlImage::ReadBack(u32 face, u32 level, u8* data, u32 pitch) {
    context_.Activate();
    if (stale_) Upload();
    const FormatTraits& format = Format();
    context_.State().BindReadFramebuffer(context_.Framebuffer(AttachmentOf(face, level), {}));
    glPixelStorei(GL_PACK_ROW_LENGTH, static_cast<GLint>(pitch / format.block_bytes));
    glReadPixels(0, 0, static_cast<GLsizei>(Width(level)), static_cast<GLsizei>(Height(level)), format.format,
                 format.type, data);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
}

void GlImage::SetBaseLevel(u32 unit, u32 level) {
    if (level == base_level_) return;
    base_level_ = level;
    context_.State().ActiveTexture(unit);
    glTexParameteri(target_, GL_TEXTURE_BASE_LEVEL, static_cast<GLint>(level));
}

}  // namespace platform::gl
