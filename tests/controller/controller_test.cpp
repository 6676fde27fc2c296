#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "controller/operators.h"
#include "controller/validation.h"
#include "io/registry.h"
#include "io/test_bytes.h"

namespace {

using namespace osm3d;
using namespace osm3d::controller;
using osmio::FourCC;
using testing_bytes::Bytes;
using testing_bytes::Source;
using testing_bytes::Stored;

using Product = Op<color, color, f32>;
using Conversion = Conv<color, vect3>;

const osmio::ChunkRegistrer<Const<f32>> kConstFloat(FourCC("CCFL"));
const osmio::ChunkRegistrer<Const<vect3>> kConstVector(FourCC("CCV3"));
const osmio::ChunkRegistrer<Const<quat>> kConstQuat(FourCC("CCQU"));
const osmio::ChunkRegistrer<Const<color>> kConstColor(FourCC("CCCO"));
const osmio::ChunkRegistrer<Linear<f32>> kLinearFloat(FourCC("CLFL"));
const osmio::ChunkRegistrer<Linear<vect3>> kLinearVector(FourCC("CLV3"));
const osmio::ChunkRegistrer<Linear<quat>> kLinearQuat(FourCC("CLQU"));
const osmio::ChunkRegistrer<Linear<color>> kLinearColor(FourCC("CLCO"));
const osmio::ChunkRegistrer<Linear<matrix>> kLinearMatrix(FourCC("CLMT"));
const osmio::ChunkRegistrer<Product> kProduct(FourCC("CoCF"));
const osmio::ChunkRegistrer<Conversion> kConversion(FourCC("CVCV"));

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
    Const<f32> number(3);
    number.Scale(2);
    number.Update(10);
    EXPECT_EQ(number.value, 6);
    EXPECT_TRUE(number.IsConstant());
    Const<vect3> vector({1, 2, 3});
    vector.Scale(-1);
    EXPECT_EQ(vector.value, (vect3{-1, -2, -3}));
    Const<color> tint({1, 0.5f, 0, 1});
    tint.Scale(0.5f);
    EXPECT_EQ(tint.value, (color{0.5f, 0.25f, 0, 0.5f}));
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

TEST(Linear, JumpsWhereTwoKeysShareATime) {
    Linear<f32> track;
    for (const auto& [time, value] : {std::pair{0.f, 0.f}, {5.f, 1.f}, {5.f, 10.f}, {10.f, 20.f}})
        track.AddKey(LinearKey<f32>(time, value));
    track.Update(4.9999f);
    EXPECT_NEAR(track.value, 1, 1e-3);
    track.Update(5);
    EXPECT_EQ(track.value, 10);
    track.Update(7.5f);
    EXPECT_EQ(track.value, 15);
    Key<f32>* prev = nullptr;
    Key<f32>* next = nullptr;
    track.FindKeys(5, prev, next);
    EXPECT_EQ(prev, track.GetKey(2));
    EXPECT_EQ(next, track.GetKey(3));
    track.FindKeys(0, prev, next);
    EXPECT_EQ(prev, nullptr);
    EXPECT_EQ(next, track.GetKey(0));
    track.FindKeys(10, prev, next);
    EXPECT_EQ(prev, track.GetKey(3));
    EXPECT_EQ(next, nullptr);
    track.SetKeyCount(0);
    track.FindKeys(10, prev, next);
    EXPECT_EQ(prev, nullptr);
    EXPECT_EQ(next, nullptr);
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
        if (before == 56) {
            EXPECT_EQ(track.value, 56);
        }
    }
}

