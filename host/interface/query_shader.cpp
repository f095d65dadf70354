// Questions about the running shader, the state, textures and spaces.
#include "geometry/hair.h"
#include "geometry/mesh.h"
#include "interface/query.h"
#include "lights/lights.h"
#include "photons/photon_maps.h"
#include "tracing/shader_table.h"
#include "tracing/spaces.h"
#include "tracing/textures.h"
#include "support/version.h"

#include "shader.h"

#include <algorithm>
#include <limits>

namespace lumorender {

namespace {

constexpr const char* kDate = __DATE__;

const miFunction* functionOf(const Query& query) {
    const miFunction* running = query.state ? query.state->shader : nullptr;
    // A shader may name its own declaration where a question is about what all of its instances share.
    const bool isOwn = query.code == miQ_DECL_LOCK && running && running->function_decl == query.tag;
    if (query.tag == 0 || isOwn) return running;
    return query.database.as<miFunction>(query.tag, miSCENE_FUNCTION);
}

/// Those of all threads, for an exit function that lets them go: an array that stays until it returns, and its length.
bool answerWithAllThreadPointers(const Query& query, const miFunction* function, const ThreadPointers& pointers) {
    const std::size_t threads = pointers.size();
    auto* found = contextOf(query.state).arena.allocateArray<void*>(std::max<std::size_t>(threads, 1));
    int count = 0;
    for (const auto& ofThread : pointers)
        if (const auto entry = ofThread.find(function); entry != ofThread.end() && entry->second)
            found[count++] = entry->second;
    *static_cast<int*>(query.more) = count;
    return query.answer(found);
}

/// A pointer of the shader instance for this thread: read, or set from where the result points to.
bool answerAboutThreadPointer(const Query& query, const miFunction* function) {
    if (!query.state || !query.state->ts) return false;
    ThreadPointers& pointers = *contextOf(query.state).scene->threadPointers;
    if (query.code == miQ_FUNC_TLS_GETALL) return query.more && answerWithAllThreadPointers(query, function, pointers);
    void*& pointer = pointers.local()[function];
    if (query.code == miQ_FUNC_TLS_GET) return query.answer(pointer);
    std::memcpy(&pointer, query.result, sizeof pointer);
    return true;
}

bool isConnected(const miFunction& function, const Parameter& parameter) {
    if (function.ghost_offs == 0) return false;
    miTag ghost = miNULLTAG;
    std::memcpy(&ghost, function.parameters + parameter.offset + function.ghost_offs, sizeof ghost);
    return ghost != miNULLTAG && ghost != miPARAMTAG;
}

/// A parameter as it stands in the block; what is connected, or not of the type, has no such value.
bool answerWithParameter(const Query& query, const miFunction& function) {
    const auto* declaration = query.database.detail<Declaration>(function.function_decl);
    if (!declaration || !query.more) return false;
    for (const Parameter& parameter : declaration->parameters) {
        if (parameter.name != static_cast<const char*>(query.more)) continue;
        const bool isThere =
            parameter.type == query.index && !parameter.isArray && parameter.members.empty() &&
            parameter.offset + parameter.elementSize <= static_cast<std::size_t>(function.parameter_size);
        if (!isThere || isConnected(function, parameter)) return false;
        std::memcpy(query.result, function.parameters + parameter.offset, parameter.elementSize);
        return true;
    }
    return false;
}

bool answerAboutRuntime(const Query& query, FunctionRuntime& runtime) {
    switch (query.code) {
        case miQ_FUNC_USERPTR: return query.answer(&runtime.userPointer);
        case miQ_FUNC_LOCK: return query.answer(&runtime.lock);
        case miQ_DECL_LOCK: return runtime.declarationLock && query.answer(runtime.declarationLock);
        case miQ_FUNC_TAG: return query.answer(runtime.tag);
        case miQ_FUNC_RESULT_SIZE: return query.answer(static_cast<int>(runtime.resultSize));
        default: return false;
    }
}

bool answerAboutDeclaration(const Query& query) {
    miTag tag = query.tag;
    if (query.database.type(tag) != miSCENE_FUNCTION_DECL) {
        const miFunction* function = functionOf(query);
        if (!function) return false;
        tag = function->function_decl;
    }
    const auto* declaration = query.database.detail<Declaration>(tag);
    if (!declaration) return false;
    switch (query.code) {
        case miQ_DECL_TYPE: return query.answer(static_cast<int>(declaration->result.type));
        case miQ_DECL_RESULT_SIZE: return query.answer(static_cast<int>(declaration->result.elementSize));
        case miQ_DECL_NAME: return query.answer(declaration->name.c_str());
        case miQ_DECL_VERSION: return query.answer(declaration->version);
        // The renderer's own notation is not known; modules get the scene's.
        case miQ_DECL_PARAM: return query.answer(declaration->signature.c_str());
        default: return false;
    }
}

/// The call that asks: kind of shader, and whether the renderer itself made it.
bool answerAboutCall(const Query& query) {
    const CallFrame* frame = query.state && query.state->ts ? contextOf(query.state).frame : nullptr;
    if (!frame) return false;
    if (query.code == miQ_FUNC_CALLTYPE) return query.answer(static_cast<int>(frame->type));
    return query.answer(static_cast<miBoolean>(frame->isRoot));
}

/// The numbers stay until the running shader returns.
bool answerAboutHair(const Query& query, const Hit& hit) {
    const Hair& hair = *hit.instance->hair;
    const std::size_t users = hairUsers(hair);
    switch (query.code) {
        case miQ_HAIR_RADIUS: return query.answer(static_cast<miScalar>(hairRadius(hit)));
        case miQ_HAIR_NUM_TEXTURES:
            return query.answer(hair.source->perHair.textures + hair.source->perVertex.textures);
        case miQ_NUM_USERS:
        case miQ_HAIR_NUM_USERS: return query.answer(static_cast<int>(users));
        case miQ_HAIR_USERS: {
            if (users == 0) return false;
            auto* values = contextOf(query.state).arena.allocateArray<miScalar>(users);
            fillHairUsers(hit, values);
            return query.answer(static_cast<const miScalar*>(values));
        }
        default: return false;
    }
}

/// Of its vertices, not of the instance.
int motionsOf(const FlatInstance& instance) {
    if (instance.hair) return static_cast<int>(instance.hair->points.size()) - 1;
    return instance.mesh ? static_cast<int>(instance.mesh->laterPositions.size()) : 0;
}

bool answerAboutHit(const Query& query, const Hit& hit) {
    if (hit.instance->hair && answerAboutHair(query, hit)) return true;
    const RenderScene& scene = *contextOf(query.state).scene;
    const HitListSizes sizes = scene.geometry->listSizes(*hit.instance);
    switch (query.code) {
        case miQ_NUM_TEXTURES: return query.answer(static_cast<int>(sizes.textures));
        case miQ_NUM_BUMPS: return query.answer(static_cast<int>(sizes.bumps));
        case miQ_GEO_HAS_DERIVS: return query.answer(static_cast<miBoolean>(sizes.derivatives));
        case miQ_GEO_LABEL: return query.answer(query.state->label);
        case miQ_GEO_DATA: {
            const auto* object = query.database.as<miObject>(hit.instance->object, miSCENE_OBJECT);
            return object && query.answer(object->userdata);
        }
        case miQ_PRI_ASSEMBLY_INST_TAG:
            return hit.instance->assemblyInstance && query.answer(hit.instance->assemblyInstance);
        case miQ_PRI_BBOX_MIN:
        case miQ_PRI_BBOX_MAX: {
            const auto* object = query.database.as<miObject>(hit.instance->object, miSCENE_OBJECT);
            return object && query.answer(query.code == miQ_PRI_BBOX_MIN ? object->bbox_min : object->bbox_max);
        }
        case miQ_NUM_MOTIONS: return query.answer(motionsOf(*hit.instance));
        case miQ_GEO_HAS_DERIVS2:
            return query.answer(static_cast<miBoolean>(hit.instance->mesh && !hit.instance->mesh->derivatives.empty()));
        case miQ_PRI_INDEX: return query.answer(hit.primitive);
        case miQ_PRI_NUM_VERTICES: return query.answer(hit.instance->hair ? 2 : hit.instance->shape ? 0 : 3);
        default: return false;
    }
}

/// Of the light's surface where light leaves it towards the point, or where a ray looks at it. Unit length, to the
/// outside, internal space.
bool answerAboutLightNormal(const Query& query) {
    const miState& state = *query.state;
    const Hit* hit = hitOf(&state);
    const bool looksAtLight = state.type != miRAY_LIGHT && hit && hit->instance->isLight;
    miVector normal = looksAtLight ? state.normal_geom : contextOf(&state).lightSample.normal;
    if (looksAtLight && state.inv_normal) normal = {-normal.x, -normal.y, -normal.z};
    const bool isKnown = normal.x != 0 || normal.y != 0 || normal.z != 0;
    return isKnown && query.answer(normal);
}

/// How many photons all lights have sent; unknown before that, and where there are none.
bool answerAboutEmission(const Query& query, const RenderScene& scene, std::size_t kind) {
    constexpr std::uint64_t kMost = std::numeric_limits<int>::max();
    return scene.photons && query.answer(static_cast<int>(std::min(scene.photons->emitted[kind], kMost)));
}

bool answerAboutScene(const Query& query, const ThreadContext& context) {
    const RenderScene& scene = *context.scene;
    switch (query.code) {
        case miQ_NUM_GLOBAL_LIGHTS: return scene.lights && query.answer(static_cast<int>(scene.lights->all().size()));
        case miQ_GLOBAL_LIGHTS: return scene.lights && query.answer(scene.lights->all().data());
        case miQ_SCENE_ROOT_GROUP: return query.answer(scene.rootGroup);
        case miQ_CAUSTIC_PHOTONS_EMITTED: return answerAboutEmission(query, scene, 0);
        case miQ_GLOBAL_PHOTONS_EMITTED: return answerAboutEmission(query, scene, 1);
        // Two numbers: callers have room for two or for three.
        case miQ_LIGHT_SAMPLE_COORD: return query.answer(context.lightSample.position);
        case miQ_SAMPLE_MOVING: return query.answer(static_cast<int>(context.sampleMoves));
        case miQ_LIGHT_NORMAL: return answerAboutLightNormal(query);
        default: return false;
    }
}

}  // namespace

bool answerAboutExtent(const Query& query) {
    if (!query.state || !query.state->ts) return false;
    const SceneGeometry& geometry = *contextOf(query.state).scene->geometry;
    miVector box[2];
    const auto answer = [&](SceneRole role) {
        geometry.bounds(role, box[0], box[1]);
        return query.answer(box);
    };
    switch (query.code) {
        case miQ_SCENE_BBOX_ALL: geometry.bounds(box[0], box[1]); return query.answer(box);
        case miQ_SCENE_BBOX_SHADOW: return answer(SceneRole::CastsShadows);
        case miQ_SCENE_BBOX_GLOBILLUM_G: return answer(SceneRole::SendsGlobillum);
        case miQ_SCENE_BBOX_GLOBILLUM_R: return answer(SceneRole::TakesGlobillum);
        case miQ_SCENE_BBOX_CAUSTIC_G: return answer(SceneRole::SendsCaustics);
        case miQ_SCENE_BBOX_CAUSTIC_R: return answer(SceneRole::TakesCaustics);
        default: return false;
    }
}

bool answerAboutFunction(const Query& query) {
    if (query.code == miQ_FUNC_CALLTYPE || query.code == miQ_FUNC_IS_ROOT) return answerAboutCall(query);
    if (query.code > miQ_DECL_LOCK && query.code <= miQ_DECL_PARAM) return answerAboutDeclaration(query);
    if (query.code == miQ_DECL_VERSION) return answerAboutDeclaration(query);
    const miFunction* function = functionOf(query);
    if (!function) return false;
    switch (query.code) {
        case miQ_FUNC_TYPE: return query.answer(static_cast<int>(function->type));
        case miQ_FUNC_DECL: return query.answer(function->function_decl);
        case miQ_FUNC_NEXT: return query.answer(function->next_function);
        case miQ_FUNC_INDIRECT: return query.answer(function->parameter_indirect);
        case miQ_FUNC_PARAM_SIZE: return query.answer(function->parameter_size);
        case miQ_FUNC_PARAM: return query.answer(static_cast<const void*>(function->parameters));
        case miQ_FUNC_PARAM_VALUE: return answerWithParameter(query, *function);
        case miQ_FUNC_TLS_GETALL:
        case miQ_FUNC_TLS_GET:
        case miQ_FUNC_TLS_SET: return answerAboutThreadPointer(query, function);
        default: break;
    }
    FunctionRuntime* runtime = runtimeOf(function);
    return runtime && answerAboutRuntime(query, *runtime);
}

bool answerAboutImage(const Query& query) {
    const TextureTable* textures =
        query.state && query.state->ts ? contextOf(query.state).scene->textures.get() : nullptr;
    const Texture* texture = textures ? textures->find(query.tag) : nullptr;
    if (!texture) return false;
    switch (query.code) {
        case miQ_IMAGE_WIDTH: return query.answer(texture->width());
        case miQ_IMAGE_HEIGHT: return query.answer(texture->height());
        case miQ_IMAGE_BITS: return query.answer(texture->bits());
        case miQ_IMAGE_COMP: return query.answer(texture->components());
        case miQ_IMAGE_FILTER: return query.answer(static_cast<miBoolean>(textures->filterScale(query.tag) > 0));
        default: return false;
    }
}

bool answerAboutTransform(const Query& query) {
    if (!query.state || !query.state->ts) return false;
    const auto matrix = [&](const miScalar* m) { return m && query.answer(m); };
    static const miMatrix identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    // Internal space is world space.
    switch (query.code) {
        case miQ_TRANS_INTERNAL_TO_WORLD:
        case miQ_TRANS_WORLD_TO_INTERNAL: return query.answer(static_cast<const miScalar*>(identity));
        case miQ_TRANS_INTERNAL_TO_CAMERA:
        case miQ_TRANS_WORLD_TO_CAMERA: return matrix(matrixToSpace(*query.state, Space::Camera));
        case miQ_TRANS_CAMERA_TO_INTERNAL:
        case miQ_TRANS_CAMERA_TO_WORLD: return matrix(matrixFromSpace(*query.state, Space::Camera));
        case miQ_TRANS_INTERNAL_TO_OBJECT:
        case miQ_TRANS_WORLD_TO_OBJECT: return matrix(matrixToSpace(*query.state, Space::Object));
        case miQ_TRANS_OBJECT_TO_INTERNAL:
        case miQ_TRANS_OBJECT_TO_WORLD: return matrix(matrixFromSpace(*query.state, Space::Object));
        default: return false;
    }
}

bool answerAboutInterface(const Query& query) {
    switch (query.code) {
        case miQ_VERSION: return query.answer(kInterfaceVersion);
        case miQ_DATE: return query.answer(kDate);
        default: return false;
    }
}

bool answerAboutRender(const Query& query) {
    return query.state && query.state->ts && answerAboutScene(query, contextOf(query.state));
}

bool answerAboutPlace(const Query& query) {
    const Hit* hit = query.state && query.state->ts ? hitOf(query.state) : nullptr;
    return hit && answerAboutHit(query, *hit);
}

}  // namespace lumorender
