/* The functions that the host exports to shader modules, resolved by name when a module is loaded. */
#pragma once

#include "codes.h"
#include "option_records.h"
#include "photon_functions.h"
#include "state.h"
#include "types.h"

/*
 * All of them may be called from any render thread unless a comment says otherwise. Points and vectors are in internal
 * space. Functions that return miBoolean return miTRUE for success, and leave the result alone on failure unless said.
 */

/* Lets the compiler check the arguments of a message against its format. */
#define miPRINTF(format_index) __attribute__((format(printf, format_index, format_index + 1)))

miBEGIN_C

/* --- database: access pins an element in memory, every access needs its unpin --- */

const void* mi_db_access(miTag tag);
void* mi_db_access_type(int* type, miTag tag); /* also tells the miScene_types code */
void mi_db_unpin(miTag tag);
int mi_db_type(miTag tag);                          /* miScene_types code, without pinning */
miUint mi_db_size(miTag tag);                       /* bytes */
miBoolean mi_db_isjob(miTag tag);                   /* true while the content is yet to be computed */
void* mi_db_create(miTag* tag, int type, int size); /* new element, pinned */
void* mi_db_realloc(miTag tag, miUint size);
void mi_db_delete(miTag tag);

/* --- locks and abortion --- */

miBoolean mi_init_lock(miLock* lock);
void mi_delete_lock(miLock* lock);
void mi_lock(miLock lock); /* waits; not recursive */
void mi_unlock(miLock lock);
miBoolean mi_trylock(miLock lock); /* true when the lock was free and is now held */
int mi_par_aborted(void);          /* non-zero when the render is being stopped */
void mi_abort(void);

/* Known from use only: blocks for each thread are as many as threads, found by the number of the one that asks. */
miVpu mi_par_localvpu(void);           /* the thread that calls */
int mi_par_nthreads(void);             /* how many threads a render has, also in its init shaders; at least 1 */
#define miTHREAD(vpu) ((vpu) & 0xffff) /* from 0, less than mi_par_nthreads; the same as miState.thread */

/* --- memory: use the macros mi_mem_allocate and so on, which fill in file and line --- */

/* Zeroed, and never null; the test forms return null when memory is short. Slow: they take a lock. */
void* mi_mem_int_allocate(const char* file, int line, miUint size);
void* mi_mem_int_allocate_sizet(const char* file, int line, size_t size);
void* mi_mem_int_test_allocate(const char* file, int line, miUint size);

/* The added part is zeroed. */
void* mi_mem_int_reallocate(const char* file, int line, void* memory, miUint size);
void* mi_mem_int_reallocate_sizet(const char* file, int line, void* memory, size_t size);
void* mi_mem_int_test_reallocate(const char* file, int line, void* memory, miUint size);
void mi_mem_int_release(const char* file, int line, void* memory);
char* mi_mem_int_strdup(const char* file, int line, const char* string);

/* Arena of blocks of one size, up to about 4000 bytes. The f forms neither zero nor lock: one thread per arena. */
miMemblk* mi_mem_int_blkcreate(const char* file, int line, int size);
void mi_mem_blkdelete(miMemblk* arena);
void mi_mem_blkclear(miMemblk* arena);
void* mi_mem_blkallocate(miMemblk* arena);
void* mi_mem_blkfallocate(miMemblk* arena);
void mi_mem_blkrelease(miMemblk* arena, void* block);
void mi_mem_blkfrelease(miMemblk* arena, void* block);
void mi_mem_blkenumerate(miMemblk* arena, void (*callback)(void* block));

/* --- parameters, calls of other shaders, queries --- */

/* Value of a connected parameter, given its address in the original block of state->shader; see mi_eval. */
void* mi_phen_eval(miState* state, void* parameter);
void* mi_phen_call(miState* state, void* parameter); /* the same, but never from the cache */

