#include "render/picture.h"

#include "database/elements.h"
#include "mi/camera.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "render/frame_buffers.h"
#include "render/indirect_light.h"
#include "render/output.h"
#include "render/pass_plan.h"
#include "support/messages.h"
#include "support/threads.h"
#include "support/version.h"
#include "support/whole_file.h"
#include "tracing/camera.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

ColorRules colorRules(const miOptions& options) {
    ColorRules rules;
    rules.gamma = options.gamma;
    rules.clip = static_cast<ColorClip>(options.colorclip);
    rules.desaturate = options.desaturate;
    rules.premultiplied = !options.nopremult;
    rules.dither = options.dither;
    const miColor& weight = options.luminance_weight;
    if (weight.r != 0 || weight.g != 0 || weight.b != 0) rules.luminance = {weight.r, weight.g, weight.b};
    return rules;
}

OutputRules outputRules(const Database& database, const RenderSettings& settings) {
    OutputRules rules{settings.fileDirectory, {}, settings.allowPaths, {}};
    for (const std::filesystem::path& file : settings.sceneFiles) rules.ownFiles.insert(resolvedPath(file));
    for (miTag tag = 1; tag < database.end(); ++tag)
        if (const auto* texture = database.detail<TextureDetail>(tag);
            texture && !texture->file.empty() && !texture->writable)
            rules.ownFiles.insert(resolvedPath(texture->file));
    return rules;
}

/// The camera's window clipped to the image. Throws Failure where that is nothing.
DataWindow dataWindow(const miCamera& camera, std::string_view name) {
    const int xResolution = camera.x_resolution;
    const int yResolution = camera.y_resolution;
    if (xResolution < 1 || yResolution < 1)
        throw Failure(fmt::format("camera \"{}\": resolution {} x {} is not an image; expected at least 1 x 1", name,
                                  xResolution, yResolution));
    const auto clip = [](int value, int limit) { return std::clamp(value, 0, limit - 1); };
    DataWindow window;
    window.fullWidth = xResolution;
    window.fullHeight = yResolution;
    window.x0 = clip(camera.window.xl, xResolution);
    window.y0 = clip(camera.window.yl, yResolution);
    window.width = clip(camera.window.xh, xResolution) - window.x0 + 1;
    window.height = clip(camera.window.yh, yResolution) - window.y0 + 1;
    if (window.width < 1 || window.height < 1)
        throw Failure(fmt::format("camera \"{}\": the window {} {} {} {} holds no pixel", name, camera.window.xl,
                                  camera.window.yl, camera.window.xh, camera.window.yh));
    return window;
}

bool keepsPass(const RenderScene& scene) {
    const auto& passes = passesOf(scene);
    return std::any_of(passes.begin(), passes.end(), [](const PassStatement& pass) {
        return pass.kind != PassStatement::Kind::Delete && !pass.write.empty();
    });
}

/// Width by height of a pixel. Aspects are mostly written with a few digits: what is almost square is meant to be.
float pixelShape(const miCamera& camera) {
    constexpr float kAlmost = 5e-4f;
    const float shape =
        camera.aspect * static_cast<float>(camera.y_resolution) / static_cast<float>(camera.x_resolution);
    return std::isfinite(shape) && shape > 0 && std::abs(shape - 1) > kAlmost ? shape : 1.0f;
}

}  // namespace

Picture::Picture(RenderScene& scene, const RenderSettings& settings, const std::string& where)
    : scene_(scene),
      settings_(settings),
      where_(where),
      cameraTag_(scene.database->as<miInstance>(scene.cameraInstance, miSCENE_INSTANCE)->item) {
    const Database& database = *scene.database;
    const auto* camera = database.detail<CameraDetail>(cameraTag_);
    const auto* options = database.detail<OptionsDetail>(scene.optionsTag);
    std::vector<OutputKind> further = kindsOfPhenomena(scene);
    for (const OutputKind& kind : kindsOfPasses(scene)) further.push_back(kind);
    auto buffers =
        std::make_shared<BufferLayout>(makeBufferLayout(database.detail<FrameBufferSet>(scene.camera->buffertag),
                                                        camera, options, colorRules(*scene.options), further));
    useColorProfiles(*buffers, database, scene.options->render_cprof);
    scene.buffers = std::move(buffers);
    window_ = dataWindow(*scene.camera, database.name(cameraTag_));
    images_ = makeImages(*scene.buffers, window_);
    rules_ = outputRules(database, settings);
    if (isPointsOnly(scene)) return;
    const OutputSettings output{settings.fileName, settings.fileType, scene.camera->frame, settings.previews, rules_};
    const OutputHistory none;
    plan_ = planFiles(*scene.buffers, camera, images_, output, settings.history ? *settings.history : none);
}

