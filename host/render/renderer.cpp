#include "render/renderer.h"

#include "database/elements.h"
#include "mi/camera.h"
#include "mi/instance.h"
#include "mi/light.h"
#include "mi/material.h"
#include "mi/options.h"
#include "tracing/camera.h"
#include "tracing/eye_samples.h"
#include "gathering/ambient_occlusion.h"
#include "gathering/final_gather_pass.h"
#include "lights/lights.h"
#include "render/displaced_scene.h"
#include "render/output.h"
#include "render/sampling.h"
#include "render/picture_identity.h"
#include "tracing/shader_table.h"
#include "tracing/textures.h"
#include "support/threads.h"
#include "support/abort.h"
#include "saving/digest.h"
#include "support/messages.h"
#include "support/whole_file.h"
#include "support/version.h"

#include "shader.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

/// Everything that a render makes and that its threads share.
class Render {
public:
    Render(Database& database, const RenderSettings& settings, const std::string& where)
        : database_(database), settings_(settings), where_(where), shaders_(database) {
        scene_.database = &database;
        mi_init_lock(&scene_.globalLock);
    }
    ~Render() {
        if (camera_) *camera_ = cameraBefore_;
        mi_delete_lock(&scene_.globalLock);
    }
    Render(const Render&) = delete;
    Render& operator=(const Render&) = delete;

    bool run(miTag rootGroup, miTag cameraInstance, miTag options) {
        findElements(rootGroup, cameraInstance, options);
        checkOptions();
        if (!prepareOutput()) return false;
        if (openSaved()) return takeFinished();
        buildScene();
        findShaders();
        openTextures();
        if (!mayStart()) return false;

        ThreadContext context(scene_, 0);
        createRootState(context);
        resetRootState(context);
        shaders_.initialise(context);
        completeGeometry();
        const bool gathered = prepareIndirectLight();
        RenderCounts counts;
        if (makesTiles())
            counts = renderTiles(scene_, window_, share(), settings_.tiles, images_, saved_, settings_.progress);
        resetRootState(context);
        shaders_.finish(context);
        return finish(counts, gathered) && gathered && sceneIsWhole_;
    }

private:
    void findElements(miTag rootGroup, miTag cameraInstance, miTag options) {
        scene_.rootGroup = rootGroup;
        scene_.cameraInstance = cameraInstance;
        scene_.optionsTag = options;
        options_ = database_.as<miOptions>(options, miSCENE_OPTIONS);
        if (!options_) throw Failure(fmt::format("\"{}\" is not an options element", database_.name(options)));
        if (database_.type(rootGroup) != miSCENE_GROUP)
            throw Failure(fmt::format("\"{}\" is not an instgroup", database_.name(rootGroup)));
        const auto* instance = database_.as<miInstance>(cameraInstance, miSCENE_INSTANCE);
        cameraTag_ = instance ? instance->item : 0;
        camera_ = database_.as<miCamera>(cameraTag_, miSCENE_CAMERA);
        if (camera_) cameraBefore_ = *camera_;
        if (!camera_)
            throw Failure(fmt::format("\"{}\" is not an instance of a camera", database_.name(cameraInstance)));
        scene_.options = options_;
        scene_.camera = camera_;
    }

    void checkOptions() {
        if (settings_.tiles.tileSize == 0) settings_.tiles.tileSize = options_->task_size;
        if (options_->filter != 'b')
            warning("RC",
                    "options \"{}\": only the box filter is supported so far; samples are averaged in their pixel",
                    database_.name(scene_.optionsTag));
        if (options_->use_shadow_maps)
            warning("RC", "{}: shadow maps are not made, rays are traced for their shadows", where_);
        if (options_->max_samples > PixelSampler::kMostLevel)
            warning("RC", "{}: samples {} would be 4^{} in every pixel; 4^{} is the most, and taken", where_,
                    options_->max_samples, options_->max_samples, PixelSampler::kMostLevel);
        if (options_->min_samples < options_->max_samples)
            info("RC", "every pixel takes the larger number of samples, 4^{}; contrast is not looked at",
                 std::max(options_->max_samples, 0));
    }

