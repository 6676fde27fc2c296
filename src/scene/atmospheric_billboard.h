// Sprites that stand upright on the screen.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "io/serializable.h"
#include "io/slot.h"
#include "platform/types.h"
#include "scene/animatable.h"
#include "scene/atmospheric.h"
#include "scene/billboard.h"

namespace osm3d {

class Transformation;

/// One sprite: where it is and how large. Stored inline by its owner.
class BillboardElement : public Animatable {
  public:
    using FloatController = controller::ControllerBase<f32>;

    void Update(f32 time) override;
    virtual bool Read(osmio::InStream* in);
    virtual void Write(osmio::OutStream* out);

    FloatController* GetSize() const { return size.Get(); }
    /// Edge length of the square, in world units. Takes `value` over.
    void SetSize(FloatController* value);

    /// Not owned; needed before the first Update, as the size is.
    Transformation* transformation = nullptr;

  private:
    osmio::Slot<FloatController> size;
};

/// A set of square sprites that lie in planes parallel to the picture, drawn in the order of the elements
/// with one material. Texture coordinates run from (0, -1) at the lower left corner to (1, 0) at the upper
/// right one. A yellow point marks each centre. Stored as chunk ATBL.
///
///     AtmosphericBillboard sprites;
///     auto holder = std::make_unique<particle::Billboard>();
///     holder->material = material;
///     sprites.SetBillboard(holder.release());
///     sprites.AddElement(node, new controller::Const<f32>(2.0f));
class AtmosphericBillboard : public Atmospheric {
  public:
    /// What 16-bit indices reach, at four vertices each.
    static constexpr u32 kMaxSprites = 16384;

    struct Sprite {
        f32 x, y, z;
        f32 size;
    };

    AtmosphericBillboard() = default;
    AtmosphericBillboard(const AtmosphericBillboard&) = delete;
    AtmosphericBillboard& operator=(const AtmosphericBillboard&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Places the sprites; the tree must be up to date.
    void Update(f32 time) override;

    /// Draws the sprites under the view as it stands on the device; `camera` is not looked at. The first call
    /// fixes how many sprites the geometry holds.
    void Apply(Camera* camera) override;
    void Unapply() override;

    /// Adds a sprite, to be done before the first Apply. `transformation` is not owned, `size` is taken over;
    /// neither may be null.
    void AddElement(Transformation* transformation, FloatController* size);
    /// Takes `value` over.
    void SetBillboard(particle::Billboard* value);

    particle::Billboard* GetBillboard() const { return billboard.Get(); }
    const std::deque<BillboardElement>& GetElements() const { return elements; }
    /// As of the last Update.
    const std::vector<Sprite>& GetSprites() const { return sprites; }

    /// Whether Update and Apply may be called; otherwise `reason` says why not.
    bool Validate(std::string& reason) const;

  private:
    void BuildGeometry();

    // Elements stay where they are made: they cannot be copied.
    std::deque<BillboardElement> elements;
    std::vector<Sprite> sprites;
    osmio::Slot<particle::Billboard> billboard;
};

}  // namespace osm3d
