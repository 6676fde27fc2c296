// The one place that decides whose Direct3D 9 the cases are compiled against.
#pragma once

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <d3d9.h>
#include <windows.h>
#else
#include "platform/d3d9/d3d9.h"
#endif
