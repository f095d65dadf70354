// What a render thread works with, and the parts of a render that all threads share read-only.
#pragma once

#include "database/database.h"
#include "geometry/scene_geometry.h"
#include "mi/codes.h"
#include "mi/state.h"
#include "support/geometry.h"
#include "tracing/arena.h"
#include "tracing/shader_states.h"

#include <tbb/enumerable_thread_specific.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <unordered_map>
#include <vector>

namespace lumorender {

class Camera;
class ContourSample;
class FinalGather;
struct FunctionRuntime;
struct GatherPoint;
class LightTable;
struct LightSource;
struct OcclusionCache;
struct PhotonMaps;
struct FoundPhotons;
class SlotTable;
class TextureTable;
struct BufferLayout;

/// What the scene says of ambient occlusion, by name; calls may say otherwise for themselves.
struct OcclusionSettings {
    bool on = true;
    int rays = 256;
    float least = 0, most = 0;  ///< distances between which surfaces hide anything; `most` 0 = however far
    float falloff = 1;          ///< a surface at distance d hides (1 - (d - least) / (most - least)) ^ falloff
    bool cache = false;         ///< points are made ahead, and calls interpolate between them
    float cacheDensity = 1;     ///< of the coarsest grid of points
    int cachePoints = 64;       ///< how many to interpolate between
};

/// What finds contours, by the options, or by phenomena where these have none.
struct ContourShaders {
    miTag store = 0, contrast = 0;
};

/// Everything of a render that is fixed before the first sample, and its owner. Shared by all threads without locks.
/// What shader instances keep for each thread, until the render ends.
using ThreadPointers = tbb::enumerable_thread_specific<std::unordered_map<const miFunction*, void*>>;

struct RenderScene {
    Database* database = nullptr;
    const miOptions* options = nullptr;
    const miCamera* camera = nullptr;
    miTag optionsTag = 0;
    miTag cameraInstance = 0;
    miTag rootGroup = 0;
    std::shared_ptr<const BufferLayout> buffers;
    std::shared_ptr<const TextureTable> textures;
    std::shared_ptr<const SceneGeometry> geometry;
    std::shared_ptr<const LightTable> lights;
    std::shared_ptr<const Camera> projection;
    std::shared_ptr<const SlotTable> slots;
    OcclusionSettings occlusion;
    ContourShaders contours;
    std::shared_ptr<const OcclusionCache> occlusionCache;  ///< null where every call computes anew
    std::shared_ptr<const FinalGather> gather;             ///< null where final gathering is off
    std::shared_ptr<const PhotonMaps> photons;             ///< null where there are none
    miLock globalLock = {};
    std::shared_ptr<ThreadPointers> threadPointers = std::make_shared<ThreadPointers>();
    std::shared_ptr<const Literals> literals = std::make_shared<Literals>();
};

/// One evaluated parameter of the running shader: its value is the result of a shader, or a member of that.
struct EvaluatedParameter {
    const void* address;
    void* value;
    const FunctionRuntime* source;
    std::byte* result;
};

/// One shader invocation. Evaluated parameters are remembered until it returns.
struct CallFrame {
    CallFrame(CallFrame* from, const miFunction* running, miShader_type kind, bool root)
        : caller(from), function(running), type(kind), isRoot(root) {}

    /// For the next of several that are called one after the other.
    void begin(const miFunction* next) {
        function = next;
        evaluatedCount = 0;
    }

    CallFrame* caller;
    const miFunction* function;
    miShader_type type;
    bool isRoot;  ///< called by the renderer itself, not by a shader
    EvaluatedParameter* evaluated = nullptr;
    std::uint32_t evaluatedCount = 0;
    std::uint32_t evaluatedCapacity = 0;
};

/// A frame buffer's value in the current sample: up to four channels, or a label in the first word.
struct SampleValue {
    alignas(16) std::uint32_t words[4] = {};
};

/// State of a ray with the memory of its hit. A caller's child record is used again for its next ray.
struct RayRecord {
    miState state;
    Hit hit;
    HitLists lists;
    HitListSizes capacity;
    bool active = false;
};

struct RayCounters {
    std::uint64_t eye = 0, secondary = 0, shadow = 0, calls = 0;
};

/// Of the ray whose material is running.
struct RunningHit {
    miTag environment = 0;     ///< what the ray would have seen here without the surface
    bool wentOn = false;       ///< the material let the ray go on, through a volume
    const Hit* hit = nullptr;  ///< also where the shader has taken it out of its state, to be lit from all sides
    bool looksBehind = false;  ///< what it hands on comes from straight behind
};

/// Where the running light sample lies on its light.
struct LightPlace {
    miVector2d position = {0.5F, 0.5F};  ///< on its grid, 0..1
    miVector normal = {};                ///< of the light's surface, world space; zero where it has none
};

/// Where in a tree of gathering rays a thread is.
/// All zero in the surface that an eye ray sees.
struct GatherPath {
    int depth = 0;                         ///< gatherings on the way to the running shader
    int reflections = 0, refractions = 0;  ///< ray levels where the first one began
};

/// Points that a thread makes before tiles are rendered.
/// Takes the points of one kind; no vector while none are made.
struct NewPoints {
    std::vector<GatherPoint>* points = nullptr;
    std::size_t first = 0;  ///< of the running sample's points
};

/// Automatic volumes that a ray is in, in the order in which they were entered. Deeper ones than there is room for are
/// not seen.
struct RunningVolumes {
    std::array<miTag, 16> tags = {};
    std::size_t count = 0;