bool Picture::check() const {
    if (isPointsOnly(scene_)) return checkFoundFiles(scene_, rules_);
    const bool good = checkFiles(plan_.files, rules_, window_);
    return checkFoundFiles(scene_, rules_) && good && plan_.complete;
}

void Picture::noteFiles() const {
    if (!settings_.history) return;
    for (const PlannedFile& planned : plan_.files) settings_.history->emplace(resolvedPath(planned.file.path), where_);
}

bool Picture::write(const RenderCounts& counts, const OutputShaders& shaders, ThreadContext& context) {
    if (!counts.complete && counts.done == 0) {
        warning("RC", "the render was stopped before its first tile was done; no picture is written");
        return false;
    }
    Metadata texts = metadata(counts.cost.seconds);
    if (!counts.complete) {
        const double percent = 100 * counts.done;
        warning("RC", "the render was stopped; {:.1f} % of the picture are being written beside it, as \"incomplete\"",
                percent);
        texts["incomplete"] = fmt::format("incomplete: stopped after {:.1f} % of the picture", percent);
        if (shaders.count() > 0) warning("RC", "output shaders do not work on it");
    }
    if (plan_.files.empty() && !keepsPass(scene_))
        warning("IMG", "the camera names no file to write: nothing is kept of this render");
    if (!counts.complete || shaders.count() == 0 || plan_.files.empty())
        return writeFiles(plan_.files, rules_, window_, texts);
    return writeStages(shaders, context, std::move(texts));
}

bool Picture::writeStages(const OutputShaders& shaders, ThreadContext& context, Metadata texts) {
    OutputPictures pictures(*scene_.buffers, window_, images_);
    if (shaders.drawContours(scene_)) {
        pictures.setContours(findContours(scene_, window_, threadsToUse(settings_.tiles.threads)));
        info("RC", "{} contour lines", pictures.contours());
    }
    bool good = true, stopped = false;
    for (std::size_t step = 0; step <= shaders.count(); ++step) {
        std::vector<PlannedFile> files;
        for (const PlannedFile& planned : plan_.files)
            if (shaders.stepsBefore(planned.shadersBefore) == step) files.push_back(planned);
        if (!files.empty()) good = writeFiles(files, rules_, window_, texts) && good;
        if (stopped || step == shaders.count()) continue;
        stopped = !shaders.run(step, context, pictures);
        if (!stopped) continue;
        warning("RC", "the render was stopped in its output shaders; what they have done so far is being written");
        texts["incomplete"] = "incomplete: stopped in its output shaders";
    }
    return good && !stopped;
}

Metadata Picture::metadata(double seconds) const {
    const double* toCamera = scene_.projection->placement().worldToLocal.getValue();
    return {{"software", std::string(kProgram)},
            {"scene", where_},
            {"camera", std::string(scene_.database->name(cameraTag_))},
            {"frame", scene_.camera->frame},
            {"worldToCamera", std::vector<float>(toCamera, toCamera + 16)},
            {"pixelAspectRatio", pixelShape(*scene_.camera)},
            {"renderSeconds", static_cast<float>(seconds)}};
}

std::vector<std::filesystem::path> Picture::paths() const {
    std::vector<std::filesystem::path> paths;
    for (const PlannedFile& planned : plan_.files)
        if (!planned.isPreview) paths.push_back(planned.file.path);
    return paths;
}

}  // namespace lumorender
