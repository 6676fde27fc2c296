// What a test can set and see in the fmod.dll that stands in for the real one.
#pragma once

struct FakeFmod {
    const char* calls = "";  // a line for each
    bool starts = true;
    bool locks = true;
    int time = 0;  // of the stream, in milliseconds
};

using GetFakeFmodFunction = FakeFmod* (*)();
