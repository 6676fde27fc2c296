// osmplay export: a project and its data in one file.
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/error.h"
#include "cli/path.h"
#include "cli/whole_file.h"
#include "commands.h"
#include "effects/data_object.h"
#include "module.h"
#include "picture_window.h"
#include "player.h"
#include "project.h"
#include "sound_text.h"

namespace host {
namespace {

class Document final : public osm3d::HostDocument, private osm3d::HostDataList {
  public:
    explicit Document(std::string text) : text_(std::move(text)) {}

    void Add(std::unique_ptr<osm3d::DataObject> data) { data_.push_back(std::move(data)); }

    osm3d::HostDataList* GetDataList() override { return this; }
    std::string GetProjectText() override { return text_; }

  private:
    u32 GetCount() override { return static_cast<u32>(data_.size()); }
    osm3d::DataObject* GetItem(u32 index) override { return data_[index].get(); }

    const std::string text_;
    std::vector<std::unique_ptr<osm3d::DataObject>> data_;
};

// The device that data is loaded for.
class Playback {
  public:
    explicit Playback(osm3d::Driver& driver) : driver_(driver), window_(MakeHiddenWindow(kSize, kSize)) {
        driver_.GetPlayback()->Start(window_->Handle(), nullptr, kSize, kSize, 32, true, 0);
    }
    ~Playback() { driver_.GetPlayback()->Stop(); }
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

  private:
    static constexpr unsigned kSize = 16;
    osm3d::Driver& driver_;
    std::unique_ptr<PictureWindow> window_;
};

}  // namespace

void Export(const Common& common, const ExportOptions& options) {
    RequireFile(options.in);
    const EffectLibrary library(LibraryPath(common));
    const Project project = ReadProject(options.in, library);
    Module module(ModulePath(common));
    osm3d::Driver& driver = module.Driver();
    const Playback playback(driver);
    std::string text = project.text;
    const bool has_sound = !project.sound.path.empty();
    const bool packed = options.loadable && has_sound && AppendSound(text, project.sound.path);
    Document document(std::move(text));
    for (const DataItem& item : project.data) {
        std::string why;
        std::unique_ptr<osm3d::DataObject> data = LoadDataItem(driver, project, item, why);
        if (!data) throw cli::Error(why);
        // The path is what the package calls it.
        data->GetPath() = item.Key();
        document.Add(std::move(data));
    }
    cli::WholeFile file(options.out);
    file.CloseHandle();
    if (options.loadable)
        driver.ExportLoadable(&document, file.Beside());
    else
        driver.ExportAnimation(&document, file.Beside());
    std::error_code error;
    const auto size = std::filesystem::file_size(cli::ToPath(file.Beside()), error);
    if (error || size == 0) throw cli::Error(fmt::format("{}: could not be exported", options.in));
    file.Commit();
    fmt::print("{}: {} KB{}\n", options.out, (size + 1023) / 1024,
               options.loadable ? ", to be played in place of the project" : "");
    if (options.loadable && has_sound && !packed)
        fmt::print("  its sound stays a file of its own: {}\n", project.sound.path);
}

}  // namespace host
