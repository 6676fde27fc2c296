// The basic Windows types that the Direct3D 9 interface is written in. Included through
// "platform/d3d9/d3d9.h" where the system has none of its own.
#pragma once

#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using INT = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using SHORT = std::int16_t;
using FLOAT = float;
using BOOL = std::int32_t;
using HRESULT = std::int32_t;
using CHAR = char;
using LPCSTR = const char*;

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#ifndef CONST
#define CONST const
#endif
#define STDMETHODCALLTYPE
#define WINAPI

// NOLINTBEGIN(bugprone-reserved-identifier): published names
struct HWND__;
using HWND = HWND__*;
struct HMONITOR__;
using HMONITOR = HMONITOR__*;
struct HINSTANCE__;
using HINSTANCE = HINSTANCE__*;
using HMODULE = HINSTANCE;
struct HDC__;
using HDC = HDC__*;
// NOLINTEND(bugprone-reserved-identifier)
using HANDLE = void*;

struct RECT {
    LONG left, top, right, bottom;
};
struct POINT {
    LONG x, y;
};
struct SIZE {
    LONG cx, cy;
};
struct RGNDATAHEADER {
    DWORD dwSize, iType, nCount, nRgnSize;
    RECT rcBound;
};
struct RGNDATA {
    RGNDATAHEADER rdh;
    char Buffer[1];
};
struct LARGE_INTEGER {
    std::int64_t QuadPart;
};

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2, Data3;
    std::uint8_t Data4[8];
    friend constexpr bool operator==(const GUID& a, const GUID& b) {
        for (int i = 0; i < 8; ++i) {
            if (a.Data4[i] != b.Data4[i]) return false;
        }
        return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3;
    }
};
using IID = GUID;
using REFIID = const IID&;
using REFGUID = const GUID&;

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
#define MAKE_HRESULT(sev, fac, code)                                \
    (static_cast<HRESULT>((static_cast<std::uint32_t>(sev) << 31) | \
                          (static_cast<std::uint32_t>(fac) << 16) | static_cast<std::uint32_t>(code)))
#define MAKEFOURCC(a, b, c, d)                                                                    \
    (static_cast<DWORD>(static_cast<BYTE>(a)) | (static_cast<DWORD>(static_cast<BYTE>(b)) << 8) | \
     (static_cast<DWORD>(static_cast<BYTE>(c)) << 16) | (static_cast<DWORD>(static_cast<BYTE>(d)) << 24))

#define S_OK (static_cast<HRESULT>(0))
#define S_FALSE (static_cast<HRESULT>(1))
#define E_NOTIMPL (static_cast<HRESULT>(0x80004001u))
#define E_NOINTERFACE (static_cast<HRESULT>(0x80004002u))
#define E_POINTER (static_cast<HRESULT>(0x80004003u))
#define E_FAIL (static_cast<HRESULT>(0x80004005u))
#define E_OUTOFMEMORY (static_cast<HRESULT>(0x8007000Eu))
#define E_INVALIDARG (static_cast<HRESULT>(0x80070057u))
