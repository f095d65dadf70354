#include "render/render_shaders.h"

#include "database/elements.h"
#include "lights/lights.h"
#include "mi/instance.h"
#include "mi/light.h"
#include "mi/material.h"
#include "mi/object.h"
#include "mi/options.h"
#include "render/pass_plan.h"
#include "support/messages.h"
#include "tracing/camera.h"
#include "tracing/textures.h"

#include <algorithm>

namespace lumorender {

namespace {

std::shared_ptr<const SlotTable> slotsOf(Database& database, ShaderTable& shaders) {
    auto slots = std::make_shared<SlotTable>();
    slots->build(database, shaders);
    return slots;
}

/// Photon shaders are nobody's business where no photons are wanted: not even missing ones.
void addElements(const Database& database, const miOptions& options, bool contours, ShaderTable& shaders) {
    const bool hasPhotons = options.caustic || options.globillum;
    for (miTag tag = 1; tag < database.end(); ++tag) {
        if (const auto* use = database.detail<PhenomenonElement>(tag)) shaders.add(use->function, miSHADER_OTHER);
        if (const auto* material = database.as<miMaterial>(tag, miSCENE_MATERIAL)) {
            shaders.add(surfaceShaderOf(*material), miSHADER_MATERIAL);
            shaders.add(material->displace, miSHADER_DISPLACE);
            shaders.add(material->shadow, miSHADER_SHADOW);
            shaders.add(material->volume, miSHADER_VOLUME);
            shaders.add(material->environment, miSHADER_ENVIRONMENT);
            if (options.lightmap) shaders.add(material->lightmap, miSHADER_LIGHTMAP);
            if (contours) shaders.add(material->contour, miSHADER_CONTOUR);
            if (!hasPhotons) continue;
            shaders.add(material->photon, miSHADER_PHOTON);
            shaders.add(material->photonvol, miSHADER_PHOTONVOL);
        } else if (const auto* light = database.as<miLight>(tag, miSCENE_LIGHT)) {
            shaders.add(light->shader, miSHADER_LIGHT);
            if (hasPhotons) shaders.add(light->emitter, miSHADER_PHOTON_EMITTER);
        } else if (const auto* object = database.as<miObject>(tag, miSCENE_OBJECT)) {
            shaders.add(object->functions, miSHADER_OTHER);
        }
    }
}

void addOutputShaders(const RenderScene& scene, ShaderTable& shaders) {
    const auto* instance = scene.database->as<miInstance>(scene.cameraInstance, miSCENE_INSTANCE);
    const auto* camera = scene.database->detail<CameraDetail>(instance->item);
    if (!camera || scene.options->no_output) return;
    for (const OutputShader& step : camera->outputShaders) shaders.add(step.shader, miSHADER_OUTPUT);
}

/// Materials' contour shaders are of no use where nothing looks for contours.
bool hasContours(const Database& database) {
    for (miTag tag = 1; tag < database.end(); ++tag) {
        const auto* options = database.as<miOptions>(tag, miSCENE_OPTIONS);
        const auto* phenomenon = database.detail<PhenomenonInstance>(tag);
        if ((options && options->contour_store) || (phenomenon && phenomenon->contourStore)) return true;
    }
    return false;
}

/// To be called when the shaders of all elements are known.
void addContours(RenderScene& scene, ShaderTable& shaders) {
    scene.contours = {scene.options->contour_store, scene.options->contour_contrast};
    for (const PhenomenonInstance* phenomenon : shaders.phenomena()) {
        if (!scene.contours.store) scene.contours.store = phenomenon->contourStore;
        if (!scene.contours.contrast) scene.contours.contrast = phenomenon->contourContrast;
    }
    shaders.add(scene.contours.store, miSHADER_CONTOUR);
    shaders.add(scene.contours.contrast, miSHADER_CONTOUR);
}

/// A shader may stand where a material is expected.
void addSurfaces(const Database& database, const FlatInstance& instance, ShaderTable& shaders) {
    bool isBare = false;
    for (const miTag material : instance.surfaceMaterials) {
        if (database.type(material) != miSCENE_MATERIAL) shaders.add(material, miSHADER_MATERIAL);
        isBare = isBare || !material;
    }
    if (isBare && !instance.isLight && (instance.flags & miTRACE_VISIBLE) != 0)
        warning("RC", "instance \"{}\": where no material is given surfaces are black",
                database.name(instance.instance));
}

/// Phenomena's shaders of higher priority run later, the camera's own at 0 and before those of the same priority.
void addCameraShaders(Database& database, miTag& slot, PhenomenonInstance::CameraShaders PhenomenonInstance::* part,
                      ShaderTable& shaders) {
    std::vector<PhenomenonInstance::CameraShaders> parts{{slot, 0}};
    for (const PhenomenonInstance* phenomenon : shaders.phenomena())
        if ((phenomenon->*part).shaders) parts.push_back(phenomenon->*part);
    if (parts.size() == 1) return;
    std::stable_sort(parts.begin(), parts.end(), [](const auto& a, const auto& b) { return a.priority < b.priority; });
    auto list = std::make_unique<FunctionList>();
    for (const auto& each : parts) list->functions.push_back(each.shaders);
    slot = database.create(miSCENE_FLIST, 16);
    database.setDetail(slot, std::move(list));
    shaders.add(slot, miSHADER_OTHER);  // whose shaders it knows already
}

}  // namespace

void findShadersOfElements(RenderScene& scene, ShaderTable& shaders) {
    Database& database = *scene.database;
    shaders.add(scene.options->state_func, miSHADER_STATE);
    shaders.add(scene.camera->lens, miSHADER_LENS);
    shaders.add(scene.camera->volume, miSHADER_VOLUME);
    shaders.add(scene.camera->environment, miSHADER_ENVIRONMENT);
    addElements(database, *scene.options, hasContours(database), shaders);
    addContours(scene, shaders);
    addOutputShaders(scene, shaders);
    for (const PassStatement& pass : passesOf(scene)) shaders.add(pass.shader, miSHADER_OTHER);
}

void findShaders(RenderScene& scene, miCamera& camera, ShaderTable& shaders) {
    Database& database = *scene.database;
    findShadersOfElements(scene, shaders);
    for (const FlatInstance& instance : scene.geometry->instances()) addSurfaces(database, instance, shaders);
    addCameraShaders(database, camera.lens, &PhenomenonInstance::lens, shaders);
    addCameraShaders(database, camera.volume, &PhenomenonInstance::volume, shaders);
    addCameraShaders(database, camera.environment, &PhenomenonInstance::environment, shaders);
    scene.slots = slotsOf(database, shaders);
}

void openForCalls(RenderScene& scene, ShaderTable& shaders) {
    Database& database = *scene.database;
    scene.lights = std::make_shared<LightTable>(database, *scene.geometry);
    scene.projection = projectionOf(scene);
    scene.slots = slotsOf(database, shaders);
    auto textures = std::make_shared<TextureTable>();
    const miOptions& options = *scene.options;
    textures->open(database, shaders.textures(), {options.gamma, options.render_cprof, options.lightmap != 0});
    scene.textures = textures;
}

}  // namespace lumorender
