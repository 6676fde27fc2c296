#include "io/chunked_stream.h"

#include <gtest/gtest.h>

#include "io/bzip2_stream.h"
#include "io/file_stream.h"
#include "io/open.h"
#include "io/registry.h"
#include "io/slot.h"
#include "io/test_bytes.h"

namespace {

using osmio::FourCC;
using osmio::Serializable;
using test_support::TempFile;
using testing_bytes::Bytes;
using testing_bytes::Messages;
using testing_bytes::Source;
using testing_bytes::Stored;

/// A number and two objects of the same class; version 1.
class Twin : public Serializable {
  public:
    ~Twin() override { ++destroyed; }

    bool Read(osmio::InStream* in) override {
        seenSize = in->GetChunkSize();
        if (!osmio::VersionIs(in, 1)) return false;
        in->ReadF32(&number);
        left = osmio::ReadSlot<Twin>(in);
        right = osmio::ReadSlot<Twin>(in);
        sizeAfter = in->GetChunkSize();
        return true;
    }

    void Write(osmio::OutStream* out) override {
        out->BeginChunk(FourCC("TWIN"), version);
        out->WriteF32(number);
        out->WriteObject(left);
        out->WriteObject(right);
    }

    f32 number = 0;
    Serializable* left = nullptr;
    Serializable* right = nullptr;
    u32 version = 1;
    u32 seenSize = 0;
    u32 sizeAfter = 0;
    static inline int destroyed = 0;
};

/// Nothing at all.
class Empty : public Serializable {
  public:
    bool Read(osmio::InStream* in) override {
        version = in->GetChunkVersion();
        return true;
    }
    void Write(osmio::OutStream* out) override { out->BeginChunk(tag, version); }

    u32 tag = FourCC("EMTY");
    u32 version = 7;
};

const osmio::ChunkRegistrer<Twin> kTwinRegistrer(FourCC("TWIN"));
const osmio::ChunkRegistrer<Empty> kEmptyRegistrer(FourCC("EMTY"));

TEST(ChunkFormat, IsWhatItIsByteByByteAndReadsBackACycle) {
    Twin child;
    child.number = 2;
    Twin parent;
    parent.number = 1;
    parent.left = parent.right = &child;
    child.left = &parent;
    // The parent's body: number, the child whole, the child's reference; the child's: number, the parent's
    // reference, null.
    const std::vector<u8> expected = Bytes()
                                         .Chunk("TWIN", 1, 0, 32)
                                         .F32(1)
                                         .Chunk("TWIN", 1, 1, 12)
                                         .F32(2)
                                         .U32(0x80000000)
                                         .U32(0)
                                         .U32(0x80000001);
    EXPECT_EQ(Stored(&parent), expected);
    EXPECT_EQ(Stored(nullptr), Bytes().U32(0).bytes);
    Empty empty;
    empty.version = 0x12345;
    EXPECT_EQ(Stored(&empty), Bytes().Chunk("EMTY", 0x2345, 0, 0).bytes);

    Source in(expected);
    auto* root = osmio::ReadSlot<Twin>(&in.stream);
    ASSERT_NE(root, nullptr);
    auto* read = dynamic_cast<Twin*>(root->left);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(root->right, read);
    EXPECT_EQ(read->left, root);
    EXPECT_EQ(root->seenSize, 32u);
    EXPECT_EQ(root->sizeAfter, 12u) << "of the header read last";
    EXPECT_EQ(in->GetError(), "");
    EXPECT_EQ(in->Remaining(), 0u);
    EXPECT_EQ(Stored(root), expected);
}

TEST(ChunkFormat, BadFourCCsAreShownAndWritten) {
    Messages messages;
    Empty empty;
    empty.tag = 0xC4434241;
    Stored(&empty);
    ASSERT_EQ(messages.texts.size(), 1u);
    EXPECT_EQ(messages.texts[0], "Bad Chunk : A, B, C, \xC4");
}

TEST(ChunkFormat, UnknownChunksAreShownSkippedAndNull) {
    // An unknown chunk that holds a known one, whose id a later reference names.
    Messages messages;
    Source in(Bytes()
                  .Chunk("TWIN", 1, 0, 48)
                  .F32(1)
                  .Chunk("What", 3, 1, 12)
                  .Chunk("EMTY", 1, 2, 0)
                  .Chunk("TWIN", 1, 3, 12)
                  .F32(4)
                  .U32(0x80000002)
                  .U32(0x80000000));
    auto* root = osmio::ReadSlot<Twin>(&in.stream);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->left, nullptr);
    auto* after = dynamic_cast<Twin*>(root->right);
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(after->number, 4);
    EXPECT_EQ(after->left, nullptr);
    EXPECT_EQ(after->right, root);
    EXPECT_EQ(messages.texts,
              std::vector<std::string>{"OSMIO : Unknown chunk read : What, version : 3, size : 12"});
    EXPECT_FALSE(in->HasFailed());
    EXPECT_NE(in->GetError(), "");
}

