// What a sample costs: the eye rays of a scene with a million triangles through bare Embree, then through the host with
// one part of the library after the other. Prints processor time per sample and the ratio to bare Embree.
//
//     sample_cost [threads] [repetitions] [variants]
//
// Render threads are named "render": perf report --comm render shows what a sample spends its time on.
#include "database/elements.h"
#include "interface/host.h"
#include "mi/camera.h"
#include "mi/instance.h"
#include "render/camera.h"
#include "render/renderer.h"
#include "scene/reader.h"
#include "support/messages.h"

#include <embree3/rtcore.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>

using namespace lumorender;

namespace {

constexpr int kTile = 32;

struct Capture : SceneActions {
    RenderCommand command;
    bool render(const RenderCommand& given) override {
        command = given;
        return true;
    }
};

bool read(const std::string& text, Capture& capture) {
    ReaderSettings settings;
    settings.includePath = hostModules().searchPath;
    return readSceneText(text, "benchmark", hostDatabase(), hostModules(), capture, settings);
}

/// Processor time of all threads: other programs on the machine change it less than the time of day.
double processorSeconds() {
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double secondsOf(const std::function<void()>& work) {
    const double start = processorSeconds();
    work();
    return processorSeconds() - start;
}

/// The scene's triangles in one flat Embree scene: positions and indices, nothing else.
class BareEmbree {
public:
    explicit BareEmbree(const Database& database) : device_(rtcNewDevice(nullptr)), scene_(rtcNewScene(device_)) {
        for (miTag tag = 1; tag < database.end(); ++tag)
            if (const auto* object = database.detail<ObjectSource>(tag))
                for (const PolygonGroupSource& group : object->groups) addGroup(group);
        rtcCommitScene(scene_);
    }
    ~BareEmbree() {
        rtcReleaseScene(scene_);
        rtcReleaseDevice(device_);
    }
    BareEmbree(const BareEmbree&) = delete;
    BareEmbree& operator=(const BareEmbree&) = delete;

    std::size_t triangles() const { return triangles_; }

    /// Traces the eye rays of all pixels in tiles, as the host does, and returns the processor seconds it took.
    double trace(const Camera& camera, int width, int height) const {
        std::atomic<long> hits{0};
        const double seconds = secondsOf([&] {
            const int columns = (width + kTile - 1) / kTile;
            const int rows = (height + kTile - 1) / kTile;
            tbb::parallel_for(0, columns * rows, [&](int tile) {
                hits += traceTile(camera, tile % columns * kTile, tile / columns * kTile, width, height);
            });
        });
        if (hits == 0) std::puts("no ray hit anything");
        return seconds;
    }

private:
    void addGroup(const PolygonGroupSource& group) {
        std::vector<unsigned> indices;
        for (const PolygonSource& polygon : group.polygons)
            for (std::uint32_t k = 2; k < polygon.count; ++k)
                for (const std::uint32_t corner : {0U, k - 1, k})
                    indices.push_back(static_cast<unsigned>(group.corners[polygon.first + corner]));
        RTCGeometry geometry = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
        auto* positions = static_cast<miVector*>(rtcSetNewGeometryBuffer(
            geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, sizeof(miVector), group.vertices.size()));
        for (std::size_t i = 0; i < group.vertices.size(); ++i)
            positions[i] = group.vectors[static_cast<std::size_t>(group.vertices[i].position)];
        auto* triangles = rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                                  3 * sizeof(unsigned), indices.size() / 3);
        std::copy(indices.begin(), indices.end(), static_cast<unsigned*>(triangles));
        triangles_ += indices.size() / 3;
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene_, geometry);
        rtcReleaseGeometry(geometry);
    }

    long traceTile(const Camera& camera, int x0, int y0, int width, int height) const {
        long hits = 0;
        for (int y = y0; y < std::min(y0 + kTile, height); ++y)
            for (int x = x0; x < std::min(x0 + kTile, width); ++x) {
                miVector org;
                miVector dir;
                camera.eyeRay(x + 0.5, y + 0.5, 0, org, dir);
                RTCRayHit ray = {};
                ray.ray = {org.x, org.y, org.z, 0, dir.x, dir.y, dir.z, 0, std::numeric_limits<float>::infinity(),
                           ~0U, 0, 0};
                ray.hit.geomID = RTC_INVALID_GEOMETRY_ID;
                ray.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
                RTCIntersectContext context;
                rtcInitIntersectContext(&context);
                rtcIntersect1(scene_, &context, &ray);
                hits += ray.hit.geomID != RTC_INVALID_GEOMETRY_ID;
            }
        return hits;
    }

