#include "render/renderer.h"

#include "database/elements.h"
#include "elements/element_readers.h"
#include "gathering/gathering_for_particles.h"
#include "gathering/ambient_occlusion.h"
#include "lightmaps/light_map_pass.h"
#include "lights/lights.h"
#include "mi/camera.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "render/displaced_scene.h"
#include "render/geometry_shaders.h"
#include "render/pass_plan.h"
#include "render/indirect_light.h"
#include "render/picture.h"
#include "render/picture_identity.h"
#include "render/render_shaders.h"
#include "render/running_output.h"
#include "render/sampling.h"
#include "render/screen_measure.h"
#include "support/abort.h"
#include "support/fatal.h"
#include "support/messages.h"
#include "support/threads.h"
#include "tracing/camera.h"
#include "tracing/eye_samples.h"
#include "tracing/shape_calls.h"
#include "tracing/shader_table.h"
#include "tracing/textures.h"

#include "shader.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace lumorender {

namespace {

constexpr auto kTimeToStop = std::chrono::milliseconds(200);

/// A render command from its elements to its end.
class Render {
public:
    Render(Database& database, const RenderSettings& settings, const std::string& where)
        : database_(database), settings_(settings), where_(where), shaders_(database) {
        scene_.database = &database;
        mi_init_lock(&scene_.globalLock);
    }
    ~Render() {
        fixBuffers(false);
        if (camera_) *camera_ = cameraBefore_;
        if (camera_) *options_ = optionsBefore_;
        mi_delete_lock(&scene_.globalLock);
    }
    Render(const Render&) = delete;
    Render& operator=(const Render&) = delete;

    bool run(miTag rootGroup, miTag cameraInstance, miTag options) {
        threadsOfRender = threadsToUse(settings_.tiles.threads);
        findElements(rootGroup, cameraInstance, options);
        checkOptions();
        if (!planPicture()) return false;
        const GeneratedScene generated = generateGeometry();
        if (buffersHaveChanged() && !planPicture()) return false;
        if (!isPointsOnly(scene_)) passes_ = PassPlan(scene_, picture_->window(), picture_->rules());
        if (!passes_.check()) return false;
        fixBuffers(true);
        picture_->noteFiles();
        if (openSaved()) return takeFinished();
        buildScene(generated);
        findShaders(scene_, *camera_, shaders_);
        outputs_ = OutputShaders(scene_, shaders_);
        outputs_.checkContours(scene_, where_);
        openTextures();
        if (!mayStart()) return false;

        ThreadContext context(scene_, 0);
        createRootState(context);
        resetRootState(context);
        shaders_.initialise(context);
        std::optional<WorkToKeep> work;  // from the first tile on
        RenderCounts counts;
        bool gathered = false;
        // Shaders may have found something wrong with what they are given.
        const bool starts = mayStart();
        if (starts) {
            completeGeometry();
            gathered = makePoints();
            const WritesWhenFatal rescue(*this);
            const auto report = [&](const RenderProgress& progress) {
                if (!work) work.emplace();
                done_ = static_cast<double>(progress.done) / std::max(progress.total, 1);
                settings_.progress(progress);
            };
            if (makesTiles() && passes_.open(threadsToUse(settings_.tiles.threads)))
                counts = renderTiles(scene_, passes_.steps(), picture_->window(), share(), settings_.tiles,
                                     picture_->images(), saved_, report);
            if (counts.done > 0 && !work) work.emplace();
        }
        const bool good = starts && finish(counts, gathered, context);
        resetRootState(context);
        shaders_.finish(context);
        return good && gathered && sceneIsWhole_;
    }

private:
    /// While tiles are rendered: where a shader ends the program, what is finished is written before.
    class WritesWhenFatal {
    public:
        explicit WritesWhenFatal(Render& render) {
            atWork = &render;
            setFatalHook([] {
                if (Render* const interrupted = atWork.exchange(nullptr)) interrupted->writeFinishedTiles();
            });
        }
        ~WritesWhenFatal() {
            setFatalHook(nullptr);
            atWork = nullptr;
        }
        WritesWhenFatal(const WritesWhenFatal&) = delete;
        WritesWhenFatal& operator=(const WritesWhenFatal&) = delete;
    };
    inline static std::atomic<Render*> atWork{nullptr};

