#include "scene/camera.h"

#include "fxutil/math.h"
#include "io/stream.h"
#include "render/context.h"
#include "scene/hierarchy_node.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

f32 ValueOr(const osmio::Slot<ControllerBase<f32>>& slot, f32 fallback) {
    return slot ? slot->value : fallback;
}

}  // namespace

CameraSimple::CameraSimple() : viewMatrix(kMatrixIdentity), projectionMatrix(kMatrixIdentity) {}

bool CameraSimple::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) {
        return false;
    }
    transformation = osmio::ReadSlot<Transformation>(in);
    ReadController(in, fov);
    ReadController(in, nearControl);
    ReadController(in, farControl);
    ReadController(in, rangeNearControl);
    ReadController(in, fogFarControl);
    return true;
}

void CameraSimple::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("cASM"), 1);
    out->WriteObject(transformation);
    out->WriteObject(fov.Get());
    out->WriteObject(nearControl.Get());
    out->WriteObject(farControl.Get());
    out->WriteObject(rangeNearControl.Get());
    out->WriteObject(fogFarControl.Get());
}

void CameraSimple::Update(f32 time) {
    UpdateControllers(time);
    vect3 eye{0, 0, 0};
    vect3 at{0, 0, -1};
    vect3 up{0, 1, 0};
    if (transformation != nullptr) {
        const matrix& m = transformation->GetWorldMatrix();
        D3DXVec3TransformCoord(&eye, &eye, &m);
        D3DXVec3TransformCoord(&at, &at, &m);
        D3DXVec3TransformCoord(&up, &up, &m);
    }
    viewMatrix = MatrixLookAt(eye, at, up - eye);
}

void CameraSimple::Apply() {
    Context* context = GetContext();
    context->SetView(viewMatrix);
    if (!fov) {
        return;
    }
    const D3DVIEWPORT9& viewport = context->GetRenderTarget()->viewport;
    const f32 aspect = static_cast<f32>(static_cast<f64>(viewport.Width) / static_cast<f64>(viewport.Height));
    projectionMatrix = context->SetPerspective(fov->value, aspect, ValueOr(nearControl, 1.0f),
                                               ValueOr(farControl, 10000.0f));
}

Frustum CameraSimple::GetFrustum() const {
    matrix combined;
    D3DXMatrixMultiply(&combined, &viewMatrix, &projectionMatrix);
    return Frustum(combined);
}

// One controller is both the near clip and the start of the fog, and GetNear has one of its own: that is how
// exporters fill them.
f32 CameraSimple::GetNear() const { return ValueOr(rangeNearControl, 1.0f); }
f32 CameraSimple::GetFar() const { return ValueOr(farControl, 10000.0f); }
f32 CameraSimple::GetFogNear() const { return ValueOr(nearControl, 0.0f); }
f32 CameraSimple::GetFogFar() const { return ValueOr(fogFarControl, 0.0f); }

f32 CameraSimple::GetFocalDistance() const {
    const auto* node = dynamic_cast<HierarchyNode*>(transformation);
    if (node != nullptr && node->target != nullptr) {
        const vect3 way = node->target->GetPosition() - transformation->GetPosition();
        return D3DXVec3Length(&way);
    }
    return (GetFar() - GetNear()) * 0.5f;
}

void CameraSimple::SetFov(FloatController* value) { ReplaceController(fov, value); }
void CameraSimple::SetNearControl(FloatController* value) { ReplaceController(nearControl, value); }
void CameraSimple::SetFarControl(FloatController* value) { ReplaceController(farControl, value); }
void CameraSimple::SetRangeNearControl(FloatController* value) { ReplaceController(rangeNearControl, value); }
void CameraSimple::SetFogFarControl(FloatController* value) { ReplaceController(fogFarControl, value); }

}  // namespace osm3d
