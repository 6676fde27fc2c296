#include "scene/animatable.h"

namespace osm3d {

void Animatable::UpdateControllers(f32 time) {
    // The size anew each time: a controller may add another.
    for (std::size_t i = 0; i < controllers.size(); ++i) controllers[i]->Update(time);
}

void Animatable::RemoveController(Controller* c) {
    for (std::size_t i = 0; i < controllers.size(); ++i) {
        if (controllers[i] == c) controllers.erase(controllers.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

}  // namespace osm3d
