// Meshes: their record, where they are, what they queue and draw.
#include <gtest/gtest.h>

#include "geometry/geometry_composite.h"
#include "geometry/geometry_simple.h"
#include "geometry/mesh_simple.h"
#include "material/material_composite.h"
#include "material/material_simple.h"
#include "render/draw_queue.h"
#include "scene/transformation_prs.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"
#include "support/round_trip.h"
#include "trace/tracer.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;

namespace {

// A placement that is a matrix.
class Place : public Transformation {
  public:
    explicit Place(const matrix& value) : world(value) {}
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    const vect3& GetPosition() override { return position; }
    const quat& GetRotation() override { return kQuatIdentity; }
    const vect3& GetScale() override { return scale; }
    const matrix& GetWorldMatrix() override { return world; }

    matrix world;
    vect3 position{0, 0, 0};
    vect3 scale{1, 1, 1};
};

// Says what was asked of it.
class LoggedMaterial : public Material {
  public:
    LoggedMaterial(std::string label, u32 blend, u32 count, std::vector<std::string>& to)
        : name(std::move(label)), blendClass(blend), passes(count), log(to) {}
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Update(f32) override {}
    u32 GetBlendClass() const override { return blendClass; }
    bool IsComposite() const override { return false; }
    u32 Begin(u32 index) override {
        log.push_back(name + " begin " + std::to_string(index));
        return passes;
    }
    void Pass(u32 pass) override { log.push_back(name + " pass " + std::to_string(pass)); }
    void End() override { log.push_back(name + " end"); }
    void Prepare() override {}
    void Load() override {}
    bool Validate(std::string&) const override { return true; }

    std::string name;
    u32 blendClass;
    u32 passes;
    std::vector<std::string>& log;
};

class LoggedGeometry : public Geometry {
  public:
    LoggedGeometry(std::string label, std::vector<std::string>& to) : name(std::move(label)), log(to) {}
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Draw() override { log.push_back("draw " + name); }
    sphere GetBoundingSphere() override { return {{0, 0, 0}, 1}; }
    box GetBounds() override { return {{0, 0, 0}, {2, 4, 6}}; }
    plane GetPlane() override { return {{0, 0, 1}, 0}; }
    void Prepare() override {}
    void Initialize() override { log.push_back("initialize " + name); }
    bool Validate(std::string&) const override { return true; }

    std::string name;
    std::vector<std::string>& log;
};

// Moves what it is given: every result is a fresh LoggedGeometry.
class LoggedModifier : public Modifier {
  public:
    LoggedModifier(std::string label, bool deforms, std::vector<std::string>& to)
        : name(std::move(label)), deforming(deforms), log(to) {}
    ~LoggedModifier() override { log.push_back("delete " + name); }
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Update(f32 time) override {
        log.push_back(name + " update " + std::to_string(static_cast<int>(time)));
    }
    bool IsDeforming() const override { return deforming; }
    bool NeedsDrawSetup() const override { return !deforming; }
    bool AcceptsGeometry(Geometry*) const override { return true; }
    Geometry* CreateResult(Geometry* input) override {
        return deforming ? new LoggedGeometry("result of " + name, log) : input;
    }
    void Apply(Geometry* result, Geometry* input) override {
        log.push_back(name + " apply " + NameOf(input) + " to " + NameOf(result));
    }
    void SetupDraw() override { log.push_back(name + " setup"); }

    static std::string NameOf(Geometry* g) { return dynamic_cast<LoggedGeometry*>(g)->name; }

    std::string name;
    bool deforming;
    std::vector<std::string>& log;
};

class BoxTracer : public trace::Tracer {
  public:
    BoxTracer() : previous(trace::SetTracer(this)) {}
    ~BoxTracer() override { trace::SetTracer(previous); }
    void Box(const char* format, std::va_list) override { boxes.emplace_back(format); }
    void Warn(const char*, std::va_list) override {}
    void Trace(const char*, std::va_list) override {}

