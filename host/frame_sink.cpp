#include "frame_sink.h"

#include <fmt/format.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <utility>

#include "cli/error.h"
#include "cli/path.h"

namespace host {
namespace {

class PngFolder final : public FrameSink {
  public:
    explicit PngFolder(std::string folder) : folder_(std::move(folder)) {
        std::error_code error;
        std::filesystem::create_directories(cli::ToPath(folder_), error);
        if (!std::filesystem::is_directory(cli::ToPath(folder_), error))
            throw cli::Error(fmt::format("{}: cannot be made as a folder for the frames", folder_));
    }
    void Write(std::size_t frame, const Picture& picture) override {
        WritePng(FrameFile(folder_, frame), picture);
    }

  private:
    std::string folder_;
};

class Y4m final : public FrameSink {
  public:
    Y4m(std::FILE* out, unsigned width, unsigned height, double frames_per_second) : out_(out) {
        const Rate rate = ToRate(frames_per_second);
        header_ = fmt::format("YUV4MPEG2 W{} H{} F{}:{} Ip A1:1 C444 XCOLORRANGE=LIMITED\n", width, height,
                              rate.numerator, rate.denominator);
    }

    void Write(std::size_t, const Picture& picture) override {
        constexpr const char* kFrame = "FRAME\n";
        const std::size_t pixels = picture.rgb.size() / 3;
        const std::size_t lead = std::strlen(kFrame);
        bytes_.resize(lead + 3 * pixels);
        std::memcpy(bytes_.data(), kFrame, lead);
        std::uint8_t* y = bytes_.data() + lead;
        std::uint8_t* cb = y + pixels;
        std::uint8_t* cr = cb + pixels;
        const std::uint8_t* rgb = picture.rgb.data();
        // Sixteen bits behind the point; the sums of the rows are 219 / 255, 0 and 0, so that grey stays
        // grey.
        constexpr int kHalf = 1 << 15;
        for (std::size_t i = 0; i < pixels; ++i) {
            const int r = rgb[3 * i], g = rgb[3 * i + 1], b = rgb[3 * i + 2];
            y[i] = static_cast<std::uint8_t>((16829 * r + 33039 * g + 6416 * b + (16 << 16) + kHalf) >> 16);
            cb[i] =
                static_cast<std::uint8_t>((-9714 * r - 19070 * g + 28784 * b + (128 << 16) + kHalf) >> 16);
            cr[i] = static_cast<std::uint8_t>((28784 * r - 24103 * g - 4681 * b + (128 << 16) + kHalf) >> 16);
        }
        if (!std::exchange(begun_, true)) Put(header_.data(), header_.size());
        Put(bytes_.data(), bytes_.size());
        // A reader gets each frame when it is there.
        if (std::fflush(out_) != 0) Fail();
    }
    void Finish() override {
        if (!std::exchange(begun_, true)) Put(header_.data(), header_.size());
        if (std::fflush(out_) != 0) Fail();
    }

  private:
    void Put(const void* data, std::size_t size) {
        if (std::fwrite(data, 1, size, out_) != size) Fail();
    }
    [[noreturn]] static void Fail() {
        throw cli::Error(fmt::format("standard output: cannot be written: {}", std::strerror(errno)));
    }

    std::FILE* out_;
    std::string header_;
    bool begun_ = false;
    std::vector<std::uint8_t> bytes_;
};

}  // namespace

Rate ToRate(double frames_per_second) {
    constexpr long kParts = 1000000;
    const long parts = std::lround(frames_per_second * static_cast<double>(kParts));
    const long common = std::gcd(parts, kParts);
    return {parts / common, kParts / common};
}

std::string FrameFile(const std::string& folder, std::size_t frame) {
    return cli::ToText(cli::ToPath(folder) / fmt::format("frame_{:06}.png", frame));
}

std::unique_ptr<FrameSink> MakePngFolder(const std::string& folder) {
    return std::make_unique<PngFolder>(folder);
}

std::unique_ptr<FrameSink> MakeY4m(std::FILE* out, unsigned width, unsigned height,
                                   double frames_per_second) {
    return std::make_unique<Y4m>(out, width, height, frames_per_second);
}

}  // namespace host
