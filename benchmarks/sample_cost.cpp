// What a sample costs, in a scene with a million triangles: its rays through bare Embree, then through the host with
// one part of the library after the other. First eye rays and flat colors, then the Lambert material in the full engine
// under a point light with shadows. Prints processor time per sample and the ratio to bare Embree.
//
//     sample_cost [threads] [repetitions] [plain|lit]
//
// Render threads are named "render": perf report --comm render shows what a sample spends its time on.
#include "bare_embree.h"
#include "interface/host.h"
#include "mi/camera.h"
#include "mi/instance.h"
#include "render/renderer.h"
#include "elements/reader.h"
#include "support/messages.h"

#include <tbb/global_control.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>

using namespace lumorender;

namespace {

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

/// Pictures are of no concern, but a render writes them.
std::filesystem::path pictureFolder() {
    const auto folder = std::filesystem::temp_directory_path() / ("sample_cost" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    return folder;
}

/// The fastest of several renders: processor seconds of the tiles, from the end of the first one on.
double renderSeconds(const RenderCommand& command, int threads, int repetitions) {
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < repetitions; ++i) {
        double first = 0;
        double last = 0;
        int tiles = 1;
        RenderSettings settings;
        settings.tiles.threads = threads;
        settings.fileName = (pictureFolder() / "picture.exr").string();
        settings.progress = [&](const RenderProgress& progress) {
            last = processorSeconds();
            if (progress.done == 1) first = last;
            tiles = progress.total;
        };
        renderScene(hostDatabase(), command.rootGroup, command.cameraInstance, command.options, "benchmark", settings);
        std::filesystem::remove_all(pictureFolder());
        if (tiles == 1) throw std::runtime_error("nothing was rendered");
        best = std::min(best, (last - first) * tiles / (tiles - 1));
    }
    return best;
}

/// The lit scene with so many passes: a list of types that are on, cycled through for more.
std::string litScene(int passes, int samplesLevel) {
    constexpr int kTypes[] = {0, 5, 6, 34, 3, 12, 4, 7, 8, 10, 11, 22};
    std::vector<int> perType(35, 0);
    for (int i = 0; i < passes; ++i) ++perType[static_cast<std::size_t>(kTypes[i % 12])];
    std::string buffers, records;
    for (int i = 0; i < passes; ++i) {
        buffers += fmt::format("framebuffer \"pass{}\" datatype \"rgba_h\" user on\n", i);
        records += fmt::format(
            "{}{{ \"frameBufferName\" \"pass{}\", \"composited\" on, \"shadowed\" 1, "
            "\"maxReflectionLevel\" 100, \"maxRefractionLevel\" 100 }}",
            i ? ",\n" : "", i);
    }
    return fmt::format(R"(
data "lit_passes" "FrameBufferData" ( "magic" 1178760550, "passNames" [ ], "frameBufferInfo" [ {} ],
    "FrameBufferTypeCounts" [ {} ] )
camera "cam"
    framebuffer "beauty" datatype "rgba_fp" primary on filename "spheres.exr" filetype "exr"
    {} data "lit_passes"
    focal 1.5 aperture 1 aspect 1 resolution 1024 1024
end camera
incremental options "opt" samples {} {} state [ "vexabase" (), "lumoFrameBufferState" () ] end options
)",
                       records, fmt::join(perType, ","), buffers, samplesLevel, samplesLevel);
}

constexpr const char* kLitSetUp = R"(
shader "lambert" "lumoVexaLambert" ( "color" .7 .7 .7, "diffuse" .8 )
material "grey" "lumoVexaShadingEngine" ( "surfaceShader" = "lambert" ) shadow "lumoVexaShadow" () end material
light "lamp" "lumoVexaPointLight" ( "intensity" 1, "decayRate" 0, "useRayTraceShadows" on ) origin 0 0 0 end light
instance "lamp_i" "lamp" transform 1 0 0 0  0 1 0 0  0 0 1 0  -20 -25 -12 1 end instance
instance "world_i" "world" end instance
instgroup "lit_world" "lamp_i" "world_i" end instgroup
render "lit_world" "cam_i" "opt"
)";
constexpr miVector kLamp = {20, 25, 12};

