/* Refuses to compile when a record does not lie in memory as the renderer and compiled modules have it. */
#pragma once

#include <stddef.h>

#include "option_records.h"
#include "records.h"
#include "state.h"

#if defined(__cplusplus) && __cplusplus >= 201103L
#define miASSERT_LAYOUT(condition, message) static_assert(condition, message);
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define miASSERT_LAYOUT(condition, message) _Static_assert(condition, message);
#else
/* Before C11 and C++11: an array of negative size does the same. */
#define miASSERT_LAYOUT(condition, message) extern char miLayoutAssertion[(condition) ? 1 : -1];
#endif

#define miSIZE(type, size) miASSERT_LAYOUT(sizeof(type) == (size), "size of " #type)
#define miAT(field, offset) miASSERT_LAYOUT(offsetof(miRECORD, field) == (offset), "offset of " #field)

/* clang-format off */

/* Basic types. */
miSIZE(miBoolean, 4) miSIZE(miCBoolean, 1) miSIZE(miUchar, 1) miSIZE(miUint1, 1) miSIZE(miSchar, 1)
miSIZE(miSint1, 1) miSIZE(miSint2, 2) miSIZE(miUint2, 2) miSIZE(miUshort, 2) miSIZE(miIndex, 2) miSIZE(miInteger, 4)
miSIZE(miSint4, 4) miSIZE(miUint, 4) miSIZE(miUint4, 4) miSIZE(miGeoIndex, 4) miSIZE(miTag, 4) miSIZE(miScalar, 4)
miSIZE(miGeoScalar, 8) miSIZE(miThreadID, 4) miSIZE(miHostID, 4) miSIZE(miUlong, 8) miSIZE(miSlong, 8)
miSIZE(miIntptr, 8) miSIZE(miVector2d, 8) miSIZE(miVector, 12) miSIZE(miGeoVector2d, 16) miSIZE(miGeoVector, 24)
miSIZE(miColor, 16) miSIZE(miRange, 8) miSIZE(miGeoRange, 16) miSIZE(miMatrix, 64) miSIZE(miPointer, 8)
miSIZE(miLock, 8) miSIZE(miFunction_ptr, 8) miSIZE(miRay_type, 4) miSIZE(miShader_type, 4) miSIZE(miImg_type, 4)
miSIZE(miParam_type, 4) miSIZE(miQ_type, 4) miSIZE(miLight_primitive, 24)

#define miRECORD miState
miSIZE(miState, 352)
miAT(version, 0) miAT(camera_inst, 4) miAT(camera, 8) miAT(options, 16) miAT(global_lock, 24) miAT(qmc_instance, 32)
miAT(pad, 36) miAT(ts, 40) miAT(raster_x, 48) miAT(raster_y, 52) miAT(parent, 56) miAT(type, 64)
miAT(qmc_component, 68) miAT(scanline, 69) miAT(inv_normal, 70) miAT(face, 71) miAT(msl_state, 72) miAT(spare, 80)
miAT(reflection_level, 88) miAT(refraction_level, 92) miAT(org, 96) miAT(dir, 108) miAT(dist, 120) miAT(time, 128)
miAT(ior, 132) miAT(ior_in, 136) miAT(material, 140) miAT(volume, 144) miAT(environment, 148)
miAT(refraction_volume, 152) miAT(label, 156) miAT(instance, 160) miAT(light_instance, 164) miAT(pri, 168)
miAT(importance, 176) miAT(bary, 180) miAT(point, 196) miAT(normal, 208) miAT(normal_geom, 220) miAT(dot_nd, 232)
miAT(shadow_tol, 240) miAT(tex_list, 248) miAT(bump_x_list, 256) miAT(bump_y_list, 264) miAT(motion, 272)
miAT(derivs, 288) miAT(tex, 296) miAT(shader, 312) miAT(child, 320) miAT(thread, 328) miAT(count, 330)
miAT(user, 336) miAT(user_size, 344)
#undef miRECORD

#define miRECORD miState_shader_arg
miSIZE(miState_shader_arg, 8)
miAT(operation, 0) miAT(shader_return, 4)
#undef miRECORD

#define miRECORD miApprox
miSIZE(miApprox, 56)
miAT(cnst, 0) miAT(sharp, 24) miAT(flag, 25) miAT(any, 26) miAT(view_dep, 27) miAT(method, 28) miAT(style, 32)
miAT(subdiv, 36) miAT(max, 40) miAT(grading, 44) miAT(spare, 48)
#undef miRECORD

