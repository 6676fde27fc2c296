#include "fxutil/effect.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "fxutil/effect_object.h"
#include "fxutil/effect_parser.h"
#include "fxutil/effect_preprocessor.h"
#include "fxutil/texture.h"
#include "platform/system/file_path.h"
#include "platform/system/system.h"

namespace {

class ErrorBuffer final : public ID3DXBuffer {
  public:
    explicit ErrorBuffer(std::string text) : text_(std::move(text)) {}

    ULONG AddRef() override { return ++references_; }
    ULONG Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }
    void* GetBufferPointer() override { return text_.data(); }
    DWORD GetBufferSize() override { return static_cast<DWORD>(text_.size() + 1); }

  private:
    ~ErrorBuffer() = default;

    ULONG references_ = 1;
    std::string text_;
};

void Report(const std::string& text, ID3DXBuffer** errors) {
    platform::DebugString(text);
    if (errors) *errors = new ErrorBuffer(text);
}

HRESULT Create(const std::string& name, IDirect3DDevice9* device, std::string_view source,
               const D3DXMACRO* defines, ID3DXEffect** effect, ID3DXBuffer** errors) {
    fxutil::EffectMessages messages(name);
    fxutil::EffectObject* made = nullptr;
    fxutil::EffectDocument document;
    {
        fxutil::PreprocessedText text;
        if (fxutil::Preprocess(source, defines, text, messages))
            fxutil::ParseEffect(text, document, messages);
    }
    if (!messages.Any()) made = fxutil::EffectObject::Create(device, std::move(document), messages);
    if (!made) {
        Report(messages.Text(), errors);
        return D3DXERR_INVALIDDATA;
    }
    *effect = made;
    return D3D_OK;
}

bool Begin(IDirect3DDevice9* device, ID3DXInclude* include, ID3DXEffectPool* pool, ID3DXEffect** effect,
           ID3DXBuffer** errors) {
    if (errors) *errors = nullptr;
    if (effect) *effect = nullptr;
    return device && effect && !include && !pool;
}

}  // namespace

HRESULT D3DXCreateEffect(IDirect3DDevice9* device, const void* data, UINT size, const D3DXMACRO* defines,
                         ID3DXInclude* include, DWORD, ID3DXEffectPool* pool, ID3DXEffect** effect,
                         ID3DXBuffer** errors) {
    if (!Begin(device, include, pool, effect, errors) || !data) return D3DERR_INVALIDCALL;
    return Create("memory", device, {static_cast<const char*>(data), size}, defines, effect, errors);
}

HRESULT D3DXCreateEffectFromFileA(IDirect3DDevice9* device, LPCSTR file, const D3DXMACRO* defines,
                                  ID3DXInclude* include, DWORD, ID3DXEffectPool* pool, ID3DXEffect** effect,
                                  ID3DXBuffer** errors) {
    if (!Begin(device, include, pool, effect, errors) || !file) return D3DERR_INVALIDCALL;
    std::string text;
    bool read = false;
    // A name may be that of a pipe, which would be waited for.
    std::error_code error;
    const bool regular = std::filesystem::is_regular_file(platform::FilePath(file), error);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in{regular ? std::fopen(file, "rb") : nullptr,
                                                             std::fclose};
    if (in) {
        char part[4096];
        std::size_t got = 0;
        // One byte too many tells that the text is too long.
        while (text.size() <= fxutil::kMaxEffectText &&
               (got = std::fread(part, 1, sizeof(part), in.get())) > 0)
            text.append(part, got);
        read = !std::ferror(in.get());
    }
    if (!read) {
        Report(std::string(file) + ": error: the file cannot be read\n", errors);
        return D3DXERR_INVALIDDATA;
    }
    return Create(file, device, text, defines, effect, errors);
}

HRESULT D3DXCreateEffectFromResourceA(IDirect3DDevice9* device, HMODULE, LPCSTR resource,
                                      const D3DXMACRO* defines, ID3DXInclude* include, DWORD,
                                      ID3DXEffectPool* pool, ID3DXEffect** effect, ID3DXBuffer** errors) {
    if (!Begin(device, include, pool, effect, errors)) return D3DERR_INVALIDCALL;
    const auto id = reinterpret_cast<std::uintptr_t>(resource);
    // A higher one is the address of a name, and no resource here has one.
    const std::span<const u8> data =
        id <= 0xffff ? platform::GetModuleResource(static_cast<u32>(id)) : std::span<const u8>();
    const std::string name = "resource " + std::to_string(id & 0xffff);
    if (data.empty()) {
        Report(name + ": error: the module has no such resource\n", errors);
        return D3DXERR_INVALIDDATA;
    }
    return Create(name, device, {reinterpret_cast<const char*>(data.data()), data.size()}, defines, effect,
                  errors);
}