    std::vector<std::string> boxes;
    Tracer* previous;
};

struct MeshDevice : testing::Test {
    support::EngineDevice engine;
    std::vector<std::string> log;
    using Log = std::vector<std::string>;
};

void WriteMesh(om2::File& f, unsigned version) {
    f.Chunk("MESM", version, [&] {
        f.I32(1);
        f.Geometry(om2::Quad(0, 0, 2, 1));
        f.U8(1);
        if (version == 2) f.U8(1);
        f.I32(2);
        f.I32(4);
        f.I32(-1);
        f.Material({});
        f.Placement({5, 0, 0});
    });
}

}  // namespace

TEST(MeshRecord, AllVersionsReadAndTheNewestIsWritten) {
    om2::File newest;
    WriteMesh(newest, 2);
    const auto loaded = Load(newest.bytes);
    auto* mesh = loaded.As<MeshSimple>();
    ASSERT_NE(mesh, nullptr);
    EXPECT_TRUE(mesh->GetCastShadow() && mesh->IsHidden());
    EXPECT_EQ(mesh->GetPartAttributes(), (std::vector<u32>{4, 0xffffffff}));
    EXPECT_NE(dynamic_cast<MaterialSimple*>(mesh->GetMaterial()), nullptr);
    ASSERT_NE(dynamic_cast<TransformationPRS*>(mesh->transformation), nullptr);
    EXPECT_EQ(Save(mesh), newest.bytes);

    for (unsigned version : {0u, 1u}) {
        om2::File old;
        WriteMesh(old, version);
        const auto again = Load(old.bytes);
        auto* before = again.As<MeshSimple>();
        ASSERT_NE(before, nullptr);
        EXPECT_FALSE(before->GetCastShadow());
        EXPECT_TRUE(before->IsHidden());
        EXPECT_EQ(before->GetPartAttributes().size(), 2u);
        EXPECT_NE(before->transformation, nullptr);
        before->SetCastShadow(true);
        EXPECT_EQ(Save(before), newest.bytes);
    }
    om2::File future;
    WriteMesh(future, 3);
    EXPECT_EQ(Load(future.bytes).As<MeshSimple>()->GetGeometry(), nullptr);
}

TEST(MeshRecord, SlotsMayBeEmptyOrOfTheWrongClass) {
    om2::File f;
    f.Chunk("MESM", 2, [&] {
        f.I32(3);
        f.Geometry(om2::Quad(0, 0, 1, 1));
        f.Chunk("MOST", 1, [&] { f.I32(0); });
        f.U8(0);
        f.U8(0);
        f.I32(0);
        f.Null();
        f.Null();
    });
    const auto loaded = Load(f.bytes);
    auto* mesh = loaded.As<MeshSimple>();
    ASSERT_NE(mesh->GetStack(), nullptr);
    EXPECT_EQ(mesh->GetStack()->GetResult(), mesh->GetGeometry()) << "the stack knows its input";
    EXPECT_EQ(Save(mesh), f.bytes);

    om2::File wrong;
    wrong.Chunk("MESM", 2, [&] {
        wrong.I32(2);
        wrong.Placement({1, 2, 3});  // where the stack should stand
        wrong.U8(0);
        wrong.U8(0);
        wrong.I32(0);
        wrong.Geometry(om2::Quad(0, 0, 1, 1));  // the material
        wrong.ConstFloat(1);                    // the transformation
    });
    const auto odd = Load(wrong.bytes);
    auto* lost = odd.As<MeshSimple>();
    EXPECT_EQ(lost->GetStack(), nullptr);
    EXPECT_EQ(lost->GetMaterial(), nullptr);
    EXPECT_EQ(lost->transformation, nullptr);
}

TEST_F(MeshDevice, BoxFollowsGeometryAndPlace) {
    MeshSimple mesh;
    mesh.Update(0);
    EXPECT_EQ(*mesh.GetBounds(), (OrientedBox{{0, 0, 0}, kMatrixIdentity})) << "without a geometry it stays";
    mesh.SetGeometry(new LoggedGeometry("g", log));
    mesh.Update(0);
    EXPECT_EQ(*mesh.GetBounds(), (OrientedBox{{1, 2, 3}, MatrixTranslation({1, 2, 3})}));
    Place place(MatrixCompose({10, 0, 0}, kQuatIdentity, {2, 2, 2}));
    mesh.transformation = &place;
    mesh.Update(0);
    EXPECT_EQ(mesh.GetBounds()->half, (vect3{1, 2, 3}));
    EXPECT_EQ(MatrixGetTranslation(mesh.GetBounds()->transform), (vect3{12, 4, 6}));
    EXPECT_EQ(mesh.GetBounds()->transform.m[0][0], 2.0f);
}