    RTCDevice device_;
    RTCScene scene_;
    std::size_t triangles_ = 0;
};

/// Changes to the scene that add one part of the library after the other.
struct Variant {
    const char* name;
    const char* scene;
};

constexpr const char* kSetUp = R"(
link "flat.so"
declare shader color "bench_flat" () version 1 end declare
shader "bench_constant" "bench_flat" ()
)";

constexpr Variant kVariants[] = {
    {"host", R"(incremental options "opt" state [ ] end options
        material "grey" "bench_flat" () end material)"},
    {"+ state shaders", R"(data "bench_passes" "FrameBufferData" ( "magic" 1178760550, "passNames" [ "depth" ],
            "frameBufferInfo" [ ], "FrameBufferTypeCounts" [ 0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,
            0,0,0,0,0 ] )
        incremental camera "cam" framebuffer "depth" datatype "z" user on data "bench_passes" end camera
        incremental options "opt" state [ "vexabase" (), "lumoFrameBufferState" () ] end options)"},
    {"+ engine", R"(material "grey" "lumoVexaSimpleShadingEngine" ("color" = "bench_constant") end material)"},
    {"+ one pass", R"(material "grey" "lumoVexaSimpleShadingEngine" ("color" = "bench_constant")
        "lumoPassCameraDepth" ( "pass" 0 ) end material)"},
};

/// The fastest of several renders: processor seconds of the tiles, from the end of the first one on.
double renderSeconds(const RenderCommand& command, int threads, int repetitions) {
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < repetitions; ++i) {
        double first = 0;
        double last = 0;
        int tiles = 1;
        RenderSettings settings;
        settings.tiles.threads = threads;
        settings.fileName = "/dev/null";
        settings.progress = [&](const RenderProgress& progress) {
            last = processorSeconds();
            if (progress.done == 1) first = last;
            tiles = progress.total;
        };
        renderScene(hostDatabase(), command.rootGroup, command.cameraInstance, command.options, "benchmark", settings);
        best = std::min(best, (last - first) * tiles / (tiles - 1));
    }
    return best;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const int threads = argumentCount > 1 ? std::atoi(arguments[1]) : 2;
    const int repetitions = argumentCount > 2 ? std::atoi(arguments[2]) : 5;
    const std::filesystem::path here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    hostModules().searchPath = {here};
    setVerbosity(1);

    Capture capture;
    if (!read(fmt::format("$include \"{}\"\n", (here / "bench/spheres.mi").string()), capture) || !read(kSetUp, capture)) {
        std::puts("cannot read the scene; build the target bench_scenes first");
        return 1;
    }
    const RenderCommand command = capture.command;
    const Database& database = hostDatabase();
    const auto* instance = database.as<miInstance>(command.cameraInstance, miSCENE_INSTANCE);
    const auto* camera = database.as<miCamera>(instance->item, miSCENE_CAMERA);
    const auto geometry = SceneGeometry::build(database, command.rootGroup,
                                               *database.as<miOptions>(command.options, miSCENE_OPTIONS));
    const Camera projection(*camera, geometry->cameras()[0]);

    const tbb::global_control parallelism(tbb::global_control::max_allowed_parallelism,
                                          static_cast<std::size_t>(threads));
    const BareEmbree bare(database);
    const double samples = static_cast<double>(camera->x_resolution) * camera->y_resolution;
    const auto nanoseconds = [&](double seconds) { return seconds * 1e9 / samples; };
    double bareSeconds = std::numeric_limits<double>::max();
    for (int i = 0; i < repetitions; ++i)
        bareSeconds = std::min(bareSeconds, bare.trace(projection, camera->x_resolution, camera->y_resolution));
    std::printf("%zu triangles, %d x %d, %d threads, best of %d\n", bare.triangles(), camera->x_resolution,
                camera->y_resolution, threads, repetitions);
    std::printf("%-18s %8.0f ns\n", "bare Embree", nanoseconds(bareSeconds));
    int variants = argumentCount > 3 ? std::atoi(arguments[3]) : static_cast<int>(std::size(kVariants));
    for (const Variant& variant : kVariants) {
        if (variants-- <= 0) break;
        if (!read(variant.scene, capture)) return 1;
        const double seconds = renderSeconds(command, threads, repetitions);
        std::printf("%-18s %8.0f ns   x %.2f\n", variant.name, nanoseconds(seconds), seconds / bareSeconds);
    }
    return 0;
}
