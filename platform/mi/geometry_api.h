/* Building scene elements by calls: what geometry shaders, and callbacks of objects, do. */
#pragma once

#include <string.h>

#include "codes.h"
#include "instance.h"
#include "light.h"
#include "material.h"
#include "object.h"
#include "options.h"
#include "types.h"

/*
 * Signatures are known from use. The calls of an element come between its begin and its end, in the order in which the
 * scene language has the same things. Names that are handed over come from mi_mem_strdup and belong to the callee from
 * then on. Records that begin returns may be changed up to end, with the defaults of the scene language before.
 * Functions that return miBoolean answer miFALSE, after a message with the shader's name, where a call is out of order
 * or an index out of range; what returns a tag answers 0 then. Calls outside of geometry shaders and callbacks do
 * nothing else. Each thread builds for itself.
 */

/* Settings of a hair object. Known from use by name; the order of the members is ours. */
typedef struct miHair_list {
    miTag material;  /* 0 = inherited from the instance */
    miScalar radius; /* of hairs and vertices that give none */
    miUint approx;   /* straight parts that a curved piece is drawn with, at least */
    miUint degree;   /* 1 to 3 */
    miUint max_size;
    miUint max_depth;
} miHair_list;

/* A group's record has nothing to be set. */
typedef struct miGroup {
    miUint label;
    miTag userdata;
} miGroup;

/* A list that grows. What is added is a tag in the place of a pointer, or the address of a miScalar or miGeoScalar. */
typedef struct miDlist miDlist;
enum { miDLIST_TAG = 1, miDLIST_SCALAR, miDLIST_GEOSCALAR };

/* Polynomial bases, and what curves of a surface do to it. Known from use by name; the numbers are ours. */
typedef enum { miBASIS_BEZIER, miBASIS_BSPLINE, miBASIS_CARDINAL, miBASIS_TAYLOR, miBASIS_MATRIX } miBasis_type;
typedef enum { miCURVE_TRIM, miCURVE_HOLE, miCURVE_SPECIAL } miCurve_type;

/* Of miApprox: its method, its style, and what its constants are. Known from use by name; the numbers are ours. All
   constants above 0 count, whatever the method; triangles are halved at their edges in every style. */
typedef enum {
    miAPPROX_PARAMETRIC,         /* parts of each piece of a surface */
    miAPPROX_REGULAR_PARAMETRIC, /* of the whole surface */
    miAPPROX_SPATIAL,
    miAPPROX_CURVATURE,
    miAPPROX_LDA /* length, distance and angle */
} miApprox_method;
typedef enum {
    miAPPROX_STYLE_NONE,
    miAPPROX_STYLE_GRID,
    miAPPROX_STYLE_TREE,
    miAPPROX_STYLE_DELAUNAY,
    miAPPROX_STYLE_FINE,
    miAPPROX_STYLE_FINE_NOSMOOTHING
} miApprox_style;
enum { miCNST_UPARAM, miCNST_VPARAM, miCNST_LENGTH, miCNST_DISTANCE, miCNST_ANGLE };
enum { miMIN, miMAX }; /* of miApprox.subdiv; beside the macros of these names, which have arguments */

/* What a scene's statement without limits says. */
#define miAPPROX_DEFAULT(approximation)                                                \
    (memset(&(approximation), 0, sizeof(miApprox)), (approximation).subdiv[miMAX] = 5, \
     (approximation).method = miAPPROX_PARAMETRIC)

miBEGIN_C

/* --- results: the only functions of these that may be called for elements which were finished before --- */

/* Adds an object, light, instance or group to what the geometry shader returns. */
miBoolean mi_geoshader_add_result(miTag* result, miTag element);

/* The record of an element, to be changed until the end of editing: flags, boxes, transforms, materials. */
void* mi_scene_edit(miTag element);
void mi_scene_edit_end(miTag element);

/* --- names: miNULLTAG where there is no such element; the name of a tag belongs to the caller, who hands it over --- */

miTag mi_api_name_lookup(char* name);
char* mi_api_tag_lookup(miTag tag);
void mi_api_incremental(miBoolean on); /* begin changes an element of the name, where there is one */

/* --- objects --- */

miObject* mi_api_object_begin(char* name); /* the name may be null */
miTag mi_api_object_end(void);
miBoolean mi_api_object_matrix(miMatrix transform); /* baked into the geometry */

/* Geometry that comes when a ray meets the box (bbox_min, bbox_max of the record), or at once without a box: from the
   object of a scene file, or built between object_begin and object_end by the callback, on any render thread. */
miBoolean mi_api_object_file(char* file);
miBoolean mi_api_object_placeholder_file(char* file); /* the same as object_file */
miBoolean mi_api_object_callback(miApi_object_callback callback, void* parameters);

