// Turns the golden runner's raw pictures into PNG files, and packs osmplay's PNG files tighter.
// Usage: raw_to_png OUTDIR FILE.raw|FILE.png...
#include <cstdio>
#include <string>

#include "conformance/picture.h"

int main(int argc, char** argv) {
    int failed = 0;
    for (int i = 2; i < argc; ++i) {
        const std::string path = argv[i];
        const size_t slash = path.find_last_of('/') + 1;
        const std::string name = path.substr(slash, path.rfind('.') - slash);
        conformance::Picture picture;
        const bool is_raw = path.ends_with(".raw");
        if (!(is_raw ? conformance::ReadRaw(path, picture) : conformance::ReadPng(path, picture)) ||
            !conformance::WritePng(std::string(argv[1]) + "/" + name + ".png", picture, is_raw)) {
            std::fprintf(stderr, "raw_to_png: cannot convert %s\n", path.c_str());
            failed = 1;
        }
    }
    return failed;
}
