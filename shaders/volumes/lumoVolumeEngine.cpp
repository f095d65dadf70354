/* lumoVexaVolumeEngine: the shading engine of volume primitives: fog, smoke, clouds, fire.
 *
 * `primitives` are spheres, boxes, cylinders, cones and voxel grids, each under a transform; what is in their common
 * places adds up. The parameters, the shapes of drop-offs and the ramps are told in the declaration.
 *
 * The one shader serves in three roles, best under a name of its own:
 *   volume     of a camera or a material: what a ray comes through changes its color, light and shadow rays are dimmed
 *   material   of a closed surface that holds the primitives: it is clear itself, and fills what is inside with them
 *   shadow     of that surface: shadows of the primitives on what is outside
 *
 * Along the ray the coefficients are integrated by adaptive steps, exactly where they are constant. Light is scattered
 * once: at a few points, drawn in proportion to what is scattered there, the lights are asked through the light loop, so
 * that every pass gets its share. A light of color c gives the irradiance pi c, as it does on surfaces.
 *
 * Example: a ball of smoke.
 *   shader "smoke" "lumoVexaVolumeEngine" ( "primitives" [
 *       { "shape" 0, "density" 3, "color" .9 .9 .9, "dropoff" 1, "edgeDropoff" .5 } ] )
 *   material "smoke_group" = "smoke" shadow = "smoke" end material
 */
#include "SDK/engine/transparency_walk.h"
#include "SDK/framework/export_shader.h"
#include "shaders/volumes/volume_lights.h"
#include "shaders/volumes/volume_passes.h"

#include <cstdio>
#include <limits>

namespace lumo {
namespace {

constexpr double kInfinitelyFar = std::numeric_limits<double>::infinity();

bool isUsable(const VolumeRay& ray) {
    return std::isfinite(dot(ray.org, ray.org)) && std::isfinite(dot(ray.dir, ray.dir)) && dot(ray.dir, ray.dir) > 0;
}

/* Numbers that differ from ray to ray and are the same for the same ray. */
double jitterOf(const miState* state) {
    miUint hash = 0;
    for (const miScalar word : {state->point.x, state->point.y, state->point.z, state->dir.x, state->dir.y}) {
        miUint bits;
        std::memcpy(&bits, &word, sizeof bits);
        hash = (hash ^ bits) * 0x7feb352du;
        hash ^= hash >> 15;
    }
    return hash / 4294967296.0;
}

class VolumeEngineClass : public Shader<VolumeEngineParameters, VolumeHelper> {
public:
    using Result = miColor;

    explicit VolumeEngineClass(const VolumeHelper& in) : Shader(in), medium_(in), tree_(medium_.primitives()) {
        selfShadow_ = in(&VolumeEngineParameters::selfShadow) != 0;
        char text[80];
        std::snprintf(text, sizeof text, "lumoVexaVolumeEngine(): Processing %5u volume primitives.",
                      static_cast<miUint>(medium_.primitives().size()));
        lumoInfo(text);
    }

    miBoolean shade(miColor* result, const VolumeHelper& in) const {
        miState* state = in.state();
        Vexabase* record = requireVexabase(state, "lumoVexaVolumeEngine(): Internal state error.");
        if (!record) return miFALSE;
        if (miRAY_PHOTON(state->type)) return miTRUE;
        miInteger role = miSHADER_VOLUME;
        if (!mi_query(miQ_FUNC_CALLTYPE, state, miNULLTAG, &role)) role = miSHADER_VOLUME;
        if (role == miSHADER_SHADOW) return castShadow(*result, in);
        if (role != miSHADER_VOLUME) return fillSurface(*result, in);
        if (state->type == miRAY_LIGHT) return dimLight(*result, in, record->light);
        if (state->type == miRAY_SHADOW) return dimSegment(*result, in);
        return showMedium(*result, in, *record);
    }

private:
    /* ---- As a volume ---- */

