// Calls that build instances, groups, materials, lights and shaders, and edit what is built.
#include "interface/api_call.h"

#include "geoshader.h"
#include "shader.h"

using namespace lumorender;

extern "C" {

miBoolean mi_geoshader_add_result(miTag* result, miTag element) {
    return building("mi_geoshader_add_result", [&](BuildSession& s) { s.addResult(*result, element); });
}

void* mi_scene_edit(miTag element) {
    return built<void*>("mi_scene_edit", [&](BuildSession& s) { return s.edit(element); });
}

void mi_scene_edit_end(miTag element) {
    building("mi_scene_edit_end", [&](BuildSession& s) { s.endEdit(element); });
}

miTag mi_api_name_lookup(char* name) {
    const std::string taken = takeName(name);
    return built<miTag>("mi_api_name_lookup", [&](BuildSession& s) { return s.find(taken); });
}

char* mi_api_tag_lookup(miTag tag) {
    return built<char*>("mi_api_tag_lookup", [&](BuildSession& s) { return mi_mem_strdup(s.nameOf(tag).c_str()); });
}

void mi_api_incremental(miBoolean on) {
    building("mi_api_incremental", [&](BuildSession& s) { s.setIncremental(on != miFALSE); });
}

miInstance* mi_api_instance_begin(char* name) {
    const std::string taken = takeName(name);
    return recordOf<miInstance>("mi_api_instance_begin", [&](BuildSession& s) { return s.beginInstance(taken); });
}

miTag mi_api_instance_end(char* element, miTag geometry_shader, miTag parameters) {
    const std::string taken = takeName(element);
    return built<miTag>("mi_api_instance_end",
                        [&](BuildSession& s) { return s.endInstance(taken, geometry_shader, parameters); });
}

miGroup* mi_api_instgroup_begin(char* name) {
    const std::string taken = takeName(name);
    return recordOf<miGroup>("mi_api_instgroup_begin", [&](BuildSession& s) { return s.beginGroup(taken); });
}

miBoolean mi_api_instgroup_additem(char* instance) {
    const std::string taken = takeName(instance);
    return building("mi_api_instgroup_additem", [&](BuildSession& s) { s.addToGroup(taken); });
}

miBoolean mi_api_instgroup_clear(void) {
    return building("mi_api_instgroup_clear", [](BuildSession& s) { s.clearGroup(); });
}

miTag mi_api_instgroup_end(void) {
    return built<miTag>("mi_api_instgroup_end", [](BuildSession& s) { return s.endGroup(); });
}

miMaterial* mi_api_material_begin(char* name) {
    const std::string taken = takeName(name);
    return recordOf<miMaterial>("mi_api_material_begin", [&](BuildSession& s) { return s.beginMaterial(taken); });
}

miTag mi_api_material_end(void) {
    return built<miTag>("mi_api_material_end", [](BuildSession& s) { return s.endMaterial(); });
}

miLight* mi_api_light_begin(char* name) {
    const std::string taken = takeName(name);
    return recordOf<miLight>("mi_api_light_begin", [&](BuildSession& s) { return s.beginLight(taken); });
}

miTag mi_api_light_end(void) {
    return built<miTag>("mi_api_light_end", [](BuildSession& s) { return s.endLight(); });
}

miBoolean mi_api_function_call(char* declaration) {
    const std::string taken = takeName(declaration);
    return building("mi_api_function_call", [&](BuildSession& s) { s.beginCall(taken); });
}

miBoolean mi_api_parameter_name(char* name) {
    const std::string taken = takeName(name);
    return building("mi_api_parameter_name", [&](BuildSession& s) { s.call().name(taken); });
}

miBoolean mi_api_parameter_value(miParam_type type, void* value, miBoolean* is_null, miTag* tag) {
    const void* given = is_null && *is_null ? nullptr : value;
    return building("mi_api_parameter_value", [&](BuildSession& s) { s.call().value(type, given, tag); });
}

miBoolean mi_api_parameter_shader(char* shader) {
    const std::string taken = takeName(shader);
    return building("mi_api_parameter_shader", [&](BuildSession& s) { s.call().connect(s.find(taken)); });
}

miBoolean mi_api_parameter_push(miBoolean array) {
    return building("mi_api_parameter_push", [&](BuildSession& s) { s.call().push(array != miFALSE); });
}

miBoolean mi_api_parameter_pop(void) {
    return building("mi_api_parameter_pop", [](BuildSession& s) { s.call().pop(); });
}

miTag mi_api_function_call_end(miTag) {
    return built<miTag>("mi_api_function_call_end", [](BuildSession& s) { return s.endCall(); });
}

miTag mi_api_function_assign(char* shader) {
    const std::string taken = takeName(shader);
    return built<miTag>("mi_api_function_assign", [&](BuildSession& s) {
        const miTag tag = s.find(taken);
        if (!tag) refuse("there is no shader \"{}\"", taken);
        return tag;
    });
}

miTag mi_api_function_append(miTag list, miTag next) {
    return built<miTag>("mi_api_function_append", [&](BuildSession& s) { return s.shaderList(list, next); });
}

miBoolean mi_api_shader_add(char* name, miTag shader) {
    const std::string taken = takeName(name);
    return building("mi_api_shader_add", [&](BuildSession& s) { s.nameShader(taken, shader); });
}

miDlist* mi_api_dlist_create(int type) {
    return built<miDlist*>("mi_api_dlist_create", [&](BuildSession& s) { return s.newList(type); });
}

miBoolean mi_api_dlist_add(miDlist* list, void* item) {
    return building("mi_api_dlist_add", [&](BuildSession& s) { s.addToList(list, item); });
}

miTag mi_api_taglist(miDlist* list) {
    return built<miTag>("mi_api_taglist", [&](BuildSession& s) { return s.storeList(list); });
}

}  // extern "C"
