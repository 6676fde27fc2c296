// Writes the small pictures of tests/fxutil/images, byte by byte where the decoder under test is ours. Not
// part of the build: run it again only when a picture is added (g++ -std=c++20 make_images.cpp -ljpeg -lpng),
// then golden.sh.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>
// The two libraries want the headers above first.
#include <jpeglib.h>
#include <png.h>

namespace {

using u8 = std::uint8_t;
using u32 = std::uint32_t;
using Bytes = std::vector<u8>;

std::string folder;

void Save(const std::string& name, const Bytes& bytes) {
    std::FILE* file = std::fopen((folder + "/" + name).c_str(), "wb");
    if (!file || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) std::abort();
    std::fclose(file);
}

void Put16(Bytes& out, u32 v) {
    out.push_back(static_cast<u8>(v));
    out.push_back(static_cast<u8>(v >> 8));
}
void Put32(Bytes& out, u32 v) {
    Put16(out, v);
    Put16(out, v >> 16);
}
void PutN(Bytes& out, u32 v, u32 bytes) {
    for (u32 i = 0; i < bytes; ++i) out.push_back(static_cast<u8>(v >> (8 * i)));
}

// A colour that tells every place, direction and channel from any other.
u32 Argb(u32 x, u32 y) {
    const u32 r = (x * 37 + y * 11 + 3) & 255, g = (x * 5 + y * 53 + 40) & 255,
              b = (x * 91 + y * 29 + 7) & 255;
    return ((x * 17 + y * 71 + 128) & 255) << 24 | r << 16 | g << 8 | b;
}
u32 Red(u32 c) { return c >> 16 & 255; }
u32 Green(u32 c) { return c >> 8 & 255; }
u32 Blue(u32 c) { return c & 255; }
u32 Alpha(u32 c) { return c >> 24; }
u32 Pack(u32 c, u32 rb, u32 rs, u32 gb, u32 gs, u32 bb, u32 bs, u32 ab = 0, u32 as = 0) {
    const auto cut = [](u32 v, u32 bits) { return bits > 8 ? (v * 257) >> (16 - bits) : v >> (8 - bits); };
    return cut(Red(c), rb) << rs | cut(Green(c), gb) << gs | cut(Blue(c), bb) << bs |
           (ab ? cut(Alpha(c), ab) << as : 0);
}
u32 Index(u32 x, u32 y, u32 bits) { return (x * 3 + y * 5 + (x ^ y)) & ((1u << bits) - 1); }

using Texel = std::function<u32(u32 x, u32 y)>;

// ---- bitmaps

struct Bitmap {
    u32 w = 8, h = 4, bits = 24, compression = 0, header = 40;
    bool file_header = true, top_down = false;
    std::vector<u32> masks;
    u32 colors = 0;  // palette entries; 0: all that the bits allow, unsaid in the header
    Bytes coded;
};

void SaveBitmap(const std::string& name, const Bitmap& b, const Texel& texel) {
    Bytes palette;
    if (b.bits <= 8) {
        const u32 count = b.colors ? b.colors : 1u << b.bits;
        for (u32 i = 0; i < count; ++i) PutN(palette, Argb(i, i / 3) & 0xffffff, b.header == 12 ? 3 : 4);
    }
    Bytes pixels = b.coded;
    if (pixels.empty()) {
        for (u32 row = 0; row < b.h; ++row) {
            const u32 y = b.top_down ? row : b.h - 1 - row;
            u32 held = 0, bits = 0;
            for (u32 x = 0; x < b.w; ++x) {
                if (b.bits >= 8) {
                    PutN(pixels, texel(x, y), b.bits / 8);
                } else {
                    held = held << b.bits | texel(x, y);
                    bits += b.bits;
                    if (bits == 8) pixels.push_back(static_cast<u8>(held)), held = bits = 0;
                }
            }
            if (bits) pixels.push_back(static_cast<u8>(held << (8 - bits)));
            while (pixels.size() % 4) pixels.push_back(0xee);
        }
    }
    Bytes info;
    Put32(info, b.header);
    if (b.header == 12) {
        Put16(info, b.w), Put16(info, b.h), Put16(info, 1), Put16(info, b.bits);
    } else {
        Put32(info, b.w), Put32(info, b.top_down ? 0u - b.h : b.h), Put16(info, 1), Put16(info, b.bits);
        Put32(info, b.compression), Put32(info, static_cast<u32>(pixels.size()));
        Put32(info, 2835), Put32(info, 2835), Put32(info, b.colors), Put32(info, 0);
        for (u32 mask : b.masks) Put32(info, mask);
        while (info.size() < b.header) info.push_back(0);
    }
    Bytes out;
    if (b.file_header) {
        const u32 offset = 14 + static_cast<u32>(info.size() + palette.size());
        out = {'B', 'M'};
        Put32(out, offset + static_cast<u32>(pixels.size())), Put32(out, 0), Put32(out, offset);
    }
    out.insert(out.end(), info.begin(), info.end());
    out.insert(out.end(), palette.begin(), palette.end());
    out.insert(out.end(), pixels.begin(), pixels.end());
    Save(name, out);
}

void Bitmaps() {
    const auto rgb = [](u32 x, u32 y) { return Argb(x, y) & 0xffffff; };
    const auto index = [](u32 bits) { return [bits](u32 x, u32 y) { return Index(x, y, bits); }; };
    const auto r5g5b5 = [](u32 x, u32 y) { return Pack(Argb(x, y), 5, 10, 5, 5, 5, 0); };
    const auto r5g6b5 = [](u32 x, u32 y) { return Pack(Argb(x, y), 5, 11, 6, 5, 5, 0); };
    SaveBitmap("bmp_1.bmp", {.w = 16, .bits = 1}, index(1));
    SaveBitmap("bmp_1_odd.bmp", {.w = 11, .h = 3, .bits = 1}, index(1));
    SaveBitmap("bmp_4.bmp", {.bits = 4}, index(4));
    SaveBitmap("bmp_4_odd.bmp", {.w = 7, .h = 3, .bits = 4}, index(4));
    SaveBitmap("bmp_8.bmp", {.bits = 8}, index(8));
    SaveBitmap("bmp_8_few_colors.bmp", {.bits = 8, .colors = 16}, index(4));
    SaveBitmap("bmp_8_top_down.bmp", {.bits = 8, .top_down = true, .colors = 16}, index(4));
    SaveBitmap("bmp_16.bmp", {.bits = 16}, r5g5b5);
    SaveBitmap("bmp_16_565.bmp", {.bits = 16, .compression = 3, .masks = {0xf800, 0x7e0, 0x1f}}, r5g6b5);
    SaveBitmap("bmp_16_odd.bmp", {.w = 5, .h = 3, .bits = 16}, r5g5b5);
    SaveBitmap("bmp_24.bmp", {}, rgb);
    SaveBitmap("bmp_24_odd.bmp", {.w = 5, .h = 3}, rgb);
    SaveBitmap("bmp_24_top_down.bmp", {.top_down = true}, rgb);
    SaveBitmap("bmp_24_100x60.bmp", {.w = 100, .h = 60}, rgb);
    SaveBitmap("bmp_32.bmp", {.bits = 32}, rgb);
    SaveBitmap("bmp_32_filled.bmp", {.bits = 32}, Argb);
    SaveBitmap("bmp_32_v4_alpha.bmp",
               {.bits = 32, .compression = 3, .header = 108, .masks = {0xff0000, 0xff00, 0xff, 0xff000000}},
               Argb);
    SaveBitmap("bmp_core_8.bmp", {.bits = 8, .header = 12}, index(8));
    SaveBitmap("bmp_core_24.bmp", {.w = 5, .h = 3, .header = 12}, rgb);
    // Encoded run, absolute run of odd length, delta, run over the row's end, end of row and of picture.
    SaveBitmap("bmp_rle8.bmp",
               {.bits = 8, .compression = 1, .colors = 16, .coded = {5, 3, 0, 3, 7, 8, 9, 0, 0, 0,  2, 1,
                                                                     0, 2, 1, 0, 5, 4, 0, 0, 8, 11, 0, 0,
                                                                     3, 5, 0, 5, 1, 2, 3, 4, 5, 0,  0, 1}},
               {});
    SaveBitmap("bmp_rle4.bmp",
               {.bits = 4, .compression = 2, .coded = {5, 0x3a, 0, 3, 0x78, 0x90, 0,    0, 2,    0x15, 0,
                                                       2, 1,    0, 5, 0x42, 0,    0,    8, 0xbc, 0,    0,
                                                       3, 0x56, 0, 5, 0x12, 0x34, 0x50, 0, 0,    1}},
               {});
    SaveBitmap("dib_8.dib", {.bits = 8, .file_header = false, .colors = 16}, index(4));
    SaveBitmap("dib_16_565.dib",
               {.bits = 16, .compression = 3, .file_header = false, .masks = {0xf800, 0x7e0, 0x1f}}, r5g6b5);
    SaveBitmap("dib_24.dib", {.w = 5, .h = 3, .file_header = false}, rgb);
    SaveBitmap("dib_32.dib", {.bits = 32, .file_header = false, .top_down = true}, rgb);
    SaveBitmap("dib_with_file_header.dib", {}, rgb);
}

// ---- .tga

struct Targa {
    u32 w = 8, h = 4, bits = 24, type = 2, descriptor = 0, palette_bits = 0, palette_first = 0;
    bool id = false;
};

// Runs of equal texels where there are any, with a packet over the end of the first row.
Bytes Runs(const std::vector<u32>& texels, u32 bytes) {
    Bytes out;
    for (std::size_t i = 0; i < texels.size();) {
        std::size_t run = 1;
        while (i + run < texels.size() && run < 128 && texels[i + run] == texels[i]) ++run;
        if (run > 1) {
            out.push_back(static_cast<u8>(127 + run));
            PutN(out, texels[i], bytes);
            i += run;
            continue;
        }
        std::size_t raw = 1;
        while (i + raw + 1 < texels.size() && raw < 128 && texels[i + raw] != texels[i + raw + 1]) ++raw;
        out.push_back(static_cast<u8>(raw - 1));
        for (std::size_t k = 0; k < raw; ++k) PutN(out, texels[i + k], bytes);
        i += raw;
    }
    return out;
}

void SaveTarga(const std::string& name, const Targa& t, const Texel& texel) {
    Bytes out;
    const u32 bytes = (t.bits + 7) / 8;
    out.push_back(t.id ? 5 : 0);
    out.push_back(t.palette_bits ? 1 : 0);
    out.push_back(static_cast<u8>(t.type));
    Put16(out, t.palette_first), Put16(out, t.palette_bits ? 16 : 0);
    out.push_back(static_cast<u8>(t.palette_bits));
    Put16(out, 0), Put16(out, 0), Put16(out, t.w), Put16(out, t.h);
    out.push_back(static_cast<u8>(t.bits));
    out.push_back(static_cast<u8>(t.descriptor));
    if (t.id) out.insert(out.end(), {'h', 'e', 'l', 'l', 'o'});
    for (u32 i = 0; t.palette_bits && i < 16; ++i) {
        const u32 c = Argb(i, i / 3);
        PutN(out, t.palette_bits <= 16 ? Pack(c, 5, 10, 5, 5, 5, 0) : c, (t.palette_bits + 7) / 8);
    }
    std::vector<u32> texels;
    for (u32 row = 0; row < t.h; ++row) {
        const u32 y = t.descriptor & 32 ? row : t.h - 1 - row;
        for (u32 i = 0; i < t.w; ++i) texels.push_back(texel(t.descriptor & 16 ? t.w - 1 - i : i, y));
    }
    if (t.type >= 8) {
        const Bytes runs = Runs(texels, bytes);
        out.insert(out.end(), runs.begin(), runs.end());
    } else {
        for (u32 v : texels) PutN(out, v, bytes);
    }
    Save(name, out);
}

void Targas() {
    const auto flat = [](const Texel& texel) {  // pairs and longer stretches of one value
        return [texel](u32 x, u32 y) { return texel(x < 5 ? x / 2 : 3, y / 2); };
    };
    const auto index = [](u32 x, u32 y) { return Index(x, y, 4); };
    const auto index20 = [](u32 x, u32 y) { return 20 + Index(x, y, 4); };
    const auto grey = [](u32 x, u32 y) { return Red(Argb(x, y)); };
    const auto grey_alpha = [](u32 x, u32 y) { return Red(Argb(x, y)) | Alpha(Argb(x, y)) << 8; };
    const auto r5g5b5 = [](u32 x, u32 y) { return Pack(Argb(x, y), 5, 10, 5, 5, 5, 0); };
    const auto a1r5g5b5 = [](u32 x, u32 y) { return Pack(Argb(x, y), 5, 10, 5, 5, 5, 0, 1, 15); };
    SaveTarga("tga_24.tga", {}, Argb);
    SaveTarga("tga_24_id_odd.tga", {.w = 5, .h = 3, .id = true}, Argb);
    SaveTarga("tga_24_top_down.tga", {.descriptor = 32}, Argb);
    SaveTarga("tga_24_right_to_left.tga", {.descriptor = 16}, Argb);
    SaveTarga("tga_24_both_turned.tga", {.descriptor = 48}, Argb);
    SaveTarga("tga_24_runs.tga", {.type = 10}, flat(Argb));
    SaveTarga("tga_32.tga", {.bits = 32, .descriptor = 8}, Argb);
    SaveTarga("tga_32_runs_top_down.tga", {.bits = 32, .type = 10, .descriptor = 40}, flat(Argb));
    SaveTarga("tga_16.tga", {.bits = 16}, r5g5b5);
    SaveTarga("tga_16_alpha.tga", {.bits = 16, .descriptor = 1}, a1r5g5b5);
    SaveTarga("tga_grey.tga", {.bits = 8, .type = 3}, grey);
    SaveTarga("tga_grey_runs.tga", {.bits = 8, .type = 11}, flat(grey));
    SaveTarga("tga_grey_alpha.tga", {.bits = 16, .type = 3, .descriptor = 8}, grey_alpha);
    SaveTarga("tga_palette_24.tga", {.bits = 8, .type = 1, .palette_bits = 24}, index);
    SaveTarga("tga_palette_32_first.tga", {.bits = 8, .type = 1, .palette_bits = 32, .palette_first = 20},
              index20);
    SaveTarga("tga_palette_16_runs.tga", {.bits = 8, .type = 9, .palette_bits = 16}, flat(index));
}

// ---- .dds

struct Dds {
    u32 flags = 0x40, bits = 32, r = 0xff0000, g = 0xff00, b = 0xff, a = 0, fourcc = 0;
    u32 w = 8, h = 4, levels = 1;
    bool cube = false;
    bool palette = false;
};

using Writer = std::function<void(Bytes& out, u32 w, u32 h, u32 seed)>;

void SaveDds(const std::string& name, const Dds& d, const Writer& write) {
    Bytes out = {'D', 'D', 'S', ' '};
    Put32(out, 124), Put32(out, d.levels > 1 ? 0x21007 : 0x1007), Put32(out, d.h), Put32(out, d.w);
    Put32(out, 0), Put32(out, 0), Put32(out, d.levels > 1 ? d.levels : 0);
    for (int i = 0; i < 11; ++i) Put32(out, 0);
    Put32(out, 32), Put32(out, d.flags), Put32(out, d.fourcc), Put32(out, d.bits);
    Put32(out, d.r), Put32(out, d.g), Put32(out, d.b), Put32(out, d.a);
    Put32(out, d.levels > 1 || d.cube ? 0x401008 : 0x1000), Put32(out, d.cube ? 0xfe00 : 0);
    for (int i = 0; i < 3; ++i) Put32(out, 0);
    for (u32 i = 0; d.palette && i < 256; ++i) {
        const u32 c = Argb(i, i / 3);
        out.insert(out.end(),
                   {static_cast<u8>(Red(c)), static_cast<u8>(Green(c)), static_cast<u8>(Blue(c)), u8{255}});
    }
    for (u32 face = 0; face < (d.cube ? 6u : 1u); ++face) {
        for (u32 i = 0; i < d.levels; ++i) {
            write(out, std::max(d.w >> i, 1u), std::max(d.h >> i, 1u), face * 40 + i * 7);
        }
    }
    Save(name, out);
}

Writer Texels(u32 bytes, const std::function<u32(u32)>& pack) {
    return [=](Bytes& out, u32 w, u32 h, u32 seed) {
        for (u32 y = 0; y < h; ++y) {
            for (u32 x = 0; x < w; ++x) PutN(out, pack(Argb(x + seed, y + seed)), bytes);
        }
    };
}

// Blocks of noise: every mode and index occurs.
Writer Blocks(u32 bytes) {
    return [=](Bytes& out, u32 w, u32 h, u32 seed) {
        u32 state = seed * 977 + 12345;
        for (u32 i = 0; i < (w + 3) / 4 * ((h + 3) / 4) * bytes; ++i) {
            state = state * 1664525 + 1013904223;
            out.push_back(static_cast<u8>(state >> 24));
        }
    };
}

void DdsFiles() {
    const auto same = [](u32 c) { return c; };
    const u32 alpha = 0x41;
    SaveDds("dds_a8r8g8b8.dds", {.flags = alpha, .a = 0xff000000}, Texels(4, same));
    SaveDds("dds_x8r8g8b8.dds", {}, Texels(4, [](u32 c) { return c & 0xffffff; }));
    SaveDds("dds_a8b8g8r8.dds", {.flags = alpha, .r = 0xff, .b = 0xff0000, .a = 0xff000000}, Texels(4, same));
    SaveDds("dds_x8b8g8r8.dds", {.r = 0xff, .b = 0xff0000}, Texels(4, [](u32 c) { return c & 0xffffff; }));
    SaveDds("dds_r8g8b8.dds", {.bits = 24}, Texels(3, same));
    SaveDds("dds_r5g6b5.dds", {.bits = 16, .r = 0xf800, .g = 0x7e0, .b = 0x1f},
            Texels(2, [](u32 c) { return Pack(c, 5, 11, 6, 5, 5, 0); }));
    SaveDds("dds_x1r5g5b5.dds", {.bits = 16, .r = 0x7c00, .g = 0x3e0, .b = 0x1f},
            Texels(2, [](u32 c) { return Pack(c, 5, 10, 5, 5, 5, 0); }));
    SaveDds("dds_a1r5g5b5.dds", {.flags = alpha, .bits = 16, .r = 0x7c00, .g = 0x3e0, .b = 0x1f, .a = 0x8000},
            Texels(2, [](u32 c) { return Pack(c, 5, 10, 5, 5, 5, 0, 1, 15); }));
    SaveDds("dds_a4r4g4b4.dds", {.flags = alpha, .bits = 16, .r = 0xf00, .g = 0xf0, .b = 0xf, .a = 0xf000},
            Texels(2, [](u32 c) { return Pack(c, 4, 8, 4, 4, 4, 0, 4, 12); }));
    SaveDds("dds_r3g3b2.dds", {.bits = 8, .r = 0xe0, .g = 0x1c, .b = 3},
            Texels(1, [](u32 c) { return Pack(c, 3, 5, 3, 2, 2, 0); }));
    SaveDds("dds_a2b10g10r10.dds",
            {.flags = alpha, .r = 0x3ff, .g = 0xffc00, .b = 0x3ff00000, .a = 0xc0000000},
            Texels(4, [](u32 c) { return Pack(c, 10, 0, 10, 10, 10, 20, 2, 30); }));
    SaveDds("dds_g16r16.dds", {.r = 0xffff, .g = 0xffff0000, .b = 0},
            Texels(4, [](u32 c) { return Red(c) * 257 | Green(c) * 257 << 16; }));
    SaveDds("dds_l8.dds", {.flags = 0x20000, .bits = 8, .r = 0xff, .g = 0, .b = 0}, Texels(1, same));
    SaveDds("dds_l16.dds", {.flags = 0x20000, .bits = 16, .r = 0xffff, .g = 0, .b = 0}, Texels(2, same));
    SaveDds("dds_a8l8.dds", {.flags = 0x20001, .bits = 16, .r = 0xff, .g = 0, .b = 0, .a = 0xff00},
            Texels(2, same));
    SaveDds("dds_a8.dds", {.flags = 2, .bits = 8, .r = 0, .g = 0, .b = 0, .a = 0xff}, Texels(1, same));
    SaveDds("dds_p8.dds", {.flags = 0x20, .bits = 8, .r = 0, .g = 0, .b = 0, .palette = true},
            Texels(1, same));
    SaveDds("dds_a16b16g16r16f.dds", {.flags = 4, .bits = 0, .r = 0, .g = 0, .b = 0, .fourcc = 113},
            [](Bytes& out, u32 w, u32 h, u32) {
                for (u32 i = 0; i < w * h; ++i) {
                    Put16(out, 0x3000 + i * 29), Put16(out, 0x3c00 - i * 50),
                        Put16(out, i ? 0x2c00 + i * 64 : 0);
                    Put16(out, 0x3c00);
                }
            });
    for (u32 k = 1; k <= 5; ++k) {
        const u32 code = 0x30545844 + (k << 24);
        const std::string base = "dds_dxt" + std::to_string(k);
        SaveDds(base + ".dds", {.flags = 4, .bits = 0, .r = 0, .g = 0, .b = 0, .fourcc = code, .h = 8},
                Blocks(k == 1 ? 8 : 16));
    }
    const u32 dxt1 = 0x31545844, dxt5 = 0x35545844;
    SaveDds("dds_levels.dds", {.flags = alpha, .a = 0xff000000, .levels = 4}, Texels(4, same));
    SaveDds("dds_levels_some.dds", {.flags = alpha, .a = 0xff000000, .levels = 2}, Texels(4, same));
    SaveDds("dds_dxt1_levels.dds",
            {.flags = 4, .bits = 0, .r = 0, .g = 0, .b = 0, .fourcc = dxt1, .w = 16, .h = 8, .levels = 5},
            Blocks(8));
    SaveDds("dds_odd.dds", {.w = 5, .h = 3}, Texels(4, [](u32 c) { return c & 0xffffff; }));
    SaveDds("dds_cube.dds", {.flags = alpha, .a = 0xff000000, .w = 4, .h = 4, .levels = 3, .cube = true},
            Texels(4, same));
    SaveDds("dds_cube_dxt5.dds",
            {.flags = 4, .bits = 0, .r = 0, .g = 0, .b = 0, .fourcc = dxt5, .w = 8, .h = 8, .cube = true},
            Blocks(16));
}

// ---- .png

void SavePng(const std::string& name, u32 w, u32 h, int color, int depth, bool interlaced, bool key) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    Bytes out;
    png_set_write_fn(
        png, &out,
        [](png_structp p, png_bytep data, std::size_t size) {
            auto* bytes = static_cast<Bytes*>(png_get_io_ptr(p));
            bytes->insert(bytes->end(), data, data + size);
        },
        nullptr);
    png_set_IHDR(png, info, w, h, depth, color, interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (color == PNG_COLOR_TYPE_PALETTE) {
        png_color palette[256];
        png_byte alpha[8];
        const int count = 1 << depth;
        for (int i = 0; i < count; ++i) {
            const u32 c = Argb(static_cast<u32>(i), static_cast<u32>(i) / 3);
            palette[i] = {static_cast<u8>(Red(c)), static_cast<u8>(Green(c)), static_cast<u8>(Blue(c))};
        }
        for (u32 i = 0; i < 8; ++i) alpha[i] = static_cast<u8>(i * 30);
        png_set_PLTE(png, info, palette, count);
        if (key) png_set_tRNS(png, info, alpha, std::min(count, 8), nullptr);
    } else if (key) {
        const u32 c = Argb(2, 1);
        const u32 scale = depth == 16 ? 257 : 1;
        const auto part = [&](u32 v) { return static_cast<png_uint_16>((v * scale) & ((1u << depth) - 1)); };
        png_color_16 value{0, part(Red(c)), part(Green(c)), part(Blue(c)), part(Red(c))};
        png_set_tRNS(png, info, nullptr, 0, &value);
    }
    png_write_info(png, info);
    const u32 channels = png_get_channels(png, info);
    std::vector<Bytes> rows(h);
    std::vector<png_bytep> pointers;
    for (u32 y = 0; y < h; ++y) {
        u32 held = 0, bits = 0;
        for (u32 x = 0; x < w; ++x) {
            const u32 c = Argb(x, y);
            u32 values[4] = {Red(c), Green(c), Blue(c), Alpha(c)};
            if (channels == 2) values[1] = Alpha(c);
            if (color == PNG_COLOR_TYPE_PALETTE) values[0] = Index(x, y, static_cast<u32>(depth));
            for (u32 i = 0; i < channels; ++i) {
                if (depth == 16) {
                    // A low byte that differs from the high one shows how it is rounded away.
                    rows[y].push_back(static_cast<u8>(values[i]));
                    rows[y].push_back(static_cast<u8>(key ? values[i] : values[i] * 7 + x));
                } else if (depth == 8) {
                    rows[y].push_back(static_cast<u8>(values[i]));
                } else {
                    const u32 depth_bits = static_cast<u32>(depth);
                    held = held << depth_bits | (values[i] & ((1u << depth_bits) - 1));
                    bits += depth_bits;
                    if (bits == 8) rows[y].push_back(static_cast<u8>(held)), held = bits = 0;
                }
            }
        }
        if (bits) rows[y].push_back(static_cast<u8>(held << (8 - bits)));
        pointers.push_back(rows[y].data());
    }
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    Save(name, out);
}

void Pngs() {
    for (int depth : {1, 2, 4, 8, 16}) {
        const std::string d = std::to_string(depth);
        SavePng("png_grey_" + d + ".png", 8, 4, PNG_COLOR_TYPE_GRAY, depth, false, false);
        if (depth <= 8)
            SavePng("png_palette_" + d + ".png", 8, 4, PNG_COLOR_TYPE_PALETTE, depth, false, false);
    }
    SavePng("png_grey_8_key.png", 8, 4, PNG_COLOR_TYPE_GRAY, 8, false, true);
    SavePng("png_palette_8_alpha.png", 8, 4, PNG_COLOR_TYPE_PALETTE, 8, false, true);
    SavePng("png_grey_alpha_8.png", 8, 4, PNG_COLOR_TYPE_GRAY_ALPHA, 8, false, false);
    SavePng("png_grey_alpha_16.png", 8, 4, PNG_COLOR_TYPE_GRAY_ALPHA, 16, false, false);
    SavePng("png_rgb_8.png", 8, 4, PNG_COLOR_TYPE_RGB, 8, false, false);
    SavePng("png_rgb_8_key.png", 8, 4, PNG_COLOR_TYPE_RGB, 8, false, true);
    SavePng("png_rgb_8_odd_interlaced.png", 11, 7, PNG_COLOR_TYPE_RGB, 8, true, false);
    SavePng("png_rgb_16.png", 8, 4, PNG_COLOR_TYPE_RGB, 16, false, false);
    SavePng("png_rgba_8.png", 8, 4, PNG_COLOR_TYPE_RGB_ALPHA, 8, false, false);
    SavePng("png_rgba_8_interlaced.png", 8, 4, PNG_COLOR_TYPE_RGB_ALPHA, 8, true, false);
    SavePng("png_rgba_16.png", 8, 4, PNG_COLOR_TYPE_RGB_ALPHA, 16, false, false);
}

// ---- .jpg

void SaveJpeg(const std::string& name, u32 w, u32 h, J_COLOR_SPACE from, J_COLOR_SPACE to, bool progressive,
              bool thinned) {
    jpeg_compress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &data, &size);
    jpeg.image_width = w;
    jpeg.image_height = h;
    jpeg.in_color_space = from;
    jpeg.input_components = from == JCS_GRAYSCALE ? 1 : from == JCS_CMYK ? 4 : 3;
    jpeg_set_defaults(&jpeg);
    jpeg_set_colorspace(&jpeg, to);
    jpeg_set_quality(&jpeg, 90, TRUE);
    if (!thinned) {
        for (int i = 0; i < jpeg.num_components; ++i) {
            jpeg.comp_info[i].h_samp_factor = jpeg.comp_info[i].v_samp_factor = 1;
        }
    }
    if (progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    Bytes row;
    for (u32 y = 0; y < h; ++y) {
        row.clear();
        for (u32 x = 0; x < w; ++x) {
            const u32 values[4] = {40 + x * 200 / w, 220 - y * 180 / h, 30 + (x + y) * 150 / (w + h),
                                   250 - x * 60 / w};
            for (int i = 0; i < jpeg.input_components; ++i) row.push_back(static_cast<u8>(values[i]));
        }
        JSAMPROW pointer = row.data();
        jpeg_write_scanlines(&jpeg, &pointer, 1);
    }
    jpeg_finish_compress(&jpeg);
    Save(name, Bytes(data, data + size));
    jpeg_destroy_compress(&jpeg);
    std::free(data);
}

void Jpegs() {
    SaveJpeg("jpg_grey.jpg", 16, 8, JCS_GRAYSCALE, JCS_GRAYSCALE, false, false);
    SaveJpeg("jpg_color.jpg", 16, 8, JCS_RGB, JCS_YCbCr, false, false);
    SaveJpeg("jpg_color_thinned_odd.jpg", 19, 11, JCS_RGB, JCS_YCbCr, false, true);
    SaveJpeg("jpg_progressive.jpg", 16, 8, JCS_RGB, JCS_YCbCr, true, true);
    SaveJpeg("jpg_100x60.jpg", 100, 60, JCS_RGB, JCS_YCbCr, false, true);
    SaveJpeg("jpg_cmyk.jpg", 16, 8, JCS_CMYK, JCS_CMYK, false, false);
    SaveJpeg("jpg_ycck.jpg", 16, 8, JCS_CMYK, JCS_YCCK, false, false);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "make_images: give the folder to write to\n");
        return 1;
    }
    folder = argv[1];
    Bitmaps();
    Targas();
    DdsFiles();
    Pngs();
    Jpegs();
}