    /* The medium in front of what the ray met. */
    miBoolean showMedium(miColor& result, const VolumeHelper& in, Vexabase& record) const {
        miState* state = in.state();
        double jitter[2] = {0.5, 0.5};
        mi_sample(jitter, nullptr, state, 2, nullptr);
        miVector texture = {0, 0, 0};
        const MediumCall call = callAlong(in, state->org, state->dir, jitter[1], texture);
        if (!isUsable(call.ray)) return miTRUE;
        Intervals intervals(medium_, tree_, call.ray, {0, state->dist > 0 ? state->dist : kInfinitelyFar});
        if (intervals.all().empty()) return miTRUE;

        ScatterPath path(medium_.quality());
        {
            const TextureScope scope(state, medium_.isConnected() ? &texture : nullptr);
            March(medium_, call, path).run(intervals);
        }
        if (isClear(path)) return miTRUE;
        const FrameBuffers buffers = currentFrameBuffers(state);
        MediumPasses passes(buffers, state);
        const miColor own = path.emission() + scattered(call, record, path, passes.writer(), jitter[0]);
        for (const PassType type : {kPassBeauty, kPassBeautyNoShadow, kPassIncandescence})
            passes.writer().write(type, path.emission());
        passes.putOver(path.transmission(), result);
        putOver(result, own, path.transmission());
        return miTRUE;
    }

    static bool isClear(const ScatterPath& path) {
        const miColor& t = path.transmission();
        return t.r == 1 && t.g == 1 && t.b == 1 && !path.scatters() && largestChannel(path.emission()) == 0;
    }

    static void putOver(miColor& result, const miColor& own, const miColor& t) {
        const miScalar opacity = 1 - (t.r + t.g + t.b) / 3;
        const miScalar alpha = opacity + (1 - opacity) * result.a;
        result = own + t * result;
        result.a = alpha;
    }

    miColor scattered(const MediumCall& call, Vexabase& record, const ScatterPath& path, const PassWriter& passes,
                      double jitter) const {
        miColor sum = kBlack;
        if (!path.scatters()) return sum;
        MediumLights lights(call, record, passes, selfShadow_);
        const int count = path.pointCount(medium_.quality());
        for (int i = 0; i < count; ++i) sum = sum + lights.scatter(path.point(i, count, jitter));
        return sum;
    }

    /* The light's whole way to the point. Ambient light has none. */
    miBoolean dimLight(miColor& result, const VolumeHelper& in, LightData& data) const {
        const miState* state = in.state();
        if (data.isAmbient) return miTRUE;
        const bool fromAfar = !(state->dist > 0);
        const miColor t = fromAfar ? transmission(in, state->point, opposite(state->dir), kInfinitelyFar)
                                   : transmission(in, state->org, state->dir, state->dist);
        dimPasses(in.state(), t, result);
        data.shadowFraction = 1 - (1 - data.shadowFraction) * (t.r + t.g + t.b) / 3;
        dim(result, t);
        return miTRUE;
    }

    /* A segment of a shadow ray, which ends at an occluder or at the light. */
    miBoolean dimSegment(miColor& result, const VolumeHelper& in) const {
        const miState* state = in.state();
        const miColor t = state->instance != miNULLTAG ? transmission(in, state->point, state->dir, state->dist)
                          : state->dist > 0            ? transmission(in, state->org, state->dir, state->dist)
                                            : transmission(in, state->point, opposite(state->dir), kInfinitelyFar);
        dimShadow(in.state(), enteredObject(state), t);
        dim(result, t);
        return miTRUE;
    }

    static miVector opposite(miVector v) {
        mi_vector_neg(&v);
        return v;
    }
    static void dim(miColor& light, const miColor& t) {
        light.r *= t.r;
        light.g *= t.g;
        light.b *= t.b;
    }

    miColor transmission(const VolumeHelper& in, const miVector& org, const miVector& dir, double dist) const {
        miState* state = in.state();
        miVector texture = {0, 0, 0};
        const MediumCall call = callAlong(in, org, dir, jitterOf(state), texture);
        LightSink sink(medium_.shadowFactor());
        if (!isUsable(call.ray)) return WHITE;
        Intervals intervals(medium_, tree_, call.ray, {0, dist});
        const TextureScope scope(state, medium_.isConnected() ? &texture : nullptr);
        March(medium_, call, sink).run(intervals);
        return sink.result();
    }

    static MediumCall callAlong(const VolumeHelper& in, const miVector& org, const miVector& dir, double jitter,
                                miVector& texture) {
        miVector worldOrg = org, worldDir = dir;
        mi_point_to_world(in.state(), &worldOrg, &org);
        mi_vector_to_world(in.state(), &worldDir, &dir);
        return {in,
                {DoubleVector(worldOrg), normalised(DoubleVector(worldDir))},
                {DoubleVector(org), DoubleVector(dir)},
                jitter,
                &texture};
    }

