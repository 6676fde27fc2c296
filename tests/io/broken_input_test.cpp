// Files that no writer writes.
#include <gtest/gtest.h>

#include <limits>

#include "io/chunk_walk.h"
#include "io/open.h"
#include "io/registry.h"
#include "io/slot.h"
#include "io/test_bytes.h"

namespace {

using osmio::FourCC;
using test_support::TempFile;
using testing_bytes::Bytes;
using testing_bytes::Messages;
using testing_bytes::Source;
using testing_bytes::Stored;

/// A list of objects.
class List : public osmio::Serializable {
  public:
    bool Read(osmio::InStream* in) override {
        ++reads;
        i32 count = 0;
        in->ReadI32(&count);
        if (!in->CanHold(count, 4, "objects")) return false;
        for (i32 i = 0; i < count; ++i) items.push_back(in->ReadObject());
        return true;
    }
    void Write(osmio::OutStream* out) override {
        out->BeginChunk(FourCC("LIST"), 1);
        out->WriteI32(static_cast<i32>(items.size()));
        for (osmio::Serializable* item : items) out->WriteObject(item);
    }

    std::vector<osmio::Serializable*> items;
    static inline int reads = 0;
};

const osmio::ChunkRegistrer<List> kListRegistrer(FourCC("LIST"));

/// `depth` lists, each in the one before.
std::vector<u8> Nested(u32 depth) {
    Bytes bytes;
    for (u32 i = 0; i < depth; ++i)
        bytes.Chunk("LIST", 1, static_cast<u16>(i), (depth - i) * 16 - 12).U32(i + 1 < depth ? 1 : 0);
    return bytes;
}

u32 Depth(const osmio::Serializable* object) {
    u32 depth = 0;
    while (const auto* list = dynamic_cast<const List*>(object)) {
        ++depth;
        object = list->items.empty() ? nullptr : list->items[0];
    }
    return depth;
}

TEST(BrokenInput, NestingEndsAtItsLimit) {
    constexpr u32 kLimit = osmio::InStreamChunked::kMaxNesting;
    Source fits(Nested(kLimit));
    EXPECT_EQ(Depth(fits->ReadObject()), kLimit);
    EXPECT_FALSE(fits->HasFailed());
    EXPECT_EQ(fits->GetError(), "");

    for (const u32 depth : {kLimit + 1, 200000u}) {
        Source bomb(Nested(depth));
        EXPECT_EQ(Depth(bomb->ReadObject()), kLimit);
        EXPECT_TRUE(bomb->HasFailed());
        EXPECT_NE(bomb->GetError().find("deep"), std::string::npos) << bomb->GetError();
    }
}

TEST(BrokenInput, CountsBeyondTheFileAreRefused) {
    for (const i32 count : {2, 1 << 20, std::numeric_limits<i32>::max(), -1}) {
        Source in(Bytes().Chunk("LIST", 1, 0, 8).U32(static_cast<u32>(count)).U32(0));
        auto* list = osmio::ReadSlot<List>(&in.stream);
        ASSERT_NE(list, nullptr);
        EXPECT_TRUE(list->items.empty());
        EXPECT_TRUE(in->HasFailed());
        EXPECT_NE(in->GetError().find("LIST"), std::string::npos) << in->GetError();
    }
}

TEST(BrokenInput, NothingIsReadTwice) {
    // Lists of unknown chunks whose sizes, taken as signed, would lead back to the list's own start.
    Messages messages;
    Bytes bytes;
    bytes.Chunk("LIST", 1, 0, 1000).U32(8);
    for (u32 i = 0; i < 8; ++i) bytes.Chunk("What", 1, 1, static_cast<u32>(-static_cast<i32>(28 + 12 * i)));
    List::reads = 0;
    Source in(bytes);
    in->ReadObject();
    EXPECT_EQ(List::reads, 1);
    EXPECT_TRUE(in->HasFailed());
    EXPECT_EQ(in->Remaining(), 0u);
    EXPECT_EQ(messages.texts.size(), 1u);
}

TEST(BrokenInput, ReferencesToWhatIsNotThereAreNull) {
    Source in(Bytes().Chunk("LIST", 1, 0, 16).U32(3).U32(0x80000001).U32(0x8000ffff).U32(0xffff0000));
    auto* list = osmio::ReadSlot<List>(&in.stream);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->items, (std::vector<osmio::Serializable*>{nullptr, nullptr, list}));
}

/// A tree of lists with shared ones in it.
std::vector<u8> SomeFile() {
    List lists[6];
    for (u32 i = 1; i < 6; ++i) lists[i / 2].items.push_back(&lists[i]);
    lists[5].items = {&lists[0], nullptr, &lists[3], &lists[3]};
    return Stored(&lists[0]);
}

TEST(BrokenInput, EveryPrefixAndEveryChangedByteIsSurvivedPackedOrNot) {
    Messages messages;
    const std::vector<u8> whole = SomeFile();
    Source intact(whole);
    EXPECT_EQ(Stored(intact->ReadObject()), whole);
    EXPECT_EQ(intact->GetError(), "");
    TempFile temp;
    std::unique_ptr<osmio::OutStream> out(osmio::OpenPackedOutput(temp.path));
    out->WriteBytes(whole.data(), static_cast<u32>(whole.size()));
    out.reset();

    for (const auto& file : {Bytes().Text("NONE").Append(whole).bytes, temp.Bytes()}) {
        const bool packed = file[0] != 'N';
        const auto error = [&](const std::vector<u8>& bytes) {
            temp.Fill(bytes);
            const std::unique_ptr<osmio::InStreamChunked> in(osmio::OpenChunkedInput(temp.path));
            osmio::ChunkWalk walk;
            in->SetObserver(&walk);
            in->ReadObject();
            EXPECT_LE(walk.Nodes().size(), whole.size());
            return in->GetError();
        };
        for (std::size_t length = 4; length < file.size(); ++length) {
            const auto end = file.begin() + static_cast<std::ptrdiff_t>(length);
            EXPECT_NE(error(std::vector<u8>(file.begin(), end)), "") << length;
        }
        for (std::size_t i = 4; i < file.size(); ++i) {
            for (const int change : {0x01, 0x02, 0x40, 0x81, 0xff}) {
                std::vector<u8> changed = file;
                changed[i] = static_cast<u8>(changed[i] ^ change);
                const std::string said = error(changed);
                EXPECT_TRUE(!packed || change != 0x81 || !said.empty()) << i;
            }
        }
    }
}

}  // namespace
