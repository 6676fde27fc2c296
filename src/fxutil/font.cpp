#include "fxutil/font.h"

#include "platform/d3d9/com_ptr.h"

namespace {

class Font final : public ID3DXFont {
  public:
    Font(IDirect3DDevice9* device, const D3DXFONT_DESCA& desc) : device_(device), desc_(desc) {}

    ULONG AddRef() override { return ++references_; }
    ULONG Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }
    HRESULT GetDevice(IDirect3DDevice9** device) override {
        if (!device) return D3DERR_INVALIDCALL;
        *device = ComPtr<IDirect3DDevice9>(device_).Detach();
        return D3D_OK;
    }
    HRESULT GetDescA(D3DXFONT_DESCA* desc) override {
        if (!desc) return D3DERR_INVALIDCALL;
        *desc = desc_;
        return D3D_OK;
    }
    HRESULT PreloadCharacters(UINT, UINT) override { return D3D_OK; }

  private:
    ~Font() = default;

    ULONG references_ = 1;
    ComPtr<IDirect3DDevice9> device_;
    D3DXFONT_DESCA desc_;
};

}  // namespace

HRESULT D3DXCreateFontIndirectA(IDirect3DDevice9* device, const D3DXFONT_DESCA* desc, ID3DXFont** font) {
    if (!device || !desc || !font) return D3DERR_INVALIDCALL;
    *font = new Font(device, *desc);
    return D3D_OK;
}
