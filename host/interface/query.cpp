// mi_query: finds the kind of question by its code.
#include "interface/query.h"

#include "geometry/mesh.h"
#include "interface/host.h"
#include "lights/lights.h"
#include "tracing/shader_table.h"

#include "shader.h"

#include <array>
#include <cstdarg>
#include <initializer_list>

using namespace lumorender;

namespace {

using Answer = bool (*)(const Query&);

constexpr void assign(std::array<Answer, miQ_COUNT>& table, Answer answer, std::initializer_list<int> codes) {
    for (const int code : codes) table[static_cast<std::size_t>(code)] = answer;
}

constexpr void assignRange(std::array<Answer, miQ_COUNT>& table, Answer answer, int first, int last) {
    for (int code = first; code <= last; ++code) table[static_cast<std::size_t>(code)] = answer;
}

constexpr std::array<Answer, miQ_COUNT> makeTable() {
    std::array<Answer, miQ_COUNT> table = {};
    assignRange(table, answerAboutInstance, miQ_INST_FUNCTION, miQ_INST_PARAM);
    assign(table, answerAboutInstance,
           {miQ_INST_MATERIAL, miQ_INST_VISIBLE, miQ_INST_SHADOW, miQ_INST_TRACE, miQ_INST_CAUSTIC, miQ_INST_LABEL,
            miQ_INST_DATA, miQ_INST_GLOBILLUM, miQ_INST_FINALGATHER, miQ_INST_PLACEHOLDER_ITEM, miQ_GROUP_NKIDS,
            miQ_GROUP_KID, miQ_GROUP_MERGE_GROUP, miQ_GROUP_LABEL, miQ_GROUP_DATA});
    assignRange(table, answerAboutObject, miQ_OBJ_TYPE, miQ_OBJ_LABEL);
    assign(table, answerAboutObject, {miQ_OBJ_DATA, miQ_OBJ_GLOBILLUM, miQ_OBJ_FINALGATHER});
    assignRange(table, answerAboutLight, miQ_LIGHT_TYPE, miQ_LIGHT_USE_SHADOWMAP);
    assign(table, answerAboutLight,
           {miQ_LIGHT_AREA_C_RADIUS, miQ_LIGHT_AREA_C_AXIS, miQ_LIGHT_LABEL, miQ_LIGHT_DATA,
            miQ_LIGHT_CAUSTIC_PHOTONS_EMIT, miQ_LIGHT_GLOBAL_PHOTONS_EMIT});
    assignRange(table, answerAboutMaterial, miQ_MTL_OPAQUE, miQ_MTL_PHOTONVOL);
    assign(table, answerAboutMaterial, {miQ_MTL_LIGHTMAP});
    assignRange(table, answerAboutFunction, miQ_FUNC_USERPTR, miQ_DECL_PARAM);
    assign(table, answerAboutFunction,
           {miQ_DECL_VERSION, miQ_FUNC_CALLTYPE, miQ_FUNC_TAG, miQ_FUNC_IS_ROOT, miQ_FUNC_TLS_GET, miQ_FUNC_TLS_SET,
            miQ_FUNC_TLS_GETALL, miQ_FUNC_PARAM_VALUE});
    assignRange(table, answerAboutData, miQ_DATA_PARAM, miQ_DATA_NEEDSWAP);
    assignRange(table, answerAboutImage, miQ_IMAGE_WIDTH, miQ_IMAGE_FILTER);
    assignRange(table, answerAboutTransform, miQ_TRANS_INTERNAL_TO_WORLD, miQ_TRANS_OBJECT_TO_WORLD);
    assignRange(table, answerAboutLightProfile, miQ_LIGHTPROFILE_PHI_MIN, miQ_LIGHTPROFILE_THETA_RES);
    assignRange(table, answerAboutExtent, miQ_SCENE_BBOX_ALL, miQ_SCENE_BBOX_CAUSTIC_R);
    assign(table, answerAboutInterface, {miQ_VERSION, miQ_DATE});
    assign(table, answerAboutRender,
           {miQ_NUM_GLOBAL_LIGHTS, miQ_GLOBAL_LIGHTS, miQ_CAUSTIC_PHOTONS_EMITTED, miQ_GLOBAL_PHOTONS_EMITTED,
            miQ_FINALGATHER_STATE, miQ_SCENE_ROOT_GROUP, miQ_SAMPLE_MOVING, miQ_STAGE, miQ_LIGHT_SAMPLE_COORD,
            miQ_LIGHT_NORMAL});
    assign(table, answerAboutPlace,
           {miQ_NUM_TEXTURES, miQ_NUM_BUMPS, miQ_NUM_MOTIONS, miQ_NUM_USERS, miQ_GEO_LABEL, miQ_GEO_DATA,
            miQ_GEO_HAS_DERIVS, miQ_GEO_HAS_DERIVS2, miQ_PRI_BBOX_MIN, miQ_PRI_BBOX_MAX, miQ_PRI_ASSEMBLY_INST_TAG,
            miQ_PRI_INDEX, miQ_PRI_NUM_VERTICES, miQ_HAIR_RADIUS, miQ_HAIR_NUM_USERS, miQ_HAIR_USERS,
            miQ_HAIR_NUM_TEXTURES});
    return table;
}

constexpr std::array<Answer, miQ_COUNT> kAnswers = makeTable();

/// 0 outside of final gathering; below one of its rays 1 while tiles render, 2 while points are made.
int gatherState(const ThreadContext& context) {
    if (context.gather.depth == 0) return 0;
    return context.stage == miSTAGE_FINALGATHER ? 2 : 1;
}

template <class T>
miBoolean give(void* result, const T& value) {
    std::memcpy(result, &value, sizeof value);
    return miTRUE;
}

/// For a code within the table.
[[gnu::noinline]] miBoolean answer(miQ_type code, miState* state, miTag tag, void* result, int index, void* more) {
    const Answer answer = kAnswers[static_cast<std::size_t>(code)];
    if (!answer) return miFALSE;
    return answer({code, state, tag, result, state && state->ts ? *contextOf(state).scene->database : hostDatabase(),
                   index, more});
}

}  // namespace