TEST(ChunkFormat, WrongClassesAndRefusedVersions) {
    Source wrong(Bytes().Chunk("TWIN", 1, 0, 20).F32(1).Chunk("EMTY", 5, 1, 0).U32(0x80000001));
    auto* root = osmio::ReadSlot<Twin>(&wrong.stream);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->left, nullptr);
    EXPECT_EQ(root->right, nullptr);
    EXPECT_EQ(wrong->TakeGraph().Size(), 2u);

    Source refused(Bytes().Chunk("TWIN", 2, 0, 12).F32(1).U32(0).U32(0));
    root = osmio::ReadSlot<Twin>(&refused.stream);
    ASSERT_NE(root, nullptr) << "comes back as it stands";
    EXPECT_EQ(root->number, 0);
    EXPECT_EQ(refused->Remaining(), 12u);
    EXPECT_NE(refused->GetError().find("TWIN version 2"), std::string::npos) << refused->GetError();
    EXPECT_FALSE(refused->HasFailed());
}

TEST(Slots, DeleteWhatTheyOwnAndOnlyThat) {
    Twin::destroyed = 0;
    Twin outside;
    {
        osmio::Slot<Twin> slot;
        slot.Own(new Twin());
        slot.Refer(&outside);
        EXPECT_EQ(Twin::destroyed, 1);
        slot.Own(new Twin());
        slot.Own(slot.Get());
        EXPECT_EQ(Twin::destroyed, 1);
        osmio::Slot<Twin> moved = std::move(slot);
        EXPECT_TRUE(moved.Owns());
        EXPECT_FALSE(slot);
        Twin* released = moved.Release();
        EXPECT_FALSE(moved);
        slot.Own(released);
    }
    EXPECT_EQ(Twin::destroyed, 2);
}

TEST(Graph, DeletesEverythingOnceWhateverRefersToIt) {
    Twin::destroyed = 0;
    {
        Source in(Bytes()
                      .Chunk("TWIN", 1, 0, 32)
                      .F32(1)
                      .Chunk("TWIN", 1, 0, 12)  // the same id again
                      .F32(2)
                      .U32(0x80000000)
                      .U32(0x80000000)
                      .U32(0x80000000));
        auto* root = osmio::ReadSlot<Twin>(&in.stream);
        ASSERT_NE(root, nullptr);
        EXPECT_EQ(root->right, root->left) << "the later entry stands";
    }
    EXPECT_EQ(Twin::destroyed, 2);
}

TEST(Openers, ChooseByMagic) {
    TempFile temp;
    Twin root;
    root.number = 3;
    const std::vector<u8> body = Stored(&root);
    const auto written = [&](osmio::OutStream* opened) {
        const std::unique_ptr<osmio::OutStream> out(opened);
        out->WriteObject(&root);
    };
    const auto number = [](osmio::InStreamChunked* opened) {
        const std::unique_ptr<osmio::InStreamChunked> in(opened);
        auto* read = in != nullptr ? osmio::ReadSlot<Twin>(in.get()) : nullptr;
        return read != nullptr && in->GetError().empty() ? read->number : 0;
    };
    written(osmio::OpenChunkedOutput(temp.path, osmio::kCompressionNone));
    EXPECT_EQ(temp.Bytes(), Bytes().Text("NONE").Append(body).bytes);
    EXPECT_EQ(number(osmio::OpenChunkedInput(temp.path)), 3);

    written(osmio::OpenPackedOutput(temp.path));
    EXPECT_EQ(temp.Bytes()[0], 'I');
    EXPECT_EQ(number(osmio::OpenChunkedInput(temp.path)), 3);

    written(osmio::OpenChunkedOutput(temp.path, 2));
    EXPECT_EQ(temp.Bytes(), body);
    EXPECT_EQ(osmio::OpenChunkedInput(temp.path), nullptr);
    EXPECT_EQ(number(osmio::OpenChunkedInputRaw(temp.path)), 3);
}

TEST(Openers, CompressedOutputHoldsObjectsInFullWithoutHeaders) {
    TempFile temp;
    Twin child;
    child.number = 2;
    Twin root;
    root.left = root.right = &child;
    std::unique_ptr<osmio::OutStream> out(osmio::OpenChunkedOutput(temp.path, osmio::kCompressionBzip2));
    ASSERT_NE(out, nullptr);
    out->WriteObject(&root);
    out.reset();
    osmio::InStreamFile file(temp.path);
    u32 magic = 0;
    file.ReadU32(&magic);
    EXPECT_EQ(magic, osmio::kCompressedMagic);
    osmio::InStreamBzip2 in(&file, false);
    std::vector<u8> data(in.Remaining());
    in.ReadBytes(data.data(), static_cast<u32>(data.size()));
    EXPECT_EQ(data, Bytes().F32(0).F32(2).U32(0).U32(0).F32(2).U32(0).U32(0).bytes);
}

}  // namespace
