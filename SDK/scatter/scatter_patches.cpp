#include "SDK/scatter/scatter_patches.h"

#include <algorithm>
#include <cstddef>

namespace lumo {
namespace {

/* A state that is the same for whoever builds: an eye ray without a history. Padding is cleared too, because renderers
 * keep seeds there. Afterwards the state is as it was, seeds included: whether a sample has built something must not be
 * seen in what it draws next. */
class FixedState {
public:
    explicit FixedState(miState* state) : state_(state), before_(*state) {
        state->type = miRAY_EYE;
        state->pad = 0;
        startSequence(0);
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

    /* What is drawn next is point `index` of one stratified sequence. */
    void startSequence(miUint index) const {
        state_->qmc_instance = index;
        state_->qmc_component = 0;
    }

private:
    miState* const state_;
    const miState before_;
};

/* What lights are asked with for each part, whoever makes it. */
struct BuildScope {
    BuildScope(miState* state, Vexabase& record) : fixed(state), lights(state, record) {
        record.contributionWeight = {1, 1, 1, 1};
        record.footprint = {};
    }

    const FixedState fixed;
    const EntryScope lights;
};

/* Builds the tree from its leaves. */
class Grouping {
public:
    Grouping(const ScatterSites& sites, ScatterPatches& patches, std::uint64_t* keys)
        : sites_(sites), patches_(patches), nodes_(patches.nodes), keys_(keys) {}

    void add(const ScatterSite& site, const miColor& light) {
        keys_[patches_.count] = site.key;
        nodes_[patches_.count++] = {
            site.center, site.area, static_cast<miScalar>(sites_.size), {light.r, light.g, light.b}, 0, 0};
    }

    /* Level by level until one group is left, or there is no place for more. */
    void group() {
        miUint& begin = patches_.firstRoot;
        double size = sites_.size;
        while (patches_.count - begin > 1 && 2 * patches_.count - begin <= ScatterPatches::kMost) {
            const miUint end = patches_.count;
            for (miUint first = begin, last; first < end; first = last) {
                const std::uint64_t key = keys_[first] >> 3;
                for (last = first + 1; last < end && keys_[last] >> 3 == key;) ++last;
                addGroup(first, last, key, size);
            }
            begin = end;
            size *= 2;
        }
    }

private:
    void addGroup(miUint first, miUint last, std::uint64_t key, double size) {
        keys_[patches_.count] = key;
        ScatterNode& group = nodes_[patches_.count++];
        group = nodes_[first];
        if (last - first == 1) return;  // one child is no group: it moves up itself
        double area = 0, sums[6] = {};
        for (miUint i = first; i < last; ++i) {
            const ScatterNode& child = nodes_[i];
            const miScalar values[6] = {child.point.x,  child.point.y,  child.point.z,
                                        child.light[0], child.light[1], child.light[2]};
            area += static_cast<double>(child.area);
            for (int k = 0; k < 6; ++k) sums[k] += static_cast<double>(child.area) * static_cast<double>(values[k]);
        }
        const auto mean = [&](int k) { return static_cast<miScalar>(sums[k] / area); };
        group = {{mean(0), mean(1), mean(2)},
                 static_cast<miScalar>(area),
                 static_cast<miScalar>(size),
                 {mean(3), mean(4), mean(5)},
                 first,
                 last - first};
    }

    const ScatterSites& sites_;
    ScatterPatches& patches_;
    ScatterNode* const nodes_;
    std::uint64_t* const keys_;
};

/* One thread's work. */
class Cutter {
public:
    Cutter(miState* state, Vexabase& record, const ScatterSurface& surface, ScatterParts& parts)
        : state_(state), record_(record), surface_(surface), parts_(parts), ball_(fixedBall()) {}

    ScatterPatches* run() {
        if (ball_.isEmpty()) return allocateBlock<ScatterPatches>(offsetof(ScatterPatches, nodes));
        if (!followAllLines()) return nullptr;
        const ScatterSites* const sites = parts_.sites.get([&] { return cutIntoSites(ball_, parts_.lines); });
        return sites && askLights(*sites) ? patchesOf(*sites) : nullptr;
    }

private:
    Ball fixedBall() const {
        const FixedState fixed(state_);
        return ballAround(state_);
    }

    const LineBlock* lines(miUint block) {
        return parts_.lines[block].get([&] {
            const BuildScope scope(state_, record_);
            LineBlock* const met = followLines(state_, surface_, ball_, block);
            if (met) parts_.samples.fetch_add(met->count, std::memory_order_relaxed);
            return met;
        });
    }

    bool followAllLines() {
        if (parts_.sites.known()) return true;
        while (parts_.samples.load(std::memory_order_relaxed) < kMostSamples) {
            const miUint block = parts_.nextLines.take();
            if (block >= kLineBlocks) break;
            lines(block);
        }
        for (miUint block = 0, samples = 0; block < kLineBlocks && samples < kMostSamples; ++block) {
            const LineBlock* const met = lines(block);
            if (!met) return false;
            samples += met->count;
        }
        return true;
    }

    const LightBlock* lights(const ScatterSites& sites, miUint block) {
        return parts_.lights[block].get([&] {
            auto* const made = allocateBlock<LightBlock>();
            const BuildScope scope(state_, record_);
            const miUint first = block * LightBlock::kSites, end = std::min(first + LightBlock::kSites, sites.count);
            for (miUint i = first; made && i < end; ++i) {
                scope.fixed.startSequence(i);
                made->light[i - first] = scope.lights.lightAt(sites.sites[i].entry);
            }
            return made;
        });
    }

    bool askLights(const ScatterSites& sites) {
        const miUint count = (sites.count + LightBlock::kSites - 1) / LightBlock::kSites;
        for (miUint block; (block = parts_.nextLights.take()) < count;) lights(sites, block);
        for (miUint block = 0; block < count; ++block)
            if (!lights(sites, block)) return false;
        return true;
    }

    ScatterPatches* patchesOf(const ScatterSites& sites) const {
        auto* const patches = allocateBlock<ScatterPatches>();
        auto* const keys = allocateBlock<std::uint64_t>(ScatterPatches::kMost * sizeof(std::uint64_t));
        if (patches && keys) {
            patches->patchSize = sites.size;
            Grouping grouping(sites, *patches, keys);
            for (miUint i = 0; i < sites.count; ++i)
                grouping.add(sites.sites[i],
                             parts_.lights[i / LightBlock::kSites].known()->light[i % LightBlock::kSites]);
            grouping.group();
        }
        releaseBlock(keys);
        if (keys && patches)
            return shrunk(patches, offsetof(ScatterPatches, nodes) + patches->count * sizeof(ScatterNode));
        releaseBlock(patches);
        return nullptr;
    }

    miState* const state_;
    Vexabase& record_;
    const ScatterSurface& surface_;
    ScatterParts& parts_;
    const Ball ball_;
};

}  // namespace

void ScatterParts::drop() {
    for (auto& block : lines) block.drop();
    sites.drop();
    for (auto& block : lights) block.drop();
}

ScatterPatches* cutSurface(miState* state, Vexabase& record, const ScatterSurface& surface, ScatterParts& parts) {
    return Cutter(state, record, surface, parts).run();
}

}  // namespace lumo
