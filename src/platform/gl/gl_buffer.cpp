#include "platform/gl/gl_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/gl/gl_device.h"

namespace platform::gl {
namespace {

constexpr u32 kDiscardSpace = 1u << 20;  // bytes that the discards of a small dynamic buffer walk through
constexpr u32 kAlignment = 256;
constexpr std::size_t kMaxStores = 4;

u32 Align(u32 value) { return (value + kAlignment - 1) / kAlignment * kAlignment; }

}  // namespace

GlBuffer::GlBuffer(GlDevice& device, u32 size, DWORD usage, D3DPOOL pool, D3DFORMAT format, DWORD fvf,
                   bool index)
    : GlObject(device),
      size_(size),
      usage_(usage),
      pool_(pool),
      format_(format),
      fvf_(fvf),
      index_(index),
      persistent_((usage & D3DUSAGE_DYNAMIC) && pool == D3DPOOL_DEFAULT &&
                  device.Context().Features().buffer_storage) {}

GlBuffer::~GlBuffer() {
    GlContext& context = Device().Context();
    context.Activate();
    const auto forget = [&](GLuint name) {
        glDeleteBuffers(1, &name);
        context.State().ForgetBuffer(name);
        Device().ForgetBuffer(name);
    };
    for (const Store& store : stores_) {
        if (store.fence) glDeleteSync(store.fence);
        forget(store.name);
    }
    if (name_ && stores_.empty()) forget(name_);
}

bool GlBuffer::EnsureMemory() {
    if (!memory_) memory_.reset(new (std::nothrow) u8[size_]());
    return memory_ != nullptr;
}

bool GlBuffer::MakeStore() {
    GlContext& context = Device().Context();
    context.Activate();
    capacity_ = std::max(Align(size_), std::min(kDiscardSpace, Align(size_) * 16));
    Store store;
    glGenBuffers(1, &store.name);
    context.State().BindCopyWriteBuffer(store.name);
    const GLbitfield read = (usage_ & D3DUSAGE_WRITEONLY) ? 0 : GL_MAP_READ_BIT;
    const GLbitfield access = GL_MAP_WRITE_BIT | read | GL_MAP_PERSISTENT_BIT | GL_MAP_COHERENT_BIT;
    glBufferStorage(GL_COPY_WRITE_BUFFER, capacity_, nullptr, access);
    store.mapped = static_cast<u8*>(glMapBufferRange(GL_COPY_WRITE_BUFFER, 0, capacity_, access));
    if (!store.mapped) {
        glDeleteBuffers(1, &store.name);
        context.State().ForgetBuffer(store.name);
        return false;
    }
    stores_.reserve(kMaxStores);
    stores_.push_back(store);
    return true;
}

void GlBuffer::UseStore(std::size_t store, u32 base) {
    current_ = store;
    base_ = base;
    name_ = stores_[store].name;
    mapped_ = stores_[store].mapped + base;
    used_ = false;
}

// Moves on to a part that no draw reads: further on in the same store, or another store whose draws are done.
void GlBuffer::Discard() {
    const u32 next = base_ + Align(size_);
    if (next + size_ <= capacity_) {
        UseStore(current_, next);
        return;
    }
    Device().Context().Activate();
    Store& full = stores_[current_];
    if (full.fence) glDeleteSync(full.fence);
    full.fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    const std::size_t candidate = (current_ + 1) % stores_.size();
    Store& oldest = stores_[candidate];
    const bool free =
        candidate != current_ && oldest.fence && glClientWaitSync(oldest.fence, 0, 0) != GL_TIMEOUT_EXPIRED;
    if (!free && stores_.size() < kMaxStores && MakeStore()) {
        // Behind the current one, so that the stores stay in order of age.
        std::rotate(stores_.begin() + static_cast<std::ptrdiff_t>(current_) + 1, stores_.end() - 1,
                    stores_.end());
        UseStore(current_ + 1, 0);
        return;
    }
    Store& chosen = stores_[candidate];
    if (!free && chosen.fence) glClientWaitSync(chosen.fence, GL_SYNC_FLUSH_COMMANDS_BIT, GL_TIMEOUT_IGNORED);
    if (chosen.fence) glDeleteSync(chosen.fence);
    chosen.fence = nullptr;
    UseStore(candidate, 0);
}

HRESULT GlBuffer::LockRange(u32 offset, u32 size, void** data, DWORD flags) {
    if (!data) return D3DERR_INVALIDCALL;
    *data = nullptr;
    if (offset > size_ || size > size_ - offset) return D3DERR_INVALIDCALL;
    if (size == 0) size = size_ - offset;

    if (persistent_ && stores_.empty()) {
        persistent_ = MakeStore();
        if (persistent_) UseStore(0, 0);
    }
    if (persistent_ && !memory_ && locks_ == 0 && used_) {
        if (flags & D3DLOCK_DISCARD) {
            Discard();
        } else if (!(flags & (D3DLOCK_NOOVERWRITE | D3DLOCK_READONLY))) {
            // A plain lock may overwrite what earlier draws read, and keeps the other bytes.
            if (!EnsureMemory()) return E_OUTOFMEMORY;
            std::memcpy(memory_.get(), mapped_, size_);
        }
    }
    if (persistent_ && !memory_) {
        ++locks_;
        *data = mapped_ + offset;
        return D3D_OK;
    }
    if (!EnsureMemory()) return E_OUTOFMEMORY;
    if (!(flags & D3DLOCK_READONLY)) {
        const bool none = pending_first_ >= pending_last_;
        pending_first_ = none ? offset : std::min(pending_first_, offset);
        pending_last_ = none ? offset + size : std::max(pending_last_, offset + size);
    }
    ++locks_;
    *data = memory_.get() + offset;
    return D3D_OK;
}

HRESULT GlBuffer::UnlockRange() {
    if (locks_ == 0) return D3DERR_INVALIDCALL;
    if (--locks_ == 0 && pending_first_ < pending_last_) {
        const bool none = dirty_first_ >= dirty_last_;
        dirty_first_ = none ? pending_first_ : std::min(dirty_first_, pending_first_);
        dirty_last_ = none ? pending_last_ : std::max(dirty_last_, pending_last_);
        pending_first_ = pending_last_ = 0;
    }
    return D3D_OK;
}

void GlBuffer::Upload() {
    if (persistent_) {
        const bool moved = used_;
        if (moved) Discard();
        const u32 first = moved ? 0 : dirty_first_, last = moved ? size_ : dirty_last_;
        std::memcpy(mapped_ + first, memory_.get() + first, last - first);
        dirty_first_ = dirty_last_ = 0;
        return;
    }
    GlContext& context = Device().Context();
    context.Activate();
    if (!name_) {
        glGenBuffers(1, &name_);
        context.State().BindCopyWriteBuffer(name_);
        const GLenum usage = (usage_ & D3DUSAGE_DYNAMIC) ? GL_DYNAMIC_DRAW : GL_STATIC_DRAW;
        glBufferData(GL_COPY_WRITE_BUFFER, size_, memory_.get(), usage);
    } else {
        context.State().BindCopyWriteBuffer(name_);
        glBufferSubData(GL_COPY_WRITE_BUFFER, dirty_first_, dirty_last_ - dirty_first_,
                        memory_.get() + dirty_first_);
    }
    dirty_first_ = dirty_last_ = 0;
}

void GlBuffer::MakeForDraw() {
    if (persistent_) {
        persistent_ = MakeStore();
        if (persistent_) {
            UseStore(0, 0);
            return;
        }
    }
    if (!EnsureMemory()) return;
    dirty_first_ = 0;
    dirty_last_ = size_;
    Upload();
}

HRESULT GlVertexBuffer::QueryInterface(REFIID riid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!(riid == IID_IDirect3DVertexBuffer9 || riid == IID_IDirect3DResource9 || riid == IID_IUnknown)) {
        return E_NOINTERFACE;
    }
    AddPublic();
    *object = static_cast<IDirect3DVertexBuffer9*>(this);
    return S_OK;
}

HRESULT GlVertexBuffer::GetDesc(D3DVERTEXBUFFER_DESC* desc) {
    if (!desc) return D3DERR_INVALIDCALL;
    *desc = {format_, D3DRTYPE_VERTEXBUFFER, usage_, pool_, size_, fvf_};
    return D3D_OK;
}

HRESULT GlIndexBuffer::QueryInterface(REFIID riid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!(riid == IID_IDirect3DIndexBuffer9 || riid == IID_IDirect3DResource9 || riid == IID_IUnknown)) {
        return E_NOINTERFACE;
    }
    AddPublic();
    *object = static_cast<IDirect3DIndexBuffer9*>(this);
    return S_OK;
}

HRESULT GlIndexBuffer::GetDesc(D3DINDEXBUFFER_DESC* desc) {
    if (!desc) return D3DERR_INVALIDCALL;
    *desc = {format_, D3DRTYPE_INDEXBUFFER, usage_, pool_, size_};
    return D3D_OK;
}

DWORD GlBuffer::ChangePriority(DWORD priority) {
    const DWORD old = priority_;
    if (pool_ == D3DPOOL_MANAGED) priority_ = priority;
    return old;
}

}  // namespace platform::gl
