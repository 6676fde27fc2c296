// Image decoding against a table that Wine's D3DX made, and against files that are cut short or spoilt.
#include "fxutil/image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include "fxutil/raster.h"
#include "table.h"

namespace {

using golden::Picture;

/// Files whose entry in the table does not say what the file does, and why.
struct Departure {
    D3DFORMAT format;
    const char* why;
};
const std::map<std::string, Departure> kFormats = {
    {"bmp_rle8.bmp", {D3DFMT_P8, "the table has what its decoder unpacks to; the file holds indices"}},
    {"bmp_rle4.bmp", {D3DFMT_P8, "likewise"}},
    {"png_grey_8_key.png",
     {D3DFMT_A8R8G8B8, "the table has a palette of 256 greys; a texture gets this format"}},
};

/// Files that the table's maker refuses and that ours reads.
const std::map<std::string, D3DFORMAT> kReadHereAlone = {
    {"jpg_cmyk.jpg", D3DFMT_R8G8B8},
    {"jpg_ycck.jpg", D3DFMT_R8G8B8},
    {"png_grey_1.png", D3DFMT_L8},
    {"png_grey_2.png", D3DFMT_L8},
    {"png_grey_4.png", D3DFMT_L8},
    {"png_grey_16.png", D3DFMT_L16},
    {"png_grey_alpha_16.png", D3DFMT_A8R8G8B8},
    {"png_palette_2.png", D3DFMT_P8},
    {"png_rgb_16.png", D3DFMT_A16B16G16R16},
    {"png_rgba_16.png", D3DFMT_A16B16G16R16},
    {"tga_16_alpha.tga", D3DFMT_A1R5G5B5},
    {"tga_grey_alpha.tga", D3DFMT_A8L8},
};

/// Files whose pixels in the table are not those of the file; PixelsBesideTheTable says what ours are.
const std::map<std::string, const char*> kPixels = {
    {"tga_palette_24.tga", "the table has entries of three bytes misread"},
};

/// How far a channel may lie from the table.
u32 Allowed(const std::string& name) {
    // Thinned colour is stretched again, which libraries do differently: by cosines or straight lines.
    if (name == "jpg_progressive.jpg" || name == "jpg_color_thinned_odd.jpg") return 6;
    if (name.ends_with(".jpg")) return 2;
    // Five or six bits become eight by rounding here, by repeating the upper bits in the table.
    for (const char* part : {"_16", "r5", "_dxt"}) {
        if (name.find(part) != std::string::npos) return 1;
    }
    return 0;
}

fxutil::Raster<u32> Colors(const fxutil::Image& image, u32 face, u32 level) {
    return fxutil::ReadRaster<u32>(image.info.Format, image.palette.data(), image.Level(face, level));
}

u32 Worst(u32 a, u32 b) {
    u32 worst = 0;
    for (u32 shift : {0u, 8u, 16u, 24u}) {
        const int d = static_cast<int>(a >> shift & 255) - static_cast<int>(b >> shift & 255);
        worst = std::max(worst, static_cast<u32>(std::abs(d)));
    }
    return worst;
}

/// The colour that make_images.cpp gives the texel (x, y).
u32 Made(u32 x, u32 y) {
    const u32 r = (x * 37 + y * 11 + 3) & 255, g = (x * 5 + y * 53 + 40) & 255,
              b = (x * 91 + y * 29 + 7) & 255;
    return ((x * 17 + y * 71 + 128) & 255) << 24 | r << 16 | g << 8 | b;
}

fxutil::Image Decode(const std::string& name) {
    fxutil::Image image;
    EXPECT_TRUE(fxutil::DecodeImage(Picture(name), &image)) << name;
    return image;
}

std::set<std::string> AllNames() {
    std::set<std::string> names;
    for (const std::string& line : golden::Lines("images.txt")) names.insert(golden::Words(line)[1]);
    return names;
}

}  // namespace

TEST(FxImage, SizesLevelsAndFormatsAreThoseOfTheTable) {
    std::size_t compared = 0;
    for (const std::string& line : golden::Lines("images.txt")) {
        const auto words = golden::Words(line);
        const std::string& name = words[1];
        D3DXIMAGE_INFO info{};
        if (words[0] == "noinfo") {
            ASSERT_TRUE(kReadHereAlone.contains(name)) << name;
            ASSERT_TRUE(fxutil::ReadImageInfo(Picture(name), &info)) << name;
            EXPECT_EQ(info.Format, kReadHereAlone.at(name)) << name;
        } else if (words[0] == "info") {
            ASSERT_TRUE(fxutil::ReadImageInfo(Picture(name), &info)) << name;
            const u32 values[] = {info.Width,
                                  info.Height,
                                  info.Depth,
                                  info.MipLevels,
                                  static_cast<u32>(info.Format),
                                  static_cast<u32>(info.ResourceType),
                                  static_cast<u32>(info.ImageFileFormat)};
            for (std::size_t i = 0; i < 7; ++i) {
                u32 expected = static_cast<u32>(std::stoul(words[2 + i]));
                if (i == 4 && kFormats.contains(name)) expected = kFormats.at(name).format;
                EXPECT_EQ(values[i], expected) << name << " field " << i;
            }
        } else {
            continue;
        }
        ++compared;
        // The header read alone and the whole decoded agree.
        const fxutil::Image image = Decode(name);
        EXPECT_EQ(image.info.Format, info.Format) << name;
        EXPECT_EQ(image.info.Width, info.Width) << name;
        EXPECT_EQ(image.info.MipLevels, info.MipLevels) << name;
    }
    EXPECT_GE(compared, 98u);
}

