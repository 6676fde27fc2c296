// Projects: effects, transitions and filters, alone and within each other.
#include <algorithm>
#include <cmath>
#include <utility>

#include "conformance/engine_cases.h"

namespace conformance {

namespace {

using demo::Clamp01;
using demo::F;
using demo::Painted;
using demo::Still;
using osm3d::color;
using osm3d::kQuatIdentity;
using osm3d::QuatFromAxisAngle;
using osm3d::vect3;

// ---- The text of projects

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

std::string Attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + value + "\"";
}

// A value of a parameter, or its keys.
struct Value {
    Value(const char* word) : attribute(Attribute("value", word)) {}
    Value(double number) : Value(Number(number).c_str()) {}
    Value(int number) : Value(static_cast<double>(number)) {}
    Value(std::initializer_list<std::pair<double, double>> list) {
        for (const auto& [time, value] : list)
            keys += "<key" + Attribute("time", Number(time)) + Attribute("value", Number(value)) + "/>";
    }
    std::string attribute, keys;
};

// A clip; without times of its own it lasts as long as what holds it.
class Clip {
  public:
    Clip(const std::string& effect, const std::vector<std::pair<const char*, Value>>& values = {},
         const std::vector<Clip>& inside = {})
        : effect_(effect) {
        for (const auto& [name, value] : values)
            body_ += "<controler" + Attribute("name", name) + value.attribute + ">" + value.keys +
                     "</controler>\n";
        for (const Clip& clip : inside) body_ += clip.Text();
    }
    Clip At(double start, double length) const {
        Clip clip = *this;
        clip.times_ = Attribute("start", Number(start)) + Attribute("length", Number(length));
        return clip;
    }
    std::string Text() const {
        return "<clip" + Attribute("effect", effect_) + times_ + ">\n" + body_ + "</clip>\n";
    }
    void Add(const std::string& text) { body_ += text; }

