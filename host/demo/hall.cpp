// The hall under the tower, where a lamp turns its pictures: once with the shadows that they throw, once with
// the floor polished.
#include <array>
#include <cmath>

#include "demo_scenes.h"
#include "stage.h"

namespace demo {
namespace {

using osm3d::QuatFromAxisAngle;

constexpr vect3 kUp{0, 0, 1};
constexpr float kFrame = 1.0f / 30;
constexpr float kRadius = 10, kHigh = 7.5f;
constexpr float kWheelRadius = 1.25f, kWheelTurns = 0.055f;
constexpr int kColumns = 12;

// The flame sways.
vect3 Flame(float time) {
    return {0.10f * std::sin(1.9f * time), 0.10f * std::sin(2.3f * time + 1),
            2.15f + 0.02f * std::sin(7 * time)};
}

// --- The camera ------------------------------------------------------------------------------------------

// Above what throws shadows, so never in one.
vect3 ShadowEye(float time) {
    const float t = Eased(-0.8f, kHallShadows + 0.8f, time), angle = Mix(-2.35f, -1.55f, t);
    const float r = Mix(8.0f, 7.2f, t);
    return {r * std::cos(angle), r * std::sin(angle), Mix(7.0f, 5.4f, t)};
}
vect3 ShadowAim(float time) {
    return Mix(vect3{0.6f, 0.8f, 2.2f}, vect3{0, 0.8f, 2.9f}, Eased(0, kHallShadows, time));
}
vect3 MirrorEye(float time) {
    const float t = Eased(-0.8f, kHallMirror + 0.8f, time), angle = Mix(-1.15f, -1.85f, t);
    const float r = Mix(7.8f, 6.4f, t);
    return {r * std::cos(angle), r * std::sin(angle), Mix(1.0f, 1.5f, t)};
}
vect3 MirrorAim(float time) {
    return Mix(vect3{0, 0, 0.20f}, vect3{0, 0, 0.45f}, Eased(0, kHallMirror, time));
}

// --- The pictures of the lamp ----------------------------------------------------------------------------

const std::vector<UV> kWhale{
    {0.50f, 0.02f},   {0.46f, 0.10f},  {0.36f, 0.16f},   {0.20f, 0.19f},   {0.00f, 0.17f},
    {-0.16f, 0.11f},  {-0.28f, 0.06f}, {-0.38f, 0.05f},  {-0.44f, 0.12f},  {-0.50f, 0.21f},
    {-0.57f, 0.22f},  {-0.54f, 0.11f}, {-0.50f, 0.03f},  {-0.56f, -0.05f}, {-0.58f, -0.11f},
    {-0.50f, -0.08f}, {-0.42f, 0.00f}, {-0.30f, -0.02f}, {-0.16f, -0.07f}, {0.00f, -0.12f},
    {0.08f, -0.14f},  {0.04f, -0.20f}, {-0.03f, -0.27f}, {0.05f, -0.27f},  {0.14f, -0.20f},
    {0.20f, -0.15f},  {0.32f, -0.13f}, {0.42f, -0.10f},  {0.49f, -0.04f}};
const std::vector<UV> kGull{{-0.30f, 0.05f}, {-0.20f, 0.13f}, {-0.10f, 0.12f},  {0.00f, 0.03f},
                            {0.10f, 0.12f},  {0.20f, 0.13f},  {0.30f, 0.05f},   {0.20f, 0.08f},
                            {0.10f, 0.05f},  {0.02f, -0.06f}, {-0.02f, -0.06f}, {-0.10f, 0.05f},
                            {-0.20f, 0.08f}};
const std::vector<UV> kFish{{0.20f, 0.00f},  {0.12f, 0.06f},  {0.00f, 0.08f},   {-0.10f, 0.04f},
                            {-0.20f, 0.09f}, {-0.17f, 0.00f}, {-0.20f, -0.09f}, {-0.10f, -0.04f},
                            {0.00f, -0.08f}, {0.12f, -0.06f}};
const std::vector<UV> kTower{{-0.09f, -0.40f}, {0.09f, -0.40f}, {0.05f, 0.15f},  {0.10f, 0.16f},
                             {0.10f, 0.20f},   {0.05f, 0.20f},  {0.05f, 0.31f},  {0.00f, 0.38f},
                             {-0.05f, 0.31f},  {-0.05f, 0.20f}, {-0.10f, 0.20f}, {-0.10f, 0.16f},
                             {-0.05f, 0.15f}};
const std::vector<UV> kHull{{-0.34f, -0.22f}, {0.28f, -0.22f}, {0.42f, -0.06f}, {-0.40f, -0.06f}};
const std::vector<UV> kMast{{-0.015f, -0.06f}, {0.015f, -0.06f}, {0.015f, 0.46f}, {-0.015f, 0.46f}};
const std::vector<UV> kSail{{-0.03f, -0.01f}, {-0.03f, 0.43f}, {-0.15f, 0.26f}, {-0.33f, -0.01f}};
const std::vector<UV> kJib{{0.03f, 0.01f}, {0.36f, 0.00f}, {0.16f, 0.20f}, {0.03f, 0.42f}};
const std::vector<UV> kMoon{{0.05f, 0.20f},   {-0.08f, 0.18f},  {-0.18f, 0.08f}, {-0.20f, -0.04f},
                            {-0.14f, -0.15f}, {-0.02f, -0.20f}, {0.09f, -0.18f}, {0.00f, -0.12f},
                            {-0.06f, -0.02f}, {-0.05f, 0.10f}};

// One piece of the lamp's ring: `outline` grown by `size`, its middle `lift` above the flame's height.
void AddPicture(Shape& ring, const std::vector<UV>& outline, float angle, float size, float lift) {
    std::vector<UV> grown = outline;
    for (UV& p : grown) p = {p.u * size, p.v * size};
    Shape upright;
    upright.Add(Cutout(grown, 0.03f),
                Placed({0, -kWheelRadius, 0}, QuatFromAxisAngle({1, 0, 0}, kPi / 2), 1));
    ring.Add(upright, Placed({0, 0, 0.95f + lift}, QuatFromAxisAngle(kUp, angle), 1));
}

class Hall {
  public:
    void Make(const std::string& path, bool polished) {
        polished_ = polished;
        eye_ = Moving(polished ? MirrorEye : ShadowEye);
        Lights();
        Looks();
        Room();
        Columns();
        Rail();
        Lamp();
        stage_.Ambient({0.16f, 0.15f, 0.26f, 1});
        stage_.BackgroundColor({0.02f, 0.02f, 0.05f, 1});
        if (!polished) stage_.Shadows(light_);
        HierarchyNode* node = Moving(polished ? MirrorEye : ShadowEye);
        node->target = Moving(polished ? MirrorAim : ShadowAim);
        stage_.Camera(node, Still(polished ? 1.06f : 1.0f), 0.1f, 60, 60);
        stage_.Save(path);
    }

