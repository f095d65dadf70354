/* Light that was gathered in a first pass, evaluated hierarchically: Jensen and Buhler 2002, "A Rapid Hierarchical
 * Rendering Technique for Translucent Materials". We differ: straight lines find the surface evenly (Cauchy, Crofton),
 * where they retile it; the distance of a group alone says whether it is opened; and what enters next to the point is
 * taken at the point itself.
 */
#include "SDK/scatter/scatter_cache.h"

#include "SDK/scatter/scatter_patches.h"

#include <algorithm>
#include <atomic>
#include <new>

/* One instance of a material's list. */
struct ScatterCache {
    ScatterCache* next;
    miTag instance, material;
    lumo::SharedPart<lumo::ScatterPatches> patches;
    lumo::ScatterParts parts;
    std::atomic<int> builders;
};

namespace lumo {
namespace {

ScatterCache* find(ScatterCache* list, const miState* state) {
    while (list && (list->instance != state->instance || list->material != state->material)) list = list->next;
    return list;
}

/* The entry of the state's instance, put before the others if there is none. Null when there is no memory. */
ScatterCache* entryIn(ScatterCache*& list, const miState* state) {
    const std::atomic_ref<ScatterCache*> head(list);
    ScatterCache* first = head.load(std::memory_order_acquire);
    if (ScatterCache* const known = find(first, state)) return known;
    auto* const entry = allocateBlock<ScatterCache>();
    if (!entry) return nullptr;
    new (entry) ScatterCache{first, state->instance, state->material, {}, {}, {}};
    while (!head.compare_exchange_weak(first, entry, std::memory_order_acq_rel)) {
        if (ScatterCache* const known = find(first, state)) {
            releaseBlock(entry);
            return known;
        }
        entry->next = first;
    }
    return entry;
}

/* While it lives, the entry's parts stay. The last to leave drops them when patches are there; whoever comes then finds
 * the patches, since they were there before the count went down. */
class Builder {
public:
    explicit Builder(ScatterCache& entry) : entry_(entry) { entry_.builders.fetch_add(1, std::memory_order_acq_rel); }
    ~Builder() {
        if (entry_.builders.fetch_sub(1, std::memory_order_acq_rel) == 1 && entry_.patches.known()) entry_.parts.drop();
    }

    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;

    const ScatterPatches* build(miState* state, Vexabase& record, const ScatterSurface& surface) {
        return entry_.patches.get([&] { return cutSurface(state, record, surface, entry_.parts); });
    }

private:
    ScatterCache& entry_;
};

/* 0 within half of `edge`, 1 beyond one and a half, smooth between: patches come and go unseen. */
double farShare(double r, double edge) {
    const double x = std::clamp(r / edge - 0.5, 0.0, 1.0);
    return x * x * (3 - 2 * x);
}

/* Light from patches that are not next to the point. */
class FarLight {
public:
    FarLight(const ScatterPatches& patches, const miVector& point, const ScatterProfile& profile)
        : patches_(patches), point_(point), profile_(profile) {}

    void gather() {
        for (miUint root = patches_.firstRoot; root < patches_.count; ++root) gatherBelow(root);
    }

    double light[3] = {0, 0, 0}, weight[3] = {0, 0, 0};

private:
    /* 21 levels with at most 7 siblings waiting on each. */
    void gatherBelow(miUint root) {
        miUint waiting[160];
        int count = 0;
        waiting[count++] = root;
        while (count > 0) {
            const ScatterNode& node = patches_.nodes[waiting[--count]];
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
        const double area = static_cast<double>(node.area) * farShare(distance, patches_.patchSize);
        for (int c = 0; area > 0 && c < 3; ++c) {
            const double w = area * profile_.density(c, distance);
            weight[c] += w;
            light[c] += w * static_cast<double>(node.light[c]);
        }
    }

    const ScatterPatches& patches_;
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

const ScatterPatches* scatterPatchesOf(miState* state, Vexabase& record, const ScatterSurface& surface,
                                       ScatterCache*& list) {
    ScatterCache* const entry = entryIn(list, state);
    if (!entry) return nullptr;
    if (const ScatterPatches* const known = entry->patches.known()) return known;
    return Builder(*entry).build(state, record, surface);
}

bool gatherScatter(const ScatterPatches& patches, const miVector& point, const ScatterProfile& profile,
                   const miColor& here, ScatterSums& sums) {
    const double edge = patches.patchSize;
    if (patches.count == 0 || edge > profile.scale()) return false;
    FarLight far(patches, point, profile);
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
        cache->patches.drop();
        cache->parts.drop();
        lumo::releaseBlock(cache);
        cache = next;
    }
}
