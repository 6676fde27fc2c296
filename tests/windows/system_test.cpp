// What the engine gets from Windows itself: boxes, debug strings, ticks, resources, window sizes.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <thread>

#include "platform/system/system.h"
#include "platform/system/window.h"

using namespace platform;

namespace {

// Waits for the box of that caption, reads its text and closes it.
std::string CloseBox(const char* caption) {
    for (int tries = 0; tries < 500; ++tries) {
        Sleep(20);
        const HWND box = FindWindowA("#32770", caption);
        const HWND label = box ? GetDlgItem(box, 0xffff) : nullptr;
        if (!label) continue;
        char text[100] = {};
        GetWindowTextA(label, text, sizeof text);
        PostMessageA(box, WM_COMMAND, IDOK, 0);
        return text;
    }
    return "no box";
}

TEST(WindowsSystem, ShowsBoxesUntilTheyAreClosed) {
    std::string text;
    std::thread person([&] { text = CloseBox("TracerDefault::Box"); });
    ShowMessageBox("What went wrong.", "TracerDefault::Box");
    person.join();
    EXPECT_EQ("What went wrong.", text);
}

std::string debugger_heard;

// A debugger is told of strings by an exception, which gets here first.
LONG CALLBACK Listen(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode != 0x40010006) return EXCEPTION_CONTINUE_SEARCH;
    debugger_heard += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(WindowsSystem, HandsStringsToADebugger) {
    void* listener = AddVectoredExceptionHandler(1, Listen);
    DebugString("Filename : missing.png\n");
    RemoveVectoredExceptionHandler(listener);
    EXPECT_EQ("Filename : missing.png\n", debugger_heard);
}

TEST(WindowsSystem, CountsTheSystemsTicks) {
    const u32 before = GetTickCount();
    const u32 ticks = TickCount();
    EXPECT_LE(ticks - before, GetTickCount() - before);
    const u64 cycles = CycleCount();
    EXPECT_LT(cycles, CycleCount());
}

// The DLL has a resource 7, this program none.
TEST(WindowsSystem, TakesResourcesFromTheModuleThatTheCodeIsIn) {
    EXPECT_TRUE(GetModuleResource(7).empty());
    FARPROC probe = GetProcAddress(LoadLibraryA("resource_probe.dll"), "FindOwnResource");
    ASSERT_NE(nullptr, probe);
    const auto find = reinterpret_cast<u32 (*)(u32, const u8**)>(reinterpret_cast<void*>(probe));
    const u8* data = nullptr;
    ASSERT_EQ(3u, find(7, &data));
    EXPECT_EQ("abc", std::string(data, data + 3));
    EXPECT_EQ(0u, find(8, &data));
    EXPECT_EQ(0u, find(0x10007, &data));
}

TEST(WindowsSystem, SizesTheInsideOfAWindow) {
    const HWND window = CreateWindowA("STATIC", "sized", WS_OVERLAPPEDWINDOW, 50, 60, 200, 100, nullptr,
                                      nullptr, nullptr, nullptr);
    ASSERT_NE(nullptr, window);
    ShowWindow(window, SW_SHOWNOACTIVATE);
    RECT before, inside, after;
    GetWindowRect(window, &before);
    for (const UINT width : {640u, 320u, 0u}) {
        ResizeWindow(window, width, 240);
        GetClientRect(window, &inside);
        EXPECT_EQ(width ? static_cast<LONG>(width) : 320, inside.right);
        EXPECT_EQ(240, inside.bottom);
    }
    GetWindowRect(window, &after);
    EXPECT_EQ(before.left, after.left);
    EXPECT_EQ(before.top, after.top);
    EXPECT_NE(window, GetActiveWindow());
    DestroyWindow(window);
}

}  // namespace