  private:
    static constexpr float kSeconds = 6;

    HierarchyNode* Moving(vect3 (*at)(float)) {
        return stage_.Moving(stage_.Root(), Sampled<vect3>(0, kSeconds, kFrame, at));
    }

    void Lights() {
        const auto flicker = Sampled<color>(0, kSeconds, kFrame, [](float t) {
            const float s = 1.5f + 0.10f * std::sin(9 * t) + 0.07f * std::sin(23 * t + 1);
            return color{1.0f * s, 0.74f * s, 0.44f * s, 1};
        });
        HierarchyNode* flame = Moving(Flame);
        light_ = stage_.Light(flame, flicker, {1, 0.8f, 0.5f, 1}, 60, polished_ ? 8.5f : 7.5f);
        stage_.Light(stage_.Node(stage_.Root(), {-9, -14, 22}), Still(color{0.10f, 0.13f, 0.26f, 1}),
                     {0, 0, 0, 1}, 200, 0);
    }

    void Looks() {
        Look look;
        Layer layer;
        // Blocks of stone, in courses.
        layer.texture = stage_.Picture(Painted(512, 256, [](float u, float v) {
            const float row = std::floor(v * 12), shift = std::fmod(row, 2.0f) * 0.5f;
            const float bu = u * 18 + shift, fu = bu - std::floor(bu), fv = v * 12 - row;
            const float block = Noise(std::floor(bu) * 1.7f + 0.3f, row * 2.3f + 0.7f, 256);
            const float grain = Fbm(u * 32, v * 16, 32, 4);
            const float joint =
                Smooth(0, 0.05f, std::min({fu, 1 - fu})) * Smooth(0, 0.09f, std::min(fv, 1 - fv));
            const color stone = Mix(color{0.52f, 0.44f, 0.38f, 1}, color{0.76f, 0.64f, 0.52f, 1},
                                    Clamp01(0.5f + 0.9f * block));
            return Shade(Mix(color{0.24f, 0.20f, 0.22f, 1}, stone, joint), 1 + 0.22f * grain);
        }));
        layer.tiling_u = 3;
        look.layers = {layer};
        wall_ = stage_.Material(look);
        // Stars in gold on the vault.
        Layer vault;
        vault.texture = stage_.Picture(Painted(512, 512, [](float u, float v) {
            const float x = u * 16, y = v * 10, cx = std::floor(x), cy = std::floor(y);
            const float ox = 0.5f + 0.25f * Noise(cx * 1.37f + 0.4f, cy * 2.1f + 0.2f, 256);
            const float oy = 0.5f + 0.25f * Noise(cx * 2.3f + 7.4f, cy * 1.7f + 3.2f, 256);
            const float dx = (x - cx - ox) * 1.2f, dy = y - cy - oy;
            const float r = std::hypot(dx, dy), a = std::atan2(dy, dx);
            const float star = 0.16f * (0.55f + 0.45f * std::cos(5 * a));
            const color night = Shade(color{0.10f, 0.13f, 0.30f, 1}, 1 + 0.3f * Fbm(u * 8, v * 8, 8, 4));
            return Mix(color{0.95f, 0.74f, 0.36f, 1}, night, Smooth(star - 0.02f, star + 0.02f, r));
        }));
        look.layers = {vault};
        vault_ = stage_.Material(look);

        Look marble;
        marble.specular = {0.25f, 0.22f, 0.18f, 1};
        marble.power = 30;
        Layer veins;
        veins.texture = stage_.Picture(Painted(256, 256, [](float u, float v) {
            const float bend = 0.8f * Fbm(u * 4, v * 4, 4, 4);
            const float vein = std::abs(Fbm(u * 4 + bend, v * 4 + bend + 3, 4, 4));
            return Mix(color{0.46f, 0.40f, 0.40f, 1}, color{0.86f, 0.78f, 0.70f, 1}, Smooth(0, 0.12f, vein));
        }));
        marble.layers = {veins};
        marble_ = stage_.Material(marble);

        Look floor;
        floor.specular = {0.35f, 0.3f, 0.22f, 1};
        floor.power = 40;
        Layer rose;
        rose.texture = stage_.Picture(Painted(1024, 1024, [&](float u, float v) { return Rose(u, v); }));
        floor.layers = {rose};
        floor_ = stage_.Material(floor);

        Look metal;
        metal.diffuse = metal.ambient = {0.62f, 0.42f, 0.20f, 1};
        metal.specular = {1.0f, 0.85f, 0.55f, 1};
        metal.power = 30;
        Layer base, shine;
        base.texture = stage_.Picture(Painted(128, 128, [](float u, float v) {
            const float n = 0.84f + 0.2f * Fbm(u * 4, v * 48, 48, 3);
            return color{n, n, n, 1};
        }));
        shine.texture = stage_.Picture(Painted(128, 128, [](float u, float v) {
            const float r = Clamp01(Length({u, v, 0}));
            const color c =
                Mix(color{0.05f, 0.05f, 0.09f, 1}, color{0.40f, 0.24f, 0.11f, 1}, Smooth(0.1f, 1, r));
            return Mix(c, color{1, 0.85f, 0.6f, 1}, 0.7f * Smooth(0.06f, 0.01f, std::abs(u - 0.45f)));
        }));
        shine.reflection = true;
        shine.address = 1;
        shine.color_op = 6;
        shine.alpha_op = 2;
        metal.layers = {base, shine};
        brass_ = stage_.Material(metal);
        metal.diffuse = metal.ambient = {0.16f, 0.15f, 0.17f, 1};
        metal.layers = {base};
        iron_ = stage_.Material(metal);
    }