/* Run a shader by tag in the caller's state; false when it returned false. The argument arrives as the fourth one. */
miBoolean mi_call_shader(miColor* result, miShader_type type, miState* state, miTag shader);
miBoolean mi_call_shader_x(miColor* result, miShader_type type, miState* state, miTag shader, void* argument);

/* Run the shader of the state's material in the named role. */
miBoolean mi_call_material(miColor* result, miState* state);
miBoolean mi_call_photon_material(miColor* result, miState* state);
miBoolean mi_call_shadow_material(miColor* result, miState* state);
miBoolean mi_call_environment_material(miColor* result, miState* state);
miBoolean mi_call_volume_material(miColor* result, miState* state);
miBoolean mi_call_photonvol_material(miColor* result, miState* state);

void mi_flush_cache(miState* state); /* forgets values of connected parameters */

/* Answers a question about state or element; false when there is no answer. The code fixes the type of the result. */
miBoolean mi_query(miQ_type code, miState* state, miTag tag, void* result, ...);

/* Entries by name that travel with the state. Set copies the value; null or size 0 removes the entry. */
miBoolean mi_shaderstate_set(miState* state, const char* key, void* value, int size, int lifetime);
void* mi_shaderstate_get(miState* state, const char* key, int* size); /* the stored copy or null; size may be null */
void mi_shaderstate_enumerate(miState* state,
                              miBoolean (*callback)(void* argument, char* key, void* value, int size, int lifetime),
                              void* argument);

/* --- tracing: true when a shader that was called returned true; the child state is then at state->child --- */

miBoolean mi_trace_eye(miColor* result, miState* state, const miVector* origin, const miVector* dir); /* lens */
/* Lens shaders call it when they turned the direction by the matrix: what a pixel covers of textures turns with it. */
void mi_ray_differential_transform(miState* state, const miMatrix matrix);
miBoolean mi_trace_reflection(miColor* result, miState* state, const miVector* dir); /* from state->point */
miBoolean mi_trace_refraction(miColor* result, miState* state, const miVector* dir);
miBoolean mi_trace_environment(miColor* result, miState* state, const miVector* dir); /* preset the result */
miBoolean mi_trace_transparent(miColor* result, miState* state); /* straight on, one level deeper */
miBoolean mi_trace_continue(miColor* result, miState* state);    /* as if this hit did not exist, same level */
miBoolean mi_trace_probe(miState* state, const miVector* dir, const miVector* origin); /* no shader; true = hit */
miBoolean mi_trace_probe_x(miState* state, const miVector* dir, const miVector* origin, miUint flag);

/* Filter the light color in the result by the occluders, from light shaders; false = fully blocked. */
miBoolean mi_trace_shadow(miColor* result, miState* state);
miBoolean mi_trace_shadow_seg(miColor* result, miState* state); /* next segment, from shadow shaders */
miBoolean mi_continue_shadow_seg(miColor* result, miState* state);

/* --- lights --- */

/*
 * One sample of a light per call; loop while true, with *samples 0 before the loop and as divisor after it. The
 * direction leads from the point to the light; direction and cosine may be null.
 */
miBoolean mi_sample_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state, miTag light_instance,
                          int* samples);
miBoolean mi_trace_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state, miTag light_instance);

/* Lights that apply here, as light instances: what the shader names, all others, what the instance names. Read-only. */
miBoolean mi_inclusive_lightlist(int* n, miTag** lights, miState* state);
miBoolean mi_exclusive_lightlist(int* n, miTag** lights, miState* state);
miBoolean mi_instance_lightlist(int* n, miTag** lights, miState* state);
int mi_global_lights_info(miTag** lights); /* their number */
/* Origin and direction as the light has them, in its own space, also of an instance; as mi_query answers. */
void mi_light_info(miTag light, miVector* origin, miVector* dir, void** parameters);

miScalar mi_lightprofile_sample(miState* state, miTag profile, miBoolean relative);
miScalar mi_lightprofile_value(const void* profile, miScalar phi, miScalar cos_theta, const miVector* position,
                               miBoolean relative);