#define miRECORD miOptions
miSIZE(miOptions, 808)
miAT(trace, 0) miAT(scanline, 4) miAT(motion, 8) miAT(shadow_sort, 12) miAT(preview_mode, 16)
miAT(reflection_depth, 20) miAT(refraction_depth, 24) miAT(trace_depth, 28) miAT(min_samples, 32)
miAT(max_samples, 36) miAT(contrast, 40) miAT(time_contrast, 56) miAT(contour_contrast, 72) miAT(contour_store, 76)
miAT(caustic, 80) miAT(globillum, 84) miAT(caustic_accuracy, 88) miAT(caustic_radius, 92)
miAT(globillum_accuracy, 96) miAT(globillum_radius, 100) miAT(caustic_filter_const, 104) miAT(filter_size_x, 108)
miAT(filter_size_y, 112) miAT(jitter, 116) miAT(shutter, 120) miAT(spare8, 124) miAT(def_min_samples, 134)
miAT(def_max_samples, 135) miAT(space_max_size, 136) miAT(space_max_depth, 140) miAT(shutter_delay, 144)
miAT(no_images, 148) miAT(approx, 152) miAT(approx_displace, 208) miAT(spare1, 264) miAT(spare9, 340)
miAT(finalgather_file, 344) miAT(space_shadow_separate, 348) miAT(finalgather_filter, 349)
miAT(rast_collect_rate, 350) miAT(rast_motion_resample, 351) miAT(use_shadow_maps, 352)
miAT(rendering_shadow_maps, 353) miAT(recompute_shadow_maps, 354) miAT(shadow, 355) miAT(caustic_filter, 356)
miAT(finalgather_rebuild, 357) miAT(filter, 358) miAT(acceleration, 359) miAT(face, 360) miAT(spare10, 361)
miAT(smethod, 362) miAT(render_space, 363) miAT(spare11, 364) miAT(spare12, 365) miAT(visible_lights, 366)
miAT(shadow_map_motion, 367) miAT(task_size, 368) miAT(strips, 372) miAT(photonmap_file, 376)
miAT(photonmap_rebuild, 380) miAT(photon_reflection_depth, 384) miAT(photon_refraction_depth, 388)
miAT(photon_trace_depth, 392) miAT(space_max_mem, 396) miAT(caustic_scale, 400) miAT(globillum_scale, 416)
miAT(finalgather_scale, 432) miAT(finalgather_sec_scale, 448) miAT(spare4, 464) miAT(photonvol_scale, 468)
miAT(spare2, 484) miAT(spare13, 508) miAT(input_cprof, 512) miAT(white_cprof, 516) miAT(render_cprof, 520)
miAT(fb_dir, 524) miAT(no_lens, 528) miAT(no_volume, 529) miAT(no_geometry, 530) miAT(no_displace, 531)
miAT(no_output, 532) miAT(no_merge, 533) miAT(caustic_flag, 534) miAT(diagnostic_mode, 535)
miAT(photonvol_accuracy, 536) miAT(photonvol_radius, 540) miAT(globillum_flag, 544) miAT(samplelock, 545)
miAT(autovolume, 546) miAT(finalgather_view, 547) miAT(no_hair, 548) miAT(n_motion_vectors, 549) miAT(no_pass, 550)
miAT(photon_autovolume, 551) miAT(no_predisplace, 552) miAT(fg_reflection_depth, 553) miAT(fg_refraction_depth, 554)
miAT(fg_trace_depth, 555) miAT(fg_falloff_start, 556) miAT(fg_falloff_stop, 560) miAT(userdata, 564)
miAT(irradiance_particles, 568) miAT(spare5, 572) miAT(finalgather, 664) miAT(finalgather_rays, 668)
miAT(finalgather_maxradius, 672) miAT(finalgather_minradius, 676) miAT(diag_photon_density, 680)
miAT(diag_grid_size, 684) miAT(desaturate, 688) miAT(dither, 692) miAT(nopremult, 696) miAT(colorclip, 700)
miAT(gamma, 704) miAT(inh_funcdecl, 708) miAT(luminance_weight, 712) miAT(spare0, 728) miAT(inh_is_traversal, 736)
miAT(spare6, 737) miAT(spare7, 738) miAT(shadowmap_flags, 739) miAT(maxdisplace, 740) miAT(shadowmap_bias, 744)
miAT(spare14, 748) miAT(photonmap_only, 749) miAT(lightmap, 750) miAT(fg_diffuse_depth, 751) miAT(state_func, 752)
miAT(fg_presamp_density, 756) miAT(rast_shading_samples, 760) miAT(fb_virtual, 764) miAT(unified_sampling, 765)
miAT(spare3, 766) miAT(string_options, 768) miAT(spare, 772)
#undef miRECORD

