#include "player.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "cli/error.h"
#include "cli/path.h"
#include "effects/data_object.h"
#include "material/texture.h"
#include "render/context.h"
#include "xml_file.h"

namespace host {

namespace {

// Where a scene's clip chooses a camera.
constexpr const char* kSceneEffect = "fx_simple_scene";
constexpr u32 kSceneCamera = 1;

// Has the module take data from the project's package, if it is one.
void OpenPackage(osm3d::Driver& driver, const Project& project) {
    if (project.package.empty()) return;
    std::string text;
    driver.LoadAnimation(project.package, text);
    // The module has told why.
    if (text.empty() || text != project.text)
        throw cli::Error(fmt::format("{}: cannot be loaded as a package", project.package));
}

}  // namespace

std::unique_ptr<osm3d::DataObject> LoadDataItem(osm3d::Driver& driver, const Project& project,
                                                const DataItem& item, std::string& why) {
    if (!project.package.empty()) {
        std::unique_ptr<osm3d::DataObject> data(driver.LoadData(item.Key()));
        if (!data)
            why =
                fmt::format("{}: {} \"{}\" is not in the package", item.place, item.kind, Quoted(item.name));
        return data;
    }
    std::error_code error;
    if (!std::filesystem::is_regular_file(cli::ToPath(item.path), error)) {
        why = fmt::format("{}: {} is not there (data \"{}\")", item.place, Quoted(item.path),
                          Quoted(item.name));
        return nullptr;
    }
    std::unique_ptr<osm3d::DataObject> data(driver.LoadData(item.path));
    if (!data) {
        why =
            item.kind == "scene"
                ? fmt::format("{}: cannot be loaded as a scene: om2 check {} says why", item.place, item.path)
                : fmt::format("{}: {} is of no kind that the module loads", item.place, item.path);
    } else if (data->GetType() == osm3d::kDataTexture &&
               !static_cast<osm3d::TextureData*>(data.get())->texture->GetDeviceTexture()) {
        why = fmt::format("{}: {} cannot be read as an image", item.place, item.path);
        data.reset();
    }
    return data;
}

Player::Player(Module& module, const Project& project, const EffectLibrary& library, unsigned width,
               unsigned height)
    : Player(module, project, library, MakeHiddenWindow(width, height)) {}

Player::Player(Module& module, const Project& project, const EffectLibrary& library,
               std::unique_ptr<PictureWindow> window)
    : driver_(module.Driver()),
      project_(project),
      library_(library),
      factory_(library),
      window_(std::move(window)) {
    driver_.GetPlayback()->Start(window_->Handle(), nullptr, window_->Width(), window_->Height(), 32, true,
                                 project_.samples / 2);
    driver_.SetControllerFactory(&factory_);
    driver_.GetPlayback()->GetContext()->clearColor = {project.background[0], project.background[1],
                                                       project.background[2], 0.0f};
    WarnOfSamples();
    try {
        LoadData();
        MakeEffects();
    } catch (...) {
        Stop();
        throw;
    }
}

Player::~Player() { Stop(); }

// The module goes without multisampling where the device does not offer it.
void Player::WarnOfSamples() {
    ComPtr<IDirect3DSurface9> target;
    D3DSURFACE_DESC desc{};
    driver_.GetPlayback()->GetContext()->device->GetRenderTarget(0, target.Put());
    if (project_.samples > 0 && target && SUCCEEDED(target->GetDesc(&desc)) &&
        desc.MultiSampleType == D3DMULTISAMPLE_NONE)
        std::fprintf(stderr,
                     "osmplay: this machine's device does not offer %u samples a pixel: there is one\n",
                     project_.samples);
}

void Player::Stop() {
    if (timeline_) timeline_->Shutdown();
    timeline_.reset();
    clips_.clear();
    for (osm3d::Effect* effect : effects_) effect->Release();
    effects_.clear();
    data_.clear();
    copy_.Reset();
    resolved_.Reset();
    driver_.SetControllerFactory(nullptr);
    driver_.GetPlayback()->Stop();
}

void Player::LoadData() {
    OpenPackage(driver_, project_);
    for (const DataItem& item : project_.data) {
        std::string why;
        data_[item.name] = LoadDataItem(driver_, project_, item, why);
        if (!why.empty()) throw cli::Error(why);
    }
}

osm3d::Effect* Player::MakeEffect(const std::string& name, const std::string& place) {
    const EffectEntry* entry = library_.Find(name);
    osm3d::Effect* effect = entry ? driver_.LoadEffect(factory_.Definition(*entry), name) : nullptr;
    if (!effect) throw cli::Error(fmt::format("{}: the module has no effect {}", place, name));
    effects_.push_back(effect);
    if (effect->IsTransition() != (entry->role == Role::Transition))
        throw cli::Error(fmt::format("{}: the effect library calls {} a {}, which it is not", place, name,
                                     RoleName(entry->role)));
    return effect;
}

PlayingClip Player::MakeClip(const Clip& clip) {
    PlayingClip playing;
    playing.clip = &clip;
    playing.effect = MakeEffect(clip.effect->name, clip.place);
    playing.effect->SetInstanceName(clip.name);
    playing.effect->SetStart(static_cast<f32>(clip.start));
    playing.effect->SetLength(static_cast<f32>(clip.length));

    const osm3d::SceneData* scene = nullptr;
    ClipContext context;
    context.length = clip.length;
    context.find_data = [&](const std::string& name) -> osm3d::DataObject* {
        const auto found = data_.find(name);
        if (found == data_.end()) return nullptr;
        if (found->second->GetType() == osm3d::kDataScene)
            scene = static_cast<const osm3d::SceneData*>(found->second.get());
        return found->second.get();
    };
    ProjectNode node(clip);
    playing.effect->LoadState(&node, &context);
    if (clip.effect->name == kSceneEffect) {
        playing.leaves_target = scene == nullptr;
        playing.follows_view = scene && scene->followsView;
        // Another clip may leave its camera as the scene's current one.
        if (scene && scene->ownCamera >= 0 && playing.effect->GetControllerCount() > kSceneCamera &&
            !clip.Find(clip.effect->parameters[kSceneCamera].name)) {
            static_cast<ProjectController*>(playing.effect->GetController(kSceneCamera))
                ->SetNumber(scene->ownCamera);
            playing.effect->ApplyAll();
        }
    }
    for (const auto& content : clip.contents) playing.contents.push_back(MakeClips(content));
    return playing;
}

std::vector<PlayingClip> Player::MakeClips(const std::vector<Clip>& clips) {
    std::vector<PlayingClip> out;
    for (const Clip& clip : clips) out.push_back(MakeClip(clip));
    return out;
}

void Player::MakeEffects() {
    for (const Project::Layer& layer : project_.layers)
        for (const Clip& clip : layer.clips) clips_.push_back(MakeClip(clip));
    // Every effect but a scene clears what is there.
    osm3d::Effect* eraser = driver_.CreateEffect("fx_simple_color");
    if (!eraser) throw cli::Error("the module has no effect fx_simple_color");
    effects_.push_back(eraser);
    timeline_ = std::make_unique<Timeline>(clips_, *eraser);
    timeline_->Init();
}

void Player::Draw(double seconds) {
    window_->Attend();
    if (!timeline_->Draw(seconds)) driver_.GetPlayback()->DrawEmptyFrame();
}

void CheckData(Module& module, const Project& project, Mistakes& mistakes) {
    constexpr unsigned kSize = 16;
    osm3d::Driver& driver = module.Driver();
    const std::unique_ptr<PictureWindow> window = MakeHiddenWindow(kSize, kSize);
    const bool has_device = driver.GetPlayback()->IsStarted();
    if (!has_device) driver.GetPlayback()->Start(window->Handle(), nullptr, kSize, kSize, 32, true, 0);
    try {
        OpenPackage(driver, project);
        for (const DataItem& item : project.data) {
            if (item.path.empty()) continue;
            std::string why;
            LoadDataItem(driver, project, item, why);
            if (!why.empty()) mistakes.push_back(why);
        }
    } catch (const cli::Error& error) {
        mistakes.emplace_back(error.what());
    }
    if (!has_device) driver.GetPlayback()->Stop();
    std::error_code error;
    if (!project.sound.path.empty() && project.package.empty() &&
        !std::filesystem::is_regular_file(cli::ToPath(project.sound.path), error))
        mistakes.push_back(
            fmt::format("{}: {} is not there (sound)", project.sound.place, Quoted(project.sound.path)));
}

const Picture& Player::Grab() {
    Grab(picture_);
    return picture_;
}

void Player::Grab(Picture& picture) {
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
    picture.width = desc.Width;
    picture.height = desc.Height;
    picture.rgb.resize(3 * static_cast<std::size_t>(desc.Width) * desc.Height);
    std::uint8_t* out = picture.rgb.data();
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