    // A compass rose in stone; alpha is what of it is seen where the floor is polished.
    color Rose(float u, float v) const {
        const float x = 2 * u - 1, y = 1 - 2 * v, r = std::hypot(x, y), a = std::atan2(y, x);
        const float vein = std::abs(Fbm(u * 10 + 0.6f * Fbm(u * 6, v * 6, 64, 3), v * 10, 64, 5));
        const color dark =
            Mix(color{0.20f, 0.22f, 0.30f, 1}, color{0.09f, 0.10f, 0.16f, 1}, Smooth(0, 0.1f, vein));
        const color light =
            Mix(color{0.50f, 0.44f, 0.40f, 1}, color{0.74f, 0.66f, 0.57f, 1}, Smooth(0, 0.1f, vein));
        const color gold{0.78f, 0.54f, 0.22f, 1};
        color c = dark;
        // Rings, and a chequered band.
        if (r > 0.60f && r < 0.70f) {
            const int cell = static_cast<int>(std::floor((a / (2 * kPi) + 1) * 96)) + (r > 0.65f ? 1 : 0);
            c = cell % 2 == 0 ? light : dark;
        }
        if (r > 0.86f) c = light;
        // Points of three lengths, each lit on one side.
        const auto points = [&](float count, float first, float length, float width) {
            const float step = 2 * kPi / count;
            const float n = std::round((a - first) / step), d = a - first - n * step;
            const float along = r * std::cos(d), across = r * std::sin(d);
            const float edge = along < width ? along : width * (length - along) / (length - width);
            if (along <= 0 || along >= length || std::abs(across) > edge * 0.55f) return;
            c = across > 0 ? light : Mix(dark, color{0.44f, 0.16f, 0.12f, 1}, 0.75f);
        };
        points(8, kPi / 8, 0.36f, 0.12f);
        points(4, kPi / 4, 0.46f, 0.14f);
        points(4, 0, 0.56f, 0.16f);
        for (const float ring : {0.155f, 0.585f, 0.715f, 0.85f})
            if (std::abs(r - ring) < 0.007f) c = gold;
        c.a = polished_ ? 0.50f : 1.0f;
        return c;
    }

