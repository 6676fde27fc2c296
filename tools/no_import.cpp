// In the place of import.cpp where om2 is built without the library that reads models.
#include "cli/error.h"
#include "commands.h"

namespace tools {
namespace {

[[noreturn]] void Refuse() {
    throw cli::Error("this om2 is built without import; one with it makes the same files on any system");
}

}  // namespace

void Import(const ImportOptions&) { Refuse(); }
void ListModel(const ImportOptions&) { Refuse(); }

}  // namespace tools