TEST_F(MeshDevice, QueueRecordsSayWhatWhenAndWhere) {
    MeshSimple mesh;
    mesh.SetGeometry(new LoggedGeometry("g", log));
    engine.context().SetView(MatrixTranslation({0, 0, -4}));
    DrawQueue queue;
    mesh.Enqueue(&queue);
    ASSERT_EQ(queue.Count(), 1u);
    const DrawRecord bare = queue.Records()[0];
    EXPECT_EQ(bare.kind, 1u);
    EXPECT_EQ(bare.material, nullptr);
    EXPECT_EQ(bare.geometry, mesh.GetGeometry());
    EXPECT_EQ(bare.stack, nullptr);
    EXPECT_EQ(*bare.world, kMatrixIdentity);
    EXPECT_EQ(bare.distance, 4.0f);

    Place place(MatrixTranslation({3, 0, 4}));
    mesh.transformation = &place;
    const u32 kinds[] = {0, 1, 1, 2, 3, 3, 0};
    for (u32 blend = 0; blend < 7; ++blend) {
        LoggedMaterial material("m", blend, 1, log);
        mesh.SetMaterial(&material);
        queue.Clear();
        mesh.Enqueue(&queue);
        ASSERT_EQ(queue.Count(), 1u);
        EXPECT_EQ(queue.Records()[0].kind, kinds[blend]);
        EXPECT_EQ(queue.Records()[0].distance, 3.0f);
        EXPECT_EQ(queue.Records()[0].world, &place.world);
    }

    queue.Clear();
    mesh.SetHidden(true);
    mesh.Enqueue(&queue);
    mesh.SetHidden(false);
    mesh.SetExcluded(true);
    mesh.Enqueue(&queue);
    mesh.Draw();
    EXPECT_EQ(queue.Count(), 0u);
    EXPECT_TRUE(log.empty());
}

TEST_F(MeshDevice, CompositeGoesPartByPart) {
    LoggedMaterial opaque("opaque", 1, 1, log);
    LoggedMaterial blended("blended", 4, 2, log);
    MaterialComposite materials;
    materials.AddMaterial(&opaque);
    materials.MapAttribute(7, materials.AddMaterial(&blended));
    materials.MapAttribute(3, 0);
    auto* a = new LoggedGeometry("a", log);
    auto* b = new LoggedGeometry("b", log);
    auto* c = new LoggedGeometry("c", log);
    MeshSimple mesh;
    mesh.SetGeometryParts(new GeometryComposite(std::vector<Geometry*>{a, b, c}), {7, 3, 99});
    mesh.SetMaterial(&materials);

    DrawQueue queue;
    mesh.Enqueue(&queue);
    ASSERT_EQ(queue.Count(), 3u);
    const auto& records = queue.Records();
    EXPECT_TRUE(records[0].geometry == a && records[0].material == &blended && records[0].kind == 3);
    EXPECT_TRUE(records[1].geometry == b && records[1].material == &opaque && records[1].kind == 1);
    // An unknown attribute is queued with the composite, which answers for its current material.
    EXPECT_TRUE(records[2].geometry == c && records[2].material == &materials);

    mesh.Draw();
    // The part drawn is numbered by the pass.
    EXPECT_EQ(log, (Log{"blended begin 0", "blended pass 0", "draw a", "blended pass 1", "draw b",
                        "blended end", "opaque begin 0", "opaque pass 0", "draw a", "opaque end",  //
                        "opaque begin 0", "opaque pass 0", "draw a", "opaque end"}));

    std::string reason;
    EXPECT_TRUE(mesh.Validate(reason)) << reason;
    mesh.SetMaterial(&opaque);
    log.clear();
    mesh.Draw();
    EXPECT_EQ(log, (Log{"opaque begin 0", "opaque pass 0", "draw a", "draw b", "draw c", "opaque end"}));
}