/* --- opacity, indirect light, occlusion --- */

void mi_opacity_set(miState* state, const miColor* opacity); /* the last call wins */
miBoolean mi_opacity_get(miState* state, miColor* opacity);  /* true when it was set before */

/* Irradiance, and radiance averaged over the hemisphere (irradiance / pi), on side 'f' or 'b'; options may be null. */
miBoolean mi_compute_irradiance(miColor* result, miState* state);
miBoolean mi_compute_irradiance_backside(miColor* result, miState* state);
miBoolean mi_compute_avg_radiance(miColor* result, miState* state, miUchar face, miIrrad_options* options);
miBoolean mi_finalgather_store(miColor* irradiance, miState* state, int mode); /* miFg_store */

/* 0 open to 1 occluded; the mean unoccluded direction is written to bent_normal unless null. */
miScalar mi_ambient_occlusion(miState* state, miAmboccl_options* options, miVector* bent_normal);

/* --- directions and reflection models --- */

void mi_reflection_dir(miVector* dir, miState* state);
miBoolean mi_refraction_dir(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out); /* false: total */

/* Random directions; the _x forms take the two random numbers from the caller. */
void mi_reflection_dir_specular(miVector* dir, miState* state);
void mi_reflection_dir_glossy(miVector* dir, miState* state, miScalar shiny);
void mi_reflection_dir_glossy_x(miVector* dir, miState* state, miScalar shiny, double sample[2]);
void mi_reflection_dir_anisglossy(miVector* dir, miState* state, miVector* u, miVector* v, miScalar shiny_u,
                                  miScalar shiny_v);
void mi_reflection_dir_anisglossy_x(miVector* dir, miState* state, miVector* u, miVector* v, miScalar shiny_u,
                                    miScalar shiny_v, double sample[2]);
void mi_reflection_dir_diffuse(miVector* dir, miState* state);
void mi_reflection_dir_diffuse_x(miVector* dir, miState* state, double sample[2]);

miBoolean mi_transmission_dir_specular(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out);
miBoolean mi_transmission_dir_glossy(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out, miScalar shiny);
miBoolean mi_transmission_dir_glossy_x(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out, miScalar shiny,
                                       double sample[2]);
miBoolean mi_transmission_dir_anisglossy(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out, miVector* u,
                                         miVector* v, miScalar shiny_u, miScalar shiny_v);
miBoolean mi_transmission_dir_anisglossy_x(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out,
                                           miVector* u, miVector* v, miScalar shiny_u, miScalar shiny_v,
                                           double sample[2]);
miBoolean mi_transmission_dir_diffuse(miVector* dir, miState* state);
miBoolean mi_transmission_dir_diffuse_x(miVector* dir, miState* state, double sample[2]);

/* Reflected fraction; t1 and t2 are the cosines of the angles in the two media. */
miScalar mi_fresnel(miScalar n1, miScalar n2, miScalar t1, miScalar t2);
miScalar mi_fresnel_reflection(miState* state, miScalar ior_in, miScalar ior_out);

/* Strength of the highlight of a light in direction dir, from the point. */
miScalar mi_phong_specular(miScalar exponent, miState* state, const miVector* dir);

/* The same for an incoming and an outgoing direction at a normal. */
miScalar mi_blinn_specular(const miVector* in, const miVector* out, const miVector* normal, miScalar roughness,
                           miScalar ior);
miBoolean mi_cooktorr_specular(miColor* result, const miVector* in, const miVector* out, const miVector* normal,
                               miScalar roughness, const miColor* ior);
miScalar mi_ward_glossy(const miVector* in, const miVector* out, const miVector* normal, miScalar shiny);
miScalar mi_ward_anisglossy(const miVector* in, const miVector* out, const miVector* normal, const miVector* u,
                            const miVector* v, miScalar shiny_u, miScalar shiny_v);

