#include "platform/gl/egl_context.h"

#include <epoxy/egl.h>

namespace platform::gl {
namespace {

// The display is shared by all contexts and stays initialised for the life of the process.
EGLDisplay OpenDisplay() {
    const auto start = [](EGLDisplay display) {
        return display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr) &&
               eglBindAPI(EGL_OPENGL_API);
    };
    if (epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_EXT_platform_base")) {
        if (epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_MESA_platform_surfaceless")) {
            const EGLDisplay display =
                eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
            if (start(display)) return display;
        }
        if (epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_EXT_device_enumeration") &&
            epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_EXT_platform_device")) {
            EGLDeviceEXT devices[8];
            EGLint count = 0;
            if (eglQueryDevicesEXT(8, devices, &count)) {
                for (EGLint i = 0; i < count; ++i) {
                    const EGLDisplay display =
                        eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
                    if (start(display)) return display;
                }
            }
        }
    }
    const EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    return start(display) ? display : EGL_NO_DISPLAY;
}

EGLDisplay Display() {
    static const EGLDisplay display = OpenDisplay();
    return display;
}

class EglContext final : public GlContext {
  public:
    explicit EglContext(EGLContext context) : context_(context) {}
    ~EglContext() override {
        Stop();
        eglMakeCurrent(Display(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(Display(), context_);
    }

  protected:
    bool Bind() override {
        eglBindAPI(EGL_OPENGL_API);
        return eglMakeCurrent(Display(), EGL_NO_SURFACE, EGL_NO_SURFACE, context_) == EGL_TRUE;
    }
    bool IsBound() const override { return eglGetCurrentContext() == context_; }

  private:
    EGLContext context_;
};

}  // namespace

std::unique_ptr<GlContext> MakeEglContext() {
    const EGLDisplay display = Display();
    if (display == EGL_NO_DISPLAY || !epoxy_has_egl_extension(display, "EGL_KHR_surfaceless_context"))
        return nullptr;
    eglBindAPI(EGL_OPENGL_API);

    EGLConfig config = nullptr;
    if (!epoxy_has_egl_extension(display, "EGL_KHR_no_config_context")) {
        const EGLint wanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_DONT_CARE,
                                 EGL_NONE};
        EGLint count = 0;
        if (!eglChooseConfig(display, wanted, &config, 1, &count) || count < 1) return nullptr;
    }
    const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION,
                                 3,
                                 EGL_CONTEXT_MINOR_VERSION,
                                 3,
                                 EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                 EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                                 EGL_NONE};
    const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, attributes);
    if (context == EGL_NO_CONTEXT) return nullptr;
    return std::make_unique<EglContext>(context);
}

}  // namespace platform::gl
