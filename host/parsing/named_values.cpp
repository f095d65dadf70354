#include "parsing/named_values.h"

#include "mi/records.h"

namespace lumorender {

namespace {

constexpr int kDeepestGroup = 32;

void collectLights(const Database& database, miTag instance, int depth, std::vector<miTag>& lights) {
    const auto* record = database.as<miInstance>(instance, miSCENE_INSTANCE);
    if (!record || depth > kDeepestGroup) return;
    const auto* group = database.detail<GroupDetail>(record->item);
    if (!group) return lights.push_back(instance);
    for (const miTag member : group->instances) collectLights(database, member, depth + 1, lights);
}

}  // namespace

miTag readNamedValue(SceneContext& scene, miParam_type type) {
    switch (type) {
        case miTYPE_COLOR_TEX:
        case miTYPE_SCALAR_TEX:
        case miTYPE_VECTOR_TEX:
        case miTYPE_TEX: return scene.readReference({miSCENE_IMAGE, miSCENE_FUNCTION, miSCENE_FLIST}, "a texture");
        case miTYPE_LIGHT: return scene.readReference({miSCENE_INSTANCE}, "a light instance");
        case miTYPE_SHADER: return scene.readReference({miSCENE_FUNCTION, miSCENE_FLIST}, "a shader");
        case miTYPE_MATERIAL: return scene.readReference({miSCENE_MATERIAL}, "a material");
        case miTYPE_GEOMETRY:
            return scene.readReference({miSCENE_OBJECT, miSCENE_INSTANCE, miSCENE_GROUP, miSCENE_LIGHT, miSCENE_CAMERA},
                                       "geometry");
        case miTYPE_DATA: return scene.readReference({miSCENE_USERDATA}, "user data");
        case miTYPE_LIGHTPROFILE: return scene.readReference({miSCENE_LIGHTPROFILE}, "a light profile");
        case miTYPE_SPECTRUM: return scene.readReference({miSCENE_SPECTRUM}, "a spectrum");
        default: scene.in.fail("a value of another type");
    }
}

std::vector<miTag> lightsOf(const SceneContext& scene, miTag instance) {
    std::vector<miTag> lights;
    collectLights(scene.database, instance, 0, lights);
    if (lights.empty() && instance != miNULLTAG) lights.push_back(instance);
    return lights;
}

}  // namespace lumorender
