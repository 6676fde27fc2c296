#include <gtest/gtest.h>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "io/registry.h"
#include "io/test_bytes.h"
#include "scene/controller_transformation.h"
#include "scene/transformation_prs.h"

namespace {

using namespace osm3d;
using controller::Const;
using controller::Linear;
using controller::LinearKey;
using osmio::FourCC;
using testing_bytes::Bytes;
using testing_bytes::Source;
using testing_bytes::Stored;

const osmio::ChunkRegistrer<Const<vect3>> kConstVector(FourCC("CCV3"));
const osmio::ChunkRegistrer<Const<quat>> kConstQuat(FourCC("CCQU"));
const osmio::ChunkRegistrer<Linear<matrix>> kLinearMatrix(FourCC("CLMT"));
const osmio::ChunkRegistrer<TransformationPRS> kPRS(FourCC("TRPR"));
const osmio::ChunkRegistrer<ControllerTransformation> kPlacement(FourCC("CPRS"));
const osmio::ChunkRegistrer<ControllerTransformationMatrix> kMatrixPlacement(FourCC("CMTX"));

/// A controller that counts its updates and its end.
class Counting : public Const<vect3> {
  public:
    ~Counting() override { ++ended; }
    void Update(f32) override { ++updates; }
    int updates = 0;
    static inline int ended = 0;
};

class Thing : public Animatable {
  public:
    void Update(f32 time) override { UpdateControllers(time); }
    osmio::Slot<ControllerBase<vect3>> slot;
};

TEST(Animatable, RunsWhatItsSlotsHold) {
    Counting::ended = 0;
    {
        Thing thing;
        auto* first = new Counting();
        auto* second = new Counting();
        thing.ReplaceController<vect3>(thing.slot, first);
        thing.Update(0);
        EXPECT_EQ(first->updates, 1);
        thing.ReplaceController<vect3>(thing.slot, second);
        EXPECT_EQ(Counting::ended, 1);
        EXPECT_EQ(thing.Controllers(), std::vector<Controller*>{second});
        thing.Update(0);
        EXPECT_EQ(second->updates, 1);

        Source in(Bytes().Chunk("CCV3", 1, 0, 12).F32s({1, 2, 3}).U32(0));
        thing.ReadController(&in.stream, thing.slot);
        EXPECT_EQ(Counting::ended, 2);
        ASSERT_TRUE(thing.slot);
        EXPECT_FALSE(thing.slot.Owns()) << "what a file made is the file's";
        EXPECT_EQ(thing.Controllers().size(), 1u);
        thing.ReadController(&in.stream, thing.slot);
        EXPECT_FALSE(thing.slot);
        EXPECT_TRUE(thing.Controllers().empty());
    }
    EXPECT_EQ(Counting::ended, 2);
}

TEST(Animatable, RemovesAllEntriesButTheSecondOfTwoNeighbours) {
    Thing thing;
    Counting a;
    Counting b;
    for (Controller* c : {static_cast<Controller*>(&a), static_cast<Controller*>(&b),
                          static_cast<Controller*>(&a), static_cast<Controller*>(&a)})
        thing.AddController(c);
    thing.RemoveController(&a);
    EXPECT_EQ(thing.Controllers(), (std::vector<Controller*>{&b, &a}));
    thing.RemoveController(&a);
    EXPECT_EQ(thing.Controllers(), std::vector<Controller*>{&b});
}

TEST(TransformationPRS, ReadsWritesAndComposesOnce) {
    const std::vector<u8> bytes =
        Bytes().Chunk("TRPR", 1, 0, 40).F32s({1, 2, 3}).F32s({0, 0, 0, 1}).F32s({2, 3, 4});
    Source in(bytes);
    auto* placement = dynamic_cast<TransformationPRS*>(in->ReadObject());
    ASSERT_NE(placement, nullptr);
    EXPECT_EQ(Stored(placement), bytes);
    EXPECT_EQ(placement->GetPosition(), (vect3{1, 2, 3}));
    EXPECT_EQ(placement->GetScale(), (vect3{2, 3, 4}));
    const matrix& world = placement->GetWorldMatrix();
    EXPECT_EQ(world, (matrix{{{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}, {1, 2, 3, 1}}}));
    EXPECT_EQ(&world, &placement->GetWorldMatrix());

    Source newer(Bytes().Chunk("TRPR", 2, 0, 40).F32s({1, 2, 3}).F32s({0, 0, 0, 1}).F32s({2, 3, 4}));
    placement = dynamic_cast<TransformationPRS*>(newer->ReadObject());
    ASSERT_NE(placement, nullptr);
    EXPECT_EQ(placement->GetWorldMatrix(), kMatrixIdentity);
    EXPECT_EQ(placement->GetRotation(), kQuatIdentity);
}

TEST(ControllerTransformation, SharesOneMatrixAmongAll) {
    ControllerTransformation a;
    a.SetPosition(new Const<vect3>({1, 2, 3}));
    a.SetRotation(new Const<quat>(kQuatIdentity));
    a.SetScale(new Const<vect3>({1, 1, 1}));
    ControllerTransformation b;
    b.SetPosition(new Const<vect3>({4, 5, 6}));
    b.SetRotation(new Const<quat>(kQuatIdentity));
    b.SetScale(new Const<vect3>({1, 1, 1}));
    const matrix& first = a.GetMatrix();
    EXPECT_EQ(MatrixGetTranslation(first), (vect3{1, 2, 3}));
    EXPECT_EQ(&b.GetMatrix(), &first);
    EXPECT_EQ(MatrixGetTranslation(first), (vect3{4, 5, 6}));
    EXPECT_EQ(a.GetPosition(), (vect3{1, 2, 3}));
    EXPECT_EQ(a.Controllers(), (std::vector<Controller*>{a.position.Get(), a.rotation.Get(), a.scale.Get()}));
}

TEST(ControllerTransformation, RoundTripsAndSaysWhatIsMissing) {
    std::vector<u8> bytes = Bytes()
                                .Chunk("CPRS", 1, 0, 56)
                                .Chunk("CCV3", 1, 1, 12)
                                .F32s({1, 2, 3})
                                .Chunk("CCQU", 1, 2, 16)
                                .F32s({0, 0, 0, 1})
                                .U32(0x80000001);
    Source in(bytes);
    auto* placement = dynamic_cast<ControllerTransformation*>(in->ReadObject());
    ASSERT_NE(placement, nullptr);
    EXPECT_EQ(Stored(placement), bytes);
    EXPECT_EQ(placement->GetScale(), (vect3{1, 2, 3})) << "one controller for two";
    std::string reason;
    EXPECT_TRUE(placement->Validate(reason)) << reason;

    bytes = Bytes().Chunk("CPRS", 1, 0, 12).U32(0).U32(0).U32(0);
    Source nulls(bytes);
    placement = dynamic_cast<ControllerTransformation*>(nulls->ReadObject());
    ASSERT_NE(placement, nullptr);
    placement->Update(1);
    EXPECT_EQ(Stored(placement), bytes);
    EXPECT_FALSE(placement->Validate(reason));
}

TEST(ControllerTransformation, OfAMatrixAnswersFromIt) {
    Bytes keys;
    for (int i = 0; i < 16; ++i) keys.F32(static_cast<f32>(i));
    const std::vector<u8> bytes =
        Bytes().Chunk("CMTX", 1, 0, 84).Chunk("CLMT", 1, 1, 72).U32(1).F32(0).Append(keys);
    Source in(bytes);
    auto* placement = dynamic_cast<ControllerTransformationMatrix*>(in->ReadObject());
    ASSERT_NE(placement, nullptr);
    EXPECT_EQ(Stored(placement), bytes);
    placement->Update(0);
    EXPECT_EQ(placement->GetMatrix().m[2][1], 9);
    EXPECT_EQ(placement->GetPosition(), (vect3{12, 13, 14}));
    EXPECT_EQ(placement->GetScale(), (vect3{1, 1, 1}));
    std::string reason;
    EXPECT_TRUE(placement->Validate(reason));
    EXPECT_FALSE(ControllerTransformationMatrix().Validate(reason));
}

}  // namespace
