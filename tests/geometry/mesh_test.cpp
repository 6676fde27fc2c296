// Meshes: their record, where they are, what they queue and draw.
#include <gtest/gtest.h>

#include "geometry/geometry_composite.h"
#include "geometry/logged.h"
#include "geometry/mesh_simple.h"
#include "material/material_composite.h"
#include "render/draw_queue.h"
#include "scene/transformation_prs.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"
#include "support/round_trip.h"
#include "trace/test_messages.h"

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

// Moves what it is given: every result is a fresh logged::Geometry.
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
        return deforming ? new logged::Geometry("result of " + name, log) : input;
    }
    void Apply(Geometry* result, Geometry* input) override {
        log.push_back(name + " apply " + NameOf(input) + " to " + NameOf(result));
    }
    void SetupDraw() override { log.push_back(name + " setup"); }

    static std::string NameOf(Geometry* g) { return dynamic_cast<logged::Geometry*>(g)->name; }

    std::string name;
    bool deforming;
    std::vector<std::string>& log;
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
    for (unsigned version : {0u, 1u, 2u}) {
        om2::File f;
        WriteMesh(f, version);
        const auto loaded = Load(f.bytes);
        auto* mesh = loaded.As<MeshSimple>();
        ASSERT_NE(mesh, nullptr);
        EXPECT_EQ(mesh->GetCastShadow(), version == 2);
        EXPECT_TRUE(mesh->IsHidden());
        EXPECT_EQ(mesh->GetPartAttributes(), (std::vector<u32>{4, 0xffffffff}));
        EXPECT_NE(mesh->GetMaterial(), nullptr);
        EXPECT_NE(mesh->transformation, nullptr);
        mesh->SetCastShadow(true);
        EXPECT_EQ(Save(mesh), newest.bytes);
    }
    om2::File future;
    WriteMesh(future, 3);
    EXPECT_EQ(Load(future.bytes).As<MeshSimple>()->GetGeometry(), nullptr);
}

TEST_F(MeshDevice, BoxFollowsGeometryAndPlace) {
    MeshSimple mesh;
    mesh.Update(0);
    EXPECT_EQ(*mesh.GetBounds(), (OrientedBox{{0, 0, 0}, kMatrixIdentity})) << "without a geometry it stays";
    mesh.SetGeometry(new logged::Geometry("g", log));
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
    mesh.SetGeometry(new logged::Geometry("g", log));
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
        logged::Material material("m", log, blend, 1);
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
    logged::Material opaque("opaque", log, 1, 1);
    logged::Material blended("blended", log, 4, 2);
    MaterialComposite materials;
    materials.AddMaterial(&opaque);
    materials.MapAttribute(7, materials.AddMaterial(&blended));
    materials.MapAttribute(3, 0);
    auto* a = new logged::Geometry("a", log);
    auto* b = new logged::Geometry("b", log);
    auto* c = new logged::Geometry("c", log);
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
    EXPECT_EQ(log,
              (Log{"begin blended", "pass 0", "draw a", "pass 1", "draw b", "end",  //
                   "begin opaque", "pass 0", "draw a", "end", "begin opaque", "pass 0", "draw a", "end"}));

    std::string reason;
    EXPECT_TRUE(mesh.Validate(reason)) << reason;
    mesh.SetMaterial(&opaque);
    log.clear();
    mesh.Draw();
    EXPECT_EQ(log, (Log{"begin opaque", "pass 0", "draw a", "draw b", "draw c", "end"}));
}

TEST_F(MeshDevice, InitializeWithoutGeometryTellsAPerson) {
    const testing_messages::Listener tracer;
    MeshSimple mesh;
    mesh.Initialize();
    EXPECT_EQ(tracer.boxes, (Log{"MeshSimple has no geometry."}));
    EXPECT_FALSE(mesh.AddModifier(nullptr));
    mesh.Draw();
    mesh.SetGeometry(new logged::Geometry("g", log));
    mesh.Initialize();
    EXPECT_EQ(tracer.boxes.size(), 1u);
    EXPECT_EQ(log, (Log{"initialize g"}));
}

TEST_F(MeshDevice, ModifiersFormAChainWhoseEndIsDrawn) {
    {
        MeshSimple mesh;
        mesh.SetGeometry(new logged::Geometry("g", log));
        EXPECT_TRUE(mesh.AddModifier(new LoggedModifier("bend", true, log)));
        EXPECT_TRUE(mesh.AddModifier(new LoggedModifier("shade", false, log)));
        EXPECT_TRUE(mesh.AddModifier(new LoggedModifier("twist", true, log)));
        mesh.Initialize();
        mesh.Update(5);
        logged::Material material("m", log, 1, 1);
        mesh.SetMaterial(&material);
        mesh.Draw();
        DrawQueue queue;
        mesh.Enqueue(&queue);
        EXPECT_EQ(queue.Records()[0].stack, mesh.GetStack());
        EXPECT_EQ(queue.Records()[0].geometry, mesh.GetStack()->GetResult());
    }
    EXPECT_EQ(log, (Log{"initialize result of twist", "bend update 5", "bend apply g to result of bend",
                        "shade update 5", "twist update 5", "twist apply result of bend to result of twist",
                        "shade setup", "begin m", "pass 0", "draw result of twist", "end", "delete bend",
                        "delete shade", "delete twist"}));
}
