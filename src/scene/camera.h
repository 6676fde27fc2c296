// Views of a scene.
#pragma once

#include <string>

#include "controller/controller.h"
#include "io/serializable.h"
#include "io/slot.h"
#include "platform/types.h"
#include "scene/animatable.h"
#include "scene/frustum.h"
#include "scene/transformation.h"
#include "scene/value_types.h"

namespace osm3d {

/// A view, a projection and the depth ranges that fog and depth of field use. Distances in world units.
class Camera : public Animatable, public osmio::Serializable, public Transformable {
  public:
    /// Sends view and projection to the Context.
    virtual void Apply() = 0;
    /// Of the view as of the last Update and the projection as of the last Apply.
    virtual Frustum GetFrustum() const = 0;
    virtual f32 GetNear() const = 0;
    virtual f32 GetFar() const = 0;
    /// Where fog starts and where it is full.
    virtual f32 GetFogNear() const = 0;
    virtual f32 GetFogFar() const = 0;
    /// Distance of the plane that is sharp. Needs a HierarchyNode as transformation.
    virtual f32 GetFocalDistance() const = 0;
    virtual const matrix& GetView() const = 0;
    virtual const matrix& GetProjection() const = 0;
    ~Camera() override = default;
};

/// The one camera. Looks down the -z of its transformation, y up. Stored as chunk cASM.
class CameraSimple : public Camera {
  public:
    using FloatController = controller::ControllerBase<f32>;

    CameraSimple();
    CameraSimple(const CameraSimple&) = delete;
    CameraSimple& operator=(const CameraSimple&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Moves the controllers and makes the view; the tree must be up to date.
    void Update(f32 time) override;
    void Apply() override;
    Frustum GetFrustum() const override;
    f32 GetNear() const override;
    f32 GetFar() const override;
    f32 GetFogNear() const override;
    f32 GetFogFar() const override;
    f32 GetFocalDistance() const override;
    const matrix& GetView() const override { return viewMatrix; }
    const matrix& GetProjection() const override { return projectionMatrix; }

    /// The controllers, each of which may be missing. Setting one takes it over and deletes the one before,
    /// if that was not a file's.
    FloatController* GetFov() const { return fov.Get(); }
    FloatController* GetNearControl() const { return nearControl.Get(); }
    FloatController* GetFarControl() const { return farControl.Get(); }
    FloatController* GetRangeNearControl() const { return rangeNearControl.Get(); }
    FloatController* GetFogFarControl() const { return fogFarControl.Get(); }
    /// Vertical field of view in radians. Without it the projection is left alone.
    void SetFov(FloatController* value);
    /// Near clip distance, and where fog starts.
    void SetNearControl(FloatController* value);
    void SetFarControl(FloatController* value);
    /// What GetNear gives.
    void SetRangeNearControl(FloatController* value);
    void SetFogFarControl(FloatController* value);

  private:
    osmio::Slot<FloatController> fov;
    matrix viewMatrix;
    matrix projectionMatrix;
    osmio::Slot<FloatController> nearControl;
    osmio::Slot<FloatController> farControl;
    osmio::Slot<FloatController> rangeNearControl;
    osmio::Slot<FloatController> fogFarControl;
};

}  // namespace osm3d
