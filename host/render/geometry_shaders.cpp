#include "render/geometry_shaders.h"

#include "database/elements.h"
#include "mi/camera.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "render/render_shaders.h"
#include "support/geometry.h"
#include "support/messages.h"
#include "tracing/eye_samples.h"
#include "tracing/shader_calls.h"

#include <algorithm>

namespace lumorender {

namespace {

constexpr int kMostRounds = 64;

bool isShader(const Database& database, miTag tag) {
    return database.type(tag) == miSCENE_FUNCTION || database.type(tag) == miSCENE_FLIST;
}

/// What there is to do at all: most scenes have nothing of this.
struct Occasions {
    bool transforms = false, instances = false, phenomena = false;

    Occasions(const Database& database, bool builds) {
        for (miTag tag = 1; tag < database.end(); ++tag) {
            const auto* instance = database.as<miInstance>(tag, miSCENE_INSTANCE);
            const auto* phenomenon = database.detail<PhenomenonInstance>(tag);
            transforms = transforms || (instance && instance->tf.function);
            instances = instances || (builds && instance && isShader(database, instance->item));
            phenomena = phenomena || (builds && phenomenon && phenomenon->geometry.shaders);
        }
    }
    bool any() const { return transforms || instances || phenomena; }
};

class GeometryShaders {
public:
    GeometryShaders(RenderScene& scene, ShaderTable& shaders, const std::shared_ptr<BuildWorld>& world)
        : scene_(scene),
          shaders_(shaders),
          world_(world),
          database_(*scene.database),
          builds_(world && !scene.options->no_geometry) {}

    GeneratedScene run() {
        const Occasions occasions(database_, builds_);
        if (!occasions.any()) return {};
        outline();
        if (occasions.transforms) computeTransforms();
        if (occasions.phenomena) callPhenomena();
        for (int round = 0; builds_; ++round) {
            const std::span<const miTag> instances = scene_.geometry->generators();
            if (instances.empty()) break;
            if (round == kMostRounds) {
                error("GEOM", "geometry shaders make instances of geometry shaders more than {} deep, left out", round);
                break;
            }
            for (const miTag instance : instances) shaders_.add(shaderOf(instance), miSHADER_GEOMETRY);
            openForCalls(scene_, shaders_);
            for (const miTag instance : instances)
                made_.items[instance] = call(instance, shaderOf(instance), describe(instance));
            outline();
            computeTransforms();
        }
        return std::move(made_);
    }

private:
    RenderScene& scene_;
    ShaderTable& shaders_;
    std::shared_ptr<BuildWorld> world_;
    Database& database_;
    const bool builds_;
    GeneratedScene made_;

    miTag shaderOf(miTag instance) const { return database_.as<miInstance>(instance, miSCENE_INSTANCE)->item; }

    void outline() { scene_.geometry = SceneGeometry::outline(database_, scene_.rootGroup, *scene_.options, made_); }

    /// Of the instances that have come since the last time.
    void computeTransforms() {
        std::vector<miTag> instances;
        for (miTag tag = 1; tag < database_.end(); ++tag) {
            const auto* instance = database_.as<miInstance>(tag, miSCENE_INSTANCE);
            const bool isNew = instance && instance->tf.function && !made_.transforms.contains(tag);
            if (!isNew || !scene_.geometry->placement(tag)) continue;
            instances.push_back(tag);
            shaders_.add(instance->tf.function, miSHADER_OTHER);
        }
        if (instances.empty()) return;
        openForCalls(scene_, shaders_);
        for (const miTag instance : instances) made_.transforms[instance] = transformsOf(instance);
        outline();
    }

    /// At the ends of all motion steps, or once where nothing changes.
    std::vector<M44d> transformsOf(miTag instance) {
        const miOptions& options = *scene_.options;
        const float open = options.shutter_delay, interval = options.shutter - open;
        const int steps = interval > 0 ? std::max<int>(options.n_motion_vectors, 1) : 0;
        std::vector<M44d> matrices;
        for (int i = 0; i <= steps; ++i)
            matrices.push_back(transformAt(
                instance, open + (steps > 0 ? interval * static_cast<float>(i) / static_cast<float>(steps) : 0.0F)));
        if (std::all_of(matrices.begin(), matrices.end(), [&](const M44d& m) { return m == matrices.front(); }))
            matrices.resize(1);
        return matrices;
    }

