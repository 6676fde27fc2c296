#include "scene/controller_transformation.h"

#include "controller/validation.h"
#include "io/stream.h"
#include "scene/value_operations.h"

namespace osm3d {

const matrix& ControllerTransformation::GetMatrix() {
    static matrix composed;
    composed = MatrixCompose(position->value, rotation->value, scale->value);
    return composed;
}

const vect3& ControllerTransformation::GetPosition() { return position->value; }

const vect3& ControllerTransformation::GetScale() { return scale->value; }

bool ControllerTransformation::Read(osmio::InStream* in) {
    ReadController(in, position);
    ReadController(in, rotation);
    ReadController(in, scale);
    return true;
}

void ControllerTransformation::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("CPRS"), 1);
    out->WriteObject(position.Get());
    out->WriteObject(rotation.Get());
    out->WriteObject(scale.Get());
}

bool ControllerTransformation::Validate(std::string& reason) const {
    if (!position || !rotation || !scale) {
        reason = "a placement lacks its position, rotation or scale controller";
        return false;
    }
    return controller::Validate(position.Get(), reason) && controller::Validate(rotation.Get(), reason) &&
           controller::Validate(scale.Get(), reason);
}

const vect3& ControllerTransformationMatrix::GetPosition() {
    static vect3 translation;
    translation = MatrixGetTranslation(matrixController->value);
    return translation;
}

const vect3& ControllerTransformationMatrix::GetScale() {
    static vect3 one;
    one = {1, 1, 1};
    return one;
}

bool ControllerTransformationMatrix::Read(osmio::InStream* in) {
    ReadController(in, matrixController);
    return true;
}

void ControllerTransformationMatrix::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("CMTX"), 1);
    out->WriteObject(matrixController.Get());
}

bool ControllerTransformationMatrix::Validate(std::string& reason) const {
    if (!matrixController) {
        reason = "a placement lacks its matrix controller";
        return false;
    }
    return controller::Validate(matrixController.Get(), reason);
}

}  // namespace osm3d