  private:
    std::string effect_, times_, body_;
};

std::string Joined(const std::vector<Clip>& clips) {
    std::string text;
    for (const Clip& clip : clips) text += clip.Text();
    return text;
}

// A transition between what two lists of clips show.
Clip Between(const std::string& effect, const std::vector<Clip>& first, const std::vector<Clip>& second,
             const std::vector<std::pair<const char*, Value>>& values = {}) {
    Clip clip(effect, values);
    clip.Add("<input>" + Joined(first) + "</input>\n<input>" + Joined(second) + "</input>\n");
    return clip;
}

std::string Layer(const std::vector<Clip>& clips) { return "<layer>\n" + Joined(clips) + "</layer>\n"; }

// ---- What they show

// Colours that tell left from right and top from bottom, and thin lines that a shifted sample would thicken.
demo::Picture32 Chart(unsigned width, unsigned height) {
    return Painted(width, height, [](float u, float v) -> color {
        if (std::abs(u - 0.25f) < 0.02f || std::abs(v - 0.7f) < 0.02f) return {0, 0, 0, 1};
        if (std::hypot((u - 0.7f) * 1.33f, v - 0.3f) < 0.2f) return {1, 0.95f, 0.3f, 1};
        if (v > 0.7f) return {u, u, u, 1};
        return {0.2f + 0.7f * u, 0.25f, 0.9f - 0.8f * v, 1};
    });
}

// An arrow to the upper right on a disc, its edge soft, nothing around it.
demo::Picture32 Badge() {
    return Painted(64, 64, [](float u, float v) -> color {
        const float x = u - 0.5f, y = 0.5f - v, alpha = Clamp01((0.46f - std::hypot(x, y)) * 10);
        const bool shaft = std::abs(x - y) < 0.09f && x + y > -0.35f && x + y < 0.4f;
        const bool head = x + y > 0.1f && x < 0.28f && y < 0.28f && (x > 0.16f || y > 0.16f) && x > -0.05f;
        if (shaft || head) return {1, 1, 1, alpha};
        return {0.9f, 0.35f - 0.3f * y, 0.1f + 0.2f * x, alpha * 0.8f};
    });
}

// Light on nothing, for blending that adds.
demo::Picture32 Spark() {
    return Painted(32, 32, [](float u, float v) -> color {
        const float light = Clamp01(1 - 2.1f * std::hypot(u - 0.5f, v - 0.5f));
        return {light, light * light, 0.4f * light * light, light};
    });
}

// A floor of tiles, a ring that turns and a ball that rolls behind it, lit from the left; two cameras. 100
// key units.
void Yard(CaseFolder& folder, const std::string& name = "yard.om2") {
    demo::Stage stage;
    demo::Look tiles;
    demo::Layer squares;
    squares.texture = stage.Picture(Painted(32, 32, [](float u, float v) -> color {
        return (u < 0.5f) == (v < 0.5f) ? color{0.9f, 0.85f, 0.7f, 1} : color{0.25f, 0.45f, 0.4f, 1};
    }));
    squares.tiling_u = squares.tiling_v = 6;
    tiles.layers = {squares};
    stage.Mesh(demo::Surface(8, 8,
                             [](float u, float v) {
                                 return vect3{12 * u - 6, 12 * v - 6, 0};
                             }),
               stage.Material(tiles), stage.Root());
    demo::Look brass;
    brass.diffuse = {0.9f, 0.6f, 0.2f, 1};
    brass.ambient = {0.5f, 0.35f, 0.2f, 1};
    brass.specular = {0.8f, 0.8f, 0.7f, 1};
    brass.power = 12;
    stage.Mesh(
        demo::Torus(1.5f, 0.5f, 28, 14), stage.Material(brass),
        stage.Moving(stage.Root(), Still(vect3{-0.6f, 0, 1.9f}), stage.Turning({0.3f, 1, 0}, 0.4f, 1, 1.1f)));
    demo::Look ball;
    ball.diffuse = {0.3f, 0.4f, 1, 1};
    ball.ambient = {0.3f, 0.3f, 0.8f, 1};
    stage.Mesh(demo::Sphere(0.9f, 20, 12), stage.Material(ball),
               stage.Moving(stage.Root(), demo::Sampled<vect3>(0, 1, 0.25f, [](float t) {
                                return vect3{2.6f - 4 * t, 1.4f, 0.9f};
                            })));
    stage.Light(stage.Node(stage.Root(), {-5, -6, 8}), Still(color{0.8f, 0.8f, 0.75f, 1}), {1, 1, 1, 1}, 1000,
                0);
    stage.Ambient({0.35f, 0.35f, 0.4f, 1});
    stage.BackgroundColor({0.15f, 0.2f, 0.35f, 1});
    osm3d::HierarchyNode* aim = stage.Node(stage.Root(), {0, 0, 1.2f});
    for (const vect3& eye : {vect3{1.5f, -7, 4}, vect3{-6, 1, 2.2f}}) {
        osm3d::HierarchyNode* node = stage.Node(stage.Root(), eye);
        node->target = aim;
        stage.Camera(node, Still(0.9f), 0.5f, 60, 60);
    }
    folder.Save(stage, name);
}

// Three boxes on a sky of two colours, without light: each face is of one colour.
void Tower(CaseFolder& folder, const std::string& name = "tower.om2") {
    demo::Stage stage;
    stage.BackgroundPicture(stage.Picture(Painted(64, 64, [](float u, float v) -> color {
        return v < 0.6f ? color{0.95f, 0.6f + 0.3f * v, 0.5f * u, 1} : color{0.1f, 0.3f, 0.2f + 0.2f * u, 1};
    })));
    int step = 0;
    for (const color& c :
         {color{0.8f, 0.1f, 0.2f, 1}, color{0.95f, 0.9f, 0.8f, 1}, color{0.2f, 0.2f, 0.5f, 1}}) {
        demo::Look look;
        look.lit = false;
        demo::Shape box = demo::Box({-1, -1, 0}, {1, 1, 1});
        box.colors.clear();
        for (const vect3& n : box.normals)
            box.colors.push_back({c.r * (0.7f + 0.3f * n.z), c.g * (0.75f - 0.25f * n.x), c.b, 1});
        box.normals.clear();
        stage.Mesh(box, stage.Material(look),
                   stage.Moving(stage.Root(), Still(vect3{0, 0, F(step)}),
                                stage.Turning({0, 0, 1}, 0.25f, 1, 0.5f * F(step)),
                                Still(vect3{1.5f - 0.4f * F(step), 1.5f - 0.4f * F(step), 1})));
        ++step;
    }
    osm3d::HierarchyNode* node = stage.Node(stage.Root(), {3, -6, 4});
    node->target = stage.Node(stage.Root(), {0, 0, 1.2f});
    stage.Camera(node, Still(0.8f), 0.5f, 60, 60);
    folder.Save(stage, name);
}

constexpr const char* kScenes =
    R"(<scene name="yard" file="yard.om2"/><scene name="tower" file="tower.om2"/>)";
constexpr const char* kBitmaps =
    R"(<bitmap name="chart" file="chart.png"/><bitmap name="badge" file="badge.png"/>
<bitmap name="spark" file="spark.png"/><bitmap name="odd" file="odd.png"/>)";