#define miRECORD miCamera
miSIZE(miCamera, 148)
miAT(orthographic, 0) miAT(focal, 4) miAT(aperture, 8) miAT(aspect, 12) miAT(clip, 16) miAT(x_resolution, 24)
miAT(y_resolution, 28) miAT(window, 32) miAT(volume, 48) miAT(environment, 52) miAT(lens, 56) miAT(output, 60)
miAT(frame, 64) miAT(frame_time, 68) miAT(spare2, 72) miAT(x_offset, 76) miAT(y_offset, 80) miAT(userdata, 84)
miAT(pass, 88) miAT(spare3, 92) miAT(pass_mask, 100) miAT(buffertag, 104) miAT(stereo, 108)
miAT(eye_separation, 112) miAT(filter, 116) miAT(parallax_distance, 120) miAT(spare, 124)
#undef miRECORD

#define miRECORD miFunction
miSIZE(miFunction, 128)
miAT(sparep1, 0) miAT(type, 56) miAT(out_typemap, 60) miAT(out_interpmap, 64) miAT(function_decl, 68)
miAT(next_function, 72) miAT(parameter_indirect, 76) miAT(interfacephen, 80) miAT(spare0, 84)
miAT(parameter_size, 88) miAT(result_size, 92) miAT(ghost_offs, 96) miAT(pass_read, 100) miAT(pass_write, 104)
miAT(pass_maxsamples, 108) miAT(has_connections, 109) miAT(spare2, 110) miAT(no_expl_params, 112) miAT(spare3, 113)
miAT(label, 119) miAT(parameters, 120)
#undef miRECORD

#define miRECORD miUserdata
miSIZE(miUserdata, 32)
miAT(data_decl, 0) miAT(next_data, 4) miAT(label, 8) miAT(parameter_size, 12) miAT(one, 16) miAT(spare1, 18)
miAT(spare2, 20) miAT(parameters, 24)
#undef miRECORD

#define miRECORD miTransform
miSIZE(miTransform, 144)
miAT(function, 0) miAT(time, 4) miAT(global_to_local, 8) miAT(local_to_global, 72) miAT(identity, 136)
miAT(spare, 137) miAT(id, 140)
#undef miRECORD

#define miRECORD miInstance
miSIZE(miInstance, 324)
miAT(tf, 0) miAT(motion_transform, 144) miAT(item, 208) miAT(material, 212) miAT(parent, 216) miAT(boxes, 220)
miAT(next, 224) miAT(prev, 228) miAT(mtl_array_size, 232) miAT(light_obj_ring, 236) miAT(userdata, 240)
miAT(label, 244) miAT(geogroup, 248) miAT(off, 252) miAT(gen_motion, 253) miAT(visible, 254) miAT(shadow, 255)
miAT(reflection, 256) miAT(refraction, 257) miAT(transparency, 258) miAT(caustic, 259) miAT(globillum, 260)
miAT(finalgather, 261) miAT(face, 262) miAT(temp_material, 263) miAT(spare3, 264) miAT(mtl_override, 265)
miAT(history_size, 266) miAT(approx_list, 268) miAT(approx_override, 272) miAT(spare2, 273) miAT(shadowmap, 274)
miAT(exclusive, 275) miAT(light_list, 276) miAT(finalgather_force, 280) miAT(spare1, 281) miAT(builtin, 282)
miAT(shadow_excl, 283) miAT(shadow_list, 284) miAT(shading_samples, 288) miAT(sample_limits, 292)
miAT(time_motion_transform, 300) miAT(spare, 304) miAT(param_decl, 308) miAT(param_size, 312) miAT(param, 316)
#undef miRECORD