    void Room() {
        const auto disc = [](float u, float v) {
            const float a = 2 * kPi * u, r = kRadius * (1 - v);
            return vect3{r * std::cos(a), r * std::sin(a), 0};
        };
        Shape floor = Surface(96, 32, disc);
        for (std::size_t i = 0; i < floor.positions.size(); ++i) {
            floor.normals[i] = kUp;
            floor.uvs[i] = {0.5f + floor.positions[i].x / (2 * kRadius),
                            0.5f - floor.positions[i].y / (2 * kRadius)};
        }
        osm3d::MeshSimple* mesh = stage_.Mesh(floor, floor_, stage_.Root());
        if (polished_) stage_.Mirror(mesh);
        stage_.Mesh(Surface(96, 20,
                            [](float u, float v) {
                                const float a = -2 * kPi * u;
                                return vect3{kRadius * std::cos(a), kRadius * std::sin(a), kHigh * v};
                            }),
                    wall_, stage_.Root());
        stage_.Mesh(Surface(96, 16,
                            [](float u, float v) {
                                const float a = -2 * kPi * u, e = kPi / 2 * v;
                                return vect3{(kRadius + 0.2f) * std::cos(a) * std::cos(e),
                                             (kRadius + 0.2f) * std::sin(a) * std::cos(e),
                                             kHigh + 5.0f * std::sin(e)};
                            }),
                    vault_, stage_.Root());
        // A cornice under the vault, and a skirting.
        Shape trim;
        const auto band = [&](float inner, float low, float high) {
            trim.Add(Surface(96, 2, [=](float u, float v) {
                const float a = -2 * kPi * u;
                return vect3{inner * std::cos(a), inner * std::sin(a), Mix(low, high, v)};
            }));
            trim.Add(Surface(96, 1, [=](float u, float v) {
                const float a = 2 * kPi * u, r = Mix(inner, kRadius, v);
                return vect3{r * std::cos(a), r * std::sin(a), low};
            }));
            trim.Add(Surface(96, 1, [=](float u, float v) {
                const float a = -2 * kPi * u, r = Mix(inner, kRadius, v);
                return vect3{r * std::cos(a), r * std::sin(a), high};
            }));
        };
        band(9.55f, kHigh - 0.55f, kHigh - 0.05f);
        band(9.8f, 0, 0.35f);
        for (UV& uv : trim.uvs) uv.u *= 24;
        stage_.Mesh(trim, marble_, stage_.Root());
    }