TEST(FxImage, PixelsAreThoseOfTheTable) {
    std::size_t compared = 0;
    for (const std::string& line : golden::Lines("images.txt")) {
        const auto words = golden::Words(line);
        const std::string& name = words[1];
        if (words[0] != "pixels" || kPixels.contains(name)) continue;
        const fxutil::Image image = Decode(name);
        const u32 face = static_cast<u32>(std::stoul(words[2])),
                  level = static_cast<u32>(std::stoul(words[3]));
        const u32 width = static_cast<u32>(std::stoul(words[4])),
                  height = static_cast<u32>(std::stoul(words[5]));
        ASSERT_LT(level, image.info.MipLevels) << name;
        const auto raster = Colors(image, face, level);
        ASSERT_EQ(raster.width, width) << name;
        ASSERT_EQ(raster.height, height) << name;
        const u32 allowed = Allowed(name);
        for (u32 y = 0; y < height; ++y) {
            for (u32 x = 0; x < width; ++x) {
                u32 expected = static_cast<u32>(std::stoul(words[6 + y].substr(x * 8, 8), nullptr, 16));
                // A texel that no run reaches is black in the table; ours has the first colour of the
                // palette.
                if (name.starts_with("bmp_rle") && x == 2 && y == 2) expected = image.palette[0];
                ASSERT_LE(Worst(raster.Row(y)[x], expected), allowed)
                    << name << " face " << face << " level " << level << " at " << x << ", " << y << std::hex
                    << ": ours " << raster.Row(y)[x] << ", table " << expected;
            }
        }
        ++compared;
    }
    EXPECT_GE(compared, 100u);
}

// Files that the table's maker refuses or misreads, packed indices among them, against the values that they
// were made from.
TEST(FxImage, PixelsBesideTheTable) {
    const auto each = [](const std::string& name, u32 allowed, auto expected) {
        const auto raster = Colors(Decode(name), 0, 0);
        ASSERT_GT(raster.width, 0u) << name;
        for (u32 y = 0; y < raster.height; ++y) {
            for (u32 x = 0; x < raster.width; ++x) {
                ASSERT_LE(Worst(raster.Row(y)[x], expected(x, y)), allowed)
                    << name << " at " << x << ", " << y << std::hex << ": ours " << raster.Row(y)[x]
                    << ", made " << expected(x, y);
            }
        }
    };
    const auto red = [](u32 x, u32 y) { return Made(x, y) >> 16 & 255; };
    for (u32 bits : {1u, 2u, 4u}) {
        const u32 max = (1u << bits) - 1;
        each("png_grey_" + std::to_string(bits) + ".png", 0,
             [&](u32 x, u32 y) { return 0xff000000 | (red(x, y) & max) * (255 / max) * 0x10101; });
    }
    // 16 bits are the value above, value x 7 + x below; rounded to 8 that is the value or one more.
    const auto wide = [](u32 value, u32 x) {
        return ((value << 8 | ((value * 7 + x) & 255)) * 255 + 32767) / 65535;
    };
    each("png_grey_16.png", 0, [&](u32 x, u32 y) { return 0xff000000 | wide(red(x, y), x) * 0x10101; });
    each("png_grey_alpha_16.png", 1,
         [&](u32 x, u32 y) { return wide(Made(x, y) >> 24, x) << 24 | wide(red(x, y), x) * 0x10101; });
    const auto rgb = [&](u32 x, u32 y) {
        const u32 c = Made(x, y);
        return wide(c >> 16 & 255, x) << 16 | wide(c >> 8 & 255, x) << 8 | wide(c & 255, x);
    };
    each("png_rgb_16.png", 0, [&](u32 x, u32 y) { return 0xff000000 | rgb(x, y); });
    each("png_rgba_16.png", 0, [&](u32 x, u32 y) { return wide(Made(x, y) >> 24, x) << 24 | rgb(x, y); });

    each("tga_24_right_to_left.tga", 0, [](u32 x, u32 y) { return Made(x, y) | 0xff000000; });
    each("tga_24_both_turned.tga", 0, [](u32 x, u32 y) { return Made(x, y) | 0xff000000; });
    each("tga_grey_alpha.tga", 0,
         [&](u32 x, u32 y) { return (Made(x, y) & 0xff000000) | red(x, y) * 0x10101; });
    each("tga_16_alpha.tga", 8,
         [](u32 x, u32 y) { return (Made(x, y) & 0xffffff) | (Made(x, y) >> 31 ? 0xff000000 : 0); });
    each("dds_p8.dds", 0, [](u32 x, u32 y) {
        const u32 index = Made(x, y) & 255;
        return 0xff000000 | Made(index, index / 3);
    });
    const auto paletted = [&](const std::string& name, u32 bits) {
        each(name, 0, [bits](u32 x, u32 y) {
            const u32 index = (x * 3 + y * 5 + (x ^ y)) & ((1u << bits) - 1);
            return 0xff000000 | Made(index, index / 3);
        });
    };
    paletted("png_palette_1.png", 1);
    paletted("png_palette_2.png", 2);
    paletted("png_palette_4.png", 4);
    paletted("bmp_1.bmp", 1);
    paletted("bmp_1_odd.bmp", 1);
    paletted("bmp_4.bmp", 4);
    paletted("bmp_4_odd.bmp", 4);
    paletted("tga_palette_24.tga", 4);
    // Inks as the usual programs store them, 255 for none: light is ink x key.
    for (const char* name : {"jpg_cmyk.jpg", "jpg_ycck.jpg"}) {
        each(name, 6, [](u32 x, u32 y) {
            const u32 c = 40 + x * 200 / 16, m = 220 - y * 180 / 8, k = 250 - x * 60 / 16;
            const u32 yellow = 30 + (x + y) * 150 / 24;
            return 0xff000000 | c * k / 255 << 16 | m * k / 255 << 8 | yellow * k / 255;
        });
    }
}