// The project of one layer or several, with all that its clips may name.
void Write(CaseFolder& folder, const std::string& layers, const std::string& attributes = "") {
    const auto names = [&](const char* name) {
        return layers.find(std::string("\"") + name + "\"") != std::string::npos;
    };
    std::string data;
    if (names("yard") || names("tower")) {
        Yard(folder);
        Tower(folder);
        data += kScenes;
    }
    if (names("chart") || names("badge") || names("spark") || names("odd")) {
        folder.Bitmap("chart.png", Chart(64, 48));
        folder.Bitmap("badge.png", Badge());
        folder.Bitmap("spark.png", Spark());
        folder.Bitmap("odd.png", Chart(100, 37));
        data += kBitmaps;
    }
    folder.Project(Attribute("fps", "1") + attributes, "<data>" + data + "</data>\n" + layers);
}

// One layer that lasts `frames` seconds, which are as many frames.
std::function<void(CaseFolder&)> Showing(const std::vector<Clip>& clips, unsigned frames = 1,
                                         const std::string& attributes = "") {
    return [=](CaseFolder& folder) {
        std::vector<Clip> timed;
        for (const Clip& clip : clips) timed.push_back(clip.At(0, frames));
        Write(folder, Layer(timed), attributes);
    };
}

Clip Scene(const char* name, Value time = 0) {
    return {"fx_simple_scene", {{"scene", name}, {"time", time}}};
}

// In pixels.
struct Place {
    double left = 0, top = 0, right = 640, bottom = 480;
};
Clip Bitmap(const char* name, Place place = {}, Value alpha = 1, double source = 3, double destination = 2) {
    return {"fx_simple_bmp",
            {{"bitmap", name},
             {"top", place.top / 1000},
             {"left", place.left / 1000},
             {"bottom", place.bottom / 1000},
             {"right", place.right / 1000},
             {"alpha", alpha},
             {"destination", destination},
             {"source", source}}};
}
Clip Color(const color& c, double source = 3, double destination = 2) {
    return {"fx_simple_color",
            {{"red", c.r},
             {"green", c.g},
             {"blue", c.b},
             {"alpha", c.a},
             {"destination", destination},
             {"source", source}}};
}
Clip Grey(const std::vector<Clip>& inside, Value brightness = 0.3333333) {
    return {"fx_render_bw", {{"brightness", brightness}}, inside};
}
Clip Apart(const std::vector<Clip>& inside, Value shift = 0.02) {
    return {"fx_render_rgb", {{"shift", shift}}, inside};
}
struct Blur {
    double steps = 8, x = 320, y = 240, scale = 0.1, alpha = 1, destination = 2, source = 3;
};
Clip Blurred(const std::vector<Clip>& inside, const Blur& blur = {}) {
    return {"fx_blur_radial",
            {{"steps", blur.steps},
             {"center_x", blur.x / 1000},
             {"center_y", blur.y / 1000},
             {"scale", blur.scale},
             {"alpha", blur.alpha},
             {"destination", blur.destination},
             {"source", blur.source}},
            inside};
}