    /// On the thread of the shader that ended the program. The others stop at their next call of a shader, and are not
    /// waited for any longer.
    void writeFinishedTiles() {
        RenderCounts counts;
        counts.complete = false;
        counts.done = done_;
        if (counts.done == 0) return;
        requestAbort();
        std::this_thread::sleep_for(kTimeToStop);
        saved_.flush();
        if (settings_.saving.share) return;
        ThreadContext context(scene_, 0);
        picture_->write(counts, outputs_, context);
    }

    void findElements(miTag rootGroup, miTag cameraInstance, miTag options) {
        scene_.rootGroup = rootGroup;
        scene_.cameraInstance = cameraInstance;
        scene_.optionsTag = options;
        options_ = database_.as<miOptions>(options, miSCENE_OPTIONS);
        if (!options_) throw Failure(fmt::format("\"{}\" is not an options element", database_.name(options)));
        if (database_.type(rootGroup) != miSCENE_GROUP)
            throw Failure(fmt::format("\"{}\" is not an instgroup", database_.name(rootGroup)));
        const auto* instance = database_.as<miInstance>(cameraInstance, miSCENE_INSTANCE);
        camera_ = instance ? database_.as<miCamera>(instance->item, miSCENE_CAMERA) : nullptr;
        if (!camera_)
            throw Failure(fmt::format("\"{}\" is not an instance of a camera", database_.name(cameraInstance)));
        cameraBefore_ = *camera_;
        optionsBefore_ = *options_;
        scene_.options = options_;
        scene_.camera = camera_;
    }

    void checkOptions() {
        gatherForParticles(*options_, database_.detail<StringOptions>(options_->string_options), where_);
        if (settings_.tiles.tileSize == 0) settings_.tiles.tileSize = options_->task_size;
        if (!passesOf(scene_).empty() && usesGrid(*options_, false))
            info("RC", "{}: passes keep samples of pixels: each takes the larger number of them, and their mean",
                 where_);
        if (options_->use_shadow_maps)
            warning("RC", "{}: shadow maps are not made, rays are traced for their shadows", where_);
        if (options_->max_samples > PixelSampler::kMostLevel)
            warning("RC", "{}: samples {} would be 4^{} in every pixel; 4^{} is the most, and taken", where_,
                    options_->max_samples, options_->max_samples, PixelSampler::kMostLevel);
    }

    /// Looks at its files, too, before anything that takes long.
    /// @return false where one of them cannot be written
    bool planPicture() {
        picture_.emplace(scene_, settings_, where_);
        running_.emplace(picture_->rules(), scene_.buffers->colors);
        plannedBuffers_ = camera_->buffertag;
        const FrameBufferSet* const buffers = namedBuffers();
        plannedChanges_ = buffers ? buffers->changes : 0;
        return picture_->check();
    }

    FrameBufferSet* namedBuffers() const {
        return camera_ ? database_.detail<FrameBufferSet>(camera_->buffertag) : nullptr;
    }

    GeneratedScene generateGeometry() {
        const long errors = messageCount(MessageClass::Error);
        GeneratedScene generated = callGeometryShaders(scene_, shaders_, settings_.building);
        sceneIsWhole_ = messageCount(MessageClass::Error) == errors;
        return generated;
    }

    /// By geometry shaders. The last moment for it: what is kept of a render, and its files, depend on them.
    bool buffersHaveChanged() const {
        FrameBufferSet* const buffers = namedBuffers();
        if (camera_->buffertag == plannedBuffers_ && (!buffers || buffers->changes == plannedChanges_)) return false;
        if (buffers) choosePrimary(*buffers);
        return true;
    }

