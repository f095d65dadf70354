// Frames of former versions of the language: what stands in them is placed as it is, seen by their view, and rendered at
// their end.
#include "elements/element_readers.h"
#include "mi/geometry_api.h"
#include "mi/records.h"
#include "parsing/statements.h"
#include "support/geometry.h"

#include <fmt/format.h>

#include <unordered_set>

namespace lumorender {

namespace {

constexpr const char* kCamera = "view";
constexpr const char* kOptions = "view options";
constexpr const char* kGroup = "frame";

/// Objects and lights that no instance places, by their names.
std::vector<miTag> unplacedElements(const Database& database) {
    std::unordered_set<miTag> placed;
    for (miTag tag = 1; tag < database.end(); ++tag)
        if (const auto* instance = database.as<miInstance>(tag, miSCENE_INSTANCE)) placed.insert(instance->item);
    std::vector<miTag> elements;
    for (miTag tag = 1; tag < database.end(); ++tag) {
        const int type = database.type(tag);
        const bool isPlaceable = type == miSCENE_OBJECT || type == miSCENE_LIGHT;
        if (isPlaceable && !database.name(tag).empty() && !placed.contains(tag)) elements.push_back(tag);
    }
    return elements;
}

/// Former instances stay: a further frame has the same elements at the same places.
miTag place(SceneContext& scene, miTag element) {
    miInstance instance = {};
    narrow(M44d(), instance.tf.global_to_local);
    narrow(M44d(), instance.tf.local_to_global);
    narrow(M44d(), instance.motion_transform);
    instance.tf.identity = 1;
    instance.item = element;
    const std::string name = fmt::format("{} in the frame", scene.database.name(element));
    return scene.store(name, miSCENE_INSTANCE, instance, std::make_unique<InstanceDetail>());
}

}  // namespace

void readFrame(SceneContext& scene) {
    scene.frame = {};
    scene.frame.number = scene.in.readInteger();
    if (scene.in.atNumber()) scene.frame.time = scene.in.readFloat();
}

void readView(SceneContext& scene) {
    readViewAs(scene, scene.qualify(kCamera), scene.qualify(kOptions));
    scene.frame.hasView = true;
}

void endFrame(SceneContext& scene) {
    if (!scene.frame.hasView) return;
    const miTag camera = scene.find(kCamera), options = scene.find(kOptions);
    auto group = std::make_unique<GroupDetail>();
    if (const auto* former = scene.database.detail<GroupDetail>(scene.find(kGroup)))
        group->instances = former->instances;
    for (const miTag element : unplacedElements(scene.database)) group->instances.push_back(place(scene, element));
    const std::string seen = fmt::format("{} in the frame", scene.database.name(camera));
    miTag cameraInstance = scene.database.find(seen);
    if (!cameraInstance) group->instances.push_back(cameraInstance = place(scene, camera));
    const miTag root = scene.store(scene.qualify(kGroup), miSCENE_GROUP, miGroup{}, std::move(group));
    scene.frame = {};
    carryOutRender(scene, scene.elementPlace, {root, cameraInstance, options, {}, {}});
}

}  // namespace lumorender