/// What calls of shaders ask again and again comes first, before anything is made of the question.
extern "C" miBoolean mi_query(miQ_type code, miState* state, miTag tag, void* result, ...) {
    if (result && state && state->ts) [[likely]] {
        const ThreadContext& context = contextOf(state);
        switch (code) {
            case miQ_STAGE: return give(result, static_cast<int>(context.stage));
            case miQ_FINALGATHER_STATE: return give(result, gatherState(context));
            case miQ_FUNC_USERPTR:
                if (tag != miNULLTAG || !state->shader || !runtimeOf(state->shader)) break;
                return give(result, &runtimeOf(state->shader)->userPointer);
            case miQ_FUNC_RESULT_SIZE: {
                if (!context.scene->slots) break;
                const FunctionSpan functions = context.scene->slots->functions(tag);
                if (functions.count != 1 || (*functions.first)->tag != tag) break;
                return give(result, static_cast<int>((*functions.first)->resultSize));
            }
            case miQ_NUM_TEXTURES: {
                const Hit* hit = hitOf(state);
                if (!hit || !hit->instance->mesh) break;
                return give(result, static_cast<int>(hit->instance->mesh->textureSpaces));
            }
            case miQ_PRI_ASSEMBLY_INST_TAG: {
                const Hit* hit = hitOf(state);
                return hit && hit->instance->assemblyInstance ? give(result, hit->instance->assemblyInstance) : miFALSE;
            }
            case miQ_LIGHT_AREA: {
                const LightSource* source = context.scene->lights ? context.scene->lights->find(tag) : nullptr;
                if (!source) break;
                return give(result, static_cast<int>(source->light->area));
            }
            default: break;
        }
    }
    if (code <= miQ_NONE || code >= miQ_COUNT || !result) return miFALSE;
    if (code != miQ_GROUP_KID && code != miQ_FUNC_TLS_GETALL && code != miQ_FUNC_PARAM_VALUE)
        return answer(code, state, tag, result, 0, nullptr);
    va_list arguments;
    va_start(arguments, result);
    void* more = code != miQ_GROUP_KID ? va_arg(arguments, void*) : nullptr;
    const int index = code != miQ_FUNC_TLS_GETALL ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return answer(code, state, tag, result, index, more);
}
