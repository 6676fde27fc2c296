// What a modifier stack keeps and gives up. How its modifiers follow each other stands in mesh_test.cpp.
#include <gtest/gtest.h>

#include <memory>

#include "geometry/geometry_simple.h"
#include "geometry/modifier_stack.h"

using namespace osm3d;

namespace {

// Counts the results of its making that live.
class Counted : public GeometrySimple {
  public:
    explicit Counted(int& counter) : alive(counter) { ++alive; }
    ~Counted() override { --alive; }
    int& alive;
};

// Moves the first point on by one.
class Push : public Modifier {
  public:
    Push(int& counter, bool deforms) : alive(counter), deforming(deforms) {}
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Update(f32) override {}
    bool IsDeforming() const override { return deforming; }
    bool NeedsDrawSetup() const override { return false; }
    bool AcceptsGeometry(Geometry*) const override { return true; }
    Geometry* CreateResult(Geometry* input) override {
        if (!deforming) return input;
        auto* result = new Counted(alive);
        result->positions = dynamic_cast<GeometrySimple*>(input)->positions;
        return result;
    }
    void Apply(Geometry* result, Geometry* input) override {
        const auto* from = dynamic_cast<GeometrySimple*>(input);
        dynamic_cast<GeometrySimple*>(result)->positions[0].x = from->positions[0].x + 1;
    }
    void SetupDraw() override {}
    int& alive;
    bool deforming;
};

f32 FirstX(Geometry* g) { return dynamic_cast<GeometrySimple*>(g)->positions[0].x; }

}  // namespace

TEST(ModifierStack, EmptyHandsItsInputThrough) {
    GeometrySimple g;
    ModifierStack stack;
    std::string reason;
    stack.Update(0);
    EXPECT_EQ(stack.GetResult(), nullptr);
    stack.SetGeometry(&g);
    stack.Update(0);
    stack.PrepareDraw();
    EXPECT_EQ(stack.GetResult(), &g);
    EXPECT_FALSE(stack.InitializeResult());
    EXPECT_TRUE(stack.Validate(reason)) << reason;
}

TEST(ModifierStack, EachReadsTheResultBeforeItOfTheSameUpdate) {
    int alive = 0;
    GeometrySimple first, second;
    first.positions = {{10, 0, 0}};
    second.positions = {{20, 0, 0}};
    {
        ModifierStack stack;
        stack.SetGeometry(&first);
        stack.AddModifier(new Push(alive, true));
        stack.AddModifier(new Push(alive, false));
        stack.AddModifier(new Push(alive, true));
        EXPECT_EQ(alive, 2) << "one result for each that deforms";
        stack.Update(0);
        EXPECT_EQ(FirstX(stack.GetResult()), 12);
        std::string reason;
        EXPECT_TRUE(stack.Validate(reason)) << reason;

        // Anew for another input: now the one in the middle counts too, and what follows it is out of step.
        stack.SetGeometry(&second);
        EXPECT_EQ(alive, 2);
        EXPECT_EQ(FirstX(stack.GetResult()), 20);
        EXPECT_FALSE(stack.Validate(reason));
        EXPECT_EQ(reason, "a modifier that deforms stands behind one that does not");
        stack.SetGeometry(nullptr);
        EXPECT_EQ(alive, 0);
        stack.Update(0);
        EXPECT_EQ(stack.GetResult(), nullptr);
    }
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(first.positions[0].x, 10);
}