    /* The point and the first texture coordinate, for shaders that are connected to primitives. */
    class TextureScope {
    public:
        TextureScope(miState* state, miVector* own) : state_(state), list_(state->tex_list), point_(state->point) {
            if (own) state_->tex_list = own;
        }
        ~TextureScope() {
            state_->tex_list = list_;
            state_->point = point_;
        }

        TextureScope(const TextureScope&) = delete;
        TextureScope& operator=(const TextureScope&) = delete;

    private:
        miState* const state_;
        miVector* const list_;
        const miVector point_;
    };

    /* ---- As the material of a surface that holds the primitives ---- */

    miBoolean fillSurface(miColor& result, const VolumeHelper& in) const {
        miState* state = in.state();
        FrameBufferState* frame = rendersTiles(state) ? publishedFrameBufferState(state) : nullptr;
        const FrameBuffers buffers = frame ? publishedFrameBuffers(state) : FrameBuffers{};
        const LevelSlots slots(buffers, state);
        beginSurface(slots, state);
        for (const FrameBufferInfo& entry : slots.entries()) {
            FrameBufferSlot& slot = slots.of(entry);
            slot.color = slot.transparency = kBlack;
        }
        result = kBlack;
        tellOfSurface(frame, WHITE, true);
        if (isWalkTooDeep(state)) return miTRUE;
        const GoingOn goingOn(frame, true);
        const WalkSettings walk = {.kind = WalkKind::kBoundary,
                                   .opaquePasses = false,
                                   .tempOnHeap = frame && (frame->flags & kFrameTempOnHeap),
                                   .volume = volumeBehind(state)};
        result = lookBehind(slots, state, walk);
        tellOfSurface(frame, WHITE, true);
        return miTRUE;
    }

    /* Materials with a volume have it set by the renderer. Any other surface holds this shader inside. */
    static miTag volumeBehind(miState* state) {
        miTag declared = miNULLTAG, own = miNULLTAG;
        if (mi_query(miQ_MTL_VOLUME, state, state->material, &declared) && declared != miNULLTAG)
            return state->refraction_volume;
        if (!mi_query(miQ_FUNC_TAG, state, miNULLTAG, &own)) return state->volume;
        return state->inv_normal ? volumeAround(state, own) : own;
    }

    /* What the ray was in before it came into this volume. */
    static miTag volumeAround(const miState* state, miTag own) {
        for (; state; state = state->parent)
            if (state->volume != own) return state->volume;
        return miNULLTAG;
    }

    /* ---- As the shadow shader of that surface ---- */

    /* Where light leaves the surface, it has come through what is inside. Points inside, and those that are in the same
     * volume themselves, have their light dimmed on its whole way, by the volume. */
    miBoolean castShadow(miColor& result, const VolumeHelper& in) const {
        miState* state = in.state();
        miTag own = miNULLTAG;
        mi_query(miQ_FUNC_TAG, state, miNULLTAG, &own);
        const bool leaves = mi_vector_dot(&state->normal, &state->dir) > 0;
        if (state->options->shadow == 's') {
            // The ray travels to the light, and leaves where the light enters.
            state->refraction_volume = leaves ? own : volumeAround(state->parent, own);
            mi_trace_shadow_seg(&result, state);
            return miTRUE;
        }
        const miState* lit = state->parent ? state->parent->parent : nullptr;
        const bool isInside = lit && (lit->volume == own || lit->refraction_volume == own);
        if (isInside || !leaves) return miTRUE;
        const miColor t = transmission(in, state->point, opposite(state->dir), wayInside(state));
        dimShadow(state, state->instance, t);
        dim(result, t);
        return miTRUE;
    }

    /* From where light leaves back to where it came in, or to a light that is inside. */
    static double wayInside(miState* state) {
        constexpr int kMostHits = 64;
        const miVector back = opposite(state->dir);
        miVector from = state->point;
        double way = 0;
        for (int i = 0; i < kMostHits && mi_trace_probe(state, &back, &from); ++i) {
            const miState* hit = state->child;
            if (!hit) break;
            way += hit->dist;
            from = hit->point;
            if (hit->instance == state->instance) return std::min(way, distanceToLight(state));
        }
        return distanceToLight(state);
    }

    static double distanceToLight(const miState* state) {
        const miState* light = state->parent;
        if (!light || !(light->dist > 0)) return kInfinitelyFar;
        return mi_vector_dist(&light->org, &state->point);
    }

    const Medium medium_;
    const PrimitiveTree tree_;
    bool selfShadow_;
};

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaVolumeEngine, VolumeEngineClass, "shaders/lumoVolumeEngine")

}  // namespace lumo
