#include "io/registry.h"

#include <map>

#include "trace/tracer.h"

namespace osmio {
namespace {

/// On demand, not a static object of its own: registrars in other files may be constructed before it would
/// be.
std::map<u32, CRSerializable*>* registry = nullptr;

}  // namespace

void RegisterChunk(CRSerializable* registrar, u32 fourcc) {
    if (!registry) registry = new std::map<u32, CRSerializable*>();
    (*registry)[fourcc] = registrar;
    trace::Trace("Registred chunk : %c, %c, %c, %c", static_cast<int>(fourcc & 0xff),
                 static_cast<int>(fourcc >> 8 & 0xff), static_cast<int>(fourcc >> 16 & 0xff),
                 static_cast<int>(fourcc >> 24));
}

void UnregisterChunk(u32 fourcc) {
    if (!registry) return;
    registry->erase(fourcc);
    if (registry->empty()) {
        delete registry;
        registry = nullptr;
    }
}

CRSerializable* FindChunkRegistrer(u32 fourcc) {
    if (!registry) return nullptr;
    const auto found = registry->find(fourcc);
    return found == registry->end() ? nullptr : found->second;
}

}  // namespace osmio
