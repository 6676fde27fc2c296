#include "scene/transformation_prs.h"

#include "io/block.h"
#include "io/stream.h"

namespace osm3d {

const matrix& TransformationPRS::GetWorldMatrix() {
    if (!matrixValid) {
        cachedMatrix = MatrixCompose(position, rotation, scale);
        matrixValid = true;
    }
    return cachedMatrix;
}

bool TransformationPRS::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) return false;
    osmio::ReadPlain(in, position);
    osmio::ReadPlain(in, rotation);
    osmio::ReadPlain(in, scale);
    matrixValid = false;
    return true;
}

void TransformationPRS::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("TRPR"), 1);
    osmio::WritePlain(out, position);
    osmio::WritePlain(out, rotation);
    osmio::WritePlain(out, scale);
}

}  // namespace osm3d
