#include "io/bzip2_stream.h"

#include <bzlib.h>
#include <gtest/gtest.h>

#include "io/memory_stream.h"
#include "io/test_bytes.h"

namespace {

using testing_bytes::Bytes;

std::vector<u8> Packed(const std::vector<u8>& data) {
    osmio::OutStreamMemory target;
    {
        osmio::OutStreamBzip2 out(&target, false);
        if (!data.empty()) out.WriteBytes(data.data(), static_cast<u32>(data.size()));
        EXPECT_EQ(out.Tell(), data.size());
        EXPECT_EQ(target.Tell(), 0u) << "nothing before the end";
    }
    return target.GetData();
}

u32 WordAt(const std::vector<u8>& bytes, std::size_t position) {
    u32 word = 0;
    std::memcpy(&word, bytes.data() + position, 4);
    return word;
}

/// What stands behind a magic, unpacked.
struct Unpacked {
    explicit Unpacked(const std::vector<u8>& packed)
        : bytes(packed), source(bytes), in(Behind(source), false) {}
    std::vector<u8> Rest() {
        std::vector<u8> rest(in.Remaining());
        in.ReadBytes(rest.data(), static_cast<u32>(rest.size()));
        return rest;
    }
    static osmio::InStream* Behind(osmio::InStreamMemory& source) {
        source.Seek(4);
        return &source;
    }

    std::vector<u8> bytes;
    osmio::InStreamMemory source;
    osmio::InStreamBzip2 in;
};

TEST(Bzip2Streams, WriteMagicSizesAndDataThatBzip2Reads) {
    std::vector<u8> data(5000);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<u8>(i * i % 13);
    std::vector<u8> packed = Packed(data);
    EXPECT_EQ(WordAt(packed, 0), 0x5A424F49u);
    EXPECT_EQ(WordAt(packed, 4), 5000u);
    EXPECT_EQ(WordAt(packed, 8), packed.size() - 12);
    EXPECT_EQ(std::string(packed.begin() + 12, packed.begin() + 16), "BZh1");

    std::vector<u8> unpacked(5000);
    unsigned size = 5000;
    ASSERT_EQ(BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(unpacked.data()), &size,
                                         reinterpret_cast<char*>(packed.data() + 12),
                                         static_cast<unsigned>(packed.size() - 12), 0, 0),
              BZ_OK);
    EXPECT_EQ(unpacked, data);
    Unpacked again(packed);
    EXPECT_FALSE(again.in.IsDamaged());
    EXPECT_EQ(again.Rest(), data);

    Unpacked nothing(Packed({}));
    EXPECT_GT(nothing.bytes.size(), 12u);
    EXPECT_FALSE(nothing.in.IsOpen());
}

TEST(Bzip2Streams, LeaveChunksOutAndForwardTheRest) {
    osmio::OutStreamMemory target;
    {
        osmio::OutStreamBzip2 out(&target, false);
        out.BeginChunk(osmio::FourCC("ABCD"), 1);
        EXPECT_EQ(out.Tell(), 0u);
        out.WriteU32(1);
        out.WriteString("xy");
        out.PatchU32(0, 2);
    }
    EXPECT_EQ(Unpacked(target.GetData()).Rest(), Bytes().U32(2).Text("xy").bytes);
}

TEST(Bzip2Streams, DamagedDataIsFilledUpWithZerosOrCut) {
    const std::vector<u8> data(1000, 7);
    for (const auto& [at, value, size] : {std::tuple{20, 0x00, 1000u}, {4, 0xF0, 1008u}, {4, 0xE0, 992u}}) {
        std::vector<u8> packed = Packed(data);
        packed[static_cast<std::size_t>(at)] = static_cast<u8>(value);
        Unpacked damaged(packed);
        EXPECT_TRUE(damaged.in.IsDamaged());
        ASSERT_EQ(damaged.in.GetSize(), static_cast<i32>(size));
        if (at == 20) continue;
        std::vector<u8> expected(data);
        expected.resize(size);
        EXPECT_EQ(damaged.Rest(), expected);
    }
}

TEST(Bzip2Streams, ClaimsAndBombsCostLittleMemory) {
    for (const u32 claim : {0x7fffffffu, 0xffffffffu}) {
        std::vector<u8> packed = Packed({1, 2, 3});
        std::memcpy(packed.data() + 4, &claim, 4);
        std::memcpy(packed.data() + 8, &claim, 4);
        Unpacked claimed(packed);
        EXPECT_TRUE(claimed.in.IsDamaged());
        EXPECT_LE(claimed.in.GetSize(), 2 << 20);
    }
    // Zeros pack to one part in a hundred thousand.
    constexpr u32 kSize = 64u << 20;
    const std::vector<u8> packed = Packed(std::vector<u8>(kSize));
    const u64 bound =
        (packed.size() - 12) * osmio::InStreamBzip2::kMaxRatio + osmio::InStreamBzip2::kFreeBytes;
    ASSERT_LT(bound, kSize / 2);
    Unpacked bomb(packed);
    EXPECT_TRUE(bomb.in.IsDamaged());
    EXPECT_LE(static_cast<u64>(bomb.in.GetSize()), 2 * bound + osmio::InStreamBzip2::kFreeBytes);
}

}  // namespace
