// Where Direct3D comes from. Engine code asks here, so that a test can stand a device of its own in its
// place.
#pragma once

#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/d3d9.h"

namespace platform {

// Makes an IDirect3D9 for a published SDK version; the caller owns the one reference. Null when there is no
// device.
using Direct3D9Factory = IDirect3D9* (*)(UINT sdk);

// Direct3DCreate9 through the factory in force. Null when the machine has no usable graphics.
ComPtr<IDirect3D9> CreateDirect3D9(UINT sdk);

// Replaces the factory; null restores the machine's own. Returns the one before (null for the machine's own).
Direct3D9Factory SetDirect3D9Factory(Direct3D9Factory factory);

}  // namespace platform