    /// Before anything that takes long: whether what it is for can be kept at all.
    bool prepareOutput() {
        const auto* camera = database_.detail<CameraDetail>(cameraTag_);
        const auto* options = database_.detail<OptionsDetail>(scene_.optionsTag);
        scene_.buffers = std::make_shared<BufferLayout>(
            makeBufferLayout(database_.detail<FrameBufferSet>(camera_->buffertag), camera, options, colorRules()));
        window_ = dataWindow();
        images_ = makeImages(*scene_.buffers, window_);
        rules_ = outputRules();
        if (isPointsOnly()) return checkPointFile();
        const OutputSettings settings{settings_.fileName, settings_.fileType, camera_->frame, settings_.previews,
                                      rules_};
        const OutputHistory none;
        output_ = planFiles(*scene_.buffers, camera, images_, settings, settings_.history ? *settings_.history : none);
        const bool good = checkFiles(output_.files, rules_, window_);
        if (!checkPointFile() || !good || !output_.complete) return false;
        if (settings_.history)
            for (const PlannedFile& planned : output_.files)
                settings_.history->emplace(resolvedPath(planned.file.path), where_);
        return true;
    }

    ColorRules colorRules() const {
        ColorRules rules;
        rules.gamma = options_->gamma;
        rules.clip = static_cast<ColorClip>(options_->colorclip);
        rules.desaturate = options_->desaturate;
        rules.premultiplied = !options_->nopremult;
        rules.dither = options_->dither;
        const miColor& weight = options_->luminance_weight;
        if (weight.r != 0 || weight.g != 0 || weight.b != 0) rules.luminance = {weight.r, weight.g, weight.b};
        return rules;
    }

    OutputRules outputRules() const {
        OutputRules rules{settings_.fileDirectory, {}, settings_.allowPaths, {}};
        for (const std::filesystem::path& file : settings_.sceneFiles) rules.ownFiles.insert(resolvedPath(file));
        for (miTag tag = 1; tag < database_.end(); ++tag)
            if (const auto* texture = database_.detail<TextureDetail>(tag); texture && !texture->file.empty())
                rules.ownFiles.insert(resolvedPath(texture->file));
        return rules;
    }

    /// The first file of points is written, unless they are only used.
    bool checkPointFile() const {
        const GatherFiles files = gatherFiles();
        if (!options_->finalgather || files.names.empty() || files.rebuild == GatherFiles::Rebuild::Freeze) return true;
        const std::filesystem::path& name = files.names.front();
        std::string problem = objectionToPoints(name, rules_);
        if (problem.empty()) problem = problemOfTarget(name);
        if (!problem.empty())
            error("IMG", "options \"{}\": cannot write final gather file \"{}\": {}", database_.name(scene_.optionsTag),
                  name.string(), problem);
        return problem.empty();
    }

    GatherFiles gatherFiles() const {
        GatherFiles files;
        files.rebuild = static_cast<GatherFiles::Rebuild>(options_->finalgather_rebuild);
        if (const auto* detail = database_.detail<OptionsDetail>(scene_.optionsTag))
            for (const std::string& name : detail->gatherFiles) files.names.push_back(rules_.located(name));
        return files;
    }

    void buildScene() {
        const long errors = messageCount(MessageClass::Error);
        geometry_ = SceneGeometry::collect(database_, scene_.rootGroup, *options_);
        scene_.geometry = geometry_;
        sceneIsWhole_ = messageCount(MessageClass::Error) == errors;
        scene_.lights = std::make_shared<LightTable>(database_, *scene_.geometry);
        scene_.occlusion = occlusionSettings(database_.detail<StringOptions>(options_->string_options));
        const auto cameras = scene_.geometry->cameras();
        const auto element = std::find_if(cameras.begin(), cameras.end(), [&](const FlatElement& camera) {
            return camera.instance == scene_.cameraInstance;
        });
        if (element == cameras.end())
            throw Failure(fmt::format("the camera instance \"{}\" is not a member of the root group \"{}\"",
                                      database_.name(scene_.cameraInstance), database_.name(scene_.rootGroup)));
        scene_.projection = std::make_shared<Camera>(*camera_, *element);
    }

    /// What waits for shaders.
    void completeGeometry() {
        displaceScene(scene_, *geometry_, threadsToUse(settings_.tiles.threads));
        geometry_->complete();
        const SceneGeometry::Statistics statistics = scene_.geometry->statistics();
        info("GEOM", "{} triangles in {} meshes, {} instances, ready in {:.2f} s", statistics.triangles,
             statistics.meshes, statistics.instances, statistics.buildSeconds);
        if (statistics.hairs > 0)
            info("GEOM", "{} hairs of {} pieces with {:.1f} bytes each; ray tracing structures of the scene: {:.1f} MB",
                 statistics.hairs, statistics.hairPieces,
                 static_cast<double>(statistics.hairBytes) / static_cast<double>(statistics.hairPieces),
                 static_cast<double>(statistics.kernelBytes) / 1e6);
    }

