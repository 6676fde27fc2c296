// IDirect3DVertexBuffer9 and IDirect3DIndexBuffer9 over OpenGL buffers.
#pragma once

#include <memory>
#include <vector>

#include "platform/gl/gl_context.h"
#include "platform/gl/gl_object.h"

namespace platform::gl {

// What both kinds share, and what the pipeline binds.
//
// A static buffer keeps its bytes in memory; what a lock changed goes to OpenGL before the next draw. A
// dynamic one is a small ring of buffers that stay mapped: a lock is a pointer, D3DLOCK_DISCARD moves on to a
// buffer that the graphics processor has done with. So the name changes with a discard: ask for it at each
// draw. One that is locked without a flag between draws keeps its bytes in memory from then on, and its next
// draw moves on with a copy of all of them: nobody waits for the draws before.
class GlBuffer : public GlObject {
  public:
    // Brings OpenGL up to date and returns the buffer's name. Call at each draw that reads it.
    GLuint Prepare() {
        if (dirty_first_ < dirty_last_) Upload();
        if (!name_) MakeForDraw();
        used_ = true;
        return name_;
    }
    // Where this buffer's bytes start within the OpenGL buffer, a multiple of 256: to be added to every
    // offset. Valid after Prepare, until the next lock.
    u32 BaseOffset() const { return base_; }
    u32 Size() const { return size_; }
    DWORD Usage() const { return usage_; }
    bool Index() const { return index_; }
    // GL_UNSIGNED_SHORT or GL_UNSIGNED_INT of an index buffer.
    GLenum IndexType() const { return format_ == D3DFMT_INDEX32 ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT; }
    u32 IndexBytes() const { return format_ == D3DFMT_INDEX32 ? 4 : 2; }
    // The bytes as the application wrote them, for work on the processor. Slow to read on a dynamic buffer.
    const u8* Bytes() const { return memory_ ? memory_.get() : mapped_; }

  protected:
    GlBuffer(GlDevice& device, u32 size, DWORD usage, D3DPOOL pool, D3DFORMAT format, DWORD fvf, bool index);
    ~GlBuffer() override;

    // Size 0 locks to the end. INVALIDCALL for ranges outside and a null place.
    HRESULT LockRange(u32 offset, u32 size, void** data, DWORD flags);
    HRESULT UnlockRange();
    DWORD ChangePriority(DWORD priority);

    u32 size_;
    DWORD usage_;
    D3DPOOL pool_;
    D3DFORMAT format_;
    DWORD fvf_;
    DWORD priority_ = 0;

  private:
    struct Store {
        GLuint name = 0;
        u8* mapped = nullptr;
        GLsync fence = nullptr;
    };
    void Upload();
    void MakeForDraw();
    bool EnsureMemory();
    bool MakeStore();
    void UseStore(std::size_t store, u32 base);
    void Discard();

    bool index_;
    bool persistent_;    // dynamic, and the context can keep buffers mapped
    bool used_ = false;  // by a draw since the last wait or discard
    u32 locks_ = 0;
    u32 pending_first_ = 0, pending_last_ = 0;  // locked for writing
    u32 dirty_first_ = 0, dirty_last_ = 0;      // to be uploaded
    GLuint name_ = 0;
    u32 base_ = 0;
    u8* mapped_ = nullptr;
    std::unique_ptr<u8[]> memory_;
    std::vector<Store> stores_;
    u32 capacity_ = 0;  // bytes of a store
    std::size_t current_ = 0;
};

// The operations that both interfaces have.
template <class BufferInterface, D3DRESOURCETYPE kType>
class GlBufferOf : public BufferInterface, public GlBuffer {
  public:
    using GlBuffer::GlBuffer;

    ULONG AddRef() override { return AddPublic(); }
    ULONG Release() override { return ReleasePublic(); }
    HRESULT GetDevice(IDirect3DDevice9** device) override { return DeviceOut(device); }
    DWORD SetPriority(DWORD priority) override { return ChangePriority(priority); }
    DWORD GetPriority() override { return priority_; }
    void PreLoad() override { Prepare(); }
    D3DRESOURCETYPE GetType() override { return kType; }
    HRESULT Lock(UINT offset, UINT size, void** data, DWORD flags) override {
        return LockRange(offset, size, data, flags);
    }
    HRESULT Unlock() override { return UnlockRange(); }
};

class GlVertexBuffer final : public GlBufferOf<IDirect3DVertexBuffer9, D3DRTYPE_VERTEXBUFFER> {
  public:
    GlVertexBuffer(GlDevice& device, u32 size, DWORD usage, DWORD fvf, D3DPOOL pool)
        : GlBufferOf(device, size, usage, pool, D3DFMT_VERTEXDATA, fvf, false) {}

    HRESULT QueryInterface(REFIID riid, void** object) override;
    HRESULT GetDesc(D3DVERTEXBUFFER_DESC* desc) override;
};

class GlIndexBuffer final : public GlBufferOf<IDirect3DIndexBuffer9, D3DRTYPE_INDEXBUFFER> {
  public:
    GlIndexBuffer(GlDevice& device, u32 size, DWORD usage, D3DFORMAT format, D3DPOOL pool)
        : GlBufferOf(device, size, usage, pool, format, 0, true) {}

    HRESULT QueryInterface(REFIID riid, void** object) override;
    HRESULT GetDesc(D3DINDEXBUFFER_DESC* desc) override;
};

}  // namespace platform::gl
