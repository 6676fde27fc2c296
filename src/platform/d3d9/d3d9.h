// The Direct3D 9 interface as the engine sees it. Engine code includes this header and nothing else that
// draws.
//
// On Windows it is the system's own header. Elsewhere it declares the part of the published interface that
// the engine and its tests use, with the published names, values and call forms, so that one source compiles
// for both. Left out: volume textures, additional swap chains, state blocks, palettes, queries, patches,
// private data and cursors.
//
// Portable source keeps to three habits: D3DMATRIX through `m[row][col]`, interfaces through "com_ptr.h",
// flags in DWORD variables.
#pragma once

#ifdef _WIN32

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <d3d9.h>

#else

#include "platform/d3d9/d3d9_caps.h"
#include "platform/d3d9/d3d9_interfaces.h"
#include "platform/d3d9/d3d9_types.h"

#endif
