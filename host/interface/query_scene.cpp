// Questions about scene elements: instances, groups, objects, lights, materials, user data.
#include "database/elements.h"
#include "database/placeholder.h"
#include "interface/query.h"
#include "mi/geometry_api.h"

#include "shader.h"

namespace lumorender {

namespace {

bool answerAboutGroup(const Query& query) {
    const auto* group = query.database.detail<GroupDetail>(query.tag);
    if (!group) return false;
    const auto* record = query.database.as<miGroup>(query.tag, miSCENE_GROUP);
    switch (query.code) {
        case miQ_GROUP_NKIDS: return query.answer(static_cast<int>(group->instances.size()));
        case miQ_GROUP_MERGE_GROUP: return query.answer(miScalar{group->merge});
        case miQ_GROUP_LABEL: return query.answer(record->label);
        case miQ_GROUP_DATA: return query.answer(record->userdata);
        case miQ_GROUP_KID: break;
        default: return false;
    }
    if (query.index < 0 || static_cast<std::size_t>(query.index) >= group->instances.size()) return false;
    return query.answer(group->instances[static_cast<std::size_t>(query.index)]);
}

/// Instance parameters are inherited: the nearest instance above that has a block speaks for those without.
const miInstance* parameterHolder(const Query& query, const miInstance* instance) {
    if (instance->param_size > 0) return instance;
    const Hit* hit = query.state ? hitOf(query.state) : nullptr;
    if (!hit || hit->instance->instance != query.tag) return nullptr;
    return query.database.as<miInstance>(hit->instance->parameterInstance, miSCENE_INSTANCE);
}

bool answerAboutPlacement(const Query& query, const miInstance& instance) {
    const SceneGeometry* geometry =
        query.state && query.state->ts ? contextOf(query.state).scene->geometry.get() : nullptr;
    const NamedPlacement* placement = geometry ? geometry->placement(query.tag) : nullptr;
    const bool toLocal = query.code == miQ_INST_GLOBAL_TO_LOCAL;
    const miScalar* matrix = nullptr;
    if (placement)
        matrix = toLocal ? placement->worldToLocalFloat : placement->localToWorldFloat;
    else
        matrix = toLocal ? instance.tf.global_to_local : instance.tf.local_to_global;
    return query.answer(matrix);
}

/// The light behind a light or a light instance.
const miLight* lightOf(const Query& query) {
    miTag tag = query.tag;
    if (tag == 0 && query.state) tag = query.state->light_instance;
    if (const auto* instance = query.database.as<miInstance>(tag, miSCENE_INSTANCE)) tag = instance->item;
    return query.database.as<miLight>(tag, miSCENE_LIGHT);
}

}  // namespace

bool answerAboutInstance(const Query& given) {
    Query query = given;
    if (query.database.type(query.tag) == miSCENE_GROUP) return answerAboutGroup(query);
    if (query.tag == 0 && query.state) query.tag = query.state->instance;
    const auto* instance = query.database.as<miInstance>(query.tag, miSCENE_INSTANCE);
    if (!instance) return false;
    switch (query.code) {
        case miQ_INST_GLOBAL_TO_LOCAL:
        case miQ_INST_LOCAL_TO_GLOBAL: return answerAboutPlacement(query, *instance);
        case miQ_INST_FUNCTION: return query.answer(instance->tf.function);
        case miQ_INST_IDENTITY: return query.answer(static_cast<miBoolean>(instance->tf.identity));
        case miQ_INST_ITEM: return query.answer(instance->item);
        case miQ_INST_PLACEHOLDER_ITEM:
            return query.database.detail<Placeholder>(instance->item) && query.answer(instance->item);
        case miQ_INST_PARENT: return query.answer(instance->parent);
        case miQ_INST_HIDE: return query.answer(static_cast<miBoolean>(instance->off));
        case miQ_INST_DECL: return query.answer(instance->param_decl);
        case miQ_INST_PARAM_SIZE: {
            const miInstance* holder = parameterHolder(query, instance);
            return query.answer(holder ? holder->param_size : 0);
        }
        case miQ_INST_PARAM: {
            const miInstance* holder = parameterHolder(query, instance);
            return holder && query.answer(static_cast<const void*>(holder->param));
        }
        case miQ_INST_MATERIAL: return query.answer(instance->material);
        case miQ_INST_VISIBLE: return query.answer(static_cast<int>(instance->visible));
        case miQ_INST_SHADOW: return query.answer(static_cast<int>(instance->shadow));
        case miQ_INST_TRACE: return query.answer(static_cast<int>(instance->reflection));
        case miQ_INST_CAUSTIC: return query.answer(static_cast<int>(instance->caustic));
        case miQ_INST_GLOBILLUM: return query.answer(static_cast<int>(instance->globillum));
        case miQ_INST_FINALGATHER: return query.answer(static_cast<int>(instance->finalgather));
        case miQ_INST_LABEL: return query.answer(instance->label);
        case miQ_INST_DATA: return query.answer(instance->userdata);
        default: return false;
    }
}

bool answerAboutObject(const Query& query) {
    miTag tag = query.tag;
    if (const auto* instance = query.database.as<miInstance>(tag, miSCENE_INSTANCE)) tag = instance->item;
    const auto* object = query.database.as<miObject>(tag, miSCENE_OBJECT);
    if (!object) return false;
    switch (query.code) {
        case miQ_OBJ_TYPE: return query.answer(static_cast<int>(object->type));
        case miQ_OBJ_VISIBLE: return query.answer(static_cast<int>(object->visible));
        case miQ_OBJ_TRACE: return query.answer(static_cast<int>(object->reflection));
        case miQ_OBJ_SHADOW: return query.answer(static_cast<int>(object->shadow));
        case miQ_OBJ_VIEW_DEPENDENT: return query.answer(object->view_dependent);
        case miQ_OBJ_CAUSTIC: return query.answer(static_cast<int>(object->caustic));
        case miQ_OBJ_GLOBILLUM: return query.answer(static_cast<int>(object->globillum));
        case miQ_OBJ_FINALGATHER: return query.answer(static_cast<int>(object->finalgather));
        case miQ_OBJ_LABEL: return query.answer(object->label);
        case miQ_OBJ_DATA: return query.answer(object->userdata);
        default: return false;
    }
}

bool answerAboutLight(const Query& query) {
    const miLight* light = lightOf(query);
    if (!light) return false;
    switch (query.code) {
        case miQ_LIGHT_TYPE: return query.answer(static_cast<int>(light->type));
        case miQ_LIGHT_AREA: return query.answer(static_cast<int>(light->area));
        case miQ_LIGHT_EXPONENT: return query.answer(light->exponent);
        case miQ_LIGHT_CAUSTIC_PHOTONS: return query.answer(light->caustic_store_photons);
        case miQ_LIGHT_GLOBAL_PHOTONS: return query.answer(light->global_store_photons);
        case miQ_LIGHT_CAUSTIC_PHOTONS_EMIT: return query.answer(light->caustic_emit);
        case miQ_LIGHT_GLOBAL_PHOTONS_EMIT: return query.answer(light->global_emit);
        case miQ_LIGHT_ENERGY: return query.answer(light->energy);
        case miQ_LIGHT_SHADER: return query.answer(light->shader);
        case miQ_LIGHT_EMITTER: return query.answer(light->emitter);
        case miQ_LIGHT_ORIGIN: return query.answer(light->origin);
        case miQ_LIGHT_DIRECTION: return query.answer(light->direction);
        case miQ_LIGHT_AREA_R_EDGE_U: return query.answer(light->primitive.rectangle.edge_u);
        case miQ_LIGHT_AREA_R_EDGE_V: return query.answer(light->primitive.rectangle.edge_v);
        case miQ_LIGHT_AREA_D_NORMAL: return query.answer(light->primitive.disc.normal);
        case miQ_LIGHT_AREA_D_RADIUS: return query.answer(light->primitive.disc.radius);
        case miQ_LIGHT_AREA_S_RADIUS: return query.answer(light->primitive.sphere.radius);
        case miQ_LIGHT_AREA_C_RADIUS: return query.answer(light->primitive.cylinder.radius);
        case miQ_LIGHT_AREA_C_AXIS: return query.answer(light->primitive.cylinder.axis);
        case miQ_LIGHT_AREA_SAMPLES_U: return query.answer(static_cast<int>(light->samples_u));
        case miQ_LIGHT_AREA_SAMPLES_V: return query.answer(static_cast<int>(light->samples_v));
        case miQ_LIGHT_SPREAD: return query.answer(light->spread);
        case miQ_LIGHT_USE_SHADOWMAP: return query.answer(light->use_shadow_maps);
        case miQ_LIGHT_LABEL: return query.answer(light->label);
        case miQ_LIGHT_DATA: return query.answer(light->userdata);
        default: return false;
    }
}

bool answerAboutMaterial(const Query& query) {
    const miTag tag = query.tag == 0 && query.state ? query.state->material : query.tag;
    const auto* material = query.database.as<miMaterial>(tag, miSCENE_MATERIAL);
    if (!material) return false;
    switch (query.code) {
        case miQ_MTL_OPAQUE: return query.answer(material->opaque);
        case miQ_MTL_SHADER: return query.answer(material->shader);
        case miQ_MTL_DISPLACE: return query.answer(material->displace);
        case miQ_MTL_SHADOW: return query.answer(material->shadow);
        case miQ_MTL_VOLUME: return query.answer(material->volume);
        case miQ_MTL_ENVIRONMENT: return query.answer(material->environment);
        case miQ_MTL_CONTOUR: return query.answer(material->contour);
        case miQ_MTL_PHOTON: return query.answer(material->photon);
        case miQ_MTL_PHOTONVOL: return query.answer(material->photonvol);
        case miQ_MTL_LIGHTMAP: return query.answer(material->lightmap);
        default: return false;
    }
}

bool answerAboutData(const Query& query) {
    const auto* data = query.database.as<miUserdata>(query.tag, miSCENE_USERDATA);
    if (!data) return false;
    switch (query.code) {
        case miQ_DATA_PARAM: return query.answer(static_cast<const void*>(data->parameters));
        case miQ_DATA_PARAM_SIZE: return query.answer(data->parameter_size);
        case miQ_DATA_DECL: return query.answer(data->data_decl);
        case miQ_DATA_NEXT: return query.answer(data->next_data);
        case miQ_DATA_LABEL: return query.answer(data->label);
        case miQ_DATA_NEEDSWAP: return query.answer(static_cast<miBoolean>(data->one != 1));
        default: return false;
    }
}

}  // namespace lumorender