// What flat effects show of themselves in a small picture: the upper left part of 640 x 480.
const std::vector<Clip> kFlat = {Color({0.1f, 0.35f, 0.3f, 1}), Bitmap("chart", {10, 8, 250, 188}),
                                 Bitmap("badge", {140, 90, 300, 230})};

// The same for what a radial blur shows of its 256 x 192 pixels there.
const std::vector<Clip> kFlatQuarter = {Color({0.1f, 0.35f, 0.3f, 1}), Bitmap("chart", {6, 6, 102, 78}),
                                        Bitmap("badge", {56, 36, 122, 92})};

// ---- Sources

// One above the other: enlarged, shrunk, flipped both ways, between pixels, over the edge, half there.
void BitmapPlaces(CaseFolder& folder) {
    Write(folder,
          Layer({Color({0.2f, 0.2f, 0.25f, 1}).At(0, 1), Bitmap("chart", {8, 8, 136, 104}).At(0, 1),
                 Bitmap("chart", {144, 8, 160, 20}).At(0, 1), Bitmap("chart", {304, 8, 176, 104}).At(0, 1),
                 Bitmap("chart", {8, 220, 72, 116}).At(0, 1),
                 Bitmap("chart", {80.5, 116.5, 144.5, 164.5}).At(0, 1),
                 Bitmap("chart", {80.25, 170.75, 144.25, 218.75}).At(0, 1),
                 Bitmap("chart", {152, 116, 216, 164}).At(0, 1),
                 Bitmap("chart", {-40, 200, 60, 300}).At(0, 1), Bitmap("odd", {152, 170, 252, 207}).At(0, 1),
                 Bitmap("odd", {224, 112, 312, 160}, 0.5).At(0, 1),
                 Bitmap("badge", {230, 130, 330, 230}).At(0, 1)}));
}

// All sixteen ways to blend, over a gradient: sources to the right, destinations downwards.
void BitmapBlending(CaseFolder& folder) {
    std::vector<Clip> clips = {Bitmap("chart", {0, 0, 320, 240}).At(0, 1)};
    for (int source = 0; source < 4; ++source)
        for (int destination = 0; destination < 4; ++destination) {
            const double x = 80.0 * source + 4, y = 60.0 * destination + 4;
            clips.push_back(Bitmap("badge", {x, y, x + 72, y + 52}, 0.75, source, destination).At(0, 1));
        }
    Write(folder, Layer(clips));
}

// The same for colours, which cover all: a frame each.
void ColorBlending(CaseFolder& folder) {
    std::vector<Clip> colors;
    for (int i = 0; i < 16; ++i) colors.push_back(Color({0.9f, 0.3f, 0.1f, 0.6f}, i % 4, i / 4).At(i, 1));
    Write(folder, Layer({Bitmap("chart", {0, 0, 64, 48}).At(0, 16)}) + Layer(colors));
}

// Many small ones that add up.
void Sprites(CaseFolder& folder) {
    std::vector<Clip> clips = {Color({0.05f, 0.05f, 0.15f, 1}).At(0, 2)};
    for (int i = 0; i < 60; ++i) {
        const double a = 0.4 * i, r = 4 + 1.9 * i, size = 14 + i % 5 * 4;
        const double x = 160 + r * std::cos(a), y = 120 + 0.75 * r * std::sin(a);
        const auto side = [](double from, double by) {
            return Value{{0, from / 1000}, {2, (from + by) / 1000}};
        };
        clips.push_back(Clip("fx_simple_bmp", {{"bitmap", "spark"},
                                               {"top", side(y - size, 20)},
                                               {"left", side(x - size, -30)},
                                               {"bottom", side(y + size, 20)},
                                               {"right", side(x + size, -30)},
                                               {"alpha", Value{{0, 1}, {2, 0.2}}},
                                               {"destination", 1},
                                               {"source", 3}})
                            .At(0, 2));
    }
    Write(folder, Layer(clips));
}

