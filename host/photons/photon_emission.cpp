#include "photons/photon_emission.h"

#include "mi/options.h"
#include "photons/photon_aim.h"
#include "photons/photon_tracing.h"
#include "support/abort.h"
#include "support/messages.h"
#include "support/quasi_random.h"
#include "support/stage_progress.h"
#include "support/threads.h"
#include "render/frame_buffers.h"
#include "tracing/eye_samples.h"
#include "tracing/shader_calls.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>
#include <memory>

namespace lumorender {

namespace {

constexpr std::uint64_t kBlock = 64;                 // photons that a thread takes at once
constexpr std::uint64_t kMostEmitted = 0xFFFFFFFFU;  // their numbers have 32 bits
constexpr std::uint64_t kPatience = 2'000'000;       // photons of which at least a few should meet something
constexpr std::uint64_t kLeastYield = 20'000;        // ... one in so many

const char* nameOf(miStage stage) {
    return stage == miSTAGE_CAUSTIC ? "caustic photons" : "global illumination photons";
}

SceneSphere sphereAround(const SceneGeometry& geometry) {
    miVector low, high;
    geometry.bounds(low, high);
    const V3d centre = (wide(low) + wide(high)) * 0.5;
    const double radius = length(wide(high) - wide(low)) / 2;
    return {centre, radius * 1.0001 + 1e-6};
}

/// What a light wants.
struct Order {
    const LightSource* source = nullptr;
    std::uint32_t seed = 0;
    std::uint64_t store = 0, emit = 0;  ///< 0: without a limit
    PhotonAim aim;
};

/// The first surface that sends on a photon for caustics casts them, so all others may as well not be sent.
std::vector<Order> ordersOf(const RenderScene& scene, const SceneSphere& sphere, miStage stage) {
    std::vector<Order> orders;
    const bool isCaustic = stage == miSTAGE_CAUSTIC;
    const std::vector<SceneSphere> casters = isCaustic ? causticCasters(scene) : std::vector<SceneSphere>();
    for (const miTag tag : scene.lights->all()) {
        const LightSource* source = scene.lights->find(tag);
        const miLight& light = *source->light;
        if (!(isCaustic ? sendsCaustics(light) : sendsGlobillum(light))) continue;
        if (light.energy.r == 0 && light.energy.g == 0 && light.energy.b == 0) {
            warning("RC", "light instance \"{}\" is to emit {}, but has no energy; expected a statement \"energy\"",
                    scene.database->name(tag), nameOf(stage));
            continue;
        }
        Order order;
        order.source = source;
        order.seed =
            mixSeeds(static_cast<std::uint32_t>(orders.size()), 0xF0700000U + static_cast<std::uint32_t>(stage));
        order.store = isCaustic ? light.caustic_store_photons : light.global_store_photons;
        order.emit = isCaustic ? light.caustic_emit : light.global_emit;
        if (isCaustic) order.aim = PhotonAim(*source, sphere, casters);
        if (order.aim.share() <= 0)
            warning("RC", "light instance \"{}\": nothing that casts caustics is in its reach, it emits no {}",
                    scene.database->name(tag), nameOf(stage));
        orders.push_back(std::move(order));
    }
    return orders;
}

/// One thread's share: a rendering state, and what it finds.
class Emitter {
public:
    Emitter(const RenderScene& scene, const SceneSphere& sphere, miStage stage, short index)
        : sphere_(sphere), context_(scene, index) {
        createRootState(context_);
        context_.values.resize(scene.buffers->words.size());
        context_.stage = stage;
        context_.photon.sink = &found_;
        miColor unused = {0, 0, 0, 0};
        runStateShaders(context_, miSTATE_SHADER_STATE_INIT, &unused, false);
    }
    void finish() {
        resetRootState(context_);
        miColor unused = {0, 0, 0, 0};
        runStateShaders(context_, miSTATE_SHADER_STATE_EXIT, &unused, false);
    }

    void emit(const Order& order, std::uint64_t number) {
        const std::size_t before = found_.entries.size();
        const Arena::Mark mark = context_.arena.mark();
        resetRootState(context_);
        miState& state = context_.root->state;
        const LightSource& source = *order.source;
        const auto index = static_cast<std::uint32_t>(number);
        seedEyeState(state, order.seed, index);
        const std::uint32_t seed = takeSeed(state);
        std::array<double, 4> random;
        for (std::uint32_t i = 0; i < 4; ++i) random[i] = scrambledSobol(index, i, seed);
        order.aim.aim(random[0], random[1]);
        const PhotonStart start = photonStart(source, sphere_, random);
        state.type = context_.stage == miSTAGE_CAUSTIC ? miPHOTON_EMIT_CAUSTIC : miPHOTON_EMIT_GLOBILLUM;
        state.org = state.point = start.origin;
        state.dir = start.direction;
        state.light_instance = source.instance;
        state.volume = 0;
        state.time = state.options->shutter_delay;
        context_.photon = {&found_, &source};
        const miColor& all = source.light->energy;
        const auto share = static_cast<float>(order.aim.share());
        miColor energy = {all.r * share, all.g * share, all.b * share, all.a};
        if (source.light->emitter)
            callShader(context_, &state, source.light->emitter, miSHADER_PHOTON_EMITTER, &energy);
        else
            emitPhoton(energy, &state);
        context_.states.endEyeRay();
        context_.arena.release(mark);
        found_.endRun(number, before);
    }

    FoundPhotons& found() { return found_; }

private:
    const SceneSphere& sphere_;
    ThreadContext context_;
    FoundPhotons found_;
};

using Emitters = std::vector<std::unique_ptr<Emitter>>;

/// A light at work, round by round: what comes in a round does not depend on who made it.
class LightWork {
public:
    LightWork(const RenderScene& scene, const Order& order, miStage stage, EmittedPhotons& result)
        : scene_(scene), order_(order), stage_(stage), result_(result) {
        for (std::size_t k = 0; k < kPhotonKinds; ++k) before_[k] = result.kinds[k].size();
    }

