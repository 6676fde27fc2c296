#include "support/recording_device.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "support/recording_device_impl.h"

namespace support {

namespace {

std::shared_ptr<Recorder> g_recorder;

IDirect3D9* MakeDirect3D(UINT) {
    if (!g_recorder || g_recorder->adapter.missing) return nullptr;
    return new RecordingDirect3D(g_recorder);
}

bool SameBytes(const void* a, const void* b, std::size_t size) { return std::memcmp(a, b, size) == 0; }

}  // namespace

RecordingSystem::RecordingSystem(const DeviceOptions& options)
    : recorder_(std::make_shared<Recorder>(options)), previous_(platform::SetDirect3D9Factory(MakeDirect3D)) {
    g_recorder = recorder_;
}

RecordingSystem::~RecordingSystem() {
    platform::SetDirect3D9Factory(previous_);
    g_recorder.reset();
}

// --------------------------------------------------------------------------------------- the adapter

RecordingDirect3D::RecordingDirect3D(std::shared_ptr<Recorder> recorder) : recorder_(std::move(recorder)) {
    recorder_->Register(this);
}

RecordingDirect3D::~RecordingDirect3D() { recorder_->Unregister(this); }

HRESULT RecordingDirect3D::QueryInterface(REFIID, void** object) {
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG RecordingDirect3D::Release() {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
}

HRESULT RecordingDirect3D::GetAdapterIdentifier(UINT, DWORD, D3DADAPTER_IDENTIFIER9* identifier) {
    *identifier = {};
    return D3D_OK;
}

UINT RecordingDirect3D::GetAdapterModeCount(UINT adapter, D3DFORMAT format) {
    recorder_->Add("GetAdapterModeCount", {adapter, format});
    return static_cast<UINT>(recorder_->adapter.modes.size());
}

HRESULT RecordingDirect3D::EnumAdapterModes(UINT, D3DFORMAT, UINT mode, D3DDISPLAYMODE* out) {
    if (mode >= recorder_->adapter.modes.size()) return D3DERR_INVALIDCALL;
    *out = recorder_->adapter.modes[mode];
    return D3D_OK;
}

HRESULT RecordingDirect3D::GetAdapterDisplayMode(UINT, D3DDISPLAYMODE* mode) {
    *mode = {1280, 1024, 60, recorder_->adapter.desktop};
    return D3D_OK;
}

HRESULT RecordingDirect3D::CheckDeviceType(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                           D3DFORMAT back_buffer_format, BOOL windowed) {
    recorder_->Add("CheckDeviceType", {adapter, type, adapter_format, back_buffer_format, windowed});
    return D3D_OK;
}

HRESULT RecordingDirect3D::CheckDeviceFormat(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                             DWORD usage, D3DRESOURCETYPE resource, D3DFORMAT format) {
    recorder_->Add("CheckDeviceFormat", {adapter, type, adapter_format, usage, resource, format});
    return recorder_->adapter.refused_formats.contains(format) ? D3DERR_NOTAVAILABLE : D3D_OK;
}

HRESULT RecordingDirect3D::CheckDeviceMultiSampleType(UINT adapter, D3DDEVTYPE type, D3DFORMAT format,
                                                      BOOL windowed, D3DMULTISAMPLE_TYPE samples,
                                                      DWORD* quality_levels) {
    recorder_->Add("CheckDeviceMultiSampleType", {adapter, type, format, windowed, samples});
    if (samples != D3DMULTISAMPLE_NONE && !recorder_->adapter.sample_types.contains(samples))
        return D3DERR_NOTAVAILABLE;
    if (quality_levels)
        *quality_levels = samples == D3DMULTISAMPLE_NONE ? 1 : recorder_->adapter.sample_levels;
    return D3D_OK;
}

HRESULT RecordingDirect3D::CheckDepthStencilMatch(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                                  D3DFORMAT target_format, D3DFORMAT depth_format) {
    recorder_->Add("CheckDepthStencilMatch", {adapter, type, adapter_format, target_format, depth_format});
    return D3D_OK;
}

HRESULT RecordingDirect3D::GetDeviceCaps(UINT, D3DDEVTYPE, D3DCAPS9* caps) {
    *caps = recorder_->adapter.caps;
    return D3D_OK;
}

HRESULT RecordingDirect3D::CreateDevice(UINT adapter, D3DDEVTYPE type, HWND focus, DWORD behaviour,
                                        D3DPRESENT_PARAMETERS* p, IDirect3DDevice9** device) {
    recorder_->Add("CreateDevice",
                   {adapter, type, behaviour, p->BackBufferWidth, p->BackBufferHeight, p->BackBufferFormat,
                    p->BackBufferCount, p->MultiSampleType, p->MultiSampleQuality, p->SwapEffect, p->Windowed,
                    p->EnableAutoDepthStencil, p->AutoDepthStencilFormat, p->Flags,
                    p->FullScreen_RefreshRateInHz, p->PresentationInterval});
    *device = nullptr;
    if (behaviour & recorder_->adapter.refused_behaviour) return D3DERR_NOTAVAILABLE;
    *device = new RecordingDevice(recorder_, this, {adapter, type, focus, behaviour}, *p);
    return D3D_OK;
}

// ------------------------------------------------------------------------------------ life of a device

RecordingDevice::RecordingDevice(std::shared_ptr<Recorder> recorder, IDirect3D9* d3d,
                                 const D3DDEVICE_CREATION_PARAMETERS& creation,
                                 const D3DPRESENT_PARAMETERS& present)
    : recorder_(std::move(recorder)), d3d_(d3d), creation_(creation), present_(present) {
    d3d_->AddRef();
    recorder_->Register(this);
    const auto surface = [&](D3DFORMAT format, DWORD usage) {
        const D3DSURFACE_DESC desc{format,
                                   D3DRTYPE_SURFACE,
                                   usage,
                                   D3DPOOL_DEFAULT,
                                   present.MultiSampleType,
                                   present.MultiSampleQuality,
                                   present.BackBufferWidth,
                                   present.BackBufferHeight};
        auto* made = new Surface(this, recorder_, desc);
        made->Bind();
        made->Release();
        return made;
    };
    const bool known = present.BackBufferFormat != D3DFMT_UNKNOWN;
    back_buffer_ = surface(known ? present.BackBufferFormat : D3DFMT_X8R8G8B8, D3DUSAGE_RENDERTARGET);
    if (present.EnableAutoDepthStencil && UnitBytes(present.AutoDepthStencilFormat) != 0)
        depth_buffer_ = surface(present.AutoDepthStencilFormat, D3DUSAGE_DEPTHSTENCIL);
    Hold(target_, back_buffer_);
    Hold(depth_, depth_buffer_);
    viewport_ = {0, 0, present.BackBufferWidth, present.BackBufferHeight, 0.0f, 1.0f};
    for (u32 stage = 0; stage < kStages; ++stage) stage_states_[stage][D3DTSS_TEXCOORDINDEX] = stage;
}

RecordingDevice::~RecordingDevice() {
    // Ending an object touches the count of this device, which must not come to its end a second time.
    references_ = 1;
    for (auto& texture : textures_) Hold(texture, nullptr);
    for (Stream& stream : streams_) Hold(stream.buffer, nullptr);
    Hold(indices_, nullptr);
    Hold(declaration_, nullptr);
    Hold(vertex_shader_, nullptr);
    Hold(pixel_shader_, nullptr);
    Hold(target_, nullptr);
    Hold(depth_, nullptr);
    Hold(back_buffer_, nullptr);
    Hold(depth_buffer_, nullptr);
    recorder_->Unregister(this);
    d3d_->Release();
}

HRESULT RecordingDevice::QueryInterface(REFIID, void** object) {
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG RecordingDevice::Release() {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
}

Call* RecordingDevice::Set(std::string_view name, std::initializer_list<i64> args, bool same, bool is_state) {
    Totals& totals = recorder_->totals;
    if (same) ++totals.redundant_sets;
    if (is_state) ++totals.state_sets;
    if (is_state && same) ++totals.redundant_state_sets;
    Call* call = recorder_->Add(name, args);
    if (call) call->redundant = same;
    return call;
}

HRESULT RecordingDevice::GetDirect3D(IDirect3D9** d3d) { return Give(d3d_, d3d); }

HRESULT RecordingDevice::GetDeviceCaps(D3DCAPS9* caps) {
    *caps = recorder_->adapter.caps;
    return D3D_OK;
}

HRESULT RecordingDevice::GetDisplayMode(UINT, D3DDISPLAYMODE* mode) {
    return d3d_->GetAdapterDisplayMode(0, mode);
}

HRESULT RecordingDevice::GetCreationParameters(D3DDEVICE_CREATION_PARAMETERS* parameters) {
    *parameters = creation_;
    return D3D_OK;
}

HRESULT RecordingDevice::Reset(D3DPRESENT_PARAMETERS* parameters) {
    recorder_->Add("Reset", {parameters->BackBufferWidth, parameters->BackBufferHeight});
    return D3D_OK;
}

HRESULT RecordingDevice::Present(const RECT*, const RECT*, HWND, const RGNDATA*) {
    ++recorder_->totals.presents;
    recorder_->Add("Present", {});
    if (in_scene_) recorder_->Fault("present inside a scene");
    return D3D_OK;
}

HRESULT RecordingDevice::GetBackBuffer(UINT, UINT, D3DBACKBUFFER_TYPE, IDirect3DSurface9** surface) {
    return Give(back_buffer_, surface);
}

// ------------------------------------------------------------------------------------------- resources

bool RecordingDevice::CanCreate(UINT width, UINT height, D3DFORMAT format) const {
    const AdapterModel& adapter = recorder_->adapter;
    return !adapter.refuse_resources && width > 0 && height > 0 && width <= adapter.caps.MaxTextureWidth &&
           height <= adapter.caps.MaxTextureHeight && UnitBytes(format) != 0;
}

namespace {

// 0 asks for the whole chain; -1 (as unsigned) and other numbers past its end do not exist.
u32 LevelCount(UINT width, UINT height, UINT levels, DWORD usage) {
    const u32 all = static_cast<u32>(std::bit_width(std::max(width, height)));
    if (usage & D3DUSAGE_AUTOGENMIPMAP) return 1;
    return levels == 0 ? all : levels;
}

}  // namespace

HRESULT RecordingDevice::CreateTexture(UINT width, UINT height, UINT levels, DWORD usage, D3DFORMAT format,
                                       D3DPOOL pool, IDirect3DTexture9** texture, HANDLE*) {
    recorder_->Add("CreateTexture", {width, height, levels, usage, format, pool});
    *texture = nullptr;
    const u32 count = LevelCount(width, height, levels, usage);
    if (!CanCreate(width, height, format) || count > 32 || count > std::bit_width(std::max(width, height)))
        return D3DERR_INVALIDCALL;
    const D3DSURFACE_DESC desc{format, D3DRTYPE_SURFACE, usage, pool, D3DMULTISAMPLE_NONE, 0, width, height};
    *texture = new Texture(this, recorder_, desc, count);
    return D3D_OK;
}

HRESULT RecordingDevice::CreateCubeTexture(UINT edge, UINT levels, DWORD usage, D3DFORMAT format,
                                           D3DPOOL pool, IDirect3DCubeTexture9** texture, HANDLE*) {
    recorder_->Add("CreateCubeTexture", {edge, levels, usage, format, pool});
    *texture = nullptr;
    const u32 count = LevelCount(edge, edge, levels, usage);
    if (!CanCreate(edge, edge, format) || count > 32 || count > std::bit_width(edge))
        return D3DERR_INVALIDCALL;
    const D3DSURFACE_DESC desc{format, D3DRTYPE_SURFACE, usage, pool, D3DMULTISAMPLE_NONE, 0, edge, edge};
    *texture = new CubeTexture(this, recorder_, desc, count);
    return D3D_OK;
}

HRESULT RecordingDevice::CreateVertexBuffer(UINT length, DWORD usage, DWORD fvf, D3DPOOL pool,
                                            IDirect3DVertexBuffer9** buffer, HANDLE*) {
    recorder_->Add("CreateVertexBuffer", {length, usage, fvf, pool});
    *buffer = nullptr;
    if (length == 0 || recorder_->adapter.refuse_resources) return D3DERR_INVALIDCALL;
    *buffer = new VertexBuffer(this, recorder_,
                               {D3DFMT_VERTEXDATA, D3DRTYPE_VERTEXBUFFER, usage, pool, length, fvf});
    return D3D_OK;
}

HRESULT RecordingDevice::CreateIndexBuffer(UINT length, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                                           IDirect3DIndexBuffer9** buffer, HANDLE*) {
    recorder_->Add("CreateIndexBuffer", {length, usage, format, pool});
    *buffer = nullptr;
    if (length == 0 || recorder_->adapter.refuse_resources) return D3DERR_INVALIDCALL;
    *buffer = new IndexBuffer(this, recorder_, {format, D3DRTYPE_INDEXBUFFER, usage, pool, length});
    return D3D_OK;
}

HRESULT RecordingDevice::NewSurface(std::string_view name, UINT width, UINT height, D3DFORMAT format,
                                    DWORD usage, D3DPOOL pool, IDirect3DSurface9** out) {
    recorder_->Add(name, {width, height, format});
    *out = nullptr;
    if (!CanCreate(width, height, format)) return D3DERR_INVALIDCALL;
    const D3DSURFACE_DESC desc{format, D3DRTYPE_SURFACE, usage, pool, D3DMULTISAMPLE_NONE, 0, width, height};
    *out = new Surface(this, recorder_, desc);
    return D3D_OK;
}

HRESULT RecordingDevice::CreateRenderTarget(UINT width, UINT height, D3DFORMAT format, D3DMULTISAMPLE_TYPE,
                                            DWORD, BOOL, IDirect3DSurface9** surface, HANDLE*) {
    return NewSurface("CreateRenderTarget", width, height, format, D3DUSAGE_RENDERTARGET, D3DPOOL_DEFAULT,
                      surface);
}

HRESULT RecordingDevice::CreateDepthStencilSurface(UINT width, UINT height, D3DFORMAT format,
                                                   D3DMULTISAMPLE_TYPE, DWORD, BOOL,
                                                   IDirect3DSurface9** surface, HANDLE*) {
    return NewSurface("CreateDepthStencilSurface", width, height, format, D3DUSAGE_DEPTHSTENCIL,
                      D3DPOOL_DEFAULT, surface);
}

HRESULT RecordingDevice::CreateOffscreenPlainSurface(UINT width, UINT height, D3DFORMAT format, D3DPOOL pool,
                                                     IDirect3DSurface9** surface, HANDLE*) {
    return NewSurface("CreateOffscreenPlainSurface", width, height, format, 0, pool, surface);
}

HRESULT RecordingDevice::UpdateSurface(IDirect3DSurface9* source, const RECT* source_rect,
                                       IDirect3DSurface9* dest, const POINT* dest_point) {
    recorder_->Add("UpdateSurface", {Id(source), Id(dest)});
    const bool done =
        source && dest &&
        static_cast<Surface*>(dest)->CopyFrom(*static_cast<Surface*>(source), source_rect, dest_point);
    return done ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT RecordingDevice::UpdateTexture(IDirect3DBaseTexture9* source, IDirect3DBaseTexture9* dest) {
    recorder_->Add("UpdateTexture", {Id(source), Id(dest)});
    if (!source || !dest || source->GetType() != dest->GetType()) return D3DERR_INVALIDCALL;
    const u32 levels = std::min(source->GetLevelCount(), dest->GetLevelCount());
    const bool cube = source->GetType() == D3DRTYPE_CUBETEXTURE;
    for (u32 face = 0; face < (cube ? 6u : 1u); ++face) {
        for (u32 level = 0; level < levels; ++level) {
            Surface* from = cube ? static_cast<CubeTexture*>(source)->At(face, level)
                                 : static_cast<Texture*>(source)->At(0, level);
            Surface* to = cube ? static_cast<CubeTexture*>(dest)->At(face, level)
                               : static_cast<Texture*>(dest)->At(0, level);
            if (!to->CopyFrom(*from, nullptr, nullptr)) return D3DERR_INVALIDCALL;
        }
    }
    return D3D_OK;
}

HRESULT RecordingDevice::GetRenderTargetData(IDirect3DSurface9* target, IDirect3DSurface9* dest) {
    return UpdateSurface(target, nullptr, dest, nullptr);
}

HRESULT RecordingDevice::StretchRect(IDirect3DSurface9* source, const RECT*, IDirect3DSurface9* dest,
                                     const RECT*, D3DTEXTUREFILTERTYPE filter) {
    recorder_->Add("StretchRect", {Id(source), Id(dest), filter});
    return source && dest ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT RecordingDevice::ColorFill(IDirect3DSurface9* surface, const RECT*, D3DCOLOR color) {
    recorder_->Add("ColorFill", {Id(surface), color});
    return D3D_OK;
}

// --------------------------------------------------------------------------------- targets and clears

HRESULT RecordingDevice::SetRenderTarget(DWORD index, IDirect3DSurface9* surface) {
    Set("SetRenderTarget", {index, Id(surface)}, index == 0 && surface == target_);
    if (index != 0 || !surface || Id(surface) == 0) {
        recorder_->Fault("SetRenderTarget to no surface of this device");
        return D3DERR_INVALIDCALL;
    }
    Hold(target_, surface);
    const D3DSURFACE_DESC& desc = static_cast<Surface*>(surface)->Desc();
    viewport_ = {0, 0, desc.Width, desc.Height, 0.0f, 1.0f};
    return D3D_OK;
}

HRESULT RecordingDevice::GetRenderTarget(DWORD index, IDirect3DSurface9** surface) {
    *surface = nullptr;
    return index == 0 ? Give(target_, surface) : D3DERR_INVALIDCALL;
}

HRESULT RecordingDevice::SetDepthStencilSurface(IDirect3DSurface9* surface) {
    Set("SetDepthStencilSurface", {Id(surface)}, surface == depth_);
    if (surface && Id(surface) == 0) {
        recorder_->Fault("SetDepthStencilSurface to no surface of this device");
        return D3DERR_INVALIDCALL;
    }
    Hold(depth_, surface);
    return D3D_OK;
}

HRESULT RecordingDevice::GetDepthStencilSurface(IDirect3DSurface9** surface) {
    Give(depth_, surface);
    return depth_ ? D3D_OK : D3DERR_NOTFOUND;
}

HRESULT RecordingDevice::BeginScene() {
    recorder_->Add("BeginScene", {});
    if (in_scene_) recorder_->Fault("BeginScene inside a scene");
    in_scene_ = true;
    return D3D_OK;
}

HRESULT RecordingDevice::EndScene() {
    recorder_->Add("EndScene", {});
    if (!in_scene_) recorder_->Fault("EndScene outside a scene");
    in_scene_ = false;
    return D3D_OK;
}

HRESULT RecordingDevice::Clear(DWORD count, const D3DRECT* rects, DWORD flags, D3DCOLOR color, float z,
                               DWORD stencil) {
    if (Call* call = recorder_->Add("Clear", {count, flags, color, stencil})) call->floats = {z};
    if ((count != 0) != (rects != nullptr)) recorder_->Fault("Clear with rectangles that are not there");
    return D3D_OK;
}

// ------------------------------------------------------------------------------ transforms and lighting

HRESULT RecordingDevice::SetTransform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX* matrix) {
    const auto [held, fresh] = transforms_.try_emplace(state, *matrix);
    const bool same = !fresh && SameBytes(&held->second, matrix, sizeof *matrix);
    if (Call* call = Set("SetTransform", {state}, same))
        call->floats.assign(&matrix->m[0][0], &matrix->m[0][0] + 16);
    held->second = *matrix;
    return D3D_OK;
}

HRESULT RecordingDevice::GetTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) {
    const D3DMATRIX identity{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
    const auto held = transforms_.find(state);
    *matrix = held == transforms_.end() ? identity : held->second;
    return D3D_OK;
}

HRESULT RecordingDevice::MultiplyTransform(D3DTRANSFORMSTATETYPE, const D3DMATRIX*) { return E_NOTIMPL; }

HRESULT RecordingDevice::SetViewport(const D3DVIEWPORT9* v) {
    const bool same = SameBytes(&viewport_, v, sizeof *v);
    if (Call* call = Set("SetViewport", {v->X, v->Y, v->Width, v->Height}, same))
        call->floats = {v->MinZ, v->MaxZ};
    const D3DSURFACE_DESC& target = static_cast<Surface*>(target_)->Desc();
    if (u64{v->X} + v->Width > target.Width || u64{v->Y} + v->Height > target.Height) {
        recorder_->Fault("viewport outside its target");
        return D3DERR_INVALIDCALL;
    }
    viewport_ = *v;
    return D3D_OK;
}

HRESULT RecordingDevice::GetViewport(D3DVIEWPORT9* viewport) {
    *viewport = viewport_;
    return D3D_OK;
}

HRESULT RecordingDevice::SetMaterial(const D3DMATERIAL9* m) {
    static_assert(sizeof *m == 17 * sizeof(float));
    if (Call* call = Set("SetMaterial", {}, SameBytes(&material_, m, sizeof *m))) {
        call->floats.resize(17);
        std::memcpy(call->floats.data(), m, sizeof *m);
    }
    material_ = *m;
    return D3D_OK;
}

HRESULT RecordingDevice::GetMaterial(D3DMATERIAL9* material) {
    *material = material_;
    return D3D_OK;
}

HRESULT RecordingDevice::SetLight(DWORD index, const D3DLIGHT9* l) {
    Light& held = lights_[index];
    const bool same = held.set && SameBytes(&held.light, l, sizeof *l);
    if (Call* call = Set("SetLight", {index, l->Type}, same)) {
        call->floats.resize(sizeof *l / sizeof(float) - 1);
        std::memcpy(call->floats.data(), &l->Diffuse, call->floats.size() * sizeof(float));
    }
    held.light = *l;
    held.set = true;
    return D3D_OK;
}

HRESULT RecordingDevice::GetLight(DWORD index, D3DLIGHT9* light) {
    if (!lights_[index].set) return D3DERR_INVALIDCALL;
    *light = lights_[index].light;
    return D3D_OK;
}

HRESULT RecordingDevice::LightEnable(DWORD index, BOOL enable) {
    Light& held = lights_[index];
    Set("LightEnable", {index, enable}, held.on == (enable != FALSE));
    held.on = enable != FALSE;
    u32 on = 0;
    for (const auto& [number, light] : lights_) on += light.on ? 1 : 0;
    if (on > recorder_->adapter.caps.MaxActiveLights) recorder_->Fault("more lights than the device has");
    return D3D_OK;
}

HRESULT RecordingDevice::GetLightEnable(DWORD index, BOOL* enable) {
    *enable = lights_[index].on ? TRUE : FALSE;
    return D3D_OK;
}

HRESULT RecordingDevice::SetClipPlane(DWORD index, const float* plane) {
    if (index >= recorder_->adapter.caps.MaxUserClipPlanes || index >= kClipPlanes) {
        recorder_->Fault("clip plane beyond what the device has");
        return D3DERR_INVALIDCALL;
    }
    const bool same = SameBytes(clip_planes_[index].data(), plane, sizeof clip_planes_[index]);
    if (Call* call = Set("SetClipPlane", {index}, same)) call->floats.assign(plane, plane + 4);
    std::copy_n(plane, 4, clip_planes_[index].begin());
    return D3D_OK;
}

HRESULT RecordingDevice::GetClipPlane(DWORD index, float* plane) {
    if (index >= kClipPlanes) return D3DERR_INVALIDCALL;
    std::ranges::copy(clip_planes_[index], plane);
    return D3D_OK;
}

}  // namespace support
