// The classes that scene files hold.
#pragma once

namespace osm3d {

/// Every stored class is known once the program's static objects stand. A program that links the engine as a
/// library calls this before its first file, so that the linker takes those objects in; it does nothing more.
void UseStoredClasses();

}  // namespace osm3d