    void Columns() {
        const Shape column = Lathe({{0.0f, 0.0f},
                                    {0.50f, 0.0f},
                                    {0.50f, 0.25f},
                                    {0.38f, 0.45f},
                                    {0.30f, 0.55f},
                                    {0.26f, 5.9f},
                                    {0.40f, 6.3f},
                                    {0.48f, 6.35f},
                                    {0.48f, kHigh - 0.55f},
                                    {0.0f, kHigh - 0.55f}},
                                   20);
        // Within what is seen, so that its sides do not cross that.
        const Shape plain = Lathe({{0.0f, 0.01f},
                                   {0.27f, 0.01f},
                                   {0.24f, 5.9f},
                                   {0.37f, 6.3f},
                                   {0.43f, 6.4f},
                                   {0.43f, 6.9f},
                                   {0.0f, 6.9f}},
                                  16);
        Shape columns;
        for (int i = 0; i < kColumns; ++i) {
            const float a = 2 * kPi * (F(i) + 0.5f) / kColumns;
            const vect3 at{8.7f * std::cos(a), 8.7f * std::sin(a), 0};
            columns.Add(column, Moved(at));
            if (!polished_) stage_.ShadowOf(plain, stage_.Node(stage_.Root(), at), light_);
        }
        stage_.Mesh(columns, marble_, stage_.Root());
    }

    // A low rail round the lamp.
    void Rail() {
        constexpr float kRail = 3.9f;
        const std::vector<ProfilePoint> profile{{0.0f, 0.02f},   {0.07f, 0.02f},  {0.03f, 0.12f},
                                                {0.065f, 0.38f}, {0.025f, 0.62f}, {0.05f, 0.72f},
                                                {0.0f, 0.72f}};
        const Shape baluster = Lathe(profile, 10);
        Shape rail;
        constexpr int kCount = 40;
        for (int i = 0; i < kCount; ++i) {
            if (i % 10 == 0 || (polished_ && i > 20)) continue;  // ways in
            const float a = 2 * kPi * F(i) / kCount;
            const vect3 at{kRail * std::cos(a), kRail * std::sin(a), 0};
            rail.Add(baluster, Moved(at));
            if (!polished_) stage_.ShadowOf(Lathe(profile, 6), stage_.Node(stage_.Root(), at), light_);
        }
        for (int part = 0; part < (polished_ ? 2 : 4); ++part) {
            const Shape bar = Surface(24, 8, [=](float u, float v) {
                const float a = kPi / 2 * (F(part) + 0.07f + 0.86f * u), e = 2 * kPi * v;
                // Closed at both ends.
                const float thick = u < 1e-4f || u > 1 - 1e-4f ? 0.0f : 0.06f;
                const float r = kRail + thick * std::cos(e);
                return vect3{r * std::cos(a), r * std::sin(a), 0.77f + thick * std::sin(e)};
            });
            rail.Add(bar);
            if (!polished_) stage_.ShadowOf(bar, stage_.Node(stage_.Root(), {0, 0, 0}), light_);
        }
        stage_.Mesh(rail, brass_, stage_.Root());
    }

