"""Renders the benchmark's geometry in Cycles: run by compare_renderers.py inside Blender's Python.

    blender -b --factory-startup --debug-cycles -P cycles_scene.py -- GEOMETRY RESOLUTION SAMPLES THREADS
"""
import pathlib
import sys

import bpy
import mathutils

import numpy

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import scene_geometry  # noqa: E402


def build(geometry):
    """Y is up there, z here: x, y, z become x, -z, y."""
    points, normals, faces = geometry
    turn = numpy.array([[1, 0, 0], [0, 0, 1], [0, -1, 0]], dtype=float)
    points = numpy.asarray(points) @ turn
    faces = numpy.asarray(faces, dtype=numpy.int32)
    mesh = bpy.data.meshes.new("spheres")
    mesh.vertices.add(len(points))
    mesh.vertices.foreach_set("co", points.astype(numpy.float32).ravel())
    mesh.loops.add(faces.size)
    mesh.loops.foreach_set("vertex_index", faces.ravel())
    mesh.polygons.add(len(faces))
    mesh.polygons.foreach_set("loop_start", numpy.arange(0, faces.size, 3, dtype=numpy.int32))
    mesh.polygons.foreach_set("loop_total", numpy.full(len(faces), 3, dtype=numpy.int32))
    mesh.polygons.foreach_set("use_smooth", numpy.ones(len(faces), dtype=bool))
    mesh.update(calc_edges=True)
    material = bpy.data.materials.new("grey")
    material.use_nodes = True
    nodes = material.node_tree.nodes
    nodes.clear()
    diffuse, output = nodes.new("ShaderNodeBsdfDiffuse"), nodes.new("ShaderNodeOutputMaterial")
    diffuse.inputs["Color"].default_value = (0.56, 0.56, 0.56, 1)
    material.node_tree.links.new(diffuse.outputs[0], output.inputs["Surface"])
    mesh.materials.append(material)
    bpy.context.collection.objects.link(bpy.data.objects.new("spheres", mesh))


def set_up(resolution, samples, threads):
    scene = bpy.context.scene
    light = bpy.data.lights.new("lamp", "POINT")
    light.energy, light.shadow_soft_size = 40000, 0
    lamp = bpy.data.objects.new("lamp", light)
    lamp.location = (20, -12, 25)
    bpy.context.collection.objects.link(lamp)

    camera = bpy.data.cameras.new("cam")
    camera.sensor_width, camera.lens = 10, 15
    place = bpy.data.objects.new("cam", camera)
    place.location = (0, -34, 22)
    place.rotation_euler = (mathutils.Vector((0, -2, 0)) - place.location).to_track_quat("-Z", "Y").to_euler()
    bpy.context.collection.objects.link(place)
    scene.camera = place

    scene.world.use_nodes = False
    scene.world.color = (0, 0, 0)
    render, cycles = scene.render, scene.cycles
    render.engine = "CYCLES"
    render.resolution_x = render.resolution_y = resolution
    render.threads_mode, render.threads = "FIXED", threads
    cycles.device, cycles.samples = "CPU", samples
    cycles.use_adaptive_sampling = cycles.use_denoising = False
    cycles.pixel_filter_type = "BOX"
    cycles.max_bounces = 0
    render.filepath = f"/tmp/cycles-{samples}.png"


bpy.ops.wm.read_factory_settings(use_empty=True)
if not bpy.context.scene.world:
    bpy.context.scene.world = bpy.data.worlds.new("world")
geometry_file, resolution, samples, threads = sys.argv[sys.argv.index("--") + 1:]
build(scene_geometry.read(geometry_file))
set_up(int(resolution), int(samples), int(threads))
bpy.ops.render.render(write_still=True)
