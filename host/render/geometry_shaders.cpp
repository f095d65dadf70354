#include "render/geometry_shaders.h"

#include "database/elements.h"
#include "lights/lights.h"
#include "mi/camera.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "render/render_shaders.h"
#include "support/messages.h"
#include "tracing/camera.h"
#include "tracing/eye_samples.h"
#include "tracing/shader_calls.h"
#include "tracing/textures.h"

#include <algorithm>

namespace lumorender {

namespace {

constexpr int kMostRounds = 64;

bool hasGenerators(const Database& database) {
    for (miTag tag = 1; tag < database.end(); ++tag)
        if (const auto* instance = database.as<miInstance>(tag, miSCENE_INSTANCE)) {
            const int type = database.type(instance->item);
            if (type == miSCENE_FUNCTION || type == miSCENE_FLIST) return true;
        }
    return false;
}

class GeometryShaders {
public:
    GeometryShaders(RenderScene& scene, ShaderTable& shaders, const std::shared_ptr<BuildWorld>& world)
        : scene_(scene), shaders_(shaders), world_(world), database_(*scene.database) {}

    GeneratedItems run() {
        for (int round = 0; hasGenerators(database_); ++round) {
            scene_.geometry = SceneGeometry::outline(database_, scene_.rootGroup, *scene_.options, made_);
            const std::span<const miTag> instances = scene_.geometry->generators();
            if (instances.empty()) break;
            if (round == kMostRounds) {
                error("GEOM", "geometry shaders make instances of geometry shaders more than {} deep, left out", round);
                break;
            }
            prepare(instances);
            for (const miTag instance : instances) made_[instance] = call(instance);
        }
        return std::move(made_);
    }

private:
    RenderScene& scene_;
    ShaderTable& shaders_;
    std::shared_ptr<BuildWorld> world_;
    Database& database_;
    GeneratedItems made_;

    miTag shaderOf(miTag instance) const { return database_.as<miInstance>(instance, miSCENE_INSTANCE)->item; }

    /// All that shaders may ask for: lights, the camera, textures.
    void prepare(std::span<const miTag> instances) {
        scene_.lights = std::make_shared<LightTable>(database_, *scene_.geometry);
        scene_.projection = projectionOf(scene_);
        for (const miTag instance : instances) shaders_.add(shaderOf(instance), miSHADER_GEOMETRY);
        auto slots = std::make_shared<SlotTable>();
        slots->build(database_, shaders_);
        scene_.slots = slots;
        auto textures = std::make_shared<TextureTable>();
        textures->open(database_, shaders_.textures(), scene_.options->gamma, scene_.options->render_cprof);
        scene_.textures = textures;
    }

    std::string describe(miTag instance) const {
        miTag shader = shaderOf(instance);
        if (const auto* list = database_.detail<FunctionList>(shader)) shader = list->functions.front();
        const auto* function = database_.as<miFunction>(shader, miSCENE_FUNCTION);
        const auto* declaration = function ? database_.detail<Declaration>(function->function_decl) : nullptr;
        return fmt::format("geometry shader \"{}\" of instance \"{}\"", declaration ? declaration->name : "?",
                           database_.name(instance));
    }

    /// What modules throw ends here.
    miTag call(miTag instance) {
        ThreadContext context(scene_, 0);
        createRootState(context);
        resetRootState(context);
        shaders_.initialise(context);
        miState& state = context.root->state;
        state.instance = instance;
        union {
            miColor color;
            miTag tag;
        } result = {};
        const std::string who = describe(instance);
        BuildSession session(world_, who);
        try {
            const bool good =
                callShader(context, &state, shaderOf(instance), miSHADER_GEOMETRY, &result, nullptr, false, true);
            if (!good) warning("GEOM", "{}: it says that it made nothing", who);
        } catch (const std::exception& problem) {
            error("GEOM", "{}: it ended by an exception: {}", who, problem.what());
        } catch (...) {
            error("GEOM", "{}: it ended by an exception", who);
        }
        return placeable(result.tag, who);
    }

    miTag placeable(miTag made, const std::string& who) const {
        switch (database_.type(made)) {
            case miSCENE_OBJECT:
            case miSCENE_LIGHT:
            case miSCENE_GROUP:
            case miSCENE_NONE: return database_.type(made) == miSCENE_NONE ? miNULLTAG : made;
            case miSCENE_INSTANCE: {
                auto group = std::make_unique<GroupDetail>();
                group->instances.push_back(made);
                return world_->made.store({}, miSCENE_GROUP, nullptr, 16, std::move(group));
            }
            default: error("GEOM", "{}: its result, tag {}, cannot be placed", who, made); return miNULLTAG;
        }
    }
};

}  // namespace

GeneratedItems callGeometryShaders(RenderScene& scene, ShaderTable& shaders, const std::shared_ptr<BuildWorld>& world) {
    if (scene.options->no_geometry || !world) return {};
    return GeometryShaders(scene, shaders, world).run();
}

}  // namespace lumorender