    bool isDone() {
        if (abortRequested() || isFull() || order_.aim.share() <= 0) return true;
        if (order_.emit > 0) return emitted_ >= std::min(order_.emit, kMostEmitted);
        const bool isHopeless = emitted_ >= kPatience && stored_ * kLeastYield < emitted_;
        if (!isHopeless && emitted_ < kMostEmitted) return false;
        warning(
            "RC",
            "light instance \"{}\": of {} {} that it emitted {} met a place to stay, {} were wanted; it emits no more",
            scene_.database->name(order_.source->instance), emitted_, nameOf(stage_), stored_, order_.store);
        return true;
    }

    /// How many photons come next: about as many as are still missing.
    std::uint64_t nextRound() const {
        constexpr std::uint64_t kLeast = 1024, kMost = std::uint64_t{1} << 18;
        std::uint64_t wanted = std::max(kLeast, emitted_);
        if (order_.store > 0 && stored_ > 0)
            wanted = static_cast<std::uint64_t>(1.02 * static_cast<double>(order_.store - stored_) *
                                                static_cast<double>(emitted_) / static_cast<double>(stored_)) +
                     kBlock;
        const std::uint64_t limit = std::min(order_.emit > 0 ? order_.emit : kMostEmitted, kMostEmitted);
        return std::min(std::clamp(wanted, kBlock, kMost), limit - emitted_);
    }

    /// Takes what the threads found among so many more photons, in the order of their numbers, as far as it is needed.
    void take(const Emitters& emitters, std::uint64_t round) {
        const std::uint64_t end = emitted_ + round;
        for (const auto& run : runsInOrder<FoundPhoton>(emitters)) {
            for (const FoundPhoton& found : run.entries)
                result_.kinds[static_cast<std::size_t>(found.kind)].push_back(found.photon);
            stored_ += run.entries.size();
            emitted_ = run.number + 1;
            if (isFull()) return;
        }
        emitted_ = end;
    }

    /// Each photon gets its part of the light's energy.
    void finish() {
        if (emitted_ == 0) return;
        const auto part = static_cast<float>(1 / static_cast<double>(emitted_));
        for (std::size_t k = 0; k < kPhotonKinds; ++k)
            for (std::size_t i = before_[k]; i < result_.kinds[k].size(); ++i)
                for (float& channel : result_.kinds[k][i].energy) channel *= part;
        result_.emitted += emitted_;
        result_.stored += stored_;
        ++result_.lights;
    }

    std::uint64_t emitted() const { return emitted_; }
    std::uint64_t stored() const { return stored_; }

private:
    bool isFull() const { return order_.store > 0 && stored_ >= order_.store; }

    const RenderScene& scene_;
    const Order& order_;
    miStage stage_;
    EmittedPhotons& result_;
    std::array<std::size_t, kPhotonKinds> before_ = {};
    std::uint64_t emitted_ = 0, stored_ = 0;
};

void emitRound(const RenderScene& scene, const SceneSphere& sphere, miStage stage, const Order& order,
               std::uint64_t first, std::uint64_t count, Emitters& emitters) {
    std::atomic<std::uint64_t> next{first};
    const std::uint64_t end = first + count;
    onThreads(static_cast<int>(emitters.size()), [&](int index) {
        auto& emitter = emitters[static_cast<std::size_t>(index)];
        if (!emitter) emitter = std::make_unique<Emitter>(scene, sphere, stage, static_cast<short>(index));
        emitter->found().clear();
        for (std::uint64_t block = next.fetch_add(kBlock); block < end; block = next.fetch_add(kBlock))
            for (std::uint64_t number = block; number < std::min(block + kBlock, end) && !abortRequested(); ++number)
                emitter->emit(order, number);
    });
}

/// Steps of a stage's progress: what is wanted of all lights.
long stepsOf(const std::vector<Order>& orders) {
    std::uint64_t sum = 0;
    for (const Order& order : orders) sum += order.store > 0 ? order.store : order.emit;
    return static_cast<long>(std::min<std::uint64_t>(sum, std::numeric_limits<long>::max()));
}

}  // namespace

void emitPhotons(const RenderScene& scene, miStage stage, int threads, EmittedPhotons& result) {
    const auto start = std::chrono::steady_clock::now();
    const SceneSphere sphere = sphereAround(*scene.geometry);
    const std::vector<Order> orders = ordersOf(scene, sphere, stage);
    Emitters emitters(static_cast<std::size_t>(threads));
    {
        StageProgress progress(nameOf(stage), stepsOf(orders));
        for (const Order& order : orders) {
            LightWork work(scene, order, stage, result);
            while (!work.isDone()) {
                const std::uint64_t round = work.nextRound(), had = order.store > 0 ? work.stored() : work.emitted();
                emitRound(scene, sphere, stage, order, work.emitted(), round, emitters);
                work.take(emitters, round);
                progress.step(static_cast<long>((order.store > 0 ? work.stored() : work.emitted()) - had));
            }
            work.finish();
        }
    }
    for (const auto& emitter : emitters)
        if (emitter) emitter->finish();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (orders.empty())
        warning("RC", "{} are wanted, but no light emits them; expected \"{} photons N\" in a light", nameOf(stage),
                stage == miSTAGE_CAUSTIC ? "caustic" : "globillum");
    else
        info("RC", "{}: {} stored of {} emitted by {} light{} in {:.2f} s", nameOf(stage), result.stored,
             result.emitted, result.lights, result.lights == 1 ? "" : "s", seconds);
}

}  // namespace lumorender