/* --- textures: the tag is an image or a texture shader; coordinates 0 to 1 span the image --- */

miBoolean mi_lookup_color_texture(miColor* result, miState* state, miTag texture, miVector* coord);
miBoolean mi_lookup_scalar_texture(miScalar* result, miState* state, miTag texture, miVector* coord);
miBoolean mi_lookup_vector_texture(miVector* result, miState* state, miTag texture, miVector* coord);
miBoolean mi_lookup_color_texture_x(miColor* result, miState* state, miTag texture, miVector* coord, miScalar filter);
miBoolean mi_lookup_scalar_texture_x(miScalar* result, miState* state, miTag texture, miVector* coord, miScalar filter);
miBoolean mi_lookup_vector_texture_x(miVector* result, miState* state, miTag texture, miVector* coord, miScalar filter);

/* Look-up over the footprint of a pixel: three points around it in the image and in the texture give the matrix. */
miBoolean mi_lookup_filter_color_texture(miColor* result, miState* state, miTag texture, miTexfilter* filter,
                                         miMatrix pixel_to_texture);
miBoolean mi_texture_filter_project(miVector p[3], miVector t[3], miState* state, miScalar disc_radius,
                                    miUint texture_space);
miBoolean mi_texture_filter_transform(miMatrix pixel_to_texture, miVector p[3], miVector t[3]);

miScalar mi_luminance(miState* state, miColor* color); /* with the weights of the options */

/* --- spaces; the result may alias the input, light space needs state->light_instance --- */

void mi_point_to_world(const miState* state, miVector* result, const miVector* point);
void mi_point_to_camera(const miState* state, miVector* result, const miVector* point);
void mi_point_to_object(const miState* state, miVector* result, const miVector* point);
void mi_point_to_light(const miState* state, miVector* result, const miVector* point);
void mi_point_to_raster(const miState* state, miVector* result, const miVector* point); /* pixels */
void mi_point_from_world(const miState* state, miVector* result, const miVector* point);
void mi_point_from_camera(const miState* state, miVector* result, const miVector* point);
void mi_point_from_object(const miState* state, miVector* result, const miVector* point);
void mi_point_from_light(const miState* state, miVector* result, const miVector* point);

void mi_vector_to_world(const miState* state, miVector* result, const miVector* vector);
void mi_vector_to_camera(const miState* state, miVector* result, const miVector* vector);
void mi_vector_to_object(const miState* state, miVector* result, const miVector* vector);
void mi_vector_to_light(const miState* state, miVector* result, const miVector* vector);
void mi_vector_from_world(const miState* state, miVector* result, const miVector* vector);
void mi_vector_from_camera(const miState* state, miVector* result, const miVector* vector);
void mi_vector_from_object(const miState* state, miVector* result, const miVector* vector);
void mi_vector_from_light(const miState* state, miVector* result, const miVector* vector);

/* Normals go by the inverse transpose, so that they stay at right angles to the surface. */
void mi_normal_to_world(const miState* state, miVector* result, const miVector* normal);
void mi_normal_to_camera(const miState* state, miVector* result, const miVector* normal);
void mi_normal_to_object(const miState* state, miVector* result, const miVector* normal);
void mi_normal_to_light(const miState* state, miVector* result, const miVector* normal);
void mi_normal_from_world(const miState* state, miVector* result, const miVector* normal);
void mi_normal_from_camera(const miState* state, miVector* result, const miVector* normal);
void mi_normal_from_object(const miState* state, miVector* result, const miVector* normal);
void mi_normal_from_light(const miState* state, miVector* result, const miVector* normal);

miBoolean mi_raster_unit(miState* state, miScalar* x, miScalar* y);

/* Vectors at the corners of the triangle that was hit; which is the letter of the attribute, index its list entry. */
miBoolean mi_tri_vectors(miState* state, int which, int index, const miVector** a, const miVector** b,
                         const miVector** c);

/* --- matrices: row vector times matrix --- */

