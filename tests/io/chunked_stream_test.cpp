#include "io/chunked_stream.h"

#include <gtest/gtest.h>

#include "io/bzip2_stream.h"
#include "io/chunk_walk.h"
#include "io/file_stream.h"
#include "io/open.h"
#include "io/registry.h"
#include "io/slot.h"
#include "io/test_bytes.h"

namespace {

using osmio::FourCC;
using osmio::Serializable;
using testing_bytes::Bytes;
using testing_bytes::Messages;
using testing_bytes::Source;
using testing_bytes::Stored;
using testing_bytes::TempFile;

/// A number and two objects of the same class; version 1.
class Twin : public Serializable {
  public:
    ~Twin() override { ++destroyed; }

    bool Read(osmio::InStream* in) override {
        seenId = in->GetChunkId();
        seenSize = in->GetChunkSize();
        if (!osmio::VersionIs(in, 1)) return false;
        in->ReadF32(&number);
        left = osmio::ReadSlot<Twin>(in);
        right = osmio::ReadSlot<Twin>(in);
        versionAfter = in->GetChunkVersion();
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
    u32 seenId = 0;
    u32 seenSize = 0;
    u32 versionAfter = 0;
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

TEST(ChunkFormat, IsWhatItIsByteByByte) {
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
}

TEST(ChunkFormat, ReadsBackAGraphWithACycle) {
    Source in(Bytes()
                  .Chunk("TWIN", 1, 0, 32)
                  .F32(1)
                  .Chunk("TWIN", 1, 1, 12)
                  .F32(2)
                  .U32(0x80000000)
                  .U32(0)
                  .U32(0x80000001));
    auto* parent = osmio::ReadSlot<Twin>(&in.stream);
    ASSERT_NE(parent, nullptr);
    auto* child = dynamic_cast<Twin*>(parent->left);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(parent->right, child);
    EXPECT_EQ(child->left, parent);
    EXPECT_EQ(child->right, nullptr);
    EXPECT_EQ(parent->number, 1);
    EXPECT_EQ(child->number, 2);
    EXPECT_EQ(parent->seenId, FourCC("TWIN"));
    EXPECT_EQ(parent->seenSize, 32u);
    EXPECT_EQ(parent->versionAfter, 1u);
    EXPECT_EQ(parent->sizeAfter, 12u) << "of the header read last";
    EXPECT_EQ(in->GetError(), "");
    EXPECT_EQ(in->Remaining(), 0u);
    EXPECT_EQ(in->GetChunkId(), 0u);

    const osmio::ObjectGraph graph = in->TakeGraph();
    ASSERT_EQ(graph.Size(), 2u);
    EXPECT_EQ(graph.Objects()[0].get(), child);
    EXPECT_EQ(graph.Objects()[1].get(), parent);
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

TEST(ChunkFormat, WalkShowsEverySlot) {
    Messages messages;
    Source in(Bytes()
                  .Chunk("TWIN", 1, 0, 36)
                  .F32(1)
                  .Chunk("TWIN", 1, 1, 12)
                  .F32(2)
                  .U32(0x80000000)
                  .U32(0)
                  .Chunk("What", 3, 2, 0));
    osmio::ChunkWalk walk;
    in->SetObserver(&walk);
    in->ReadObject();
    const auto& nodes = walk.Nodes();
    ASSERT_EQ(nodes.size(), 5u);
    using Kind = osmio::ChunkEvent::Kind;
    const Kind kinds[] = {Kind::kChunk, Kind::kChunk, Kind::kReference, Kind::kNull, Kind::kUnknownChunk};
    const i32 offsets[] = {0, 16, 32, 36, 40};
    const i32 parents[] = {-1, 0, 1, 1, 0};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(nodes[i].slot.kind, kinds[i]) << i;
        EXPECT_EQ(nodes[i].slot.offset, offsets[i]) << i;
        EXPECT_EQ(nodes[i].parent, parents[i]) << i;
    }
    EXPECT_TRUE(nodes[1].IsExact());
    EXPECT_EQ(nodes[0].end, 52);
    EXPECT_FALSE(nodes[0].IsExact());
    EXPECT_EQ(nodes[2].object, nodes[0].object);
    EXPECT_EQ(osmio::FourCCText(nodes[4].slot.fourcc), "What");
    EXPECT_EQ(osmio::FourCCText(0x01414243), "CBA.");
}

TEST(Registry, LaterRegistrersReplaceAndTheLastOneLeavesNothing) {
    EXPECT_EQ(osmio::FindChunkRegistrer(FourCC("NOPE")), nullptr);
    {
        osmio::ChunkRegistrer<Empty> first(FourCC("Nope"));
        EXPECT_EQ(osmio::FindChunkRegistrer(FourCC("Nope")), &first);
        EXPECT_EQ(osmio::FindChunkRegistrer(FourCC("NOPE")), nullptr) << "case matters";
        osmio::ChunkRegistrer<Twin> second(FourCC("Nope"));
        EXPECT_EQ(osmio::FindChunkRegistrer(FourCC("Nope")), &second);
    }
    EXPECT_EQ(osmio::FindChunkRegistrer(FourCC("Nope")), nullptr);
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
    TempFile path;
    Twin root;
    root.number = 3;
    const std::vector<u8> body = Stored(&root);

    std::unique_ptr<osmio::OutStream> out(osmio::OpenChunkedOutput(path.Path(), osmio::kCompressionNone));
    ASSERT_NE(out, nullptr);
    out->WriteObject(&root);
    out.reset();
    EXPECT_EQ(path.Get(), Bytes().Text("NONE").Append(body).bytes);
    const auto expectRoot = [&](osmio::InStreamChunked* opened) {
        const std::unique_ptr<osmio::InStreamChunked> in(opened);
        ASSERT_NE(in, nullptr);
        auto* read = osmio::ReadSlot<Twin>(in.get());
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(read->number, 3);
        EXPECT_EQ(in->GetError(), "");
    };
    expectRoot(osmio::OpenChunkedInput(path.Path()));

    out.reset(osmio::OpenPackedOutput(path.Path()));
    ASSERT_NE(out, nullptr);
    out->WriteObject(&root);
    out.reset();
    EXPECT_EQ(path.Get()[0], 'I');
    expectRoot(osmio::OpenChunkedInput(path.Path()));

    out.reset(osmio::OpenChunkedOutput(path.Path(), 2));
    out->WriteObject(&root);
    out.reset();
    EXPECT_EQ(path.Get(), body);
    EXPECT_EQ(osmio::OpenChunkedInput(path.Path()), nullptr);
    expectRoot(osmio::OpenChunkedInputRaw(path.Path()));

    EXPECT_EQ(osmio::OpenChunkedInput(path.Path() + ".no"), nullptr);
    EXPECT_EQ(osmio::OpenChunkedInputRaw(path.Path() + ".no"), nullptr);
    EXPECT_EQ(osmio::OpenChunkedOutput(path.Path() + "/no", 0), nullptr);
    path.Put({'N', 'O'});
    EXPECT_EQ(osmio::OpenChunkedInput(path.Path()), nullptr);
}

TEST(Openers, CompressedOutputHoldsObjectsInFullWithoutHeaders) {
    TempFile path;
    Twin child;
    child.number = 2;
    Twin root;
    root.left = root.right = &child;
    std::unique_ptr<osmio::OutStream> out(osmio::OpenChunkedOutput(path.Path(), osmio::kCompressionBzip2));
    ASSERT_NE(out, nullptr);
    out->WriteObject(&root);
    out.reset();
    osmio::InStreamFile file(path.Path());
    u32 magic = 0;
    file.ReadU32(&magic);
    EXPECT_EQ(magic, osmio::kCompressedMagic);
    osmio::InStreamBzip2 in(&file, false);
    std::vector<u8> data(in.Remaining());
    in.ReadBytes(data.data(), static_cast<u32>(data.size()));
    EXPECT_EQ(data, Bytes().F32(0).F32(2).U32(0).U32(0).F32(2).U32(0).U32(0).bytes);
}

}  // namespace
