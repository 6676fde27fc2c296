// One layer of a simple material.
#pragma once

#include <array>
#include <string>

#include "controller/controller.h"
#include "io/serializable.h"
#include "io/slot.h"
#include "material/texture.h"
#include "render/state_block.h"
#include "scene/animatable.h"
#include "scene/value_types.h"

namespace osm3d {

/// A texture, the fixed-function state of one texture stage, and the animation of its coordinates by seven
/// controllers. Stored as chunk TS__. All seven controllers must be there before Prepare, Update or Apply.
class TextureStage : public Animatable, public osmio::Serializable {
  public:
    using FloatController = controller::ControllerBase<f32>;

    /// The seven controllers, in stored order. Offsets in units of the image, angles in radians.
    enum Channel : u32 {
        kUOffset,
        kVOffset,
        kUTiling,
        kVTiling,
        kUAngle,
        kVAngle,
        kWAngle,
        kChannelCount,
    };

    /// Values of the transform mode.
    static constexpr u32 kTransformNormal = 0;
    static constexpr u32 kTransformCameraReflection = 1;

    TextureStage();

    TextureStage(const TextureStage&) = delete;
    TextureStage& operator=(const TextureStage&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Moves the controllers and recomputes the texture matrix, unless Prepare found nothing animated.
    void Update(f32 time) override;

    /// To be called once after reading or building.
    void Prepare();

    /// Binds the texture, if there is one, and sends the state of device stage `stage`, 0 to 7.
    void Apply(u32 stage);

    /// May be null. Not owned.
    Texture* GetTexture() const { return texture; }
    void SetTexture(Texture* value) { texture = value; }

    /// The stage's state; its matrix is the one in force.
    TextureStageStateBlock& State() { return state; }
    const TextureStageStateBlock& State() const { return state; }

    /// The matrix that Write stores; a matrix other than the identity acts ahead of the animated one.
    void SetFixedTransform(const matrix& value);
    bool HasFixedTransform() const { return hasFixedTransform; }
    const matrix& GetFixedTransform() const { return fixedTransform; }

    u32 GetTransformMode() const { return transformMode; }
    void SetTransformMode(u32 mode) { transformMode = mode; }

    FloatController* GetController(Channel channel) const { return channels[channel].Get(); }

    /// Replaces a controller and takes ownership of `value`.
    void SetController(Channel channel, FloatController* value);

    /// Gives each missing controller a constant that moves nothing.
    void FillWithNeutralControllers();

    /// Whether Prepare found all seven controllers constant.
    bool IsStatic() const { return isStatic; }

    /// Whether the stage can be prepared, updated and applied; otherwise `reason` says why not.
    bool Validate(std::string& reason) const;

  private:
    void ComputeTransform();

    Texture* texture = nullptr;
    TextureStageStateBlock state;
    std::array<osmio::Slot<FloatController>, kChannelCount> channels;
    u32 transformMode = kTransformNormal;
    bool hasFixedTransform = false;
    matrix fixedTransform;
    bool isStatic = false;
    matrix animatedTransform;
};

}  // namespace osm3d