    miTag innermost() const { return count > 0 ? tags[count - 1] : 0; }
    void enter(miTag volume) {
        if (volume != 0 && count < tags.size()) tags[count++] = volume;
    }
    /// The one that was entered last, of several.
    void leave(miTag volume) {
        for (std::size_t i = count; i-- > 0;) {
            if (tags[i] != volume) continue;
            std::copy(tags.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                      tags.begin() + static_cast<std::ptrdiff_t>(count), tags.begin() + static_cast<std::ptrdiff_t>(i));
            --count;
            return;
        }
    }
};

/// The photon that is under way. No sink, and no photon is followed, but while lights emit them.
struct PhotonPath {
    FoundPhotons* sink = nullptr;
    const LightSource* light = nullptr;
    bool scattered = false;  ///< it has left the straight line from its light
    bool diffuse = false;    ///< ... at a diffuse surface or in a volume
    bool casters = true;     ///< ... at surfaces only that cast caustics
};

/// A shadow ray that a light will want, unless its shader moves it.
struct ForeseenShadow {
    miVector org = {}, dir = {};
    double near = 0, far = 0;
    std::size_t light = 0;  ///< position in the list of ShadowForesight
    FoundHit found;
};

/// An eye ray, with what it meets first where this was looked for together with others.
struct EyeRay {
    static constexpr std::size_t kMostShadows = 4;

    miVector org = {}, dir = {};
    float time = 0;      ///< miState::time
    float farthest = 0;  ///< see EyeSample
    FoundHit found;
    std::array<ForeseenShadow, kMostShadows> shadows;  ///< of the place that it meets
    std::size_t shadowCount = 0;
};

/// Which lights' shadow rays are worth to be looked for ahead: those of which most were wanted so far.
struct ShadowForesight {
    struct Light {
        const LightSource* source;
        std::uint32_t foreseen = 0, used = 0;
    };
    std::vector<Light> lights;
};

/// Where the last eye ray began, and what it began in.
struct EyeOrigin {
    bool isKnown = false;
    miVector org = {};
    float time = 0;
    RunningVolumes volumes;
};

/// The world of one render thread: reached from a state through `contextOf`.
struct ThreadContext {
    explicit ThreadContext(const RenderScene& renderScene, short threadIndex)
        : scene(&renderScene), index(threadIndex), states(renderScene.literals) {}

    const RenderScene* scene;
    short index;
    Arena arena;
    ShaderStates states;
    CallFrame* frame = nullptr;
    RayRecord* root = nullptr;        ///< of the eye sample
    miState fresh = {};               ///< the root state before a sample
    std::vector<SampleValue> values;  ///< by shader index of the frame buffer
    const int* valueWords = nullptr;  ///< 32-bit words of each of them
    std::size_t openValues = 0;       ///< how many shaders may read and write now: none outside of a sample
    int ray = 0;                      ///< depth of the running ray
    ShadowForesight shadows;
    const EyeRay* foreseen = nullptr;  ///< what the sample's ray meets, as long as no shader has turned it; or null
    std::size_t lens = 0;              ///< position in the camera's lens list
    miStage stage = miSTAGE_UNKNOWN;
    float farthest =
        std::numeric_limits<float>::infinity();  ///< of the sample: what lies further off along the axis is hidden
    bool sampleMoves = false;                    ///< the sample's ray met moving geometry
    RunningHit shading;
    RunningVolumes volumes;
    EyeOrigin eyeOrigin;
    bool lensIsTurned = false;
    M44d lensTurn;  ///< from the camera's ray to that of the running lens shader, as far as such shaders have said
    bool opacityIsSet = false;
    miColor opacity = {};
    GatherPath gather;
    NewPoints newLight, newOcclusion;  ///< of the running stage
    /// Gathered on the spot for the running pixel, while tiles are rendered.
    std::vector<GatherPoint>* pixelLight = nullptr;
    LightPlace lightSample;
    ContourSample* contours = nullptr;  ///< takes what contours are found by, while these are
    PhotonPath photon;
    RayCounters counters;
};

inline ThreadContext& contextOf(const miState* state) { return *static_cast<ThreadContext*>(state->ts); }

inline Hit* hitOf(const miState* state) { return reinterpret_cast<Hit*>(state->pri); }

}  // namespace lumorender
