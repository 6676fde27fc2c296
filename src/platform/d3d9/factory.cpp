#include "platform/d3d9/factory.h"

#ifndef _WIN32
#include "platform/gl/gl_direct3d9.h"
#endif

namespace platform {
namespace {

Direct3D9Factory g_factory = nullptr;

}  // namespace

ComPtr<IDirect3D9> CreateDirect3D9(UINT sdk) {
    ComPtr<IDirect3D9> result;
    if (g_factory) {
        result.Attach(g_factory(sdk));
        return result;
    }
#ifdef _WIN32
    result.Attach(Direct3DCreate9(sdk));
#else
    result.Attach(gl::GlDirect3D9::Create());
#endif
    return result;
}

Direct3D9Factory SetDirect3D9Factory(Direct3D9Factory factory) {
    const Direct3D9Factory before = g_factory;
    g_factory = factory;
    return before;
}

}  // namespace platform
