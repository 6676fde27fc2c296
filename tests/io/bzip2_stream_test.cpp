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

std::vector<u8> Rest(osmio::InStream& in) {
    std::vector<u8> bytes(in.Remaining());
    in.ReadBytes(bytes.data(), static_cast<u32>(bytes.size()));
    return bytes;
}

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

    osmio::InStreamMemory source(packed);
    source.Seek(4);
    osmio::InStreamBzip2 in(&source, false);
    EXPECT_FALSE(in.IsDamaged());
    EXPECT_EQ(in.GetSize(), 5000);
    EXPECT_EQ(Rest(in), data);
}

TEST(Bzip2Streams, NothingIsStillABlock) {
    const std::vector<u8> packed = Packed({});
    ASSERT_GT(packed.size(), 12u);
    EXPECT_EQ(WordAt(packed, 4), 0u);
    osmio::InStreamMemory source(packed);
    source.Seek(4);
    osmio::InStreamBzip2 in(&source, false);
    EXPECT_FALSE(in.IsOpen());
    EXPECT_EQ(in.Remaining(), 0u);
}

TEST(Bzip2Streams, LeaveChunksOutAndForwardTheRest) {
    osmio::OutStreamMemory target;
    {
        osmio::OutStreamBzip2 out(&target, false);
        EXPECT_TRUE(out.IsOpen());
        out.BeginChunk(osmio::FourCC("ABCD"), 1);
        EXPECT_EQ(out.Tell(), 0u);
        out.WriteU32(1);
        out.WriteString("xy");
        out.PatchU32(0, 2);
    }
    const std::vector<u8> packed = target.GetData();
    osmio::InStreamMemory source(packed);
    source.Seek(4);
    osmio::InStreamBzip2 in(&source, false);
    EXPECT_EQ(Rest(in), Bytes().U32(2).Text("xy").bytes);
}

TEST(Bzip2Streams, DamagedDataIsFilledUpWithZeros) {
    const std::vector<u8> data(1000, 7);
    std::vector<u8> packed = Packed(data);
    packed[20] = static_cast<u8>(~packed[20]);
    osmio::InStreamMemory source(packed);
    source.Seek(4);
    osmio::InStreamBzip2 in(&source, false);
    EXPECT_TRUE(in.IsDamaged());
    EXPECT_EQ(in.GetSize(), 1000);

    packed = Packed(data);
    packed[4] = 0xF0;  // 1008 bytes
    osmio::InStreamMemory longer(packed);
    longer.Seek(4);
    osmio::InStreamBzip2 filled(&longer, false);
    EXPECT_TRUE(filled.IsDamaged());
    std::vector<u8> expected = data;
    expected.resize(1008);
    EXPECT_EQ(Rest(filled), expected);

    packed = Packed(data);
    packed[4] = 0xE0;  // 992 bytes: fewer than there are
    osmio::InStreamMemory shorter(packed);
    shorter.Seek(4);
    osmio::InStreamBzip2 cut(&shorter, false);
    EXPECT_TRUE(cut.IsDamaged());
    EXPECT_EQ(Rest(cut), std::vector<u8>(992, 7));
}

TEST(Bzip2Streams, ClaimsWithoutBytesBehindThemCostLittleMemory) {
    for (const u32 claim : {0x7fffffffu, 0xffffffffu}) {
        std::vector<u8> packed = Packed({1, 2, 3});
        std::memcpy(packed.data() + 4, &claim, 4);
        std::memcpy(packed.data() + 8, &claim, 4);
        osmio::InStreamMemory source(packed);
        source.Seek(4);
        osmio::InStreamBzip2 in(&source, false);
        EXPECT_TRUE(in.IsDamaged());
        EXPECT_LE(in.GetSize(), 2 << 20);
    }
}

TEST(Bzip2Streams, ABombEndsAtItsBound) {
    // Zeros pack to one part in a hundred thousand.
    constexpr u32 kSize = 64u << 20;
    std::vector<u8> packed;
    {
        const std::vector<u8> zeros(kSize);
        packed = Packed(zeros);
    }
    const u64 bound =
        (packed.size() - 12) * osmio::InStreamBzip2::kMaxRatio + osmio::InStreamBzip2::kFreeBytes;
    ASSERT_LT(bound, kSize / 2);
    osmio::InStreamMemory source(packed);
    source.Seek(4);
    osmio::InStreamBzip2 in(&source, false);
    EXPECT_TRUE(in.IsDamaged());
    EXPECT_LE(static_cast<u64>(in.GetSize()), 2 * bound + osmio::InStreamBzip2::kFreeBytes);
}

}  // namespace