    void fixBuffers(bool fixed) const {
        if (FrameBufferSet* const buffers = namedBuffers()) buffers->isFixed = fixed;
    }

    void buildScene(const GeneratedScene& generated) {
        const long errors = messageCount(MessageClass::Error);
        geometry_ = SceneGeometry::collect(database_, scene_.rootGroup, *options_, generated, geometryRules());
        scene_.geometry = geometry_;
        if (messageCount(MessageClass::Error) != errors) sceneIsWhole_ = false;
        scene_.lights = std::make_shared<LightTable>(database_, *scene_.geometry);
        scene_.occlusion = occlusionSettings(database_.detail<StringOptions>(options_->string_options));
        scene_.projection = projectionOf(scene_);
    }

    /// Surfaces are tessellated as this camera sees them.
    GeometryRules geometryRules() const {
        GeometryRules rules;
        const auto* detail = database_.detail<OptionsDetail>(scene_.optionsTag);
        if (detail && !detail->approximation.empty()) rules.approximation = &detail->approximation;
        rules.shapes = findShape;
        rules.view = [this](std::span<const FlatElement> cameras,
                            const std::vector<const FlatInstance*>& instances) -> EdgeMeasure {
            const auto element = std::find_if(cameras.begin(), cameras.end(), [&](const FlatElement& camera) {
                return camera.instance == scene_.cameraInstance;
            });
            // Without the camera there will be no picture, as is told later.
            if (element == cameras.end())
                return [](const V3d&, const V3d&, const ApproximationRule&, float) { return 0; };
            const auto projection = std::make_shared<Camera>(*camera_, *element);
            const auto measure = std::make_shared<ScreenMeasure>(*camera_, *projection, instances);
            return [projection, measure](const V3d& a, const V3d& b, const ApproximationRule& rule, float limit) {
                return measure->need(a, b, rule, limit);
            };
        };
        return rules;
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

    void openTextures() {
        auto textures = std::make_shared<TextureTable>();
        const TextureRules rules{options_->gamma, options_->render_cprof, wantsLightMaps(scene_),
                                 [this](const auto& name) { return picture_->rules().located(name); }};
        if (!textures->open(database_, shaders_.textures(), rules) && !settings_.continueWithoutTextures)
            throw Failure("a texture is missing; -texture_continue renders without it");
        scene_.textures = textures;
    }

    /// Asked before what takes long.
    bool mayStart() const {
        if (!settings_.strict || errorCount() == 0) return true;
        error("RC", "{}: nothing is rendered after an error or warning, as -strict says", where_);
        return false;
    }

    /// What is made before tiles. All shares of a picture, and all runs of a render, have to see the same points.
    /// @return false when a file of points could not be written
    bool makePoints() {
        FoundFiles files = foundFiles(scene_, picture_->rules());
        if (share().number > 1) files.keepNothing();  // shares find the same: one of them keeps it
        const bool good = prepareIndirectLight(scene_, picture_->window(), files, saved_.points,
                                               threadsToUse(settings_.tiles.threads));
        if (!saved_.keeps() || abortRequested()) return good;
        saved_.keepPointsDigest(digestOfPoints(scene_));
        work_.metadata = picture_->metadata(0);
        work_.hasOutputShaders = outputs_.count() > 0;
        saved_.keepPlan(work_);
        return good;
    }

    Share share() const { return settings_.saving.share.value_or(Share{}); }
    bool makesTiles() const { return !isPointsOnly(scene_) && !share().isPointsOnly(); }

    /// Brings back what a former run has kept, where something is to be kept at all.
    /// @return whether it has done everything
    bool openSaved() {
        const SavingSettings& saving = settings_.saving;
        if (!saving.share && saving.checkpoint.empty()) return false;
        if (saving.share && isPointsOnly(scene_))
            throw Failure("the options ask for points or photons only, and no picture that could be shared out");
        if (passes_.changesFiles())
            throw Failure(
                "the camera's passes write or remove files: that goes with no checkpoints and no shares of a "
                "picture; -pass off leaves them out");
        const std::vector<PlannedFile>& files = picture_->files();
        if (saving.share && files.empty())
            throw Failure("the camera names no file after which the part could be named; expected -o NAME");
        if (saving.share && !saving.checkpoint.empty())
            warning("SAVE", "-checkpoint has no effect beside -tiles: the file of the share is its checkpoint");
        Identity identity = saving.inputs();
        const int tileSize = tileSizeToUse(settings_.tiles.tileSize);
        std::vector<LayerImage>& images = picture_->images();
        addPicture(identity, scene_, picture_->window(), tileSize);
        passes_.addTo(identity);
        work_ = planOf(images, files, scene_.buffers->primary, picture_->window(), tileSize);
        work_.share = share();
        work_.folder = settings_.fileDirectory;
        work_.previews = settings_.previews;
        if (!saving.share) return saved_.openCheckpoint(saving.checkpoint, identity, work_, images);
        const std::filesystem::path& first = files.front().file.path;
        const bool isDone = saved_.openPart(partName(first, share()), identity, work_, images);
        if (!isDone && !share().isPointsOnly()) saved_.takePoints(partName(first, {0, share().count}), identity);
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
    bool finish(const RenderCounts& counts, bool gathered, ThreadContext& context) {
        if (makesTiles()) tell(counts);
        if (settings_.saving.share && outputs_.count() > 0)
            warning("RC",
                    "output shaders need the whole picture: they work on no shares, and not where these are merged");
        if (settings_.saving.share) return finishShare(counts.complete && gathered && !abortRequested());
        saved_.flush();
        const bool isPicture = !isPointsOnly(scene_);
        const bool complete = isPicture ? counts.complete : gathered && !abortRequested();
        if (isPicture && !picture_->write(counts, outputs_, context)) return false;
        if (!passes_.finish(complete, threadsToUse(settings_.tiles.threads))) return false;
        if (complete && saved_.keeps()) {
            if (!settings_.saving.keepsCheckpoint) saved_.noteWritten(sceneIsWhole_, picture_->paths());
            settings_.saving.onWritten();
        }
        return complete;
    }

    bool finishShare(bool complete) {
        if (!complete) {
            saved_.flush();
            return false;
        }
        if (!saved_.finish(sceneIsWhole_, picture_->images())) {
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
        tellOnDemand();
        if (cost.droppedSamples > 0)
            warning("RC", "{} color samples were not finite and were left out", cost.droppedSamples);
        if (!counts.complete && saved_.keeps())
            warning("SAVE", "the same command goes on from \"{}\"", saved_.path().string());
    }

    void tellOnDemand() const {
        const SceneGeometry::OnDemandCounts counts = scene_.geometry->statistics().onDemand;
        if (counts.objects == 0) return;
        info("GEOM", "of {} objects with boxes came {}, and went {}; they took {:.1f} MB at most", counts.objects,
             counts.timesBrought, counts.timesLetGo, counts.mostBytes / 1e6);
    }

    Database& database_;
    RenderSettings settings_;
    std::string where_;
    RenderScene scene_;
    miOptions* options_ = nullptr;
    miCamera* camera_ = nullptr;
    miCamera cameraBefore_ = {};
    miOptions optionsBefore_ = {};
    std::shared_ptr<SceneGeometry> geometry_;
    std::atomic<double> done_{0};  ///< share of the tiles
    bool sceneIsWhole_ = true;     ///< false where broken elements had to be left out
    std::optional<Picture> picture_;
    std::optional<RunningOutput> running_;
    PicturePlan work_;
    SavedRender saved_;
    miTag plannedBuffers_ = 0;  ///< that the picture was planned for, and how often shaders had changed them before
    int plannedChanges_ = 0;
    ShaderTable shaders_;
    OutputShaders outputs_;
    PassPlan passes_;
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
