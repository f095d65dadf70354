#include "lights/shadows.h"

#include "lights/lights.h"
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"
#include "tracing/tracing.h"
#include "tracing/volumes.h"
#include "support/geometry.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace lumorender {

namespace {

/// The light shader's state above a shadow state.
const miState* lightStateOf(const miState* state) {
    while (state && state->type != miRAY_LIGHT) state = state->parent;
    return state;
}

bool block(miColor* result) {
    *result = {0, 0, 0, 0};
    return false;
}

/// Calls the shadow shader of what the record's ray met. Without one the surface is opaque.
bool filterByOccluder(ThreadContext& context, RayRecord& record, miColor* result) {
    const miMaterial* material = context.scene->slots->material(record.state.material);
    if (!material || material->shadow == 0) return block(result);
    return callShader(context, &record.state, material->shadow, miSHADER_SHADOW, result);
}

/// Finds the next surface along the ray that casts a shadow from this light, and fills the record's state with it.
/// The distance from `ray.org` goes to `distance`.
/// The ray goes on behind it the next time. `found` is what is known of the ray, if anything.
bool findOccluder(ThreadContext& context, RayRecord& record, Ray& ray, Hit& crossed, double& distance,
                  const FoundHit* found = nullptr) {
    const RenderScene& scene = *context.scene;
    ++context.counters.shadow;
    ray.asking = &record.state;
    while (scene.geometry->intersect(ray, record.hit, std::exchange(found, nullptr))) {
        distance = record.hit.dist;
        crossed = record.hit;
        ray.behind = &crossed;
        ray.near = std::max(ray.near, distance);
        if (!scene.lights->castsShadow(*record.hit.instance, record.state.light_instance)) continue;
        // The state of a shadow shader keeps the light's position and direction, whichever way the ray travels.
        const miVector org = record.state.org;
        const miVector dir = record.state.dir;
        record.state.org = ray.org;
        record.state.dir = ray.dir;
        fillHit(context, record, false);
        record.state.org = org;
        record.state.dir = dir;
        record.state.dot_nd =
            record.state.normal.x * dir.x + record.state.normal.y * dir.y + record.state.normal.z * dir.z;
        return true;
    }
    return false;
}

Ray shadowRay(const ThreadContext& context, float time) {
    Ray ray;
    ray.time = shutterFraction(*context.scene, time);
    ray.visibility = RayVisibility::Shadow;
    return ray;
}

RayRecord& shadowChild(ThreadContext& context, miState* parent) {
    RayRecord& record = childRay(context, parent);
    record.state.type = miRAY_SHADOW;
    return record;
}

/// How much of a shadow ray is left out at the light's end, so that what the light shines from throws no shadow: an
/// object, or one that stands in the place of a light's shape. A slanting ray stays within rounding of it for longer.
double lightOffset(const ThreadContext& context, const miState& light) {
    constexpr double kFlattest = 0.02;
    const miVector& normal = context.lightSample.normal;
    if (isZero(normal)) return 0;
    return surfaceOffset(light.org) / std::max(std::abs(static_cast<double>(dot(normal, light.dir))), kFlattest);
}

/// From the light to the point; an infinitely far light has no place to start from, so its rays start at the point.
Ray rayFromLight(const ThreadContext& context, const LightRay& light, const miVector& point, float time,
                 double lightOffset) {
    Ray ray = shadowRay(context, time);
    const bool finite = light.dist > 0;
    ray.org = finite ? light.org : point;
    ray.dir = finite ? light.dir : -light.dir;
    ray.near = finite ? lightOffset : surfaceOffset(point);
    // The point is met as exactly as its own and the light's numbers are: far lights miss it by more than its own
    // rounding.
    ray.far = finite ? light.dist - std::max(surfaceOffset(point), surfaceOffset(light.org)) : 1e30;
    return ray;
}

bool isSame(const miVector& a, const miVector& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// What is foreseen of the shadow ray, or null.
const FoundHit* foreseen(ThreadContext& context, const Ray& ray) {
    if (!context.foreseen) return nullptr;
    for (std::size_t i = 0; i < context.foreseen->shadowCount; ++i) {
        const ForeseenShadow& shadow = context.foreseen->shadows[i];
        if (shadow.far != ray.far || shadow.near != ray.near || !isSame(shadow.dir, ray.dir) ||
            !isSame(shadow.org, ray.org))
            continue;
        ++context.shadows.lights[shadow.light].used;
        return &shadow.found;
    }
    return nullptr;
}

/// All occluders between light and point, from the light on.
bool traceUnsorted(ThreadContext& context, miColor* result, miState* light) {
    Ray ray = rayFromLight(context, {light->org, light->dir, light->dist}, light->point, light->time,
                           light->dist > 0 ? lightOffset(context, *light) : 0);
    if (ray.far <= ray.near) return true;
    const FoundHit* found = foreseen(context, ray);
    if (found && found->instance == FoundHit::kNothing) {
        ++context.counters.shadow;
        return true;
    }

    RayRecord& record = shadowChild(context, light);
    const RayInFlight inFlight(context, record);
    double distance = 0;
    Hit crossed;
    while (findOccluder(context, record, ray, crossed, distance, std::exchange(found, nullptr))) {
        // From an infinitely far light there is no distance to the occluder: the one from the point stands for it,
        // because 0 would tell shadow shaders that there is nothing to do.
        record.state.dist = distance;
        if (!filterByOccluder(context, record, result)) return false;
    }
    return true;
}

/// One segment of a ray from the point to the light: up to the next occluder, or to the light.
bool traceSegment(ThreadContext& context, miColor* result, miState* from, miTag volume, double alreadyPassed,
                  bool meetsOccluders = true) {
    const miState* light = lightStateOf(from);
    if (!light) return true;
    Ray ray = shadowRay(context, from->time);
    ray.org = from->point;
    ray.dir = {-light->dir.x, -light->dir.y, -light->dir.z};
    ray.near = surfaceOffset(from->point);
    double length = 0;
    if (light->dist > 0) {
        const double x = static_cast<double>(light->org.x) - from->point.x;
        const double y = static_cast<double>(light->org.y) - from->point.y;
        const double z = static_cast<double>(light->org.z) - from->point.z;
        length = std::sqrt(x * x + y * y + z * z);
        ray.far = length - lightOffset(context, *light);
    }

    RayRecord& record = shadowChild(context, from);
    const RayInFlight inFlight(context, record);
    record.state.volume = volume;
    record.state.refraction_volume = volume;
    double distance = 0;
    Hit crossed;
    bool ok = true;
    if (meetsOccluders && ray.far > ray.near && findOccluder(context, record, ray, crossed, distance)) {
        record.state.dist = distance + alreadyPassed;
        ok = filterByOccluder(context, record, result);
        record.state.volume = volume;
    } else {
        // 0 stands for infinitely far, however much of it lies behind.
        record.state.dist = length > 0 ? length + alreadyPassed : 0;
        record.state.instance = 0;
        record.state.material = 0;
        record.state.pri = nullptr;
    }
    return ok && applyVolume(context, &record.state, result, true);
}

/// What shadow maps would do is done by rays, also where only maps were asked for.
bool shadowsAreOn(const miOptions& options) { return options.shadow && (options.trace || options.use_shadow_maps); }

/// Lights without a shape of which shaders have wanted most shadows so far.
bool isWorthForesight(const ShadowForesight::Light& light) {
    constexpr std::uint32_t kTrials = 64;
    return light.foreseen < kTrials || light.used >= light.foreseen / 3;
}

/// Of the lights whose rays can be told before their shaders run.
ShadowForesight foresightOf(const RenderScene& scene) {
    ShadowForesight result;
    for (const LightSource& source : scene.lights->sources())
        if (source.hasOnePlace && !source.photonsOnly) result.lights.push_back({&source});
    if (result.lights.size() > EyeRay::kMostShadows) result.lights.resize(EyeRay::kMostShadows);
    return result;
}

void foreseeShadows(ThreadContext& context, std::span<EyeRay> rays, std::size_t number) {
    constexpr std::size_t kMostRays = 16;
    ShadowForesight::Light& light = context.shadows.lights[number];
    const std::span<const FlatInstance> instances = context.scene->geometry->instances();
    Ray traced[kMostRays];
    FoundHit found[kMostRays];
    EyeRay* askedBy[kMostRays];
    std::size_t count = 0;
    for (EyeRay& eye : rays) {
        if (!eye.found.isExact() || !(instances[eye.found.instance].flags & miTRACE_SHADOW_RECEIVE)) continue;
        const miVector point = narrow(eye.found.point);
        const Ray ray = rayFromLight(context, lightRay(*light.source, light.source->origin, point), point, eye.time, 0);
        if (ray.far <= ray.near) continue;
        traced[count] = ray;
        askedBy[count++] = &eye;
    }
    context.scene->geometry->look({traced, count}, found);
    light.foreseen += static_cast<std::uint32_t>(count);
    for (std::size_t i = 0; i < count; ++i)
        askedBy[i]->shadows[askedBy[i]->shadowCount++] = {traced[i].org, traced[i].dir, traced[i].near,
                                                          traced[i].far, number,        found[i]};
}

bool receivesShadows(const miState* light) {
    const Hit* lit = light->parent ? hitOf(light->parent) : nullptr;
    if (!lit) lit = contextOf(light).shading.hit;
    return !lit || (lit->instance->flags & miTRACE_SHADOW_RECEIVE) != 0;
}

}  // namespace

bool shadowsHaveSegments(const miOptions& options) { return options.shadow == 's' && shadowsAreOn(options); }

void foreseeShadows(ThreadContext& context, std::span<EyeRay> rays) {
    const RenderScene& scene = *context.scene;
    if (!scene.lights || !shadowsAreOn(*scene.options) || shadowsHaveSegments(*scene.options)) return;
    if (context.shadows.lights.empty()) context.shadows = foresightOf(scene);
    for (std::size_t i = 0; i < context.shadows.lights.size(); ++i)
        if (isWorthForesight(context.shadows.lights[i])) foreseeShadows(context, rays, i);
}

bool traceShadow(miColor* result, miState* light) {
    if (!shadowsAreOn(*light->options)) return true;
    ThreadContext& context = contextOf(light);
    const bool receives = receivesShadows(light);
    // Volumes belong to the segments, so they count for surfaces without shadows too.
    if (shadowsHaveSegments(*light->options)) return traceSegment(context, result, light, light->volume, 0, receives);
    return !receives || traceUnsorted(context, result, light);
}

bool traceShadowSegment(miColor* result, miState* shadow) {
    // The ray travels to the light.
    const CrossedVolumes volumes(contextOf(shadow), *shadow, shadow->dot_nd > 0);
    return traceSegment(contextOf(shadow), result, shadow, shadow->refraction_volume, 0);
}

bool continueShadowSegment(miColor* result, miState* shadow) {
    return traceSegment(contextOf(shadow), result, shadow, shadow->volume, shadow->dist);
}

}  // namespace lumorender