TEST(FxImage, BrokenFilesEndInBoundedMemory) {
    const auto feed = [](const std::vector<u8>& bytes) {
        // On the heap and of exact size, so that a sanitizer sees any step over the end.
        const std::vector<u8> exact(bytes);
        fxutil::Image image;
        const bool read = fxutil::DecodeImage(exact, &image);
        // The densest code says about 1032 bytes a byte, eight texels to such a byte.
        EXPECT_LE(image.pixels.size(), exact.size() * 1032 * 8 + 65536);
        D3DXIMAGE_INFO info;
        EXPECT_TRUE(!read || fxutil::ReadImageInfo(exact, &info));
    };
    std::mt19937 random(12345);
    for (const std::string& name : AllNames()) {
        const std::vector<u8> whole = Picture(name);
        ASSERT_FALSE(whole.empty()) << name;
        // The long files differ from the short ones in their data alone.
        const std::size_t step = whole.size() > 4000 ? 97 : 1;
        for (std::size_t size = 0; size < whole.size(); size += step) {
            feed({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        }
        for (int i = 0; i < 60; ++i) {
            std::vector<u8> spoilt = whole;
            const u32 changes = 1 + random() % 4;
            for (u32 k = 0; k < changes; ++k) {
                // Most of what can go wrong stands in the first bytes.
                const std::size_t reach =
                    random() % 2 ? std::min<std::size_t>(spoilt.size(), 140) : spoilt.size();
                static constexpr u8 kBad[] = {0, 1, 0x7f, 0x80, 0xff};
                spoilt[random() % reach] = random() % 2 ? kBad[random() % 5] : static_cast<u8>(random());
            }
            feed(spoilt);
        }
    }
}

TEST(FxImage, SizesWithoutTheBytesForThemAreRefused) {
    const auto refused = [](std::vector<u8> bytes, const char* what) {
        fxutil::Image image;
        EXPECT_FALSE(fxutil::DecodeImage(bytes, &image)) << what;
        EXPECT_TRUE(image.pixels.empty()) << what;
    };
    const auto put32 = [](std::vector<u8>& bytes, std::size_t at, u32 value, bool big_end) {
        for (u32 i = 0; i < 4; ++i) bytes[at + i] = static_cast<u8>(value >> 8 * (big_end ? 3 - i : i));
    };
    for (u32 size : {16384u, 60000u, 0x80000000u, 0xffffffffu}) {
        for (const char* name : {"bmp_8.bmp", "bmp_24.bmp", "bmp_rle8.bmp", "bmp_rle4.bmp"}) {
            auto bytes = Picture(name);
            put32(bytes, 18, size, false);
            put32(bytes, 22, size, false);
            refused(bytes, name);
        }
        for (const char* name : {"dds_a8r8g8b8.dds", "dds_dxt1.dds", "dds_cube.dds"}) {
            auto bytes = Picture(name);
            put32(bytes, 12, size, false);
            put32(bytes, 16, size, false);
            refused(bytes, name);
        }
    }
    for (const char* name : {"tga_24.tga", "tga_24_runs.tga"}) {
        auto bytes = Picture(name);
        bytes[13] = bytes[15] = 0x3f;
        refused(bytes, name);
    }
    // A baseline frame header: marker 0xffc0, length, precision, then height and width.
    auto jpeg = Picture("jpg_color.jpg");
    for (std::size_t i = 0; i + 9 < jpeg.size(); ++i) {
        if (jpeg[i] == 0xff && jpeg[i + 1] == 0xc0) jpeg[i + 5] = jpeg[i + 7] = 0x3f;
    }
    refused(jpeg, "jpg_color.jpg");
}
