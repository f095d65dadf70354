// Calls that build objects: polygons, hairs, and what stands for them until they are needed.
#include "interface/api_call.h"

#include "geoshader.h"

using namespace lumorender;

namespace {

/// A call on the object that is open.
template <class Call>
miBoolean onObject(const char* function, const Call& call) {
    return building(function, [&](BuildSession& session) { call(session.object()); });
}

miVector narrowed(const miGeoVector& v) {
    return {static_cast<miScalar>(v.x), static_cast<miScalar>(v.y), static_cast<miScalar>(v.z)};
}

}  // namespace

extern "C" {

miObject* mi_api_object_begin(char* name) {
    const std::string taken = takeName(name);
    return recordOf<miObject>("mi_api_object_begin", [&](BuildSession& s) { return s.beginObject(taken); });
}

miTag mi_api_object_end(void) {
    return built<miTag>("mi_api_object_end", [](BuildSession& s) { return s.endObject(); });
}

miBoolean mi_api_object_matrix(miMatrix transform) {
    return onObject("mi_api_object_matrix", [&](ObjectBuilder& o) { o.setTransform(transform); });
}

miBoolean mi_api_object_file(char* file) {
    const std::string taken = file ? file : "";
    releaseHandedOver(file);
    return building("mi_api_object_file", [&](BuildSession& s) { s.setFile(taken); });
}

miBoolean mi_api_object_callback(miApi_object_callback callback, void* parameters) {
    return building("mi_api_object_callback", [&](BuildSession& s) { s.setCallback(callback, parameters); });
}

miBoolean mi_api_object_placeholder_file(char* file) { return mi_api_object_file(file); }

miBoolean mi_api_object_group_begin(double merge) {
    return onObject("mi_api_object_group_begin", [&](ObjectBuilder& o) { o.beginGroup(merge); });
}

miBoolean mi_api_object_group_end(void) {
    return onObject("mi_api_object_group_end", [](ObjectBuilder& o) { o.endGroup(); });
}

miBoolean mi_api_vector_xyz_add(miVector* vector) {
    return onObject("mi_api_vector_xyz_add", [&](ObjectBuilder& o) { o.addVector(*vector); });
}

miBoolean mi_api_geovector_xyz_add(miGeoVector* vector) {
    return onObject("mi_api_geovector_xyz_add", [&](ObjectBuilder& o) { o.addVector(narrowed(*vector)); });
}

miBoolean mi_api_vertex_add(int position) {
    return onObject("mi_api_vertex_add", [&](ObjectBuilder& o) { o.addVertex(position); });
}

miBoolean mi_api_vertex_normal_add(int normal) {
    return onObject("mi_api_vertex_normal_add", [&](ObjectBuilder& o) { o.setNormal(normal); });
}

miBoolean mi_api_vertex_tex_add(int coordinate, int bump_x, int bump_y) {
    return onObject("mi_api_vertex_tex_add", [&](ObjectBuilder& o) { o.addTexture(coordinate, bump_x, bump_y); });
}

miBoolean mi_api_vertex_deriv_add(int du, int dv) {
    const int vectors[] = {du, dv};
    return onObject("mi_api_vertex_deriv_add", [&](ObjectBuilder& o) { o.setDerivatives(0, 2, vectors); });
}

miBoolean mi_api_vertex_deriv2_add(int duu, int dvv, int duv) {
    const int vectors[] = {duu, dvv, duv};
    return onObject("mi_api_vertex_deriv2_add", [&](ObjectBuilder& o) { o.setDerivatives(2, 3, vectors); });
}

miBoolean mi_api_vertex_motion_add(int motion) {
    return onObject("mi_api_vertex_motion_add", [&](ObjectBuilder& o) { o.addMotion(motion); });
}

miBoolean mi_api_vertex_user_add(int user) {
    return onObject("mi_api_vertex_user_add", [&](ObjectBuilder& o) { o.addUser(user); });
}

miBoolean mi_api_poly_begin(int convex, char* material) {
    const bool isGiven = material != nullptr;
    const std::string name = takeName(material);
    return building("mi_api_poly_begin", [&](BuildSession& s) {
        miTag tag = s.object().formerMaterial();
        if (isGiven && !(tag = s.find(name))) refuse("there is no material \"{}\"", name);
        s.object().beginPolygon(convex != 0, tag);
    });
}

miBoolean mi_api_poly_begin_tag(int convex, miTag material_or_label) {
    return onObject("mi_api_poly_begin_tag", [&](ObjectBuilder& o) { o.beginPolygon(convex != 0, material_or_label); });
}

miBoolean mi_api_poly_index_add(int vertex) {
    return onObject("mi_api_poly_index_add", [&](ObjectBuilder& o) { o.addCorner(vertex); });
}

miBoolean mi_api_poly_hole_add(void) {
    return onObject("mi_api_poly_hole_add", [](ObjectBuilder& o) { o.addHole(); });
}

miBoolean mi_api_poly_end(void) {
    return onObject("mi_api_poly_end", [](ObjectBuilder& o) { o.endPolygon(); });
}

miBoolean mi_api_poly_approx(miApprox* approximation) {
    return onObject("mi_api_poly_approx", [&](ObjectBuilder& o) { o.addApproximation(ruleOf(*approximation)); });
}

miHair_list* mi_api_hair_begin(void) {
    return recordOf<miHair_list>("mi_api_hair_begin", [](BuildSession& s) { return s.object().beginHair(); });
}

miBoolean mi_api_hair_info(int place, char kind, int count) {
    return onObject("mi_api_hair_info", [&](ObjectBuilder& o) { o.addHairInfo(place, kind, count); });
}

miScalar* mi_api_hair_scalars_begin(int count) {
    return built<miScalar*>("mi_api_hair_scalars_begin",
                            [&](BuildSession& s) { return s.object().beginScalars(count); });
}

miBoolean mi_api_hair_scalars_end(int used) {
    return onObject("mi_api_hair_scalars_end", [&](ObjectBuilder& o) { o.endScalars(used); });
}

miGeoIndex* mi_api_hair_hairs_begin(int count) {
    return built<miGeoIndex*>("mi_api_hair_hairs_begin", [&](BuildSession& s) { return s.object().beginHairs(count); });
}

miBoolean mi_api_hair_hairs_end(void) {
    return onObject("mi_api_hair_hairs_end", [](ObjectBuilder& o) { o.endHairs(); });
}

miBoolean mi_api_hair_end(void) {
    return onObject("mi_api_hair_end", [](ObjectBuilder& o) { o.endHair(); });
}

}  // extern "C"