    /// Identity where the shader says that it has none. What modules throw ends here.
    M44d transformAt(miTag instance, float time) {
        const miTag shader = database_.as<miInstance>(instance, miSCENE_INSTANCE)->tf.function;
        const std::string who = fmt::format("transform shader of instance \"{}\"", database_.name(instance));
        const std::size_t size = shaders_.resultSizeOf(shader);
        if (size < sizeof(miMatrix)) {
            error("GEOM", "{}: its result is no transform, identity is used", who);
            return {};
        }
        std::vector<miScalar> result(size / sizeof(miScalar) + 1);
        auto& matrix = *reinterpret_cast<miMatrix*>(result.data());
        narrow(M44d(), matrix);
        bool good = false;
        try {
            ThreadContext context(scene_, 0);
            miState& state = begin(context, instance);
            state.time = time;
            good = callShader(context, &state, shader, miSHADER_OTHER, matrix, nullptr, false, true);
            if (!good) warning("GEOM", "{}: it says that there is none, identity is used", who);
        } catch (const std::exception& problem) {
            error("GEOM", "{}: it ended by an exception: {}", who, problem.what());
        } catch (...) {
            error("GEOM", "{}: it ended by an exception", who);
        }
        return good ? affineMatrix(matrix) : M44d();
    }

    miState& begin(ThreadContext& context, miTag instance) {
        createRootState(context);
        resetRootState(context);
        shaders_.initialise(context);
        context.root->state.instance = instance;
        return context.root->state;
    }

    /// What the scene uses shows in a table of its shaders, which is thrown away: those of the render come later.
    std::vector<PhenomenonInstance::CameraShaders> shadersOfPhenomena() {
        std::vector<PhenomenonInstance::CameraShaders> found;
        ShaderTable used(database_);
        findShadersOfElements(scene_, used);
        for (miTag tag = 1; tag < database_.end(); ++tag)
            if (const auto* detail = database_.detail<InstanceDetail>(tag))
                for (const miTag material : detail->materials) used.add(material, miSHADER_MATERIAL);
        for (const PhenomenonInstance* phenomenon : used.phenomena())
            if (phenomenon->geometry.shaders) found.push_back(phenomenon->geometry);
        std::stable_sort(found.begin(), found.end(),
                         [](const auto& a, const auto& b) { return a.priority < b.priority; });
        return found;
    }

    void callPhenomena() {
        const auto phenomena = shadersOfPhenomena();
        for (const auto& each : phenomena) shaders_.add(each.shaders, miSHADER_GEOMETRY);
        openForCalls(scene_, shaders_);
        for (const auto& each : phenomena) {
            const std::string who = nameOf(each.shaders) + " of a phenomenon";
            const miTag made = call(0, each.shaders, who);
            if (made) BuildSession(world_, who).addResult(made_.inRoot, made);
        }
        outline();
        computeTransforms();
    }

    std::string nameOf(miTag shader) const {
        if (const auto* list = database_.detail<FunctionList>(shader)) shader = list->functions.front();
        const auto* function = database_.as<miFunction>(shader, miSCENE_FUNCTION);
        const auto* declaration = function ? database_.detail<Declaration>(function->function_decl) : nullptr;
        return fmt::format("geometry shader \"{}\"", declaration ? declaration->name : "?");
    }

    std::string describe(miTag instance) const {
        return fmt::format("{} of instance \"{}\"", nameOf(shaderOf(instance)), database_.name(instance));
    }

    /// What modules throw ends here.
    miTag call(miTag instance, miTag shader, const std::string& who) {
        ThreadContext context(scene_, 0);
        miState& state = begin(context, instance);
        std::vector<miTag> result(shaders_.resultSizeOf(shader) / sizeof(miTag) + 1);
        BuildSession session(world_, who);
        try {
            const bool good =
                callShader(context, &state, shader, miSHADER_GEOMETRY, result.data(), nullptr, false, true);
            if (!good) warning("GEOM", "{}: it says that it made nothing", who);
        } catch (const std::exception& problem) {
            error("GEOM", "{}: it ended by an exception: {}", who, problem.what());
        } catch (...) {
            error("GEOM", "{}: it ended by an exception", who);
        }
        return placeable(result.front(), who);
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

GeneratedScene callGeometryShaders(RenderScene& scene, ShaderTable& shaders, const std::shared_ptr<BuildWorld>& world) {
    return GeometryShaders(scene, shaders, world).run();
}

}  // namespace lumorender