/// What a table is made of.
struct Measurement {
    const BareEmbree& bare;
    const Camera& projection;
    int threads, repetitions;
    Capture& capture;

    double bareSeconds(const RaySet& rays) const {
        double best = std::numeric_limits<double>::max();
        for (int i = 0; i < repetitions; ++i) best = std::min(best, bare.trace(projection, rays));
        return best;
    }
    void row(const std::string& name, double seconds, double bareSeconds, const RaySet& rays) const {
        const double samples = static_cast<double>(rays.width) * rays.height * rays.edge * rays.edge;
        std::printf("%-18s %8.0f ns   x %.2f\n", name.c_str(), seconds * 1e9 / samples, seconds / bareSeconds);
        std::fflush(stdout);
    }

    bool plain(const RaySet& rays) const {
        const double unit = bareSeconds(rays);
        row("bare Embree", unit, unit, rays);
        for (const Variant& variant : kVariants) {
            if (!read(variant.scene, capture)) return false;
            row(variant.name, renderSeconds(capture.command, threads, repetitions), unit, rays);
        }
        return true;
    }

    bool lit(RaySet rays, int level) const {
        rays.light = &kLamp;
        rays.edge = 1 << level;
        std::printf("\nlit, %d samples per pixel\n", rays.edge * rays.edge);
        const double unit = bareSeconds(rays);
        row("bare Embree", unit, unit, rays);
        for (const int passes : {0, 1, 12, 36}) {
            if (!read(litScene(passes, level), capture)) return false;
            row(fmt::format("{} passes", passes), renderSeconds(capture.command, threads, repetitions), unit, rays);
        }
        return true;
    }
};

}  // namespace

int main(int argumentCount, char** arguments) {
    const int threads = argumentCount > 1 ? std::atoi(arguments[1]) : 2;
    const int repetitions = argumentCount > 2 ? std::atoi(arguments[2]) : 5;
    const std::string_view which = argumentCount > 3 ? arguments[3] : "";
    const std::filesystem::path here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    hostModules().searchPath = {here};
    setVerbosity(3);

    Capture capture;
    if (!read(fmt::format("$include \"{}\"\n", (here / "bench/spheres.mi").string()), capture) ||
        !read(kSetUp, capture)) {
        std::puts("cannot read the scene; build the target bench_scenes first");
        return 1;
    }
    const Database& database = hostDatabase();
    const auto* instance = database.as<miInstance>(capture.command.cameraInstance, miSCENE_INSTANCE);
    const auto* camera = database.as<miCamera>(instance->item, miSCENE_CAMERA);
    const RaySet rays{camera->x_resolution, camera->y_resolution};
    const auto geometry = SceneGeometry::build(database, capture.command.rootGroup,
                                               *database.as<miOptions>(capture.command.options, miSCENE_OPTIONS));
    const miCamera copy = *camera;
    const Camera projection(copy, geometry->cameras()[0]);

    const tbb::global_control parallelism(tbb::global_control::max_allowed_parallelism,
                                          static_cast<std::size_t>(threads));
    const BareEmbree bare(database);
    std::printf("%zu triangles, %d x %d, %d threads, best of %d\n", bare.triangles(), rays.width, rays.height, threads,
                repetitions);
    const Measurement measurement{bare, projection, threads, repetitions, capture};
    if (which != "lit" && !measurement.plain(rays)) return 1;
    if (which == "plain") return 0;
    // Sixteen samples are many enough to be measured once.
    const Measurement once{bare, projection, threads, 1, capture};
    return read(kLitSetUp, capture) && measurement.lit(rays, 0) && once.lit(rays, 2) ? 0 : 1;
}