    /// The camera's window clipped to the image, and a check that its buffers fit into memory.
    DataWindow dataWindow() const {
        const int xResolution = camera_->x_resolution;
        const int yResolution = camera_->y_resolution;
        if (xResolution < 1 || yResolution < 1)
            throw Failure(fmt::format("camera \"{}\": resolution {} x {} is not an image; expected at least 1 x 1",
                                      database_.name(cameraTag_), xResolution, yResolution));
        const auto clip = [](int value, int limit) { return std::clamp(value, 0, limit - 1); };
        DataWindow window;
        window.fullWidth = xResolution;
        window.fullHeight = yResolution;
        window.x0 = clip(camera_->window.xl, xResolution);
        window.y0 = clip(camera_->window.yl, yResolution);
        window.width = clip(camera_->window.xh, xResolution) - window.x0 + 1;
        window.height = clip(camera_->window.yh, yResolution) - window.y0 + 1;
        if (window.width < 1 || window.height < 1)
            throw Failure(fmt::format("camera \"{}\": the window {} {} {} {} holds no pixel",
                                      database_.name(cameraTag_), camera_->window.xl, camera_->window.yl,
                                      camera_->window.xh, camera_->window.yh));

        double bytes = 0;
        for (const BufferSlot& slot : scene_.buffers->slots)
            bytes += 4.0 * slot.format.channels * window.width * window.height;
        const double memory =
            static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGE_SIZE));
        if (bytes > 0.8 * memory)
            throw Failure(
                fmt::format("camera \"{}\": {} buffers of {} x {} pixels take {:.0f} GB, this machine has {:.0f}",
                            database_.name(cameraTag_), scene_.buffers->slots.size(), window.width, window.height,
                            bytes / 1e9, memory / 1e9));
        return window;
    }

    void findShaders() {
        shaders_.add(options_->state_func, miSHADER_STATE);
        shaders_.add(camera_->lens, miSHADER_LENS);
        shaders_.add(camera_->volume, miSHADER_VOLUME);
        shaders_.add(camera_->environment, miSHADER_ENVIRONMENT);
        for (miTag tag = 1; tag < database_.end(); ++tag) {
            if (const auto* material = database_.as<miMaterial>(tag, miSCENE_MATERIAL)) {
                shaders_.add(material->shader, miSHADER_MATERIAL);
                shaders_.add(material->displace, miSHADER_DISPLACE);
                shaders_.add(material->shadow, miSHADER_SHADOW);
                shaders_.add(material->volume, miSHADER_VOLUME);
                shaders_.add(material->environment, miSHADER_ENVIRONMENT);
            } else if (const auto* light = database_.as<miLight>(tag, miSCENE_LIGHT)) {
                shaders_.add(light->shader, miSHADER_LIGHT);
            }
        }
        for (const FlatInstance& instance : geometry_->instances()) addSurfaces(instance);
        addCameraShaders(&miCamera::lens, &PhenomenonInstance::lens);
        addCameraShaders(&miCamera::volume, &PhenomenonInstance::volume);
        addCameraShaders(&miCamera::environment, &PhenomenonInstance::environment);
        auto slots = std::make_shared<SlotTable>();
        slots->build(database_, shaders_);
        scene_.slots = slots;
    }

    void openTextures() {
        auto textures = std::make_shared<TextureTable>();
        if (!textures->open(database_, shaders_.textures(), options_->gamma) && !settings_.continueWithoutTextures)
            throw Failure("a texture is missing; -texture_continue renders without it");
        scene_.textures = textures;
    }

    /// A shader may stand where a material is expected.
    void addSurfaces(const FlatInstance& instance) {
        bool isBare = false;
        for (const miTag material : instance.surfaceMaterials) {
            if (database_.type(material) != miSCENE_MATERIAL) shaders_.add(material, miSHADER_MATERIAL);
            isBare = isBare || !material;
        }
        if (isBare && !instance.isLight && (instance.flags & miTRACE_VISIBLE) != 0)
            warning("RC", "instance \"{}\": where no material is given surfaces are black",
                    database_.name(instance.instance));
    }

    /// Phenomena bring shaders for the camera. Those of higher priority run later, the camera's own at 0 and before those
    /// of the same priority.
    void addCameraShaders(miTag miCamera::* slot, PhenomenonInstance::CameraShaders PhenomenonInstance::* part) {
        std::vector<PhenomenonInstance::CameraShaders> parts{{camera_->*slot, 0}};
        for (const PhenomenonInstance* phenomenon : shaders_.phenomena())
            if ((phenomenon->*part).shaders) parts.push_back(phenomenon->*part);
        if (parts.size() == 1) return;
        std::stable_sort(parts.begin(), parts.end(),
                         [](const auto& a, const auto& b) { return a.priority < b.priority; });
        auto list = std::make_unique<FunctionList>();
        for (const auto& each : parts) list->functions.push_back(each.shaders);
        camera_->*slot = database_.create(miSCENE_FLIST, 16);
        database_.setDetail(camera_->*slot, std::move(list));
        shaders_.add(camera_->*slot, miSHADER_OTHER);  // whose shaders it knows already
    }

    /// Asked before what takes long.
    bool mayStart() const {
        if (!settings_.strict || errorCount() == 0) return true;
        error("RC", "{}: nothing is rendered after an error or warning, as -strict says", where_);
        return false;
    }

    bool isPointsOnly() const {
        const auto* detail = database_.detail<OptionsDetail>(scene_.optionsTag);
        return options_->finalgather && detail && detail->gatherOnly;
    }

    /// What is made before tiles. Occlusion first: shaders ask for it along gathering rays too, while no light has to
    /// be gathered for it. False when a file of points could not be written.
    bool prepareIndirectLight() {
        const int threads = threadsToUse(settings_.tiles.threads);
        if (scene_.occlusion.on && scene_.occlusion.cache && options_->trace) {
            const auto cache = std::make_shared<OcclusionCache>(scene_);
            scene_.occlusionCache = cache;
            prepareOcclusion(scene_, *cache, window_, saved_.points, threads);
        }
        if (!options_->finalgather) {
            notePoints();
            return true;
        }
        const auto gather =
            std::make_shared<FinalGather>(scene_, database_.detail<StringOptions>(options_->string_options));
        scene_.gather = gather;
        GatherFiles files = gatherFiles();
        files.isWritten = share().number <= 1;  // shares make the same points: one of them keeps them
        const bool good = prepareFinalGather(scene_, *gather, window_, files, saved_.points, threads);
        notePoints();
        return good;
    }

    /// All shares of a picture, and all runs of a render, have to see the same points.
    void notePoints() {
        if (!saved_.keeps() || abortRequested()) return;
        std::uint64_t digest = 0;
        if (scene_.occlusionCache) digest = digestOf(std::as_bytes(scene_.occlusionCache->points.all()), digest);
        if (scene_.gather) digest = digestOf(std::as_bytes(scene_.gather->points.all()), digest);
        saved_.keepPointsDigest(digest);
        work_.metadata = metadata(0);
        saved_.keepPlan(work_);
    }

    Share share() const { return settings_.saving.share.value_or(Share{}); }
    bool makesTiles() const { return !isPointsOnly() && !share().isPointsOnly(); }

    /// Brings back what a former run has kept, where something is to be kept at all.
    /// @return whether it has done everything
    bool openSaved() {
        const SavingSettings& saving = settings_.saving;
        if (!saving.share && saving.checkpoint.empty()) return false;
        if (saving.share && isPointsOnly())
            throw Failure("final gathering makes points only, and no picture that could be shared out");
        if (saving.share && output_.files.empty())
            throw Failure("the camera names no file after which the part could be named; expected -o NAME");
        if (saving.share && !saving.checkpoint.empty())
            warning("SAVE", "-checkpoint has no effect beside -tiles: the file of the share is its checkpoint");
        Identity identity = saving.inputs();
        const int tileSize = tileSizeToUse(settings_.tiles.tileSize);
        addPicture(identity, scene_, window_, tileSize);
        work_ = planOf(images_, output_.files, scene_.buffers->primary, window_, tileSize);
        work_.share = share();
        work_.folder = settings_.fileDirectory;
        work_.previews = settings_.previews;
        if (!saving.share) return saved_.openCheckpoint(saving.checkpoint, identity, work_, images_);
        const bool isDone =
            saved_.openPart(partName(output_.files.front().file.path, share()), identity, work_, images_);
        if (!isDone && !share().isPointsOnly())
            saved_.takePoints(partName(output_.files.front().file.path, {0, share().count}), identity);
        return isDone;
    }

    /// A former run has done all the work. @return whether the picture is as it should be
    bool takeFinished() {
        if (settings_.saving.share) {
            info("SAVE", "\"{}\" is finished already", saved_.path().string());
        } else {
            info("SAVE", "\"{}\": the picture is written already", saved_.path().string());
            settings_.saving.onWritten();
        }
        return saved_.wasWhole();
    }

    /// What is left to do when all tiles are rendered, or the render was stopped. False where something is missing.
    bool finish(const RenderCounts& counts, bool gathered) {
        if (makesTiles()) tell(counts);
        if (settings_.saving.share) return finishShare(counts.complete && gathered && !abortRequested());
        saved_.flush();
        const bool complete = isPointsOnly() ? gathered && !abortRequested() : counts.complete;
        if (!isPointsOnly() && !write(counts)) return false;
        if (complete && saved_.keeps()) {
            if (!settings_.saving.keepsCheckpoint) saved_.noteWritten(sceneIsWhole_, writtenPaths());
            settings_.saving.onWritten();
        }
        return complete;
    }

    bool finishShare(bool complete) {
        if (!complete) {
            saved_.flush();
            return false;
        }
        if (!saved_.finish(sceneIsWhole_, images_)) {
            error("SAVE", "\"{}\" is not whole: not all of the share could be written", saved_.path().string());
            return false;
        }
        tellWritten("SAVE", saved_.path().string());
        return true;
    }

    void tell(const RenderCounts& counts) const {
        const TileCost& cost = counts.cost;
        const double seconds = std::max(cost.seconds, 1e-6);
        const double rays = static_cast<double>(cost.eyeRays + cost.secondaryRays + cost.shadowRays);
        info("RC", "rendered {} eye rays, {} secondary rays, {} shader calls in {:.2f} s ({:.2f} million rays/s)",
             cost.eyeRays, cost.secondaryRays, cost.shaderCalls, seconds, rays / seconds / 1e6);
        if (cost.droppedSamples > 0)
            warning("RC", "{} color samples were not finite and were left out", cost.droppedSamples);
        if (!counts.complete && saved_.keeps())
            warning("SAVE", "the same command goes on from \"{}\"", saved_.path().string());
    }

    Metadata metadata(double seconds) const {
        const miScalar* toCamera = scene_.projection->placement().worldToLocalFloat;
        return {{"software", std::string(kProgram)},
                {"scene", where_},
                {"camera", std::string(database_.name(cameraTag_))},
                {"frame", camera_->frame},
                {"worldToCamera", std::vector<float>(toCamera, toCamera + 16)},
                {"pixelAspectRatio", pixelShape()},
                {"renderSeconds", static_cast<float>(seconds)}};
    }

    /// Width by height of a pixel. Aspects are mostly written with a few digits: what is almost square is meant to be.
    float pixelShape() const {
        constexpr float kAlmost = 5e-4f;
        const float shape =
            camera_->aspect * static_cast<float>(camera_->y_resolution) / static_cast<float>(camera_->x_resolution);
        return std::isfinite(shape) && shape > 0 && std::abs(shape - 1) > kAlmost ? shape : 1.0f;
    }

    /// A picture that was stopped is not the one that was asked for: it takes the place of none, and where there is
    /// nothing of it there is nothing to keep.
    bool write(const RenderCounts& counts) {
        if (!counts.complete && counts.done == 0) {
            warning("RC", "the render was stopped before its first tile was done; no picture is written");
            return false;
        }
        Metadata texts = metadata(counts.cost.seconds);
        if (!counts.complete) {
            const double percent = 100 * counts.done;
            warning("RC", "the render was stopped; {:.1f} % of the picture are written beside it, as \"incomplete\"",
                    percent);
            texts["incomplete"] = fmt::format("incomplete: stopped after {:.1f} % of the picture", percent);
        }
        return writeFiles(output_.files, rules_, window_, texts);
    }

    std::vector<std::filesystem::path> writtenPaths() const {
        std::vector<std::filesystem::path> paths;
        for (const PlannedFile& planned : output_.files)
            if (!planned.isPreview) paths.push_back(planned.file.path);
        return paths;
    }

    Database& database_;
    RenderSettings settings_;
    std::string where_;
    RenderScene scene_;
    miOptions* options_ = nullptr;
    miCamera* camera_ = nullptr;
    miCamera cameraBefore_ = {};
    miTag cameraTag_ = 0;
    std::shared_ptr<SceneGeometry> geometry_;
    bool sceneIsWhole_ = true;  ///< false where broken elements had to be left out
    DataWindow window_;
    std::vector<LayerImage> images_;
    OutputRules rules_;
    OutputPlan output_;
    PicturePlan work_;
    SavedRender saved_;
    ShaderTable shaders_;
};

}  // namespace

bool renderScene(Database& database, miTag rootGroup, miTag cameraInstance, miTag options, const std::string& where,
                 const RenderSettings& settings) {
    try {
        return Render(database, settings, where).run(rootGroup, cameraInstance, options);
    } catch (const std::exception& failure) {
        error("RC", "{}: cannot render: {}", where, failure.what());
        return false;
    }
}

}  // namespace lumorender