void mi_point_transform(miVector* result, const miVector* point, const miMatrix m);
void mi_vector_transform(miVector* result, const miVector* vector, const miMatrix m);   /* without translation */
void mi_vector_transform_T(miVector* result, const miVector* vector, const miMatrix m); /* transposed, for normals */
void mi_matrix_ident(miMatrix m);
void mi_matrix_prod(miMatrix result, const miMatrix a, const miMatrix b); /* a first, then b */
miBoolean mi_matrix_invert(miMatrix result, const miMatrix m);            /* false when singular */
miBoolean mi_matrix_isident(const miMatrix m);
miBoolean mi_matrix_isnull(const miMatrix m);
void mi_matrix_rotate(miMatrix result, miScalar x, miScalar y, miScalar z); /* radians */
void mi_matrix_rotate_axis(miMatrix result, const miVector* axis, miScalar angle);
miScalar mi_matrix_rot_det(const miMatrix m);                                        /* of the upper 3 x 3 part */
miBoolean mi_matrix_solve(miScalar* x, const miScalar* a, const miScalar* b, int n); /* a x = b, n unknowns */

/* --- random numbers, sampling, noise --- */

miScalar mi_random(void); /* 0 to 1, without 1 */
void mi_srandom(long seed);
miScalar mi_erandom(unsigned short seed[3]);
double mi_par_random(miState* state); /* from the sequence of this thread's state */

/*
 * One point of dim numbers from 0 to 1 per call. Start with *instance 0 and loop while true, *instance counts the
 * points; n is the wanted number. With n null the call takes one point and needs no loop.
 */
miBoolean mi_sample(double* sample, int* instance, miState* state, miUshort dim, const miUint* n);

/* Smooth noise from -1 to 1; the u forms from 0 to 1. The grad forms also write the gradient. */
miScalar mi_noise_1d(miScalar u);
miScalar mi_noise_2d(miScalar u, miScalar v);
miScalar mi_noise_3d(miVector* point);
miScalar mi_noise_1d_grad(miScalar u, miScalar* gradient);
miScalar mi_noise_2d_grad(miScalar u, miScalar v, miScalar* gradient_u, miScalar* gradient_v);
miScalar mi_noise_3d_grad(miVector* point, miVector* gradient);
miScalar mi_unoise_1d(miScalar u);
miScalar mi_unoise_2d(miScalar u, miScalar v);
miScalar mi_unoise_3d(miVector* point);
miScalar mi_unoise_1d_grad(miScalar u, miScalar* gradient);
miScalar mi_unoise_2d_grad(miScalar u, miScalar v, miScalar* gradient_u, miScalar* gradient_v);
miScalar mi_unoise_3d_grad(miVector* point, miVector* gradient);

miScalar mi_spline(miScalar t, int n, const miScalar* control); /* curve through n values, t from 0 to 1 */

/* --- frame buffers: color as miColor, depth as float, normal and motion as miVector, label as miUint --- */

miBoolean mi_fb_put(miState* state, int buffer, void* data); /* false when there is no such buffer */
miBoolean mi_fb_get(miState* state, int buffer, void* data); /* what this sample put last */

/* --- messages, formatted as by printf; the n forms begin with a message number --- */

void mi_fatal(const char* format, ...) miPRINTF(1); /* ends the render and does not come back */
void mi_error(const char* format, ...) miPRINTF(1);
void mi_warning(const char* format, ...) miPRINTF(1);
void mi_info(const char* format, ...) miPRINTF(1);
void mi_progress(const char* format, ...) miPRINTF(1);
void mi_debug(const char* format, ...) miPRINTF(1);
void mi_vdebug(const char* format, ...) miPRINTF(1);
void mi_nfatal(int number, const char* format, ...) miPRINTF(2);
void mi_nerror(int number, const char* format, ...) miPRINTF(2);
void mi_nwarning(int number, const char* format, ...) miPRINTF(2);

miEND_C
