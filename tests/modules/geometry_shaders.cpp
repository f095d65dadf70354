// Geometry shaders: a box, hair, nested instances with a light and materials, a forest, and one that does all wrong.
#include "test_shader.h"

#include "geoshader.h"
#include "mi/camera.h"
#include "mi_shader_if.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

static char* text(const char* name) { return mi_mem_strdup(name); }

static void see(miObject* object) {
    object->visible = miTRUE;
    object->shadow = object->reflection = object->refraction = object->finalgather = 3;
}

static void vectors(std::initializer_list<miVector> all) {
    for (miVector v : all) mi_api_vector_xyz_add(&v);
}

/// From -1 to 1, with texture coordinates across every side.
static void addBox(miTag material) {
    mi_api_object_group_begin(0);
    vectors({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
    for (int i = 0; i < 8; ++i) vectors({{i & 1 ? 1.f : -1.f, i & 2 ? 1.f : -1.f, i & 4 ? 1.f : -1.f}});
    const int sides[6][4] = {{1, 0, 2, 3}, {4, 5, 7, 6}, {0, 1, 5, 4}, {3, 2, 6, 7}, {5, 1, 3, 7}, {0, 4, 6, 2}};
    for (int side = 0; side < 6; ++side)
        for (int k = 0; k < 4; ++k) {
            mi_api_vertex_add(4 + sides[side][k]);
            mi_api_vertex_tex_add(k, -1, -1);
        }
    for (int side = 0; side < 6; ++side) {
        mi_api_poly_begin_tag(1, material);
        for (int k = 0; k < 4; ++k) mi_api_poly_index_add(4 * side + k);
        mi_api_poly_end();
    }
    mi_api_object_group_end();
}

struct Geo {
    miTag material;
};

TEST_SHADER(geo_box, Geo) {
    see(mi_api_object_begin(text("box of a shader")));
    addBox(VALUE(material));
    return mi_geoshader_add_result(reinterpret_cast<miTag*>(result), mi_api_object_end());
}

/// A straight hair along y at the given x, half as wide at its top.
TEST_SHADER(geo_hair, Geo) {
    see(mi_api_object_begin(nullptr));
    miHair_list* hair = mi_api_hair_begin();
    hair->material = VALUE(material);
    mi_api_hair_info(1, 'r', 1);
    const miScalar numbers[] = {0, -4, 0, .5f, 0, 4, 0, .25f};
    std::memcpy(mi_api_hair_scalars_begin(20), numbers, sizeof numbers);
    mi_api_hair_scalars_end(8);
    miGeoIndex* offsets = mi_api_hair_hairs_begin(2);
    offsets[0] = 0;
    offsets[1] = 8;
    mi_api_hair_hairs_end();
    mi_api_hair_end();
    return mi_geoshader_add_result(reinterpret_cast<miTag*>(result), mi_api_object_end());
}

static void place(miInstance* instance, miScalar x, miScalar y, miScalar z) {
    const miScalar back[] = {-x, -y, -z};
    std::memcpy(instance->tf.global_to_local + 12, back, sizeof back);
}

struct Nested {
    miTag texture;  // a shader whose color the boxes have
    miScalar red, by;
};

static miTag newMaterial(const Nested& given) {
    mi_api_function_call(text("plain_products"));
    miColor colors[] = {{given.red, .5f, .5f, 1}, {1, 1, .5f, 1}};
    for (int i = 0; i < 2; ++i) {
        mi_api_parameter_name(text(i ? "b" : "a"));
        mi_api_parameter_push(miTRUE);
        mi_api_parameter_value(miTYPE_COLOR, &colors[i], nullptr, nullptr);
        if (given.texture) mi_api_parameter_shader(mi_api_tag_lookup(given.texture));
        mi_api_parameter_pop();
    }
    miMaterial* material = mi_api_material_begin(nullptr);
    material->shader = mi_api_function_call_end(0);
    return mi_api_material_end();
}

/// A box of each of two materials in a group that stands to the left and one to the right, which is made by geo_box.
TEST_SHADER(geo_nested, Nested) {
    const Nested given{VALUE(texture), VALUE(red), VALUE(by)};
    see(mi_api_object_begin(text("nested")));
    addBox(0);
    mi_api_object_end();

    miDlist* materials = mi_api_dlist_create(miDLIST_TAG);
    mi_api_dlist_add(materials, reinterpret_cast<void*>(std::uintptr_t{newMaterial(given)}));
    miInstance* left = mi_api_instance_begin(text("left"));
    left->material = mi_api_taglist(materials);
    mi_api_instance_end(text("nested"), 0, 0);
    mi_api_instgroup_begin(text("pair"));
    mi_api_instgroup_additem(text("left"));
    const miTag pair = mi_api_instgroup_end();
    place(mi_api_instance_begin(text("moved")), -given.by, 0, 0);
    const miTag moved = mi_api_instance_end(mi_api_tag_lookup(pair), 0, 0);

    mi_api_function_call(text("geo_box"));
    const miTag shader = mi_api_function_call_end(0);
    miInstance* right = mi_api_instance_begin(nullptr);
    place(right, given.by, 0, 0);
    right->material = newMaterial(given);
    const miTag made = mi_api_instance_end(nullptr, shader, 0);
    auto* answer = reinterpret_cast<miTag*>(result);
    HOLDS(mi_api_name_lookup(text("nested")) && !mi_api_name_lookup(text("nobody")));

    // A second one, which edits what is there.
    auto* edited = static_cast<miInstance*>(mi_scene_edit(made));
    edited->visible = miTRUE;
    mi_scene_edit_end(made);
    return mi_geoshader_add_result(answer, moved) && mi_geoshader_add_result(answer, made);
}

// ---- Geometry that comes when it is needed.

struct Forest {
    miInteger rows;
    miScalar distance;
    miInteger wrong;
};

static miBoolean buildTree(miTag object, void* parameters) {
    const int wrong = static_cast<Forest*>(parameters)->wrong;
    if (wrong == 2) throw std::runtime_error("thrown in the callback");
    if (wrong == 3) return miFALSE;
    if (wrong == 4) return mi_api_instance_begin(nullptr) != nullptr && mi_api_instance_end(nullptr, 0, 0) != 0;
    see(mi_api_object_begin(mi_api_tag_lookup(object)));
    addBox(0);
    return mi_api_object_end() != 0;
}

/// Rows x rows objects of their own, each behind a box of half width 1 (or of a part of that, which is wrong).
TEST_SHADER(geo_forest, Forest) {
    const int rows = VALUE(rows);
    const miScalar size = VALUE(wrong) == 1 ? .5f : 1.f;
    for (int i = 0; i < rows * rows; ++i) {
        char name[40];
        std::snprintf(name, sizeof name, "tree %d", i);
        miObject* tree = mi_api_object_begin(text(name));
        see(tree);
        tree->bbox_min = {-size, -size, -size};
        tree->bbox_max = {size, size, size};
        mi_api_object_callback(buildTree, paras);
        mi_api_object_end();
        const auto at = [&](int n) {
            return VALUE(distance) * (static_cast<miScalar>(n) - .5f * static_cast<miScalar>(rows - 1));
        };
        place(mi_api_instance_begin(nullptr), at(i % rows), at(i / rows), 0);
        mi_geoshader_add_result(reinterpret_cast<miTag*>(result), mi_api_instance_end(text(name), 0, 0));
    }
    return miTRUE;
}

struct Wrong {
    miInteger how;
};

TEST_SHADER(geo_wrong, Wrong) {
    auto* answer = reinterpret_cast<miTag*>(result);
    miVector corner = {0, 0, 0};
    switch (VALUE(how)) {
        case 0:
            mi_api_vector_xyz_add(&corner);
            mi_api_object_end();
            mi_api_hair_begin()->degree = 7;
            mi_api_hair_scalars_begin(3);
            mi_api_instance_end(nullptr, 0, 0);
            mi_api_parameter_name(text("nothing"));
            mi_api_instance_begin(text("i"));
            mi_api_instance_end(text("nobody"), 0, 0);
            mi_api_function_call(text("nobody"));
            mi_geoshader_add_result(answer, 1000000);
            break;
        case 1:
            mi_api_object_begin(text("broken"));
            mi_api_vertex_add(0);
            vectors({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
            mi_api_vertex_normal_add(1);
            for (int i : {0, 1, 2, 3, -1}) mi_api_vertex_add(i);
            mi_api_poly_index_add(0);
            mi_api_poly_begin(1, text("no material"));
            mi_api_poly_begin_tag(1, 0);
            mi_api_poly_index_add(0);
            mi_api_poly_hole_add();
            mi_api_poly_index_add(8);
            mi_api_poly_end();
            mi_geoshader_add_result(answer, mi_api_object_end());
            break;
        case 2:
            mi_api_object_begin(text("hairy"));
            mi_api_hair_begin()->degree = 3;
            mi_api_hair_scalars_begin(12);
            mi_api_hair_scalars_end(13);
            mi_api_hair_scalars_end(12);
            mi_api_hair_info(0, 'r', 1);
            mi_api_hair_hairs_begin(2)[1] = 9;
            mi_api_hair_hairs_end();
            mi_api_hair_end();
            break;
        case 3:
            mi_api_function_call(text("plain_products"));
            mi_api_parameter_name(text("c"));
            mi_api_parameter_name(text("a"));
            mi_api_parameter_value(miTYPE_COLOR, &corner, nullptr, nullptr);
            mi_api_parameter_push(miTRUE);
            mi_api_parameter_value(miTYPE_SCALAR, &corner, nullptr, nullptr);
            mi_api_function_call_end(0);
            break;
        default: throw std::runtime_error("thrown in the shader");
    }
    return miTRUE;
}

/// A material shader that builds.
TEST_SHADER(geo_late, void) {
    mi_api_object_begin(nullptr)->visible = miTRUE;
    *result = {1, 0, 0, 1};
    return miTRUE;
}

// ---- Free-form surfaces.

struct Bowl {
    miTag material;
    miInteger wrong;
};

static miDlist* numbers(std::initializer_list<miScalar> all) {
    miDlist* list = mi_api_dlist_create(miDLIST_SCALAR);
    for (miScalar number : all) mi_api_dlist_add(list, &number);
    return list;
}

/// z = (x^2 + y^2) / 8 - 5 in two pieces along x, with a texture of its own, and a line across it that edges lie on.
TEST_SHADER(geo_bowl, Bowl) {
    const int wrong = VALUE(wrong);
    see(mi_api_object_begin(text("bowl_o")));
    mi_api_basis_add(text("q"), miFALSE, miBASIS_BSPLINE, 2, 0, nullptr);
    mi_api_basis_add(text("b"), miFALSE, miBASIS_BEZIER, wrong == 1 ? 31 : 2, 0, nullptr);
    mi_api_basis_add(text("l"), miFALSE, miBASIS_BEZIER, 1, 0, nullptr);
    mi_api_object_group_begin(0);
    for (miScalar y : {-4.f, 0.f, 4.f})
        for (miScalar x : {-4.f, -2.f, 2.f, 4.f})
            vectors({{x, y, (x * x > 5 ? 16.f : 0.f) / 8 + (y == 0 ? -16.f : 16.f) / 8 - 5}});
    vectors({{1, 0, 0}, {0, 0, 0}, {1, 1, 0}, {0, 1, 0}, {.25f, 0, 0}, {.75f, 1, 0}});
    for (int i = 0; i < 18; ++i) mi_api_vertex_add(i);
    if (wrong == 2) mi_api_curve_begin(text("open"), text("nobody"), miFALSE);
    mi_api_curve_begin(text("across"), text("l"), miFALSE);
    for (int i : {16, 17}) mi_api_vertex_ref_add(i, wrong == 3 ? -1 : 1);
    mi_api_curve_end(numbers({0, 1}));
    mi_api_surface_begin_tag(text("s"), VALUE(material));
    mi_api_surface_params(miFALSE, text("q"), 0, 1, numbers({0, 0, 0, .5f, 1, 1, 1}), miFALSE);
    mi_api_surface_params(miTRUE, text("b"), 0, 1, numbers({0, wrong == 4 ? -1.f : 1.f}), miFALSE);
    for (int i = 0; i < (wrong == 5 ? 11 : 12); ++i) mi_api_vertex_ref_add(i, 1);
    mi_api_surface_texture_begin(miFALSE);
    for (miBoolean v : {miFALSE, miTRUE}) mi_api_surface_params(v, text("l"), 0, 1, numbers({0, 1}), miFALSE);
    for (int i : {12, 13, 14, 15}) mi_api_vertex_ref_add(i, 1);
    if (wrong == 6) mi_api_surface_curve_seg(miTRUE, miCURVE_TRIM, text("nobody"), 0, 1);
    mi_api_surface_curve_seg(miTRUE, miCURVE_SPECIAL, text("across"), 0, 1);
    mi_api_surface_end();
    miApprox rule;
    miAPPROX_DEFAULT(rule);
    rule.method = miAPPROX_LDA;
    rule.view_dep = 1;
    rule.cnst[miCNST_DISTANCE] = .0002f;
    rule.subdiv[miMAX] = 9;
    mi_api_surface_approx(&rule);
    mi_api_object_group_end();
    return mi_geoshader_add_result(reinterpret_cast<miTag*>(result), mi_api_object_end());
}

// ---- Parameters that instances have.

struct Tint {
    miColor tint;
};

TEST_SHADER(geo_inherit, Tint) { return miTRUE; }

/// What the instance has.
TEST_SHADER(geo_tinted, void) {
    const Tint* tint = nullptr;
    int size = 0;
    HOLDS(mi_query(miQ_INST_PARAM_SIZE, state, state->instance, &size) && size == sizeof(Tint));
    if (mi_query(miQ_INST_PARAM, state, state->instance, &tint)) *result = tint->tint;
    return miTRUE;
}

/// A box whose instance has a color.
TEST_SHADER(geo_with_tint, Geo) {
    see(mi_api_object_begin(text("tinted box")));
    addBox(VALUE(material));
    mi_api_object_end();
    mi_api_function_call(text("geo_inherit"));
    mi_api_parameter_name(text("tint"));
    miColor tint = {.25f, .5f, .75f, 1};
    mi_api_parameter_value(miTYPE_COLOR, &tint, nullptr, nullptr);
    const miTag parameters = mi_api_function_call_end(0);
    mi_api_instance_begin(nullptr);
    return mi_geoshader_add_result(reinterpret_cast<miTag*>(result),
                                   mi_api_instance_end(text("tinted box"), 0, parameters));
}

// ---- Frame buffers.

/// In place of "spare" there is "made" afterwards, of one channel.
TEST_SHADER(geo_buffers, void) {
    const mi::shader::Edit_fb buffers(state->camera->buffertag);
    HOLDS(buffers->remove("spare") && !buffers->remove("spare") && !buffers->remove(nullptr));
    HOLDS(buffers->set("made", "datatype", "s_fp") && !buffers->set("made", "datatype", "s_many"));
    HOLDS(buffers->set("made", "user", true) && buffers->set("made", "filename", "out.exr"));
    HOLDS(buffers->set("made", "quality", 70) && !buffers->set("made", "shape", 1) && !buffers->set("", "user", true));
    int quality = 0;
    float dpi = 0;
    HOLDS(buffers->get("made", "quality", quality) && quality == 70 && !buffers->get("made", "shape", quality));
    HOLDS(buffers->set("made", "dpi", 72.f) && buffers->get("made", "dpi", dpi) && dpi == 72);
    return miTRUE;
}

struct Late {
    miScalar value;
};

/// A surface, to which it is too late to change any.
TEST_SHADER(made_buffer, Late) {
    const mi::shader::Edit_fb buffers(state->camera->buffertag);
    std::size_t index = 0;
    HOLDS(!buffers->set("made", "user", false) && buffers->get_index("made", index) && index == 1);
    HOLDS(mi_fb_put(state, static_cast<int>(index), &VALUE(value)));
    return miTRUE;
}
