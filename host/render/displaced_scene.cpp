#include "render/displaced_scene.h"

#include "database/elements.h"
#include "geometry/displacement.h"
#include "geometry/flattener.h"
#include "geometry/mesh.h"
#include "mi/object.h"
#include "mi/options.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/messages.h"
#include "support/threads.h"
#include "render/screen_measure.h"
#include "tracing/displacement_calls.h"
#include "tracing/shader_table.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <set>

namespace lumorender {

namespace {

constexpr std::size_t kMostTriangles = 4'000'000;  ///< of one object
constexpr float kDefaultPixels = 2;
constexpr int kDefaultLevels = 24;
constexpr std::size_t kShare = 1024;  ///< places that a thread takes at a time

/// Threads with rendering states that last for all objects.
class Callers {
public:
    Callers(const RenderScene& scene, int threads) {
        for (int i = 0; i < threads; ++i)
            callers_.push_back(std::make_unique<DisplacementCalls>(scene, static_cast<short>(i)));
    }

    void call(std::span<const Hit> places, std::span<float> heights) {
        std::atomic<std::size_t> next{0};
        const std::size_t shares = (places.size() + kShare - 1) / kShare;
        const int threads = static_cast<int>(std::min(callers_.size(), shares));
        onThreads(threads, [&](int index) {
            DisplacementCalls& caller = *callers_[static_cast<std::size_t>(index)];
            for (std::size_t share = next++; share < shares && !abortRequested(); share = next++)
                for (std::size_t i = share * kShare; i < std::min((share + 1) * kShare, places.size()); ++i)
                    heights[i] = caller.height(places[i]);
        });
    }

    void finish() {
        for (const auto& caller : callers_) caller->finish();
    }

private:
    std::vector<std::unique_ptr<DisplacementCalls>> callers_;
};

/// Instances that share a displaced mesh.
struct SharedMesh {
    std::vector<std::size_t> instances;
    std::set<const Approximation*> rules;  ///< that are part of the job
    DisplacementJob job;
};

class SceneDisplacement {
public:
    SceneDisplacement(const RenderScene& scene, SceneGeometry& geometry) : scene_(scene), geometry_(geometry) {
        const auto instances = geometry.instances();
        for (std::size_t i = 0; i < instances.size(); ++i) add(i, instances[i]);
    }

    void run(int threads) {
        if (order_.empty()) return;
        const auto start = std::chrono::steady_clock::now();
        Callers callers(scene_, threads);
        std::size_t triangles = 0;
        for (const Key& key : order_) {
            SharedMesh& shared = shared_.at(key);
            std::vector<const FlatInstance*> instances;
            for (const std::size_t i : shared.instances) instances.push_back(&geometry_.instances()[i]);
            const ScreenMeasure measure(*scene_.camera, *scene_.projection, std::move(instances));
            auto mesh = displaceMesh(
                shared.job,
                [&](const V3d& a, const V3d& b, const ApproximationRule& rule, float limit) {
                    return measure.need(a, b, rule, limit);
                },
                [&](const FlatInstance&, std::span<const Hit> places, std::span<float> heights) {
                    callers.call(places, heights);
                });
            triangles += mesh->triangles();
            geometry_.replaceMesh(shared.instances, std::move(mesh));
        }
        callers.finish();
        info("GEOM", "{} object(s) displaced, {} triangles, in {:.2f} s", order_.size(), triangles,
             std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }

private:
    using Key = std::pair<const Mesh*, std::vector<miTag>>;  ///< and the displacement of each surface

    const RenderScene& scene_;
    SceneGeometry& geometry_;
    const Approximation usualRules_ = usualRules();
    std::map<Key, SharedMesh> shared_;
    std::vector<Key> order_;

    static Approximation usualRules() {
        ApproximationRule rule;
        rule.view = true;
        rule.length = kDefaultPixels;
        rule.most = kDefaultLevels;
        return {rule};
    }

    miTag displacementOf(miTag materialTag) const {
        const miMaterial* material = scene_.slots->material(materialTag);
        return material ? material->displace : 0;
    }

    void add(std::size_t number, const FlatInstance& instance) {
        if (!instance.mesh || instance.isLight) return;
        Key key{instance.mesh, {}};
        for (const miTag material : instance.surfaceMaterials) key.second.push_back(displacementOf(material));
        if (std::all_of(key.second.begin(), key.second.end(), [](miTag slot) { return slot == 0; })) return;
        SharedMesh& shared = shared_[key];
        if (shared.instances.empty()) {
            order_.push_back(key);
            setUp(shared.job, instance, key.second);
        }
        shared.instances.push_back(number);
        const Approximation& rules = rulesFor(instance);
        if (shared.rules.insert(&rules).second)
            std::copy_if(rules.begin(), rules.end(), std::back_inserter(shared.job.approximation), dividesTriangles);
    }

    void setUp(DisplacementJob& job, const FlatInstance& instance, const std::vector<miTag>& slots) const {
        job.instance = &instance;
        for (const miTag slot : slots) job.displaced.push_back(slot != 0);
        const auto* object = scene_.database->as<miObject>(instance.object, miSCENE_OBJECT);
        job.most = object && object->maxdisplace > 0 ? object->maxdisplace : scene_.options->maxdisplace;
        job.mostTriangles = kMostTriangles;
        job.name = scene_.database->name(instance.object);
    }

    const Approximation& rulesFor(const FlatInstance& instance) const {
        const auto* options = scene_.database->detail<OptionsDetail>(scene_.optionsTag);
        const auto says = [](const Approximation& rules) {
            return std::any_of(rules.begin(), rules.end(), dividesTriangles);
        };
        if (options && says(options->approximation)) return options->approximation;
        return instance.approximation && says(*instance.approximation) ? *instance.approximation : usualRules_;
    }
};

}  // namespace

void displaceScene(const RenderScene& scene, SceneGeometry& geometry, int threads) {
    if (!scene.options->no_displace) SceneDisplacement(scene, geometry).run(threads);
}

}  // namespace lumorender
