#include "tracing/tracing.h"

#include "mi/camera.h"
#include "mi/options.h"
#include "geometry/surface.h"
#include "lights/lights.h"
#include "tracing/camera.h"
#include "tracing/contour_sample.h"
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"
#include "tracing/volumes.h"
#include "support/quasi_random.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace lumorender {

namespace {

/// Grows the record's lists to what a hit on the instance needs. Lists are writable for shaders, so each ray has its
/// own.
void provideLists(ThreadContext& context, RayRecord& record, const HitListSizes& sizes) {
    if (sizes.textures > record.capacity.textures) {
        record.lists.textures = context.arena.allocateArray<miVector>(sizes.textures);
        record.capacity.textures = sizes.textures;
    }
    if (sizes.bumps > record.capacity.bumps) {
        record.lists.bumpX = context.arena.allocateArray<miVector>(sizes.bumps);
        record.lists.bumpY = context.arena.allocateArray<miVector>(sizes.bumps);
        record.capacity.bumps = sizes.bumps;
    }
    if (sizes.derivatives && !record.lists.derivatives)
        record.lists.derivatives = context.arena.allocateArray<miVector>(miDERIVATIVES);
}

void clearHit(miState& state) {
    state.dist = 0;
    state.material = 0;
    state.instance = 0;
    state.pri = nullptr;
    state.tex_list = state.bump_x_list = state.bump_y_list = state.derivs = nullptr;
    state.motion = {0, 0, 0};
    state.inv_normal = miFALSE;
    state.label = 0;
}

/// Whether a ray has come straight from a place that gathers, though through things: light samples come that way, too.
bool comesStraightFromGathering(const miState* state) {
    constexpr float kStraight = 1 - 1e-6F;
    while (state->type == miRAY_TRANSPARENT || state->type == miRAY_REFRACT) {
        const miState* from = state->parent;
        if (!from || dot(from->dir, state->dir) < kStraight) return false;
        state = from;
    }
    return state->type == miRAY_FINALGATHER;
}

/// The light of a light that samples bring does not count once more where gathering rays meet its shape; what its shader
/// sees behind the shape does.
bool isCountedAlready(const ThreadContext& context, const LightSource& light, const miState* state) {
    return context.gather.depth > 0 && !light.photonsOnly && comesStraightFromGathering(state);
}

bool shadeLight(ThreadContext& context, miState* state, const Hit& hit, miColor* result) {
    const LightSource* light = context.scene->lights->find(hit.instance->instance);
    state->light_instance = light->instance;
    const bool ok = callShader(context, state, light->shader, miSHADER_LIGHT, result);
    if (!context.shading.looksBehind && isCountedAlready(context, *light, state)) *result = {0, 0, 0, 0};
    return ok;
}

/// An object that a visible light has for its shape.
const LightSource* lampOf(const ThreadContext& context, const FlatInstance& instance) {
    return context.gather.depth > 0 ? context.scene->lights->lampOf(instance) : nullptr;
}

bool shadeSurface(ThreadContext& context, miState* state, const Hit& hit, miColor* result) {
    if (const LightSource* lamp = lampOf(context, *hit.instance); lamp && isCountedAlready(context, *lamp, state))
        return true;
    const miMaterial* material = context.scene->slots->material(state->material);
    state->environment = material && material->environment ? material->environment : state->camera->environment;
    state->refraction_volume = volumeBehind(context, *state, material);
    // A name that is given to a shader instead of a material stands for a material with that shader alone.
    const miTag shader = material ? surfaceShaderOf(*material) : state->material;
    return callShader(context, state, shader, miSHADER_MATERIAL, result);
}

bool shadeSurroundings(ThreadContext& context, miState* state, miColor* result) {
    if (state->environment == 0) state->environment = state->camera->environment;
    return callShader(context, state, state->environment, miSHADER_ENVIRONMENT, result);
}

/// The shaders of what the ray met, or of the surroundings where it met nothing, and of what it came through.
bool shade(ThreadContext& context, miState* state, miColor* result) {
    const double dist = state->dist;
    const Hit* hit = hitOf(state);
    const RunningHit callers = std::exchange(context.shading, {state->environment, false, hit});
    const bool ok = !hit                     ? shadeSurroundings(context, state, result)
                    : hit->instance->isLight ? shadeLight(context, state, *hit, result)
                                             : shadeSurface(context, state, *hit, result);
    if (context.contours && hit && !hit->instance->isLight && state->material)
        context.contours->store(context, state, *result, context.scene->contours.store);
    const bool wentOn = std::exchange(context.shading, callers).wentOn;
    // Where the ray went on and the surface counts as not there, the whole way has had its volume already.
    if (wentOn && state->dist != dist) return ok;
    return applyVolume(context, state, result, ok);
}

/// What an eye ray met belongs to whoever looked: a lens shader, or a surface that let the ray go on as if it were not
/// there. Secondary rays leave their caller's hit alone, because a shader traces several of them from one point.
void handBack(miState* caller, const miState& child) {
    caller->label = child.label;
    caller->point = child.point;
    caller->normal = child.normal;
    caller->dist = child.dist;
    caller->motion = child.motion;
}

/// May the surface at which the ray starts send rays of this kind?
bool mayReceive(const miState* state, std::uint32_t flag) {
    const Hit* hit = hitOf(state);
    return !hit || (hit->instance->flags & flag) != 0;
}

bool traceSecondary(miColor* result, miState* state, RayRecord& record, RayVisibility visibility) {
    ThreadContext& context = contextOf(state);
    const RayInFlight inFlight(context, record);
    ++context.counters.secondary;
    record.state.org = state->point;
    *result = {0, 0, 0, 0};
    // What lies straight behind a surface is seen without ray tracing too.
    if (state->options->trace || visibility == RayVisibility::Transparency)
        findHit(context, record, visibility, {surfaceOffset(state->point)});
    else
        clearHit(record.state);
    return shade(context, &record.state, result);
}

/// Below a ray of final gathering the levels count from where it began, and have limits of their own.
bool depthAllows(const miState* state, bool reflects) {
    if (!mayGoDeeper()) return false;
    const GatherPath& path = contextOf(state).gather;
    const miOptions& options = *state->options;
    const bool gathers = path.depth > 0;
    const int reflections = state->reflection_level - path.reflections;
    const int refractions = state->refraction_level - path.refractions;
    if (reflections + refractions >= (gathers ? options.fg_trace_depth : options.trace_depth)) return false;
    if (reflects) return reflections < (gathers ? options.fg_reflection_depth : options.reflection_depth);
    return refractions < (gathers ? options.fg_refraction_depth : options.refraction_depth);
}

/// Is there a lens shader at this position of the camera's list? None where the options switch them off.
bool hasLens(const RenderScene& scene, std::size_t position) {
    return !scene.options->no_lens && position < scene.slots->functions(scene.camera->lens).count;
}

/// Eye rays see what is between the camera's clipping planes, and not behind what the sample has already.
Reach reachOfCamera(const ThreadContext& context, const miState& ray) {
    const Camera::Depths depths = context.scene->projection->depths(ray.org, ray.dir, context.farthest);
    return {depths.near, depths.far};
}

bool isSame(const miVector& a, const miVector& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// What is foreseen of the ray, unless a shader has turned it.
const FoundHit* foreseen(const ThreadContext& context, const miState& ray) {
    const EyeRay* eye = context.foreseen;
    return eye && eye->time == ray.time && isSame(eye->org, ray.org) && isSame(eye->dir, ray.dir) ? &eye->found
                                                                                                  : nullptr;
}

bool traceScene(ThreadContext& context, RayRecord& record, miColor* result) {
    ++context.counters.eye;
    const EyeVolumes volumes(context, record.state);
    findHit(context, record, RayVisibility::Eye, reachOfCamera(context, record.state), foreseen(context, record.state));
    return shade(context, &record.state, result);
}

bool callLens(ThreadContext& context, miState* state, miColor* result) {
    const std::size_t position = context.lens++;
    FunctionRuntime* lens = context.scene->slots->functions(context.scene->camera->lens).first[position];
    const bool ok = callShader(context, state, lens->tag, miSHADER_LENS, result);
    context.lens = position;
    return ok;
}

}  // namespace

float shutterFraction(const RenderScene& scene, float time) {
    const double open = scene.options->shutter_delay;
    const double interval = scene.options->shutter - open;
    return interval > 0 ? static_cast<float>((time - open) / interval) : 0.0F;
}

Ray rayOf(const RenderScene& scene, const EyeRay& eye) {
    const Camera::Depths depths = scene.projection->depths(eye.org, eye.dir, eye.farthest);
    Ray ray;
    ray.org = eye.org;
    ray.dir = eye.dir;
    ray.near = depths.near;
    ray.far = depths.far;
    ray.time = shutterFraction(scene, eye.time);
    return ray;
}

bool eyeRaysGoStraight(const RenderScene& scene) { return !hasLens(scene, 0); }

double surfaceOffset(const miVector& point) {
    const double size = std::max({std::abs(point.x), std::abs(point.y), std::abs(point.z)});
    return 4e-6 * size + 1e-6;
}

RayRecord& childRay(ThreadContext& context, miState* state) {
    auto* record = reinterpret_cast<RayRecord*>(state->child);
    // A record whose ray is still on its way belongs to somebody who copied the state.
    if (!record || record->active) {
        record = static_cast<RayRecord*>(context.arena.allocate(sizeof(RayRecord)));
        record->capacity = {};
        record->lists = {};
        record->active = false;
    }
    record->state = *state;
    // Behind the copy, which would wait for it.
    state->child = &record->state;
    record->state.parent = state;
    record->state.child = nullptr;
    record->state.scanline = miFALSE;
    seedChildState(record->state, *state);
    record->hit.instance = nullptr;
    record->hit.sides = 0;
    return *record;
}

bool findHit(ThreadContext& context, RayRecord& record, RayVisibility visibility, const Reach& reach,
             const FoundHit* found) {
    const RenderScene& scene = *context.scene;
    miState& state = record.state;
    clearHit(state);
    Ray ray;
    ray.org = state.org;
    ray.dir = state.dir;
    ray.near = reach.near;
    ray.far = reach.far;
    ray.behind = reach.behind;
    ray.time = shutterFraction(scene, state);
    ray.visibility = visibility;
    ray.asking = &state;
    if (!scene.geometry->intersect(ray, record.hit, found)) return false;

    fillHit(context, record, true);
    return true;
}

void fillHit(ThreadContext& context, RayRecord& record, bool flipNormals) {
    const SceneGeometry& geometry = *context.scene->geometry;
    const FlatInstance& instance = *record.hit.instance;
    record.state.pri = reinterpret_cast<miRc_intersection*>(&record.hit);
    if (instance.mesh) {
        provideLists(context, record, listSizesOf(*instance.mesh));
        fillSurface(record.hit, record.state, record.lists, flipNormals);
    } else {
        provideLists(context, record, geometry.listSizes(instance));
        geometry.fillState(record.hit, record.state, record.lists, flipNormals);
    }
    context.sampleMoves = context.sampleMoves || record.hit.instance->moves;
}

bool traceSample(ThreadContext& context, miColor* result) {
    RayRecord& record = *context.root;
    if (!hasLens(*context.scene, 0)) return traceScene(context, record, result);
    context.lens = 0;
    return callLens(context, &record.state, result);
}

bool traceEye(miColor* result, miState* state, const miVector& org, const miVector& dir) {
    ThreadContext& context = contextOf(state);
    state->org = org;
    state->dir = dir;
    const M44d callersTurn = context.lensTurn;
    RayRecord& record = childRay(context, state);
    record.state.scanline = state->scanline;
    const RayInFlight inFlight(context, record);
    *result = {0, 0, 0, 0};
    const bool ok = hasLens(*context.scene, context.lens) ? callLens(context, &record.state, result)
                                                          : traceScene(context, record, result);
    context.lensTurn = callersTurn;
    handBack(state, record.state);
    state->instance = record.state.instance;
    return ok;
}

bool traceReflection(miColor* result, miState* state, const miVector& dir) {
    if (!depthAllows(state, true)) return false;
    if (!mayReceive(state, miTRACE_REFLECTION_RECEIVE)) return false;
    RayRecord& record = childRay(contextOf(state), state);
    record.state.type = miRAY_REFLECT;
    record.state.dir = dir;
    ++record.state.reflection_level;
    return traceSecondary(result, state, record, RayVisibility::Reflection);
}

bool traceRefraction(miColor* result, miState* state, const miVector& dir) {
    if (!depthAllows(state, false)) return false;
    if (!mayReceive(state, miTRACE_REFRACTION_RECEIVE)) return false;
    RayRecord& record = childRay(contextOf(state), state);
    record.state.type = miRAY_REFRACT;
    record.state.dir = dir;
    record.state.volume = state->refraction_volume;
    ++record.state.refraction_level;
    const CrossedVolumes volumes(contextOf(state), *state, !state->inv_normal);
    return traceSecondary(result, state, record, RayVisibility::Refraction);
}

bool traceTransparent(miColor* result, miState* state) {
    if (!depthAllows(state, false)) return false;
    if (!mayReceive(state, miTRACE_TRANSPARENCY_RECEIVE)) return false;
    RayRecord& record = childRay(contextOf(state), state);
    record.state.type = miRAY_TRANSPARENT;
    record.state.volume = state->refraction_volume;
    ++record.state.refraction_level;
    const CrossedVolumes volumes(contextOf(state), *state, !state->inv_normal);
    contextOf(state).shading.looksBehind = true;
    return traceSecondary(result, state, record, RayVisibility::Transparency);
}

bool traceGathering(miColor* result, ThreadContext& context, RayRecord& record, double far) {
    const RayInFlight inFlight(context, record);
    ++context.counters.secondary;
    findHit(context, record, RayVisibility::FinalGather, {0, far});
    return shade(context, &record.state, result);
}

bool traceContinue(miColor* result, miState* state) {
    ThreadContext& context = contextOf(state);
    RayRecord& record = childRay(context, state);
    const RayInFlight inFlight(context, record);
    RayVisibility visibility = RayVisibility::Eye;
    if (state->type == miRAY_REFLECT) visibility = RayVisibility::Reflection;
    if (state->type == miRAY_REFRACT) visibility = RayVisibility::Refraction;
    if (state->type == miRAY_TRANSPARENT) visibility = RayVisibility::Transparency;
    if (state->type == miRAY_FINALGATHER) visibility = RayVisibility::FinalGather;
    *result = {0, 0, 0, 0};
    Reach reach = visibility == RayVisibility::Eye ? reachOfCamera(context, *state) : Reach();
    reach.near = state->dist;
    reach.behind = hitOf(state);
    findHit(context, record, visibility, reach);
    const bool hasVolume = state->volume != 0 && !state->options->no_volume;
    record.state.environment = context.shading.environment;
    const bool ok = shade(context, &record.state, result);
    handBack(state, record.state);
    context.shading.wentOn = hasVolume;
    context.shading.looksBehind = true;
    return ok;
}

bool traceEnvironment(miColor* result, miState* state, const miVector& dir) {
    ThreadContext& context = contextOf(state);
    const miTag environment = state->environment ? state->environment : state->camera->environment;
    if (environment == 0) return false;
    RayRecord& record = childRay(context, state);
    const RayInFlight inFlight(context, record);
    record.state.type = miRAY_ENVIRONMENT;
    record.state.environment = environment;
    record.state.org = state->point;
    record.state.dir = dir;
    clearHit(record.state);
    const bool ok = callShader(context, &record.state, environment, miSHADER_ENVIRONMENT, result);
    return applyVolume(context, &record.state, result, ok);
}

bool traceProbe(miState* state, const miVector& dir, const miVector& org, RayVisibility visibility) {
    ThreadContext& context = contextOf(state);
    RayRecord& record = childRay(context, state);
    const RayInFlight inFlight(context, record);
    record.state.type = miRAY_PROBE;
    record.state.org = org;
    record.state.dir = dir;
    ++context.counters.secondary;
    return findHit(context, record, visibility, {surfaceOffset(org)});
}

}  // namespace lumorender
