#include "lightmaps/light_map_pass.h"

#include "database/elements.h"
#include "geometry/mesh.h"
#include "image/writable_texture.h"
#include "lightmaps/light_map_calls.h"
#include "mi/material.h"
#include "mi/options.h"
#include "support/abort.h"
#include "support/messages.h"
#include "support/threads.h"
#include "tracing/shader_table.h"
#include "tracing/textures.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>

namespace lumorender {

namespace {

constexpr std::size_t kEnoughCalls = 2048;  ///< for any number of threads
constexpr int kMostShares = 64;             ///< of a triangle
constexpr std::size_t kTogether = 8;        ///< calls that a thread takes at a time

miTag lightMapOf(const RenderScene& scene, miTag material) {
    const miMaterial* record = scene.slots->material(material);
    return record ? record->lightmap : 0;
}

/// All triangles of an instance that are to be drawn.
struct DrawnInstance {
    const FlatInstance* instance;
    std::size_t first = 0;  ///< number of its first triangle among those of all
};

class Pass {
public:
    explicit Pass(const RenderScene& scene) : scene_(scene) {
        for (const FlatInstance& instance : scene.geometry->instances()) {
            const auto draws = [&](miTag material) { return lightMapOf(scene, material) != 0; };
            if (instance.isLight ||
                std::none_of(instance.surfaceMaterials.begin(), instance.surfaceMaterials.end(), draws))
                continue;
            if (instance.mesh)
                add(instance);
            else
                warning("RC",
                        "instance \"{}\": light maps are made of triangles that are there before the render, and it "
                        "has none",
                        scene.database->name(instance.instance));
        }
        if (triangles_ > 0)
            shares_ = static_cast<int>(std::clamp<std::size_t>(kEnoughCalls / triangles_, 1, kMostShares));
    }

    void run(int threads) {
        std::vector<std::unique_ptr<LightMapCalls>> callers(static_cast<std::size_t>(threads));
        std::atomic<std::size_t> next{0};
        const std::size_t all = triangles_ * static_cast<std::size_t>(shares_);
        onThreads(threads, [&](int thread) {
            auto& caller = callers[static_cast<std::size_t>(thread)];
            caller = std::make_unique<LightMapCalls>(scene_, static_cast<short>(thread));
            for (std::size_t first = next.fetch_add(kTogether); first < all && !abortRequested();
                 first = next.fetch_add(kTogether)) {
                const auto geometry = scene_.geometry->inUse();
                for (std::size_t i = first; i < std::min(first + kTogether, all); ++i) draw(*caller, i);
            }
        });
        std::uint64_t turn = all;
        for (const miTag shader : shaders_)
            if (!abortRequested()) callers.front()->complete(shader, turn++);
        for (const auto& caller : callers) caller->finish();
    }

    std::size_t triangles() const { return triangles_; }

private:
    void add(const FlatInstance& instance) {
        drawn_.push_back({&instance, triangles_});
        triangles_ += instance.mesh->triangles();
        for (const miTag material : instance.surfaceMaterials) {
            const miTag shader = lightMapOf(scene_, material);
            if (shader && std::find(shaders_.begin(), shaders_.end(), shader) == shaders_.end())
                shaders_.push_back(shader);
        }
    }

    void draw(LightMapCalls& caller, std::size_t call) const {
        const std::size_t number = call / static_cast<std::size_t>(shares_);
        const auto behind = std::upper_bound(drawn_.begin(), drawn_.end(), number,
                                             [](std::size_t n, const DrawnInstance& each) { return n < each.first; });
        const DrawnInstance& drawn = *std::prev(behind);
        LightMapShare share;
        share.instance = drawn.instance;
        share.triangle = static_cast<std::uint32_t>(number - drawn.first);
        share.shaders =
            lightMapOf(scene_, drawn.instance->surfaceMaterials[drawn.instance->mesh->surface(share.triangle)]);
        share.number = static_cast<int>(call % static_cast<std::size_t>(shares_));
        share.count = shares_;
        share.turn = call;
        if (share.shaders) caller.draw(share);
    }

    const RenderScene& scene_;
    std::vector<DrawnInstance> drawn_;
    std::vector<miTag> shaders_;  ///< in the order of the scene
    std::size_t triangles_ = 0;
    int shares_ = 1;
};

}  // namespace

bool wantsLightMaps(const RenderScene& scene) {
    if (scene.options->lightmap == 0) return false;
    for (miTag tag = 1; tag < scene.database->end(); ++tag) {
        const auto* material = scene.database->as<miMaterial>(tag, miSCENE_MATERIAL);
        if (material && material->lightmap) return true;
    }
    return false;
}

bool makeLightMaps(const RenderScene& scene, int threads) {
    const auto start = std::chrono::steady_clock::now();
    Pass pass(scene);
    if (pass.triangles() == 0) return true;
    pass.run(threads);
    if (abortRequested()) return false;
    std::size_t drawn = 0;
    for (const auto& [tag, map] : scene.textures->writables()) {
        map->show();
        drawn += map->isDrawn();
    }
    info("RC", "{} light map(s) of {} triangles in {:.2f} s", drawn, pass.triangles(),
         std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    return true;
}

}  // namespace lumorender