#define miRECORD miObject
miAT(photonmap_file, 0) miAT(volume_id, 4) miAT(finalgather_file, 8) miAT(type, 12) miAT(visible, 16)
miAT(shadow, 17) miAT(reflection, 18) miAT(refraction, 19) miAT(transparency, 20) miAT(caustic, 21)
miAT(globillum, 22) miAT(finalgather, 23) miAT(spare_2, 24) miAT(face, 25) miAT(own_accel, 26)
miAT(finalgather_force, 27) miAT(spare_1, 28) miAT(fine, 31) miAT(view_dependent, 32) miAT(mtl_is_label, 36)
miAT(maxdisplace, 40) miAT(spare_4, 44) miAT(userdata, 48) miAT(label, 52) miAT(bbox_min, 56) miAT(bbox_max, 68)
miAT(bbox_min_m, 80) miAT(bbox_max_m, 92) miAT(functions, 104) miAT(n_functions, 108) miAT(mbox_explicit, 112)
miAT(min_samples, 113) miAT(max_samples, 114) miAT(shadowmap, 115) miAT(spare_3, 116) miAT(ray_offset, 120)
miAT(approx_list, 124) miAT(shading_samples, 128) miAT(tri_est, 132) miAT(spare, 136) miAT(vertex_info, 140)
miAT(geo, 144)
#undef miRECORD

#define miRECORD miLight
miSIZE(miLight, 228)
miAT(type, 0) miAT(area, 4) miAT(exponent, 8) miAT(caustic_store_photons, 12) miAT(global_store_photons, 16)
miAT(energy, 20) miAT(shader, 36) miAT(emitter, 40) miAT(origin, 44) miAT(direction, 56) miAT(spread, 68)
miAT(primitive, 72) miAT(samples_u, 96) miAT(samples_v, 98) miAT(low_samples_u, 100) miAT(low_samples_v, 102)
miAT(low_level, 104) miAT(shadowmap_flags, 106) miAT(dirlight_has_org, 107) miAT(use_shadow_maps, 108)
miAT(shadowmap_file, 112) miAT(shadowmap_resolution, 116) miAT(shadowmap_softness, 120) miAT(shadowmap_samples, 124)
miAT(visible, 128) miAT(label, 132) miAT(userdata, 136) miAT(caustic_emit, 140) miAT(global_emit, 144)
miAT(spare, 148) miAT(h_min, 152) miAT(h_max, 154) miAT(v_min, 156) miAT(v_max, 158) miAT(emitter_spectrum, 160)
miAT(shadowmap_bias, 164) miAT(shmap, 168) miAT(lightprofile, 188) miAT(use_lprof, 192) miAT(photons_only, 193)
miAT(builtin_ol, 194) miAT(spare1, 195) miAT(spare4, 196)
#undef miRECORD

#define miRECORD miLight_shmap
miSIZE(miLight_shmap, 20)
miAT(camera, 0) miAT(accuracy, 4) miAT(filter_u, 8) miAT(filter_v, 12) miAT(samples, 16) miAT(filter, 18)
miAT(type, 19)
#undef miRECORD

#define miRECORD miMaterial
miSIZE(miMaterial, 56)
miAT(opaque, 0) miAT(shader, 4) miAT(displace, 8) miAT(shadow, 12) miAT(volume, 16) miAT(environment, 20)
miAT(contour, 24) miAT(photon, 28) miAT(photonvol, 32) miAT(lightmap, 36) miAT(spare, 40) miAT(builtin_index, 44)
miAT(spare1, 46) miAT(bsdf, 48) miAT(spare2, 52)
#undef miRECORD

#define miRECORD miIrrad_options
miSIZE(miIrrad_options, 56)
miAT(size, 0) miAT(finalgather_rays, 4) miAT(finalgather_maxradius, 8) miAT(finalgather_minradius, 12)
miAT(finalgather_view, 16) miAT(finalgather_filter, 17) miAT(padding, 18) miAT(globillum_accuracy, 20)
miAT(globillum_radius, 24) miAT(caustic_accuracy, 28) miAT(caustic_radius, 32) miAT(finalgather_points, 36)
miAT(importance, 40) miAT(id, 44) miAT(finalgather_force, 48) miAT(finalgather_points_test, 52)
#undef miRECORD

#define miRECORD miAmboccl_options
miSIZE(miAmboccl_options, 48)
miAT(size, 0) miAT(rays, 4) miAT(axis, 8) miAT(spread, 20) miAT(spread_exp, 24) miAT(mindist, 28) miAT(maxdist, 32)
miAT(cache_points, 36) miAT(flags, 40) miAT(falloff, 44)
#undef miRECORD

#define miRECORD miTexfilter
miSIZE(miTexfilter, 56)
miAT(eccmax, 0) miAT(max_minor, 4) miAT(circle_radius, 8) miAT(bilinear, 12) miAT(spare, 16)
#undef miRECORD

/* clang-format on */

#undef miAT
#undef miSIZE
#undef miASSERT_LAYOUT
