// Shader containers: what is packed comes back, and whatever else a stream holds is refused without reading
// past it.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "platform/gl/shader_container.h"

namespace {

using namespace platform::gl;

ShaderSource Sample() {
    ShaderSource source;
    source.kind = ShaderKind::kVertex;
    source.text =
        "in vec4 a;\nuniform mat4 m;\nvoid osm_vertex() { osm_Position = m * a; }";  // no multiple of four
    source.constants = {{ConstantSet::kFloat, 4, 4, ConstantType::kMat4, "m"},
                        {ConstantSet::kFloat, 255, 1, ConstantType::kVec4, "last"},
                        {ConstantSet::kInt, 3, 2, ConstantType::kIvec4, "loops"},
                        {ConstantSet::kBool, 0, 16, ConstantType::kBool, "flags"}};
    source.samplers = {{15, SamplerType::kCube, "sky"}};
    source.attributes = {{D3DDECLUSAGE_POSITION, 0, "a"}, {D3DDECLUSAGE_TEXCOORD, 15, "b_2"}};
    return source;
}

// A copy that ends where the words end, so that a read past it is seen by the sanitizer.
bool Unpacks(const std::vector<DWORD>& words, ShaderKind kind = ShaderKind::kVertex) {
    const auto exact = std::make_unique<DWORD[]>(words.size());
    std::copy(words.begin(), words.end(), exact.get());
    ShaderSource out;
    return UnpackShader(exact.get(), kind, out);
}

TEST(ShaderContainer, ComesBackAsItWasPacked) {
    const ShaderSource source = Sample();
    const std::vector<DWORD> words = PackShader(source);
    EXPECT_EQ(words.size() * 4, PackedShaderSize(words.data()));
    ShaderSource out;
    ASSERT_TRUE(UnpackShader(words.data(), ShaderKind::kVertex, out));
    EXPECT_EQ(source, out);
}

TEST(ShaderContainer, RefusesOtherStreams) {
    const DWORD real_shader[] = {0xFFFE0101u, 0x0000FFFFu};
    ShaderSource out;
    EXPECT_FALSE(UnpackShader(nullptr, ShaderKind::kVertex, out));
    EXPECT_FALSE(UnpackShader(real_shader, ShaderKind::kVertex, out));
    EXPECT_FALSE(Unpacks(PackShader(Sample()), ShaderKind::kPixel));

    const auto refused = [](auto&& change) {
        ShaderSource source = Sample();
        change(source);
        return !Unpacks(PackShader(source), source.kind);
    };
    EXPECT_TRUE(refused([](auto& s) { s.constants[0].first_register = 253; }));
    EXPECT_TRUE(refused([](auto& s) { s.constants[0].register_count = 3; }));
    EXPECT_TRUE(refused([](auto& s) { s.constants[1].register_count = 0; }));
    EXPECT_TRUE(refused([](auto& s) { s.constants[1].register_count = 0xffffffff; }));
    EXPECT_TRUE(refused([](auto& s) { s.constants[2].type = ConstantType::kVec4; }));
    EXPECT_TRUE(refused([](auto& s) { s.constants[3].name = "a;b"; }));
    EXPECT_TRUE(refused([](auto& s) { s.constants[3].name = ""; }));
    EXPECT_TRUE(refused([](auto& s) { s.samplers[0].unit = 16; }));
    EXPECT_TRUE(refused([](auto& s) { s.attributes[1].usage_index = 16; }));
    EXPECT_TRUE(refused([](auto& s) { s.attributes[0].usage = 14; }));
    EXPECT_TRUE(refused([](auto& s) { s.text[3] = '\0'; }));
    EXPECT_TRUE(refused([](auto& s) {
        s.kind = ShaderKind::kPixel;
        s.constants.resize(1);
    }));  // pixel shaders have no attributes
    EXPECT_TRUE(refused([](auto& s) {
        s.kind = ShaderKind::kPixel;
        s.attributes.clear();
    }));  // nor 256 registers
}

TEST(ShaderContainer, SurvivesEveryCutAndRandomChanges) {
    const std::vector<DWORD> whole = PackShader(Sample());
    for (std::size_t length = 8; length < whole.size(); ++length) {
        std::vector<DWORD> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        cut[1] = static_cast<DWORD>(length * 4);
        EXPECT_FALSE(Unpacks(cut)) << length;
    }
    std::mt19937 random(1);
    int accepted = 0;
    for (int i = 0; i < 20000; ++i) {
        std::vector<DWORD> changed = whole;
        const std::size_t at = 2 + random() % (changed.size() - 2);
        changed[at] = i % 2 == 0 ? static_cast<DWORD>(random()) : changed[at] ^ (1u << random() % 32);
        accepted += Unpacks(changed) ? 1 : 0;
    }
    EXPECT_GT(accepted, 0);  // changes of text and numbers within their limits
    EXPECT_LT(accepted, 20000);
}

}  // namespace
