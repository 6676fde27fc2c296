#include "source.h"

#include <fmt/format.h>

#include <filesystem>

#include "cli/error.h"

namespace host {

Source ReadSource(const std::string& path, const EffectLibrary& library) {
    return {path, ReadProject(path, library)};
}

void Open(Source&, Module&) {}

}  // namespace host
