#include "render/tiles.h"

#include "mi/camera.h"
#include "mi/options.h"
#include "render/camera.h"
#include "render/sampling.h"
#include "render/state_shaders.h"
#include "render/tracing.h"
#include "support/abort.h"
#include "support/messages.h"
#include "support/quasi_random.h"

#include <pthread.h>

#include <algorithm>
#include <deque>
#include <mutex>
#include <new>
#include <thread>

namespace lumorender {

namespace {

constexpr int kDefaultTileSize = 32;
constexpr std::size_t kThreadStack = std::size_t{64} << 20;  // deep chains of rays through shaders

struct Tile {
    int x = 0, y = 0, width = 0, height = 0;  // pixels of the full image
};

std::vector<Tile> tilesOf(const DataWindow& window, int size) {
    std::vector<Tile> tiles;
    for (int y = window.y0 + window.height; y > window.y0; y -= size)
        for (int x = window.x0; x < window.x0 + window.width; x += size) {
            const int low = std::max(window.y0, y - size);
            tiles.push_back({x, low, std::min(size, window.x0 + window.width - x), y - low});
        }
    return tiles;
}

/// One thread's share of a render: it takes tile after tile until there are none.
class Worker {
public:
    Worker(const RenderScene& scene, short index)
        : scene_(scene), context_(scene, index), buffers_(*scene.buffers),
          sampler_(scene.options->max_samples, scene.options->jitter) {
        createRootState(context_);
        context_.values.resize(scene.buffers->words.size());
        context_.stage = miSTAGE_TILE;
        miColor unused = {0, 0, 0, 0};
        runStateShaders(context_, miSTATE_SHADER_STATE_INIT, &unused, false);
    }

    void finish() {
        resetRootState(context_);
        miColor unused = {0, 0, 0, 0};
        runStateShaders(context_, miSTATE_SHADER_STATE_EXIT, &unused, false);
    }

    /// False when the render was stopped before the tile was done; what is done of it counts.
    bool render(const Tile& tile, const DataWindow& window, std::vector<LayerImage>& images) {
        buffers_.start(tile.width, tile.height);
        bool complete = true;
        for (int y = 0; y < tile.height && complete; ++y)
            for (int x = 0; x < tile.width; ++x) {
                complete = !abortRequested();
                if (!complete) break;
                renderPixel(tile, x, y);
            }
        buffers_.finish(tile.x - window.x0, tile.y - window.y0, images);
        return complete;
    }

    const ThreadContext& context() const { return context_; }
    long droppedSamples() const { return buffers_.droppedSamples(); }

private:
    void renderPixel(const Tile& tile, int x, int y) {
        for (int sample = 0; sample < sampler_.count(); ++sample) {
            startSample(tile.x + x, tile.y + y, sample);
            miColor result = {0, 0, 0, 0};
            runStateShaders(context_, miSTATE_SHADER_SAMPLE_INIT, &result, false);
            const bool ok = traceSample(context_, &result);
            runStateShaders(context_, miSTATE_SHADER_SAMPLE_EXIT, &result, ok);
            buffers_.add(x, y, result, context_.root->state, context_.values, sample == sampler_.standing());
            endSample();
        }
    }

    void startSample(int x, int y, int sample) {
        resetRootState(context_);
        std::fill(context_.values.begin(), context_.values.end(), SampleValue{});
        context_.sampling = true;
        context_.sampleMoves = false;
        context_.opacityIsSet = false;

        const SamplePosition position = sampler_.position(x, y, sample);
        miState& state = context_.root->state;
        state.raster_x = static_cast<float>(x + position.x);
        state.raster_y = static_cast<float>(y + position.y);
        const double interval = scene_.options->shutter - scene_.options->shutter_delay;
        state.time = scene_.options->shutter_delay;
        if (interval > 0) state.time += static_cast<float>(interval * position.time);
        seedEyeState(state, mixSeeds(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)),
                     static_cast<std::uint32_t>(sample));
        scene_.projection->eyeRay(x + position.x, y + position.y, interval > 0 ? position.time : 0, state.org,
                                  state.dir);
    }

    void endSample() {
        context_.sampling = false;
        context_.states.endEyeRay();
    }

    const RenderScene& scene_;
    ThreadContext context_;
    TileBuffers buffers_;
    PixelSampler sampler_;
};

/// A thread whose stack is deep enough for shaders, which the standard library's threads do not offer.
class DeepThread {
public:
    explicit DeepThread(std::function<void()> body) : body_(std::move(body)) {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, kThreadStack);
        const int failed = pthread_create(&thread_, &attributes, &DeepThread::run, this);
        pthread_attr_destroy(&attributes);
        if (failed) throw Failure("the system gives no further thread");
        pthread_setname_np(thread_, "render");
    }
    ~DeepThread() { pthread_join(thread_, nullptr); }
    DeepThread(const DeepThread&) = delete;
    DeepThread& operator=(const DeepThread&) = delete;

private:
    static void* run(void* self) {
        static_cast<DeepThread*>(self)->body_();
        return nullptr;
    }

    std::function<void()> body_;
    pthread_t thread_ = {};
};

/// Runs `body(index)` on so many threads and waits for all of them. A sample stays on its thread: nothing is stolen.
void onThreads(int threads, const std::function<void(int)>& body) {
    std::deque<DeepThread> running;
    for (int i = 0; i < threads; ++i) running.emplace_back([&body, i] { body(i); });
}

}  // namespace

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
    resetRootState(context);
}

void resetRootState(ThreadContext& context) {
    context.root->state = context.fresh;
    context.root->active = false;
    context.ray = 0;
    context.lens = 0;
}

RenderCounts renderTiles(const RenderScene& scene, const DataWindow& window, const TileSettings& settings,
                         std::vector<LayerImage>& images, const std::function<void(const RenderProgress&)>& report) {
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const std::vector<Tile> tiles = tilesOf(window, settings.tileSize > 0 ? settings.tileSize : kDefaultTileSize);
    const int threads = settings.threads > 0 ? settings.threads
                                             : static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    std::vector<std::unique_ptr<Worker>> workers(static_cast<std::size_t>(threads));
    std::atomic<std::size_t> next{0};
    std::mutex reporting;
    RenderProgress progress{0, static_cast<int>(tiles.size()), 0, 0};
    std::exception_ptr failure;

    onThreads(threads, [&](int index) {
        try {
            auto& worker = workers[static_cast<std::size_t>(index)];
            worker = std::make_unique<Worker>(scene, static_cast<short>(index));
            for (std::size_t tile = next++; tile < tiles.size(); tile = next++) {
                const std::uint64_t before = worker->context().counters.eye + worker->context().counters.secondary;
                if (!worker->render(tiles[tile], window, images)) break;
                const std::lock_guard lock(reporting);
                ++progress.done;
                progress.rays += worker->context().counters.eye + worker->context().counters.secondary - before;
                progress.seconds = elapsed();
                report(progress);
            }
        } catch (...) {
            const std::lock_guard lock(reporting);
            failure = std::current_exception();
            requestAbort();
        }
    });

    RenderCounts counts;
    for (const auto& worker : workers) {
        if (!worker) continue;
        worker->finish();
        const RayCounters& rays = worker->context().counters;
        counts.rays.eye += rays.eye;
        counts.rays.secondary += rays.secondary;
        counts.rays.shadow += rays.shadow;
        counts.rays.calls += rays.calls;
        counts.droppedSamples += worker->droppedSamples();
    }
    if (failure) std::rethrow_exception(failure);
    counts.seconds = elapsed();
    counts.complete = progress.done == progress.total;
    return counts;
}

}  // namespace lumorender