TEST(Linear, BlendsVectorsColoursAndRotationsButNotMatrices) {
    Linear<vect3> vectors;
    vectors.AddKey(LinearKey<vect3>(0, {0, 10, -4}));
    vectors.AddKey(LinearKey<vect3>(8, {4, 0, 4}));
    vectors.Update(2);
    EXPECT_EQ(vectors.value, (vect3{1, 7.5f, -2}));

    Linear<color> colors;
    colors.AddKey(LinearKey<color>(0, {0, 1, 0, 1}));
    colors.AddKey(LinearKey<color>(4, {1, 0, 0.5f, 0}));
    colors.Update(1);
    EXPECT_EQ(colors.value, (color{0.25f, 0.75f, 0.125f, 0.75f}));
    colors.Scale(2);
    colors.Update(0);
    EXPECT_EQ(colors.value, (color{0, 2, 0, 2}));

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

/// Reads `bytes` as one T and expects it to write the same.
template <class T>
void ExpectRoundTrip(const std::vector<u8>& bytes) {
    Source in(bytes);
    auto* object = dynamic_cast<T*>(in->ReadObject());
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(in->GetError(), "");
    EXPECT_EQ(in->Remaining(), 0u);
    EXPECT_EQ(Stored(object), bytes);
}

/// `count` keys of `width` floats each, all different.
std::vector<u8> Track(const char* tag, u32 count, u32 width) {
    Bytes bytes;
    bytes.Chunk(tag, 1, 0, 4 + count * width * 4).U32(count);
    for (u32 i = 0; i < count * width; ++i) bytes.F32(static_cast<f32>(i) * 0.5f);
    return bytes;
}

TEST(Records, RoundTrip) {
    ExpectRoundTrip<Const<f32>>(Bytes().Chunk("CCFL", 1, 0, 4).F32(1));
    ExpectRoundTrip<Const<vect3>>(Bytes().Chunk("CCV3", 1, 0, 12).F32s({1, 2, 3}));
    ExpectRoundTrip<Const<quat>>(Bytes().Chunk("CCQU", 1, 0, 16).F32s({1, 2, 3, 4}));
    ExpectRoundTrip<Const<color>>(Bytes().Chunk("CCCO", 1, 0, 16).F32s({1, 2, 3, 4}));
    for (const u32 count : {0u, 1u, 3u, 1000u}) {
        ExpectRoundTrip<Linear<f32>>(Track("CLFL", count, 2));
        ExpectRoundTrip<Linear<vect3>>(Track("CLV3", count, 4));
        ExpectRoundTrip<Linear<quat>>(Track("CLQU", count, 5));
        ExpectRoundTrip<Linear<color>>(Track("CLCO", count, 5));
        ExpectRoundTrip<Linear<matrix>>(Track("CLMT", count, 17));
    }
    ExpectRoundTrip<Product>(Bytes()
                                 .Chunk("CoCF", 1, 0, 48)
                                 .U32(5)
                                 .Chunk("CCCO", 1, 1, 16)
                                 .F32s({1, 0.5f, 0, 1})
                                 .Chunk("CCFL", 1, 2, 4)
                                 .F32(0.5f));
    ExpectRoundTrip<Product>(Bytes().Chunk("CoCF", 1, 0, 12).U32(0).U32(0).U32(0));
    ExpectRoundTrip<Conversion>(Bytes().Chunk("CVCV", 1, 0, 24).Chunk("CCV3", 1, 1, 12).F32s({1, 2, 3}));
}

TEST(Records, KeysArriveInTheirPlaces) {
    Source in(Bytes().Chunk("CLV3", 9, 0, 36).U32(2).F32s({10, 1, 2, 3, 20, 4, 5, 6}));
    auto* track = dynamic_cast<Linear<vect3>*>(in->ReadObject());
    ASSERT_NE(track, nullptr) << "any version";
    ASSERT_EQ(track->GetKeyCount(), 2u);
    EXPECT_EQ(track->GetKey(0)->time, 10);
    EXPECT_EQ(track->GetKey(1)->time, 20);
    EXPECT_EQ(track->GetKey(1)->GetValue(), (vect3{4, 5, 6}));
}

TEST(Records, KeyCountsBeyondTheFileLeaveNoKeys) {
    for (const u32 count : {3u, 0x10000000u, 0x7fffffffu, 0xffffffffu}) {
        Source in(Bytes().Chunk("CLV3", 1, 0, 36).U32(count).F32s({10, 1, 2, 3, 20, 4, 5, 6}));
        auto* track = dynamic_cast<Linear<vect3>*>(in->ReadObject());
        ASSERT_NE(track, nullptr);
        EXPECT_EQ(track->GetKeyCount(), 0u);
        EXPECT_TRUE(in->HasFailed());
        std::string reason;
        EXPECT_FALSE(Validate(track, reason));
        EXPECT_EQ(reason, "a key-framed controller has no keys");
    }
}

TEST(Records, OperandsOfTheWrongClassAreNull) {
    Source in(Bytes().Chunk("CoCF", 1, 0, 40).U32(5).Chunk("CCFL", 1, 1, 4).F32(1).U32(0x80000001));
    auto* product = dynamic_cast<Product*>(in->ReadObject());
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
    Source circle(Bytes().Chunk("CoCF", 1, 0, 28).U32(5).U32(0x80000000).Chunk("CCFL", 1, 1, 4).F32(1));
    auto* product = dynamic_cast<Product*>(circle->ReadObject());
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
