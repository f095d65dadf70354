/* Light that was gathered in a first pass, evaluated hierarchically: Jensen and Buhler 2002, "A Rapid Hierarchical
 * Rendering Technique for Translucent Materials". We differ: straight lines find the surface evenly (Cauchy, Crofton),
 * where they retile it; the distance of a group alone says whether it is opened; and what enters next to the point is
 * taken at the point itself.
 */
#include "SDK/scatter/scatter_cache.h"

#include "SDK/scatter/scatter_patches.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

/* One instance of a material's list. */
struct ScatterCache {
    ScatterCache* next;
    miTag instance, material;
    lumo::ScatterPatches patches;
    lumo::ScatterNode nodes[1]; /* patches.count of them */
};

namespace lumo {
namespace {

constexpr char kFile[] = "sdk/lumoScatter";

void release(void* memory) {
    if (memory) mi_mem_int_release(kFile, __LINE__, memory);
}

/* A state that is the same for whoever builds: an eye ray without a history. Padding is cleared too, because renderers
 * keep seeds there. Afterwards the state is as it was, seeds included: whether a sample has built something must not be
 * seen in what it draws next. */
class FixedState {
public:
    explicit FixedState(miState* state) : state_(state), before_(*state) {
        state->type = miRAY_EYE;
        state->qmc_instance = state->pad = 0;
        state->qmc_component = 0;
        state->scanline = 0;
        state->raster_x = state->raster_y = 0;
        state->parent = nullptr;
        state->reflection_level = state->refraction_level = 0;
        state->org = {0, 0, 0};
        state->dir = {0, 0, -1};
        state->dist = 0;
        state->time = state->options->shutter_delay;
        state->volume = state->camera ? state->camera->volume : miNULLTAG;
        state->refraction_volume = miNULLTAG;
        state->importance = 1;
        std::fill_n(state->bary, 4, 0.0f);
        state->tex_list = state->bump_x_list = state->bump_y_list = state->derivs = nullptr;
        state->motion = state->tex = {0, 0, 0};
        state->count = 0;
    }
    ~FixedState() { *state_ = before_; }

    FixedState(const FixedState&) = delete;
    FixedState& operator=(const FixedState&) = delete;

private:
    miState* const state_;
    const miState before_;
};

ScatterCache* find(ScatterCache* list, const miState* state) {
    while (list && (list->instance != state->instance || list->material != state->material)) list = list->next;
    return list;
}

ScatterCache* build(miState* state, Vexabase& record, const ScatterSurface& surface) {
    auto* work = static_cast<ScatterWorkspace*>(mi_mem_int_test_allocate(kFile, __LINE__, sizeof(ScatterWorkspace)));
    if (!work) return nullptr;
    ScatterPatches patches;
    {
        const FixedState fixed(state);
        const EntryScope lights(state, record);
        record.contributionWeight = {1, 1, 1, 1};
        record.footprint = {};
        patches = cutSurface(state, surface, lights, *work);
    }
    const std::size_t size = sizeof(ScatterCache) + patches.count * sizeof(ScatterNode);
    auto* cache = static_cast<ScatterCache*>(mi_mem_int_test_allocate(kFile, __LINE__, static_cast<miUint>(size)));
    if (cache) {
        *cache = {nullptr, state->instance, state->material, patches, {}};
        std::copy_n(work->nodes, patches.count, cache->nodes);
    }
    release(work);
    return cache;
}

/* 0 within half of `edge`, 1 beyond one and a half, smooth between: patches come and go unseen. */
double farShare(double r, double edge) {
    const double x = std::clamp(r / edge - 0.5, 0.0, 1.0);
    return x * x * (3 - 2 * x);
}

/* Light from patches that are not next to the point. */
class FarLight {
public:
    FarLight(const ScatterCache& cache, const miVector& point, const ScatterProfile& profile)
        : cache_(cache), point_(point), profile_(profile) {}

    void gather() {
        for (miUint root = cache_.patches.firstRoot; root < cache_.patches.count; ++root) gatherBelow(root);
    }

    double light[3] = {0, 0, 0}, weight[3] = {0, 0, 0};

private:
    /* 21 levels with at most 7 siblings waiting on each. */
    void gatherBelow(miUint root) {
        miUint waiting[160];
        int count = 0;
        waiting[count++] = root;
        while (count > 0) {
            const ScatterNode& node = cache_.nodes[waiting[--count]];
            const double distance = static_cast<double>(mi_vector_dist(&node.point, &point_));
            const double size = static_cast<double>(node.size);
            if (distance - 2 * size > profile_.reach()) continue;
            constexpr double kOpening = 0.4;
            const bool opens = node.childCount > 0 && size > kOpening * distance;
            for (miUint i = 0; opens && i < node.childCount; ++i) waiting[count++] = node.firstChild + i;
            if (!opens) add(node, distance);
        }
    }

    void add(const ScatterNode& node, double distance) {
        const double area = static_cast<double>(node.area) * farShare(distance, cache_.patches.patchSize);
        for (int c = 0; area > 0 && c < 3; ++c) {
            const double w = area * profile_.density(c, distance);
            weight[c] += w;
            light[c] += w * static_cast<double>(node.light[c]);
        }
    }

    const ScatterCache& cache_;
    const miVector point_;
    const ScatterProfile& profile_;
};

/* Share of the profile that farShare() leaves to the point itself. */
double nearShare(const ScatterProfile& profile, int channel, double edge) {
    constexpr int kSteps = 16;
    double sum = 0, inner = 0;
    for (int i = 0; i < kSteps; ++i) {
        const double outer = profile.share(channel, 1.5 * edge * (i + 1) / kSteps);
        sum += (outer - inner) * (1 - farShare(1.5 * edge * (i + 0.5) / kSteps, edge));
        inner = outer;
    }
    return sum;
}

}  // namespace

const ScatterCache* scatterCacheOf(miState* state, Vexabase& record, const ScatterSurface& surface,
                                   ScatterCache*& list) {
    const std::atomic_ref<ScatterCache*> head(list);
    ScatterCache* first = head.load(std::memory_order_acquire);
    if (ScatterCache* known = find(first, state)) return known;
    ScatterCache* const built = build(state, record, surface);
    if (!built) return nullptr;
    do {
        if (ScatterCache* known = find(first, state)) {
            release(built);
            return known;
        }
        built->next = first;
    } while (!head.compare_exchange_weak(first, built, std::memory_order_release, std::memory_order_acquire));
    return built;
}

bool gatherScatter(const ScatterCache& cache, const miVector& point, const ScatterProfile& profile, const miColor& here,
                   ScatterSums& sums) {
    const double edge = cache.patches.patchSize;
    if (cache.patches.count == 0 || edge > profile.scale()) return false;
    FarLight far(cache, point, profile);
    far.gather();
    const miScalar own[3] = {here.r, here.g, here.b};
    for (int c = 0; c < 3; ++c) {
        // Areas are known to some percent: what is a little less than a plane may be one, and more than a plane is not.
        const double near = nearShare(profile, c, edge), whole = 1 - near;
        const double scale = far.weight[c] > 0 ? std::min(whole / far.weight[c], 1.02) : 0;
        sums.light[c] = near * static_cast<double>(own[c]) + scale * far.light[c];
        sums.weight[c] = near + scale * far.weight[c];
    }
    return true;
}

}  // namespace lumo

void destroy_scatter(ScatterCache* cache) {
    while (cache) {
        ScatterCache* const next = cache->next;
        lumo::release(cache);
        cache = next;
    }
}
