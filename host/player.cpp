#include "player.h"

#include <fmt/format.h>

#include <chrono>
#include <cstring>
#include <filesystem>

#include "cli/error.h"
#include "effects/data_object.h"
#include "material/texture.h"
#include "render/context.h"

namespace host {

Player::Player(Module& module, const Project& project, const EffectLibrary& library, unsigned width,
               unsigned height)
    : driver_(module.Driver()),
      project_(project),
      factory_(library),
      window_(platform::MakeOffscreenWindow(width, height)) {
    driver_.GetPlayback()->Start(window_->Handle(), nullptr, width, height, 32, true, 0);
    driver_.SetControllerFactory(&factory_);
    driver_.GetPlayback()->GetContext()->clearColor = {project.background[0], project.background[1],
                                                       project.background[2], 0.0f};
    try {
        LoadData();
        MakeEffects();
    } catch (...) {
        Stop();
        throw;
    }
}

Player::~Player() { Stop(); }

void Player::Stop() {
    for (Playing& playing : clips_) {
        playing.effect->Shutdown();
        playing.effect->Release();
    }
    clips_.clear();
    data_.clear();
    copy_.Reset();
    resolved_.Reset();
    driver_.SetControllerFactory(nullptr);
    driver_.GetPlayback()->Stop();
}

void Player::LoadData() {
    for (const DataItem& item : project_.data) {
        std::error_code error;
        if (!std::filesystem::is_regular_file(item.path, error))
            throw cli::Error(
                fmt::format("{}: {} is not there (data \"{}\")", item.place, item.path, item.name));
        std::unique_ptr<osm3d::DataObject> data(driver_.LoadData(item.path));
        if (!data && item.kind == "scene")
            throw cli::Error(
                fmt::format("{}: cannot be loaded as a scene: om2 check {} says why", item.path, item.path));
        if (!data)
            throw cli::Error(
                fmt::format("{}: {} is of no kind that the module loads", item.place, item.path));
        if (data->GetType() == osm3d::kDataTexture &&
            !static_cast<osm3d::TextureData*>(data.get())->texture->GetDeviceTexture())
            throw cli::Error(fmt::format("{}: {} cannot be read as an image", item.place, item.path));
        data_[item.name] = std::move(data);
    }
}

void Player::MakeEffects() {
    ClipContext context;
    context.file = project_.file.get();
    context.find_data = [this](const std::string& name) -> osm3d::DataObject* {
        const auto found = data_.find(name);
        return found == data_.end() ? nullptr : found->second.get();
    };
    for (const auto& layer : project_.layers) {
        for (const Clip& clip : layer) {
            Playing playing;
            playing.clip = &clip;
            playing.node = std::make_unique<ProjectNode>(clip.node);
            playing.effect = driver_.LoadEffect(factory_.Definition(*clip.effect), clip.name);
            if (!playing.effect)
                throw cli::Error(
                    fmt::format("{}: the module has no effect {}", clip.place, clip.effect->name));
            context.length = clip.length;
            playing.effect->SetStart(static_cast<f32>(clip.start));
            playing.effect->SetLength(static_cast<f32>(clip.length));
            playing.effect->LoadState(playing.node.get(), &context);
            playing.follows_view = FollowsView(clip);
            playing.effect->Init();
            clips_.push_back(std::move(playing));
        }
    }
}

bool Player::FollowsView(const Clip& clip) const {
    for (const pugi::xml_node& value : clip.node.children("controler")) {
        const auto found = data_.find(value.attribute("value").as_string());
        if (found != data_.end() && found->second->GetType() == osm3d::kDataScene &&
            static_cast<const osm3d::SceneData&>(*found->second).followsView)
            return true;
    }
    return false;
}

bool Player::IsActive(const Clip& clip, double seconds) {
    // Frame times are rounded; a frame that falls on an edge belongs to the clip that begins there.
    constexpr double kRounding = 1e-6;
    return seconds + kRounding >= clip.start && seconds + kRounding < clip.start + clip.length;
}

bool Player::HasPicture(double seconds) const {
    for (const Playing& playing : clips_)
        if (IsActive(*playing.clip, seconds)) return true;
    return false;
}

void Player::Draw(double seconds) {
    // A picture is to depend on its time alone: what follows the view gets the view of this very picture, by
    // a first round that the main one clears away.
    for (const Playing& playing : clips_) {
        if (!playing.follows_view || !IsActive(*playing.clip, seconds)) continue;
        playing.effect->Update(0, static_cast<f32>(seconds));
        playing.effect->ClearTarget();
        playing.effect->Draw();
    }
    bool opened = false;
    for (const Playing& playing : clips_) {
        if (!IsActive(*playing.clip, seconds)) continue;
        playing.effect->Update(0, static_cast<f32>(seconds));
        if (!opened) playing.effect->ClearTarget();
        opened = true;
        playing.effect->Draw();
    }
    if (!opened) driver_.GetPlayback()->DrawEmptyFrame();
}

const Picture& Player::Grab() {
    IDirect3DDevice9* device = driver_.GetPlayback()->GetContext()->device.Get();
    ComPtr<IDirect3DSurface9> target;
    D3DSURFACE_DESC desc{};
    D3DLOCKED_RECT locked{};
    bool done = SUCCEEDED(device->GetRenderTarget(0, target.Put())) && SUCCEEDED(target->GetDesc(&desc));
    if (done && !copy_) {
        done = SUCCEEDED(device->CreateOffscreenPlainSurface(desc.Width, desc.Height, desc.Format,
                                                             D3DPOOL_SYSTEMMEM, copy_.Put(), nullptr));
        if (done && desc.MultiSampleType != D3DMULTISAMPLE_NONE)
            done = SUCCEEDED(device->CreateRenderTarget(desc.Width, desc.Height, desc.Format,
                                                        D3DMULTISAMPLE_NONE, 0, FALSE, resolved_.Put(),
                                                        nullptr));
    }
    IDirect3DSurface9* source = target.Get();
    if (done && resolved_) {
        done = SUCCEEDED(device->StretchRect(target.Get(), nullptr, resolved_.Get(), nullptr, D3DTEXF_NONE));
        source = resolved_.Get();
    }
    done = done && SUCCEEDED(device->GetRenderTargetData(source, copy_.Get())) &&
           SUCCEEDED(copy_->LockRect(&locked, nullptr, D3DLOCK_READONLY));
    if (!done) throw cli::Error("the picture cannot be read back from the device");
    picture_.width = desc.Width;
    picture_.height = desc.Height;
    picture_.rgb.resize(3 * static_cast<std::size_t>(desc.Width) * desc.Height);
    std::uint8_t* out = picture_.rgb.data();
    for (UINT y = 0; y < desc.Height; ++y) {
        const auto* row =
            static_cast<const std::uint8_t*>(locked.pBits) + static_cast<std::size_t>(locked.Pitch) * y;
        for (UINT x = 0; x < desc.Width; ++x, row += 4) {
            *out++ = row[2];
            *out++ = row[1];
            *out++ = row[0];
        }
    }
    copy_->UnlockRect();
    return picture_;
}

double Player::Profile(double seconds) {
    constexpr int kFrames = 4;  // the first ones fill caches
    double taken = 0;
    for (int i = 0; i < kFrames; ++i) {
        const auto start = std::chrono::steady_clock::now();
        Draw(seconds);
        Grab();
        driver_.GetPlayback()->Present();
        taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    return taken;
}

}  // namespace host
