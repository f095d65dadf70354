#include "tracing/eye_samples.h"

#include "lights/shadows.h"
#include "mi/camera.h"
#include "mi/options.h"
#include "tracing/camera.h"
#include "render/frame_buffers.h"
#include "tracing/shader_calls.h"
#include "tracing/tracing.h"
#include "support/quasi_random.h"

#include <algorithm>
#include <new>
#include <utility>

namespace lumorender {

namespace {

constexpr int kRasterizer = 'r';  ///< of miOptions::scanline

}  // namespace

EyeSamples::EyeSamples(const RenderScene& scene, short threadIndex, miStage stage)
    : scene_(scene),
      context_(scene, threadIndex),
      foresees_(scene.geometry && scene.geometry->canLook() && eyeRaysGoStraight(scene)) {
    createRootState(context_);
    context_.stage = stage;
    miColor unused = {0, 0, 0, 0};
    runStateShaders(context_, miSTATE_SHADER_STATE_INIT, &unused, false);
}

void EyeSamples::finish() {
    resetRootState(context_);
    miColor unused = {0, 0, 0, 0};
    runStateShaders(context_, miSTATE_SHADER_STATE_EXIT, &unused, false);
}

void EyeSamples::aim(const EyeSample& sample, EyeRay& ray) const {
    ray.found.instance = FoundHit::kUnknown;
    ray.shadowCount = 0;
    ray.farthest = sample.farthest;
    const double interval = scene_.options->shutter - scene_.options->shutter_delay;
    ray.time = scene_.options->shutter_delay;
    if (interval > 0) ray.time += static_cast<float>(interval * sample.time);
    Imath::V2d lens(0, 0);
    if (scene_.projection->hasLens()) {
        constexpr std::uint32_t kLens = 0x1e45;
        const std::uint32_t seed = mixSeeds(sample.seed, kLens);
        const auto coordinate = sample.ordered ? orderedSobol : scrambledSobol;
        lens = {coordinate(sample.number, 0, seed), coordinate(sample.number, 1, seed)};
    }
    scene_.projection->eyeRay(sample.x, sample.y, interval > 0 ? sample.time : 0, lens, ray.org, ray.dir);
}

void EyeSamples::foresee(std::span<const EyeSample> samples, EyeRay* rays) {
    for (std::size_t i = 0; i < samples.size(); ++i) aim(samples[i], rays[i]);
    if (!foresees_) return;
    for (std::size_t first = 0; first < samples.size(); first += kTogether)
        look({rays + first, std::min(kTogether, samples.size() - first)});
}

void EyeSamples::look(std::span<EyeRay> rays) {
    Ray traced[kTogether];
    FoundHit found[kTogether];
    std::transform(rays.begin(), rays.end(), traced, [&](const EyeRay& ray) { return rayOf(scene_, ray); });
    scene_.geometry->look({traced, rays.size()}, found);
    for (std::size_t i = 0; i < rays.size(); ++i) {
        scene_.geometry->makeExact(traced[i], found[i]);
        rays[i].found = found[i];
    }
    foreseeShadows(context_, rays);
}

miColor EyeSamples::trace(const EyeSample& sample, const EyeRay& ray) {
    start(sample, ray);
    miColor result = {0, 0, 0, 0};
    runStateShaders(context_, miSTATE_SHADER_SAMPLE_INIT, &result, false);
    const bool ok = traceSample(context_, &result);
    runStateShaders(context_, miSTATE_SHADER_SAMPLE_EXIT, &result, ok);
    context_.openValues = 0;
    context_.foreseen = nullptr;
    context_.states.endEyeRay();
    return result;
}

void EyeSamples::start(const EyeSample& sample, const EyeRay& ray) {
    resetRootState(context_);
    std::fill(context_.values.begin(), context_.values.end(), SampleValue{});
    context_.openValues = context_.values.size();
    context_.sampleMoves = false;
    context_.farthest = sample.farthest;
    context_.opacityIsSet = false;
    if (std::exchange(context_.lensIsTurned, false)) context_.lensTurn = M44d();

    miState& state = context_.root->state;
    state.scanline = scene_.options->scanline == kRasterizer;
    state.raster_x = static_cast<float>(sample.x);
    state.raster_y = static_cast<float>(sample.y);
    state.time = ray.time;
    state.org = ray.org;
    state.dir = ray.dir;
    seedEyeState(state, sample.seed, sample.number, sample.ordered && !scene_.projection->hasLens());
    context_.foreseen = &ray;
}

void createRootState(ThreadContext& context) {
    const RenderScene& scene = *context.scene;
    context.root = new (context.arena.allocate(sizeof(RayRecord))) RayRecord{};
    miState& state = context.fresh;
    state.version = 2;
    state.camera_inst = scene.cameraInstance;
    state.camera = scene.camera;
    state.options = scene.options;
    state.global_lock = scene.globalLock;
    state.ts = &context;
    state.type = miRAY_EYE;
    state.face = scene.options->face;
    state.ior = 1;
    state.ior_in = 1;
    state.volume = scene.camera->volume;
    state.environment = scene.camera->environment;
    state.importance = 1;
    state.shadow_tol = 1e-3;
    state.thread = context.index;
    if (scene.buffers) {
        context.values.resize(scene.buffers->words.size());
        context.valueWords = scene.buffers->words.data();
    }
    resetRootState(context);
}

void resetRootState(ThreadContext& context) {
    context.root->state = context.fresh;
    context.root->active = false;
    context.ray = 0;
    context.lens = 0;
}

}  // namespace lumorender