void SceneTimesAndCameras(CaseFolder& folder) {
    const auto seen = [](Value camera, double time) {
        return Clip("fx_simple_scene", {{"scene", "yard"}, {"camera", camera}, {"time", time}});
    };
    Write(folder, Layer({seen(0, 0).At(0, 1), seen(1, 0.5).At(1, 1), seen(7, 1).At(2, 1)}));
}

// The second scene lies over the first: its own background does not show.
void SceneOverScene(CaseFolder& folder) {
    Write(folder,
          Layer({Scene("yard", 0.5).At(0, 1)}) + Layer({Scene("tower", 0.3).At(0, 1)}) +
              Layer({Clip("fx_simple_scene").At(0, 1)}) +
              Layer({Color({0.9f, 0.6f, 0.1f, 0.3f}).At(0, 1), Bitmap("badge", {4, 4, 60, 60}).At(0, 1)}));
}

// A bitmap clip without its bitmap takes what state it finds: behind a scene, and behind another bitmap.
void NoBitmap(CaseFolder& folder) {
    const auto white = [](Place place, double alpha) { return Bitmap("badge", place, alpha); };
    const auto bare = [](double left) {
        return Clip(
            "fx_simple_bmp",
            {{"top", 0.02}, {"left", left}, {"bottom", 0.08}, {"right", left + 0.05}, {"alpha", 0.6}});
    };
    Write(folder, Layer({Scene("yard").At(0, 1), bare(0.02).At(0, 1), white({80, 20, 130, 100}, 1).At(0, 1),
                         bare(0.09).At(0, 1)}));
}

// ---- What is within what

// Each second another way through the same clips; the gaps show the empty frame.
void Gaps(CaseFolder& folder) {
    Write(
        folder,
        Layer({Bitmap("chart", {20, 20, 200, 160}).At(0, 1), Bitmap("badge", {60, 10, 180, 130}).At(2, 1)}) +
            Layer({Bitmap("spark", {10, 10, 100, 100}, 1, 1, 1).At(0, 1),
                   Color({0, 0.5f, 0.2f, 0.5f}).At(3, 1)}),
        Attribute("length", "4") + Attribute("background", "#204060"));
}

// An effect after another, so that what one leaves on the device reaches the next.
void Sequence(CaseFolder& folder) {
    Write(folder, Layer({Blurred(kFlatQuarter, {.x = 120, .y = 90}).At(0, 1), Grey({Scene("yard")}).At(1, 1),
                         Scene("tower", 0.4).At(2, 1), Apart(kFlat).At(3, 1),
                         Between("fx_trans_white", {Scene("yard")}, kFlat, {{"progress", 0.3}}).At(4, 1)}) +
                      Layer({Bitmap("badge", {200, 120, 300, 220}).At(0, 5)}));
}

// A whole show in one picture: a cross-fade from a grey scene with a title to a blurred one, under a tint.
std::vector<Clip> Show() {
    return {Between("fx_trans_blend", {Grey({Scene("yard", 0.5)}), Bitmap("chart", {40, 30, 200, 150}, 0.7)},
                    {Blurred({Scene("tower", 0.6)}, {.steps = 4}), Bitmap("badge", {420, 300, 600, 460})},
                    {{"progress", 0.4}}),
            Color({0.1f, 0.4f, 0.9f, 0.15f}), Bitmap("spark", {100, 40, 220, 160}, 1, 3, 1)};
}

}  // namespace