miBoolean mi_api_object_group_begin(double merge); /* borders of surfaces that are as near become one line */
miBoolean mi_api_object_group_end(void);
miBoolean mi_api_vector_xyz_add(miVector* vector);
miBoolean mi_api_geovector_xyz_add(miGeoVector* vector);
miBoolean mi_api_vertex_add(int position); /* the numbers are those of vectors; -1 = none */
miBoolean mi_api_vertex_normal_add(int normal);
miBoolean mi_api_vertex_tex_add(int coordinate, int bump_x, int bump_y);
miBoolean mi_api_vertex_deriv_add(int du, int dv);
miBoolean mi_api_vertex_deriv2_add(int duu, int dvv, int duv);
miBoolean mi_api_vertex_motion_add(int motion);
miBoolean mi_api_vertex_user_add(int user);
miBoolean mi_api_poly_begin(int convex, char* material); /* null = that of the polygon before */
miBoolean mi_api_poly_begin_tag(int convex, miTag material_or_label);
miBoolean mi_api_poly_index_add(int vertex);
miBoolean mi_api_poly_hole_add(void);
miBoolean mi_api_poly_end(void);
miBoolean mi_api_poly_approx(miApprox* approximation);

/* Curves and surfaces, behind the vertices of the group, which are their control points: lists hold parameters. The
   control points of a surface follow its two directions; then those of each texture or motion that is begun. Their
   arguments are ours, known from use by name only. */
miBoolean mi_api_basis_list_clear(void);
miBoolean mi_api_basis_add(char* name, miBoolean rational, miBasis_type type, int degree, int step, miDlist* matrix);
miBoolean mi_api_vertex_ref_add(int vertex, double weight); /* a control point of what is open; weight 1 counts once */
miBoolean mi_api_curve_begin(char* name, char* basis, miBoolean rational);
miBoolean mi_api_curve_end(miDlist* parameters);
miBoolean mi_api_surface_begin(char* name, char* material); /* null = that of the instance */
miBoolean mi_api_surface_begin_tag(char* name, miTag material_or_label);
miBoolean mi_api_surface_params(miBoolean is_v, char* basis, miScalar low, miScalar high, miDlist* parameters,
                                miBoolean rational);
miBoolean mi_api_surface_derivative(int order);
miBoolean mi_api_surface_texture_begin(miBoolean is_volume);
miBoolean mi_api_surface_motion_begin(void);
miBoolean mi_api_surface_curve_seg(miBoolean new_loop, miCurve_type type, char* curve, miScalar low, miScalar high);
miBoolean mi_api_surface_end(void);
miBoolean mi_api_surface_approx(miApprox* approximation); /* of all surfaces of the object, as poly_approx */

/* Info says what hairs (place 0) and vertices (1) have besides positions, in this order: n, m, t, u, r and how many. */
miHair_list* mi_api_hair_begin(void);
miBoolean mi_api_hair_info(int place, char kind, int count);
miScalar* mi_api_hair_scalars_begin(int count);
miBoolean mi_api_hair_scalars_end(int used);
miGeoIndex* mi_api_hair_hairs_begin(int count); /* offsets into the scalars, with the end of the last hair */
miBoolean mi_api_hair_hairs_end(void);
miBoolean mi_api_hair_end(void);

/* --- instances and groups --- */

miInstance* mi_api_instance_begin(char* name);
/* Of the named element, or of what a geometry shader makes; parameters are those of a call of the inheritance function,
   or 0. */
miTag mi_api_instance_end(char* element, miTag geometry_shader, miTag parameters);
miGroup* mi_api_instgroup_begin(char* name);
miBoolean mi_api_instgroup_additem(char* instance);
miBoolean mi_api_instgroup_clear(void);
miTag mi_api_instgroup_end(void);

/* --- shaders, materials, lights --- */

miBoolean mi_api_function_call(char* declaration);
miBoolean mi_api_parameter_name(char* name);
/* By the type: numbers, vectors, colors and matrices; for texts, and for all that has a name, the name. */
miBoolean mi_api_parameter_value(miParam_type type, void* value, miBoolean* is_null, miTag* tag);
miBoolean mi_api_parameter_shader(char* shader);  /* the value comes from this shader */
miBoolean mi_api_parameter_push(miBoolean array); /* values of an array, or members of a struct, follow */
miBoolean mi_api_parameter_pop(void);
miTag mi_api_function_call_end(miTag unused);
miTag mi_api_function_assign(char* shader);           /* a named one */
miTag mi_api_function_append(miTag list, miTag next); /* a list of both */
miBoolean mi_api_shader_add(char* name, miTag shader);
miMaterial* mi_api_material_begin(char* name);
miTag mi_api_material_end(void);
miLight* mi_api_light_begin(char* name);
miTag mi_api_light_end(void);

/* Lists of tags: miInstance.material may be one, by polygon label. */
miDlist* mi_api_dlist_create(int type);
miBoolean mi_api_dlist_add(miDlist* list, void* item);
miTag mi_api_taglist(miDlist* list);

miEND_C
