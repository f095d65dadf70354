#include "scene/render_command.h"

#include "mi/records.h"

#include <fmt/format.h>

namespace lumorender {

void readRender(SceneContext& scene) {
    Cursor& in = scene.in;
    const Place place = in.place();
    RenderCommand command;
    command.where = place.text();
    command.rootGroup = scene.readReference({miSCENE_GROUP}, "an instance group");
    command.cameraInstance = scene.readReference({miSCENE_INSTANCE}, "a camera instance");
    if (const auto* instance = scene.database.as<miInstance>(command.cameraInstance, miSCENE_INSTANCE))
        if (scene.database.type(instance->item) != miSCENE_CAMERA)
            scene.problems.error(
                place, fmt::format("instance \"{}\" places no camera", scene.database.name(command.cameraInstance)));
    command.options = scene.readReference({miSCENE_OPTIONS}, "options");
    if (scene.problems.errors() > 0)
        return scene.problems.warning(place, "nothing is rendered because of the errors above");
    if (!scene.actions.render(command)) throw StopReading();
}

}  // namespace lumorender
