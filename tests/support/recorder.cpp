#include "support/recorder.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace support {

std::string Call::Text() const {
    std::string text(name);
    text += '(';
    const char* separator = "";
    for (i64 arg : args) {
        text += separator + std::to_string(arg);
        separator = ", ";
    }
    for (f32 value : floats) {
        char digits[32];
        std::snprintf(digits, sizeof digits, "%g", static_cast<f64>(value));
        text += separator;
        text += digits;
        separator = ", ";
    }
    return text + ')';
}

AdapterModel::AdapterModel() : caps{} {
    caps.DeviceType = D3DDEVTYPE_HAL;
    caps.Caps2 = D3DCAPS2_CANAUTOGENMIPMAP | D3DCAPS2_DYNAMICTEXTURES;
    caps.RasterCaps = D3DPRASTERCAPS_FOGVERTEX | D3DPRASTERCAPS_FOGTABLE | D3DPRASTERCAPS_FOGRANGE |
                      D3DPRASTERCAPS_WFOG | D3DPRASTERCAPS_ZFOG;
    caps.StencilCaps = 0x1ff;
    caps.TextureCaps = D3DPTEXTURECAPS_CUBEMAP | D3DPTEXTURECAPS_MIPMAP | D3DPTEXTURECAPS_ALPHA;
    caps.MaxTextureWidth = 4096;
    caps.MaxTextureHeight = 4096;
    caps.MaxTextureBlendStages = 8;
    caps.MaxSimultaneousTextures = 8;
    caps.MaxActiveLights = 8;
    caps.MaxUserClipPlanes = 6;
    caps.MaxVertexBlendMatrices = 4;
    caps.MaxVertexBlendMatrixIndex = 255;
    caps.MaxPrimitiveCount = 0xffffff;
    caps.MaxVertexIndex = 0xffffff;
    caps.MaxStreams = 16;
    caps.MaxStreamStride = 508;
    caps.VertexShaderVersion = D3DVS_VERSION(1, 1);
    caps.PixelShaderVersion = D3DPS_VERSION(1, 1);
    caps.MaxVertexShaderConst = 256;
    for (UINT rate : {60u, 85u, 75u}) modes.push_back({640, 480, rate, D3DFMT_X8R8G8B8});
    modes.push_back({1024, 768, 100, D3DFMT_X8R8G8B8});
}

void Recorder::Clear() {
    calls_.clear();
    totals = {};
    faults.clear();
}

std::vector<Call> Recorder::Named(std::string_view name) const {
    std::vector<Call> found;
    std::ranges::copy_if(calls_, std::back_inserter(found),
                         [&](const Call& call) { return call.name == name; });
    return found;
}

std::vector<std::string> Recorder::Texts(std::initializer_list<std::string_view> names) const {
    std::vector<std::string> texts;
    for (const Call& call : calls_) {
        if (names.size() == 0 || std::ranges::find(names, call.name) != names.end())
            texts.push_back(call.Text());
    }
    return texts;
}

std::size_t Recorder::Count(std::string_view name, std::initializer_list<i64> args) const {
    return static_cast<std::size_t>(std::ranges::count_if(calls_, [&](const Call& call) {
        return call.name == name && call.args.size() >= args.size() &&
               std::equal(args.begin(), args.end(), call.args.begin());
    }));
}

u32 Recorder::IdOf(const void* interface) const {
    const auto found = ids_.find(interface);
    return found == ids_.end() ? 0 : found->second;
}

std::span<const u8> Recorder::Contents(const void* buffer) const {
    const auto found = contents_.find(buffer);
    return found == contents_.end() ? std::span<const u8>() : std::span<const u8>(*found->second);
}

Call* Recorder::Add(std::string_view name, std::initializer_list<i64> args) {
    if (!options.keep_calls) return nullptr;
    Call& call = calls_.emplace_back();
    call.name = name;
    call.args = args;
    return &call;
}

void Recorder::Fault(const std::string& what) {
    if (options.abort_on_fault) {
        std::fprintf(stderr, "device fault: %s\n", what.c_str());
        std::abort();
    }
    faults.push_back(what);
}

u32 Recorder::Register(const void* interface) {
    ids_[interface] = next_id_;
    return next_id_++;
}

void Recorder::RegisterContents(const void* interface, const std::vector<u8>* bytes) {
    contents_[interface] = bytes;
}

void Recorder::Unregister(const void* interface) {
    ids_.erase(interface);
    contents_.erase(interface);
}

}  // namespace support
