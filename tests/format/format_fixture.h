// Scene files on their way through the module and the host, and what their pictures have to show.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/error.h"
#include "effect_library.h"
#include "envelope.h"
#include "module.h"
#include "player.h"
#include "project.h"
#include "support/om2_scene.h"

namespace format_test {

// The camera of every scene here stands at (0, 0, 5), looks along -z and sees 90 degrees of height: at the
// plane z = 0 a pixel of the 640 x 480 picture is 1/48 wide, and pixel (320, 240) lies on the origin.
inline constexpr float kPixelsPerUnit = 48;

class FormatTest : public testing::Test {
  protected:
    void SetUp() override {
        folder = std::filesystem::temp_directory_path() / ("osm_format_" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string Save(const std::vector<std::uint8_t>& bytes, const std::string& name = "scene.om2") {
        const std::string path = (folder / name).string();
        tools::WriteWhole(path, bytes);
        return path;
    }

    static const host::EffectLibrary& Library() {
        static const host::EffectLibrary library(OSM_SOURCE_DIR "/data/libfx.xml");
        return library;
    }
    static host::Module& Engine() {
        static host::Module module(OSM_BINARY_DIR "/bin/osmDriver.so");
        return module;
    }

    // What osmplay still draws of `bytes` at `time`.
    host::Picture Show(const std::vector<std::uint8_t>& bytes, double time = 0, int camera = -1) {
        const host::Project project = host::SceneProject(Save(bytes), time, camera, Library());
        host::Player player(Engine(), project, Library(), 640, 480);
        player.Draw(0);
        return player.Grab();
    }

    // The same of the plain file, after the packed one has shown the same.
    host::Picture ShowBoth(const std::vector<std::uint8_t>& bytes, double time = 0, int camera = -1) {
        const host::Picture packed =
            Show(tools::MakeEnvelope(tools::Form::Packed, {bytes.begin() + 4, bytes.end()}), time, camera);
        host::Picture plain = Show(bytes, time, camera);
        EXPECT_TRUE(packed.rgb == plain.rgb) << "packed";
        return plain;
    }

    // The picture of the last one of `times`, in seconds, after those of the others.
    host::Picture Play(const std::string& text, const std::vector<double>& times) {
        const std::string path = Save({text.begin(), text.end()}, "project.xml");
        const host::Project project = host::ReadProject(path, Library());
        host::Player player(Engine(), project, Library(), 640, 480);
        for (const double time : times) player.Draw(time);
        return player.Grab();
    }

    std::filesystem::path folder;
};

inline om2::Rgb At(const host::Picture& p, int x, int y) {
    const std::uint8_t* pixel =
        &p.rgb[3 * (static_cast<std::size_t>(y) * p.width + static_cast<std::size_t>(x))];
    return {pixel[0], pixel[1], pixel[2]};
}

inline bool Near(const om2::Rgb& a, const om2::Rgb& b, int by = 1) {
    return std::abs(a.r - b.r) <= by && std::abs(a.g - b.g) <= by && std::abs(a.b - b.b) <= by;
}

inline testing::AssertionResult Shows(const host::Picture& p, int x, int y, const om2::Rgb& expected,
                                      int by = 1) {
    const om2::Rgb is = At(p, x, y);
    if (Near(is, expected, by)) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "(" << x << ", " << y << ") is " << is.r << " " << is.g << " " << is.b << ", expected "
           << expected.r << " " << expected.g << " " << expected.b;
}

// Exactly the pixels of the rectangle left..right, top..bottom (the last ones left out) have the colour.
inline testing::AssertionResult Covers(const host::Picture& p, const om2::Rgb& color, int left, int top,
                                       int right, int bottom) {
    for (int y = 0; y < static_cast<int>(p.height); ++y)
        for (int x = 0; x < static_cast<int>(p.width); ++x) {
            const bool inside = x >= left && x < right && y >= top && y < bottom;
            if (Near(At(p, x, y), color) != inside)
                return testing::AssertionFailure()
                       << "pixel (" << x << ", " << y << ") is " << (inside ? "not " : "") << "of the colour";
        }
    return testing::AssertionSuccess();
}

}  // namespace format_test
