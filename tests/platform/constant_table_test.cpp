// What a compiler of Direct3D 9 tells about a shader: the table in its tokens, whole and broken, and its log.
#include "platform/shader/constant_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "platform/shader/compile_log.h"

namespace {

using namespace platform;

// A table built by hand; each operation gives the offset of what it adds.
struct Table {
    std::string bytes = std::string(28, '\0');
    std::vector<u32> constants;  // halves of their records

    u32 Text(const char* text) {
        const auto at = static_cast<u32>(bytes.size());
        bytes.append(text).append(1, '\0');
        return at;
    }
    u32 Halves(const std::vector<u32>& values) {
        const auto at = static_cast<u32>(bytes.size());
        for (const u32 value : values)
            bytes.append({static_cast<char>(value), static_cast<char>(value >> 8)});
        return at;
    }
    void Constant(const char* name, u32 set, u32 index, u32 count, const std::vector<u32>& type) {
        const u32 name_at = Text(name), type_at = Halves(type);
        constants.insert(constants.end(), {name_at, 0, set, index, count, 0, type_at, 0, 0, 0});
    }
    // With a comment of another kind before it, and an instruction behind.
    std::vector<DWORD> Shader() const {
        Table whole = *this;
        const u32 first = whole.Halves(constants), count = static_cast<u32>(constants.size()) / 10;
        const u32 header[] = {28, 0, 0xfffe0200, count, first, 0, 0};
        std::memcpy(whole.bytes.data(), header, sizeof(header));
        const auto words = static_cast<u32>(whole.bytes.size() + 3) / 4;
        std::vector<DWORD> tokens = {0xfffe0200, 0x1fffe, 77, (words + 1) << 16 | 0xfffe, 0x42415443};
        tokens.resize(tokens.size() + words);
        std::memcpy(tokens.data() + 5, whole.bytes.data(), whole.bytes.size());
        tokens.push_back(0xffff);
        return tokens;
    }
};

class ConstantTable : public testing::Test {
  protected:
    bool Read(const std::vector<DWORD>& tokens) { return ReadConstantTable(tokens, constants, samplers); }
    static std::vector<DWORD> Full() {
        Table table;
        const u32 direction = table.Text("direction"), weight = table.Text("weight");
        const u32 vector = table.Halves({1, 3, 1, 3, 1, 0, 0, 0}),
                  two = table.Halves({0, 3, 1, 1, 2, 0, 0, 0});
        const u32 members = table.Halves({direction, 0, vector, 0, weight, 0, two, 0});
        table.Constant("world", 2, 4, 3, {3, 3, 4, 4, 1, 0, 0, 0});
        table.Constant("$skin", 2, 7, 6, {2, 3, 3, 4, 2, 0, 0, 0});
        table.Constant("lights", 2, 20, 5, {5, 0, 1, 6, 2, 2, members, 0});
        table.Constant("flags", 0, 2, 4, {1, 1, 1, 2, 2, 0, 0, 0});
        table.Constant("turns", 1, 1, 1, {0, 2, 1, 1, 1, 0, 0, 0});
        table.Constant("flat", 3, 1, 1, {4, 12, 1, 1, 1, 0, 0, 0});
        table.Constant("sky", 3, 0, 1, {4, 14, 1, 1, 1, 0, 0, 0});
        return table.Shader();
    }
    std::vector<ShaderConstantInfo> constants;
    std::vector<ShaderSamplerInfo> samplers;
};

TEST_F(ConstantTable, TellsRegistersOfEveryKind) {
    ASSERT_TRUE(Read(Full()));
    using Set = ShaderRegisterSet;
    using Class = ShaderConstantClass;
    EXPECT_EQ((std::vector<ShaderConstantInfo>{
                  {"world", Set::kFloat, 4, 3, Class::kMatrixColumns, 4, 4, 1},
                  {"skin", Set::kFloat, 7, 6, Class::kMatrixRows, 3, 4, 2},
                  {"lights[0].direction", Set::kFloat, 20, 1, Class::kVector, 1, 3, 1},
                  {"lights[0].weight", Set::kFloat, 21, 2, Class::kScalar, 1, 1, 2},
                  {"lights[1].direction", Set::kFloat, 23, 1, Class::kVector, 1, 3, 1},
                  {"lights[1].weight", Set::kFloat, 24, 1, Class::kScalar, 1, 1, 2},  // its end is not used
                  {"flags", Set::kBool, 2, 4, Class::kVector, 1, 2, 2},
                  {"turns", Set::kInt, 1, 1, Class::kScalar, 1, 1, 1}}),
              constants);
    EXPECT_EQ((std::vector<ShaderSamplerInfo>{{"flat", 1, false}, {"sky", 0, true}}), samplers);
    EXPECT_TRUE(Read({0xffff0200, 0xffff}));
    EXPECT_TRUE(constants.empty() && samplers.empty());
    EXPECT_FALSE(Read({0x43425844, 0xffff}));  // a shader of a later model
}

TEST_F(ConstantTable, DamageIsRefusedAndBounded) {
    for (const u32 elements : {1u, 0xffffu}) {
        Table circle;  // a structure that is its own member, and one of nothing
        const u32 name = circle.Text("x"), at = circle.Halves({name, 0, name + 12, 0});
        circle.Constant("c", 2, 0, 0xffff, {5, 0, 1, 1, elements, 1, at, 0});
        EXPECT_FALSE(Read(circle.Shader()));
    }
    Table nothing;
    nothing.Constant("nothing", 2, 0, 0xffff, {5, 0, 1, 1, 0xffff, 0, 0, 0});
    EXPECT_FALSE(Read(nothing.Shader()));
    const std::vector<DWORD> whole = Full();
    for (auto end = whole.begin() + 4; end + 1 != whole.end(); ++end)
        EXPECT_FALSE(Read({whole.begin(), end}));
    std::mt19937 random(3);
    u32 refused = 0;
    for (int round = 0; round < 20000; ++round) {
        std::vector<DWORD> broken = whole;
        for (int i = 0; i < 3; ++i) broken[5 + random() % (broken.size() - 5)] ^= 1u << random() % 32;
        if (Read(broken)) continue;
        ++refused;
        ASSERT_TRUE(constants.empty() && samplers.empty());
    }
    EXPECT_TRUE(refused > 1000 && refused < 20000) << refused;
}

TEST(CompileLog, ErrorsOfBothCompilers) {
    const struct {
        const char* log;
        u32 line, column;
        const char* text;
    } kCases[] = {
        {"C:\\Work (x86)\\shader(5,3): warning X3206: truncation\r\n"
         "C:\\Work (x86)\\shader(12,5-9): error X3004: undeclared identifier 'a(1): b'\r\n",
         12, 5, "X3004: undeclared identifier 'a(1): b'"},
        {"shader:3:7: W5300: truncation\nC:/shader:12:5: E5005: \"x: 1\" is not declared.\n", 12, 5,
         "E5005: \"x: 1\" is not declared."},
        {"error X3501: 'main': entrypoint not found\n", 0, 0, "X3501: 'main': entrypoint not found"},
        {"<anonymous>: E5017: not there", 0, 0, "E5017: not there"},
        {"\n\xff\xfe(\n(1,", 0, 0, "\xff\xfe("},
        {"shader(99999999999,1): error X1: far", 0, 0, "shader(99999999999,1): error X1: far"},
    };
    for (const auto& it : kCases) {
        std::vector<CompileMessage> messages;
        TakeCompileLog(it.log, messages);
        ASSERT_EQ(1u, messages.size()) << it.log;
        EXPECT_EQ(std::pair(it.line, it.column), std::pair(messages[0].line, messages[0].column)) << it.log;
        EXPECT_EQ(it.text, messages[0].text);
    }
}

}  // namespace