std::vector<EngineCase> ProjectCases() {
    std::vector<EngineCase> cases;
    const auto still = [&](const std::string& name, const std::function<void(CaseFolder&)>& make,
                           unsigned width = 320, unsigned height = 240) -> EngineCase& {
        cases.push_back({.name = "project_" + name, .make = make, .width = width, .height = height});
        return cases.back();
    };
    const auto render = [&](const std::string& name, unsigned frames,
                            const std::function<void(CaseFolder&)>& make, unsigned width = 320,
                            unsigned height = 240) -> EngineCase& {
        EngineCase& entry = still(name, make, width, height);
        entry.kind = Kind::Render;
        entry.frames = frames;
        return entry;
    };
    // A clip, and at each full second the next of the parameter's values.
    const auto steps = [](std::initializer_list<double> values) {
        Value value("");
        value.attribute.clear();
        int second = 0;
        for (const double each : values)
            value.keys += "<key" + Attribute("time", Number(second++)) + Attribute("value", Number(each)) +
                          Attribute("curve", "step") + "/>";
        return value;
    };

    still("bitmap_whole", Showing({Bitmap("chart")}), 640, 480);
    still("bitmap_places", BitmapPlaces);
    still("bitmap_blending", BitmapBlending);
    render("bitmap_alpha", 3,
           Showing({Scene("yard"), Bitmap("badge", {20, 10, 130, 110}, Value{{0, 1}, {3, 0}})}, 3), 160, 120);
    still("bitmap_none", NoBitmap, 160, 120);
    render("sprites", 2, Sprites);
    render("color_blending", 16, ColorBlending, 64, 48);
    render("scene", 3, SceneTimesAndCameras, 240, 180);
    still("scene_over_scene", SceneOverScene);

    const std::vector<Clip> other = {Color({0.6f, 0.5f, 0.2f, 1}), Bitmap("odd", {30, 20, 300, 120}),
                                     Bitmap("badge", {20, 110, 120, 210})};
    render("cut", 4, Showing({Between("fx_trans_direct", kFlat, other)}, 4));
    render("flash", 5, Showing({Between("fx_trans_white", kFlat, other)}, 5));
    render(
        "fade", 5,
        Showing({Between("fx_trans_blend", kFlat, other, {{"progress", steps({0, 0.25, 0.5, 0.9, 1})}})}, 5));
    still("fade_scenes",
          Showing({Between("fx_trans_blend", {Scene("yard")}, {Scene("tower")}, {{"progress", 0.35}})}), 640,
          480);
    still("fade_to_nothing", Showing({Between("fx_trans_blend", kFlat, {}, {{"progress", 0.6}})}, 1,
                                     Attribute("background", "#c04060")));

    render("grey", 5, Showing({Grey(kFlat, steps({0.3333333, 0.1, 0.6, 1, -0.5}))}, 5));
    still("grey_scene", Showing({Grey({Scene("yard", 0.3)}, 0.4)}), 400, 300);
    render("apart", 5, Showing({Apart(kFlat, steps({0, 0.004, 0.03, 0.15, -0.05}))}, 5));
    still("apart_scene", Showing({Apart({Scene("tower", 0.2)}, 0.01)}), 400, 300);
    still("blur", Showing({Blurred(kFlatQuarter, {.x = 130, .y = 100})}));
    still("blur_none", Showing({Blurred(kFlatQuarter, {.steps = 0})}));
    still("blur_one", Showing({Blurred(kFlatQuarter, {.steps = 1, .x = 0, .y = 0, .scale = 0.25})}));
    still("blur_many",
          Showing({Blurred(kFlatQuarter, {.steps = 40, .x = 200, .y = 60, .scale = 0.4, .alpha = 2})}));
    still("blur_inwards", Showing({Blurred(kFlatQuarter, {.x = -60, .y = 300, .scale = -0.3, .alpha = 3})}));
    still("blur_adding",
          Showing({Blurred(kFlatQuarter, {.x = 130, .y = 100, .destination = 1, .source = 3})}));
    still("blur_inverse",
          Showing({Blurred(kFlatQuarter, {.x = 130, .y = 100, .destination = 3, .source = 2})}));
    still("blur_scene", Showing({Blurred({Scene("yard", 0.6)}, {.scale = 0.06})}), 400, 300);

    still("grey_of_blur", Showing({Grey({Blurred(kFlatQuarter, {.x = 130, .y = 100})}, 0.3)}));
    still("blur_of_grey", Showing({Blurred({Grey(kFlatQuarter)}, {.x = 130, .y = 100})}));
    const std::vector<Clip> tiny = {Color({0.1f, 0.35f, 0.3f, 1}), Bitmap("chart", {2, 2, 44, 34})};
    still("blur_of_blur", Showing({Blurred({Blurred(tiny, {.x = 60, .y = 50})}, {.x = 0, .y = 0})}));
    still("apart_of_apart", Showing({Apart({Apart({Grey(kFlat, 0.5)}, 0.01)}, 0.02)}));
    still("five_deep",
          Showing({Blurred(
              {Grey({Blurred({Grey({Blurred(tiny, {.steps = 2}), Bitmap("odd", {10, 26, 60, 44}, 0.8)}, 0.4)},
                             {.steps = 2, .x = 20, .y = 20}),
                     Bitmap("badge", {70, 6, 120, 56})})},
              {.steps = 3, .x = 150, .y = 110})}));
    render("fade_of_filters", 3,
           Showing({Between("fx_trans_blend", {Grey(kFlat)}, {Apart(kFlat)},
                            {{"progress", steps({0.2, 0.5, 0.8})}})},
                   3));
    still("filter_of_fade", Showing({Grey({Between("fx_trans_blend", kFlat, other, {{"progress", 0.5}})})}));
    render("fade_in_fade", 3,
           Showing({Between("fx_trans_blend", {Between("fx_trans_blend", kFlat, other, {{"progress", 0.5}})},
                            {Between("fx_trans_white", other, {Scene("yard")}, {{"progress", 0.6}})},
                            {{"progress", steps({0.25, 0.5, 0.75})}})},
                   3));
    still("flash_in_cut",
          Showing(
              {Between("fx_trans_direct", {}, {Between("fx_trans_white", kFlat, other, {{"progress", 0.4}})},
                       {{"progress", 0.5}})}),
          160, 120);
    render("sequence", 5, Sequence);
    render("gaps", 4, Gaps, 240, 180);

    // Sizes of the window, between 640 x 480 and not.
    still("show", Showing(Show()), 640, 480);
    still("show_odd", Showing(Show()), 333, 217);
    still("show_large", Showing(Show()), 800, 600);
    still("show_tall", Showing({Scene("yard", 0.8), Bitmap("badge", {90, 180, 190, 280})}), 200, 300);
    still(
        "empty_large",
        [](CaseFolder& folder) {
            Write(folder, Layer({Color({1, 1, 1, 1}).At(1, 1)}), Attribute("background", "#306010"));
        },
        800, 600);

    // Edges smoothed on the screen, and not in what filters and transitions draw beside it.
    for (const unsigned samples : {2u, 4u}) {
        const std::string suffix = "_" + std::to_string(samples);
        still("samples_scene" + suffix, Showing({Scene("tower", 0.3)}), 160, 120).samples = samples;
        const Clip fade = Between("fx_trans_blend", {Scene("yard")}, kFlat, {{"progress", 0.5}});
        still("samples_show" + suffix, Showing({fade, Scene("tower", 0.1)})).samples = samples;
    }

    // What a cross-fade and a colour shift have captured they read by points, which lie on the very edges
    // between two texels: whose colour it is hangs on the last bit, for each channel that is drawn by itself.
    // A texel more to the left is then one of the other side of the texture at the picture's edge.
    constexpr const char* kTie = "captured pictures are read between two texels";
    const auto is = [](const EngineCase& entry, std::initializer_list<const char*> starts) {
        return std::any_of(starts.begin(), starts.end(), [&](const char* start) {
            return entry.name.starts_with(std::string("project_") + start);
        });
    };
    for (EngineCase& entry : cases) {
        if (is(entry, {"apart", "fade_of_filters", "sequence", "samples_show"}))
            entry.bounds = {.reach = 2, .color = 130, .why = kTie, .border = 1, .ties = 2};
        else if (is(entry, {"fade", "filter_of_fade", "show"}))
            entry.bounds = {.why = kTie, .border = 1, .ties = 1};
        if (entry.samples == 2) entry.reference_samples = 4;
        if (entry.name == "project_samples_scene_2")
            entry.bounds = {72, 0.0005, 1, 72, "two samples: the reference's driver has four only"};
    }
    return cases;
}

}  // namespace conformance
