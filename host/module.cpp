#include "module.h"

#include <fmt/format.h>

#include "cli/error.h"
#include "cli/path.h"
#include "platform/system/system.h"
#include "system.h"

namespace host {

Module::Module(const std::string& path) {
    const auto get = reinterpret_cast<osm3d::GetDriverFunction>(LoadFunction(path, osm3d::kGetDriverName));
    if (!get)
        throw cli::Error(fmt::format("{}: is not the module: it has no {}", path, osm3d::kGetDriverName));
    driver_ = get();
    driver_->SetMessageHandler(
        [](const char* text, const char* caption, u32) { platform::PrintMessage(text, caption); });
}

std::string ProgramFolder() {
    const std::string program = ProgramPath();
    return program.empty() ? "." : cli::ToText(cli::ToPath(program).parent_path());
}

}  // namespace host
