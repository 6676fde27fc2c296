#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "controller/operators.h"
#include "controller/validation.h"
#include "support/round_trip.h"

namespace {

using namespace osm3d;
using namespace osm3d::controller;
using om2::File;
using test_support::Load;
using test_support::Save;

using Product = Op<color, color, f32>;
using Conversion = Conv<color, vect3>;

const f32 kHalf = std::sqrt(0.5f);
const quat kQuarterTurn{0, 0, kHalf, kHalf};
constexpr quat kNoTurn{0, 0, 0, 1};

/// Rotation by `degrees` about z.
void ExpectTurn(const quat& q, f64 degrees) {
    const f64 half = degrees * 3.14159265358979 / 360.0;
    EXPECT_NEAR(q.x, 0, 1e-6);
    EXPECT_NEAR(q.y, 0, 1e-6);
    EXPECT_NEAR(q.z, std::sin(half), 1e-5);
    EXPECT_NEAR(q.w, std::cos(half), 1e-5);
}

matrix Filled(f32 first) {
    matrix m;
    for (int i = 0; i < 16; ++i) m.Data()[i] = first + static_cast<f32>(i);
    return m;
}

TEST(Const, ScalesEveryComponentAndTurnsByAFraction) {
    Const<color> tint({1, 0.5f, 0, 1});
    tint.Scale(0.5f);
    tint.Update(10);
    EXPECT_EQ(tint.value, (color{0.5f, 0.25f, 0, 0.5f}));
    EXPECT_TRUE(tint.IsConstant());
    Const<quat> turn(kQuarterTurn);
    turn.Scale(0.5f);
    ExpectTurn(turn.value, 45);
    turn.Scale(0);
    ExpectTurn(turn.value, 0);
}

TEST(Op, MultipliesWithCodeFiveOnly) {
    Product product;
    EXPECT_TRUE(product.IsConstant());
    auto* strength = new Linear<f32>();
    strength->AddKey(LinearKey<f32>(0, 0));
    strength->AddKey(LinearKey<f32>(10, 1));
    product.a.Own(new Const<color>({1, 0.5f, 0, 1}));
    product.b.Own(strength);
    product.value = {9, 9, 9, 9};
    product.Update(5);
    EXPECT_EQ(product.value, (color{9, 9, 9, 9}));
    EXPECT_EQ(strength->value, 0.5f) << "operands move whatever the code";
    product.op = Product::kMultiply;
    product.Update(5);
    EXPECT_EQ(product.value, (color{0.5f, 0.25f, 0, 0.5f}));
    EXPECT_FALSE(product.IsConstant());
    product.Scale(2);
    product.Update(5);
    EXPECT_EQ(product.value, (color{0.5f, 0.25f, 0, 0.5f}));
    strength->SetKeyCount(1);
    EXPECT_TRUE(product.IsConstant());
}

TEST(Conv, KeepsItsSourceMovingAndItsOwnValueStill) {
    Linear<vect3> source;
    source.AddKey(LinearKey<vect3>(0, {0, 0, 0}));
    source.AddKey(LinearKey<vect3>(10, {1, 2, 3}));
    Conversion conversion;
    conversion.source = &source;
    conversion.value = {4, 3, 2, 1};
    EXPECT_FALSE(conversion.IsConstant());
    conversion.Scale(2);
    conversion.Update(5);
    EXPECT_EQ(source.value, (vect3{1, 2, 3}));
    EXPECT_EQ(conversion.value, (color{4, 3, 2, 1}));
}

TEST(Linear, HoldsOutsideItsKeysAndBlendsBetween) {
    Linear<f32> track;
    track.AddKey(LinearKey<f32>(0, 1));
    EXPECT_TRUE(track.IsConstant());
    for (const f32 time : {-1.0f, 0.0f, 7.0f}) {
        track.value = 0;
        track.Update(time);
        EXPECT_EQ(track.value, 1) << time;
    }
    track.AddKey(LinearKey<f32>(4, 3));
    track.AddKey(LinearKey<f32>(10, -3));
    EXPECT_FALSE(track.IsConstant());
    const f32 expected[][2] = {{-5, 1}, {0, 1},   {1, 1.5f}, {2, 2},      {4, 3},
                               {7, 0},  {10, -3}, {20, -3},  {5.5f, 1.5f}};
    for (const auto& [time, value] : expected) {
        track.Update(time);
        EXPECT_FLOAT_EQ(track.value, value) << time;
    }
    track.Scale(2);
    track.Update(7.5f);
    EXPECT_FLOAT_EQ(track.value, -1);
    EXPECT_EQ(track.GetKey(1)->time, 4) << "times stay";
}

TEST(Linear, FindsTheKeysThatALinearSearchFinds) {
    Linear<f32> track;
    for (int i = 0; i < 57; ++i) track.AddKey(LinearKey<f32>(static_cast<f32>(i / 3), static_cast<f32>(i)));
    for (f32 time = -1; time < 20; time += 0.25f) {
        Key<f32>* prev = nullptr;
        Key<f32>* next = nullptr;
        track.FindKeys(time, prev, next);
        int before = -1;
        while (before + 1 < 57 && track.keys[static_cast<u32>(before) + 1].time <= time) ++before;
        if (time <= 0) before = -1;
        EXPECT_EQ(prev, before < 0 ? nullptr : track.GetKey(static_cast<u32>(before))) << time;
        EXPECT_EQ(next, before == 56 ? nullptr : track.GetKey(static_cast<u32>(before + 1))) << time;
        track.Update(time);
        if (time == std::floor(time) && before >= 0) {
            EXPECT_EQ(track.value, static_cast<f32>(before)) << "the last of the keys that share a time";
        }
    }
}

TEST(Linear, BlendsColoursAndRotationsButNotMatrices) {
    Linear<color> colors;
    colors.AddKey(LinearKey<color>(0, {0, 1, 0, 1}));
    colors.AddKey(LinearKey<color>(4, {1, 0, 0.5f, 0}));
    colors.Update(1);
    EXPECT_EQ(colors.value, (color{0.25f, 0.75f, 0.125f, 0.75f}));

    Linear<quat> turns;
    turns.AddKey(LinearKey<quat>(0, kNoTurn));
    turns.AddKey(LinearKey<quat>(9, kQuarterTurn));
    turns.Update(3);
    ExpectTurn(turns.value, 30);
    turns.Scale(2);
    turns.Update(9);
    ExpectTurn(turns.value, 180);
    // The same rotation the other way about: the shorter arc counts.
    turns.keys[1].value = {0, 0, -kHalf, -kHalf};
    turns.Update(3);
    ExpectTurn(turns.value, 30);

    Linear<matrix> matrices;
    matrices.AddKey(LinearKey<matrix>(0, Filled(1)));
    matrices.AddKey(LinearKey<matrix>(10, Filled(2)));
    matrices.Update(5);
    EXPECT_EQ(matrices.value, Filled(1));
    matrices.Update(5.001f);
    EXPECT_EQ(matrices.value, Filled(2));
    matrices.Scale(0.5f);
    matrices.Update(10);
    EXPECT_EQ(matrices.value.m[3][3], 8.5f);
}

TEST(Linear, ATimeThatIsNoNumberReadsNoKeyThatIsNotThere) {
    Linear<f32> track;
    track.Update(0);
    for (int i = 0; i < 3; ++i) {
        track.AddKey(LinearKey<f32>(static_cast<f32>(i), 1));
        track.Update(std::numeric_limits<f32>::quiet_NaN());
    }
    track.keys[2].time = std::numeric_limits<f32>::quiet_NaN();
    track.Update(1000);
}

TEST(Records, HoldKeysThatComeBackWhateverTheirCount) {
    const auto track = [](const char* tag, i32 count, i32 width) {
        File f;
        f.Chunk(tag, 9, [&] {  // any version reads; 1 is written
            f.I32(count);
            for (i32 i = 0; i < count * width; ++i) f.F32(static_cast<f32>(i) * 0.5f);
        });
        return f.bytes;
    };
    for (const auto& [tag, width] :
         {std::pair{"CLFL", 2}, {"CLV3", 4}, {"CLQU", 5}, {"CLCO", 5}, {"CLMT", 17}}) {
        for (const i32 count : {0, 1, 3, 1000}) {
            std::vector<u8> bytes = track(tag, count, width);
            const auto loaded = Load(bytes);
            ASSERT_NE(loaded.root, nullptr) << tag;
            bytes[8] = 1;
            EXPECT_EQ(Save(loaded.root), bytes) << tag << ' ' << count;
        }
    }
    const auto loaded = Load(track("CLV3", 2, 4));
    EXPECT_EQ(loaded.As<Linear<vect3>>()->GetKey(1)->time, 2);
    EXPECT_EQ(loaded.As<Linear<vect3>>()->GetKey(1)->GetValue(), (vect3{2.5f, 3, 3.5f}));
}

TEST(Records, KeyCountsBeyondTheFileLeaveNoKeys) {
    for (const u32 count : {3u, 0x10000000u, 0x7fffffffu, 0xffffffffu}) {
        File f;
        f.Chunk("CLV3", 1, [&] {
            f.U32(count);
            for (int i = 0; i < 8; ++i) f.F32(1);
        });
        const auto loaded = Load(f.bytes);
        auto* track = loaded.As<Linear<vect3>>();
        ASSERT_NE(track, nullptr);
        EXPECT_EQ(track->GetKeyCount(), 0u);
        EXPECT_TRUE(loaded.failed);
        std::string reason;
        EXPECT_FALSE(Validate(track, reason));
        EXPECT_EQ(reason, "a key-framed controller has no keys");
    }
}

TEST(Records, OperandsOfTheWrongClassAreNull) {
    File f;
    f.Chunk("CoCF", 1, [&] {
        f.U32(5);
        f.Ref(f.ConstFloat(1));
    });
    const auto loaded = Load(f.bytes);
    auto* product = loaded.As<Product>();
    ASSERT_NE(product, nullptr);
    EXPECT_FALSE(product->a);
    EXPECT_TRUE(product->b);
    product->Update(0);
    std::string reason;
    EXPECT_FALSE(Validate(product, reason));
    EXPECT_EQ(reason, "an operator lacks an operand");
}

TEST(Validation, FindsCirclesAndWhatIsMissing) {
    std::string reason;
    EXPECT_TRUE(Validate(nullptr, reason));
    File circle;
    circle.Chunk("CoCF", 1, [&] {
        circle.U32(5);
        circle.Ref(0);
        circle.ConstFloat(1);
    });
    const auto loaded = Load(circle.bytes);
    auto* product = loaded.As<Product>();
    ASSERT_NE(product, nullptr);
    EXPECT_FALSE(Validate(product, reason));
    EXPECT_NE(reason.find("circle"), std::string::npos);

    const auto chain = [&](u32 length) {
        std::vector<Product> products(length);
        Const<color> end({1, 1, 1, 1});
        Const<f32> factor(1);
        for (u32 i = 0; i < length; ++i) {
            products[i].op = Product::kMultiply;
            products[i].b.Refer(&factor);
            if (i + 1 < length) {
                products[i].a.Refer(&products[i + 1]);
            } else {
                products[i].a.Refer(&end);
            }
        }
        return Validate(&products[0], reason);
    };
    EXPECT_TRUE(chain(kMaxOperatorDepth)) << reason;
    EXPECT_FALSE(chain(kMaxOperatorDepth + 1));

    Conversion conversion;
    EXPECT_FALSE(Validate(&conversion, reason));
    Linear<vect3> track;
    conversion.source = &track;
    EXPECT_FALSE(Validate(&conversion, reason));
    track.SetKeyCount(1);
    EXPECT_TRUE(Validate(&conversion, reason));
}

}  // namespace
