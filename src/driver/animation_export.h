// From the host's document to a file that holds a whole project.
#pragma once

#include <string>

#include "effects/host_interfaces.h"

namespace osm3d {

class AnimationPackage;

/// How an export is stored.
enum class PackageForm {
    /// A compressed block in which objects stand without headers and again wherever they are mentioned.
    /// Nothing reads it back.
    kBodies,
    /// Chunks, each object once, as Driver::LoadAnimation reads them.
    kChunks,
};

/// Gathers the document's scenes, images and text in a package and writes that to `path`: whole, or not at
/// all, with what stood there before untouched. What was done, and why it was not, is told in boxes. False
/// when nothing was written.
///
/// Images are embedded, and stages that name one file share one texture from then on; the lists of textures
/// of the live scenes are emptied. So the document's data objects draw as before, and refer to each other:
/// after an export the host deletes or reloads all of them or none.
bool ExportPackage(HostDocument* document, const std::string& path, PackageForm form);

/// Lets the stages of the package's scenes share one texture for each file name, embeds all, and enters in
/// the package what the scenes listed. Ends with a box that counts the replacements and what no stage names.
void RelinkTextures(AnimationPackage& package);

}  // namespace osm3d
