// A DLL that looks for a resource of its own through the engine's platform code.
#include "platform/system/system.h"

extern "C" __declspec(dllexport) u32 FindOwnResource(u32 id, const u8** data);

u32 FindOwnResource(u32 id, const u8** data) {
    const auto found = platform::GetModuleResource(id);
    *data = found.data();
    return static_cast<u32>(found.size());
}
