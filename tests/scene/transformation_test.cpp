#include <gtest/gtest.h>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "scene/controller_transformation.h"
#include "scene/transformation_prs.h"
#include "scene/value_operations.h"
#include "support/round_trip.h"

namespace {

using namespace osm3d;
using controller::Const;
using controller::Linear;
using controller::LinearKey;
using om2::File;
using test_support::Load;
using test_support::Save;
using test_support::TempFile;

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

        File f;
        f.ConstVec3({1, 2, 3});
        f.Null();
        const TempFile temp;
        temp.Fill(f.bytes);
        const std::unique_ptr<osmio::InStreamChunked> in(osmio::OpenChunkedInput(temp.path));
        thing.ReadController(in.get(), thing.slot);
        EXPECT_EQ(Counting::ended, 2);
        ASSERT_TRUE(thing.slot);
        EXPECT_FALSE(thing.slot.Owns()) << "what a file made is the file's";
        EXPECT_EQ(thing.Controllers().size(), 1u);
        thing.ReadController(in.get(), thing.slot);
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

TEST(TransformationPRS, ComposesOnceAndReadsOneVersion) {
    for (const unsigned version : {1u, 2u}) {
        File f;
        f.Placement({1, 2, 3}, {0, 0, 0, 1}, {2, 3, 4});
        f.bytes[8] = static_cast<u8>(version);
        const auto loaded = Load(f.bytes);
        auto* placement = loaded.As<TransformationPRS>();
        ASSERT_NE(placement, nullptr);
        const matrix& world = placement->GetWorldMatrix();
        EXPECT_EQ(&world, &placement->GetWorldMatrix());
        const matrix expected{{{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}, {1, 2, 3, 1}}};
        EXPECT_EQ(world, version == 1 ? expected : kMatrixIdentity);
    }
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

TEST(ControllerTransformation, OfNothingIsWrittenAlikeAndRefused) {
    for (const auto& [tag, slots] : {std::pair{"CPRS", 3}, {"CMTX", 1}}) {
        File f;
        f.Chunk(tag, 1, [&f, count = slots] {
            for (int i = 0; i < count; ++i) f.Null();
        });
        const auto loaded = Load(f.bytes);
        auto* placement = loaded.As<ControllerTransformation>();
        ASSERT_NE(placement, nullptr);
        placement->Update(1);
        EXPECT_EQ(Save(loaded.root), f.bytes);
        std::string reason;
        EXPECT_FALSE(placement->Validate(reason));
    }
}

TEST(ControllerTransformation, OfAMatrixAnswersFromIt) {
    matrix m;
    for (int i = 0; i < 16; ++i) m.Data()[i] = static_cast<f32>(i);
    auto* track = new Linear<matrix>();
    track->AddKey(LinearKey<matrix>(0, m));
    ControllerTransformationMatrix placement;
    placement.SetMatrix(track);
    placement.Update(0);
    EXPECT_EQ(placement.GetMatrix().m[2][1], 9);
    EXPECT_EQ(placement.GetPosition(), (vect3{12, 13, 14}));
    EXPECT_EQ(placement.GetScale(), (vect3{1, 1, 1}));
    std::string reason;
    EXPECT_TRUE(placement.Validate(reason)) << reason;
}

}  // namespace
