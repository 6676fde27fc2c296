#include "conformance/engine_cases.h"

#include <cstdio>
#include <filesystem>

#include "cli/error.h"
#include "cli/whole_file.h"

namespace conformance {

namespace {

void WriteFile(const std::string& path, const void* bytes, std::size_t size) {
    cli::WholeFile file(path);
    std::fwrite(bytes, 1, size, file.Handle());
    file.Commit();
}

}  // namespace

void CaseFolder::Bitmap(const std::string& name, const demo::Picture32& picture) const {
    const std::vector<std::uint8_t> bytes = demo::EncodePng(picture);
    WriteFile(File(name), bytes.data(), bytes.size());
}

void CaseFolder::Text(const std::string& name, const std::string& text) const {
    WriteFile(File(name), text.data(), text.size());
}

const std::vector<EngineCase>& AllEngineCases() {
    static const std::vector<EngineCase> cases = [] {
        std::vector<EngineCase> all = ProjectCases();
        for (EngineCase& entry : SceneCases()) all.push_back(std::move(entry));
        return all;
    }();
    return cases;
}

void MakeCase(const EngineCase& entry, const std::string& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    CaseFolder files(folder);
    entry.make(files);
    if (!std::filesystem::is_regular_file(files.File(entry.Source()), error))
        throw cli::Error(entry.name + ": no " + entry.Source() + " was made");
}

}  // namespace conformance