TEST_F(MeshDevice, TooFewAttributesAreRefusedAndNotReadPast) {
    MaterialComposite materials;
    LoggedMaterial opaque("opaque", 1, 1, log);
    materials.AddMaterial(&opaque);
    MeshSimple mesh;
    mesh.SetGeometryParts(new GeometryComposite(std::vector<Geometry*>{new LoggedGeometry("a", log),
                                                                       new LoggedGeometry("b", log)}),
                          {0});
    mesh.SetMaterial(&materials);
    std::string reason;
    EXPECT_FALSE(mesh.Validate(reason));
    DrawQueue queue;
    mesh.Enqueue(&queue);
    EXPECT_EQ(queue.Count(), 1u);
}

TEST_F(MeshDevice, InitializeWithoutGeometryTellsAPerson) {
    BoxTracer tracer;
    MeshSimple mesh;
    mesh.Initialize();
    EXPECT_EQ(tracer.boxes, (Log{"MeshSimple has no geometry."}));
    EXPECT_FALSE(mesh.AddModifier(nullptr));
    mesh.Draw();
    mesh.SetGeometry(new LoggedGeometry("g", log));
    mesh.Initialize();
    EXPECT_EQ(tracer.boxes.size(), 1u);
    EXPECT_EQ(log, (Log{"initialize g"}));
}

TEST_F(MeshDevice, ModifiersFormAChainWhoseEndIsDrawn) {
    {
        MeshSimple mesh;
        mesh.SetGeometry(new LoggedGeometry("g", log));
        EXPECT_TRUE(mesh.AddModifier(new LoggedModifier("bend", true, log)));
        EXPECT_TRUE(mesh.AddModifier(new LoggedModifier("shade", false, log)));
        EXPECT_TRUE(mesh.AddModifier(new LoggedModifier("twist", true, log)));
        mesh.Initialize();
        mesh.Update(5);
        LoggedMaterial material("m", 1, 1, log);
        mesh.SetMaterial(&material);
        mesh.Draw();
        DrawQueue queue;
        mesh.Enqueue(&queue);
        EXPECT_EQ(queue.Records()[0].stack, mesh.GetStack());
        EXPECT_EQ(queue.Records()[0].geometry, mesh.GetStack()->GetResult());
    }
    EXPECT_EQ(log, (Log{"initialize result of twist", "bend update 5", "bend apply g to result of bend",
                        "shade update 5", "twist update 5", "twist apply result of bend to result of twist",
                        "shade setup", "m begin 0", "m pass 0", "draw result of twist", "m end",
                        "delete bend", "delete shade", "delete twist"}));
}

TEST_F(MeshDevice, StackBuiltAnewAsksEveryModifier) {
    LoggedGeometry first("first", log);
    LoggedGeometry second("second", log);
    ModifierStack stack;
    EXPECT_FALSE(stack.InitializeResult());
    EXPECT_EQ(stack.GetResult(), nullptr);
    stack.SetGeometry(&first);
    stack.AddModifier(new LoggedModifier("shade", false, log));
    EXPECT_EQ(stack.GetResult(), &first);
    EXPECT_FALSE(stack.InitializeResult()) << "a modifier without a shape adds no result";
    stack.SetGeometry(&second);
    EXPECT_EQ(stack.GetResult(), &second);
    EXPECT_TRUE(stack.InitializeResult());
    EXPECT_EQ(log, (Log{"initialize second"}));
    stack.SetGeometry(&first);
    EXPECT_EQ(stack.GetResult(), &first);
}

TEST(ModifierStackRecord, KeepsItsSlots) {
    om2::File f;
    f.Chunk("MOST", 1, [&] {
        f.I32(2);
        f.Null();
        f.Null();
    });
    const auto loaded = Load(f.bytes);
    auto* stack = loaded.As<ModifierStack>();
    ASSERT_NE(stack, nullptr);
    EXPECT_EQ(stack->ModifierCount(), 2u);
    std::string reason;
    EXPECT_FALSE(stack->Validate(reason));
    LoggedGeometry* none = nullptr;
    stack->SetGeometry(none);
    stack->Update(0);
    EXPECT_EQ(Save(stack), f.bytes);
}