    void Lamp() {
        Shape foot = Lathe({{0.0f, 0.0f},
                            {0.95f, 0.0f},
                            {0.95f, 0.12f},
                            {0.70f, 0.22f},
                            {0.30f, 0.38f},
                            {0.16f, 0.8f},
                            {0.22f, 1.1f},
                            {0.12f, 1.25f},
                            {0.34f, 1.5f},
                            {0.40f, 1.68f},
                            {0.0f, 1.70f}},
                           40);
        stage_.Mesh(foot, brass_, stage_.Root());

        // The ring of pictures turns about the flame.
        HierarchyNode* wheel =
            stage_.Moving(stage_.Root(), Still(vect3{0, 0, 1.2f}),
                          stage_.Turning(kUp, kWheelTurns, kSeconds, polished_ ? 0.35f : 1.5f));
        Shape pictures;
        const float step = 2 * kPi / 7;
        AddPicture(pictures, kWhale, 0, 1.0f, 0.04f);
        AddPicture(pictures, kGull, step, 0.7f, 0.26f);
        AddPicture(pictures, kGull, step * 1.28f, 0.5f, 0.10f);
        for (const auto& part : {kHull, kMast, kSail, kJib})
            AddPicture(pictures, part, 2 * step, 0.80f, -0.06f);
        AddPicture(pictures, kFish, step * 2.80f, 0.8f, 0.18f);
        AddPicture(pictures, kFish, step * 3.05f, 0.9f, -0.12f);
        AddPicture(pictures, kFish, step * 3.28f, 0.7f, 0.12f);
        AddPicture(pictures, kTower, step * 4, 0.90f, 0);
        AddPicture(pictures, kWhale, step * 5, 0.72f, -0.06f);
        AddPicture(pictures, kMoon, step * 6, 0.9f, 0.10f);
        stage_.Mesh(pictures, iron_, wheel);
        Shape frame;
        for (const float z : {0.44f, 1.46f}) frame.Add(Torus(kWheelRadius, 0.035f, 48, 8), Moved({0, 0, z}));
        constexpr int kRods = 7;
        for (int i = 0; i < kRods; ++i) {
            const quat turn = QuatFromAxisAngle(kUp, 2 * kPi * (F(i) + 0.5f) / kRods - kPi / 2);
            frame.Add(Box({kWheelRadius - 0.015f, -0.015f, 0.44f}, {kWheelRadius + 0.015f, 0.015f, 1.46f}),
                      Placed({0, 0, 0}, turn, 1));
            frame.Add(Box({0.12f, -0.02f, 0.42f}, {kWheelRadius, 0.02f, 0.46f}), Placed({0, 0, 0}, turn, 1));
        }
        stage_.Mesh(frame, brass_, wheel);
        if (!polished_) {
            stage_.ShadowOf(pictures, wheel, light_);
            stage_.ShadowOf(frame, wheel, light_);
        }

        Look unlit;
        unlit.lit = false;
        unlit.two_sided = true;
        HierarchyNode* flame = Moving(Flame);
        stage_.Mesh(ColoredSurface(
                        16, 10,
                        [](float u, float v) {
                            const float a = 2 * kPi * u,
                                        r = 0.13f * std::sin(kPi * std::pow(v, 0.7f)) * (1 - 0.4f * v);
                            return vect3{r * std::cos(a), r * std::sin(a), -0.2f + 0.55f * v};
                        },
                        [](float, float v) {
                            return Mix(color{1, 0.95f, 0.75f, 1}, color{1, 0.62f, 0.2f, 1}, v * v);
                        }),
                    stage_.Material(unlit), flame);
        // The glow has no texture: shadows are laid over the picture through the stages of what is drawn
        // last.
        unlit.blend = Blend::Add;
        osm3d::Material* glow = stage_.Material(unlit);
        for (const auto& [radius, strength] :
             {std::pair{0.9f, 0.8f}, std::pair{polished_ ? 4.0f : 2.4f, 0.34f}}) {
            HierarchyNode* node = Moving(Flame);
            node->target = eye_;
            stage_.Mesh(ColoredSurface(
                            32, 12,
                            [radius = radius](float u, float v) {
                                // Its front looks along -z, as the node does.
                                const float a = -2 * kPi * u, r = radius * (1 - v);
                                return vect3{r * std::cos(a), r * std::sin(a), 0};
                            },
                            [strength = strength](float, float v) {
                                return color{1, 0.70f, 0.36f, strength * std::pow(v, 2.4f)};
                            }),
                        glow, node);
        }
    }

    Stage stage_;
    bool polished_ = false;
    HierarchyNode* eye_ = nullptr;
    osm3d::LightOmni* light_ = nullptr;
    MaterialSimple *wall_ = nullptr, *vault_ = nullptr, *marble_ = nullptr, *floor_ = nullptr,
                   *brass_ = nullptr, *iron_ = nullptr;
};

}  // namespace

void MakeShadowHall(const std::string& path) { Hall().Make(path, false); }
void MakeMirrorHall(const std::string& path) { Hall().Make(path, true); }

}  // namespace demo
