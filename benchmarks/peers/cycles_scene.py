"""Renders the benchmark's geometry in Cycles: run by compare_renderers.py and error_over_time.py in Blender's Python.

    blender -b --factory-startup --debug-cycles -P cycles_scene.py -- GEOMETRY RESOLUTION SAMPLES THREADS KIND IMAGE PART

KIND is direct (light of a point), gathering (with one diffuse bounce), area (a square instead of the point), bounces (balls
of half a mirror and of glass), gloss (balls of half a rough mirror), focus (through a lens), motion (the balls move) or smoke (a column, instead of the geometry). PART is "left,top,edge" in pixels for a part of the picture, or empty.
"""
import pathlib
import sys

import bpy
import mathutils

import numpy

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import scene_geometry  # noqa: E402
import smoke_column  # noqa: E402


FLOOR, BALLS = 2 * 64 ** 2, 400  # triangles of the floor, and how many balls follow it


def grey(nodes, links):
    return shader(nodes, "ShaderNodeBsdfDiffuse", 0.56)


def half_mirror(nodes, links, roughness=0):
    both = nodes.new("ShaderNodeAddShader")
    mirror = shader(nodes, "ShaderNodeBsdfGlossy", 0.5)
    mirror.inputs["Roughness"].default_value = roughness
    for k, part in enumerate((shader(nodes, "ShaderNodeBsdfDiffuse", 0.28), mirror)):
        links.new(part.outputs[0], both.inputs[k])
    return both


def half_gloss(nodes, links):
    """About as wide as a cosine to the power of 20 around the mirror's direction."""
    return half_mirror(nodes, links, 0.4)


def glass(nodes, links):
    bent = shader(nodes, "ShaderNodeBsdfRefraction", 1)
    bent.inputs["Roughness"].default_value, bent.inputs["IOR"].default_value = 0, 1.5
    return bent


def shader(nodes, kind, value):
    node = nodes.new(kind)
    node.inputs["Color"].default_value = (value, value, value, 1)
    return node


def material(surface):
    made = bpy.data.materials.new(surface.__name__)
    made.use_nodes = True
    nodes, links = made.node_tree.nodes, made.node_tree.links
    nodes.clear()
    links.new(surface(nodes, links).outputs[0], nodes.new("ShaderNodeOutputMaterial").inputs["Surface"])
    return made


SURFACES = grey, half_mirror, glass, half_gloss
KINDS = {"bounces": (0, 1, 2), "gloss": (3,)}  # surfaces of the balls, in turn; else they are grey, too


def build(geometry, kind):
    """The floor comes first, then the balls, all of the same number of triangles. Y is up there, z here: x, y, z become
    x, -z, y."""
    points, normals, faces = geometry
    turn = numpy.array([[1, 0, 0], [0, 0, 1], [0, -1, 0]], dtype=float)
    points = (numpy.asarray(points) @ turn).astype(numpy.float32)
    faces = numpy.asarray(faces, dtype=numpy.int32)
    numbers = numpy.zeros(len(faces), dtype=numpy.int32)
    numbers[FLOOR:] = numpy.repeat(numpy.resize(KINDS.get(kind, (0,)), BALLS), (len(faces) - FLOOR) // BALLS)
    if kind == "motion":  # parts of their own
        add_mesh(points, faces[:FLOOR], numbers[:FLOOR])
        move(add_mesh(points, faces[FLOOR:], numbers[FLOOR:]))
    else:
        add_mesh(points, faces, numbers)


def add_mesh(points, faces, numbers):
    used, faces = numpy.unique(faces, return_inverse=True)
    points, faces = points[used], faces.reshape(-1, 3).astype(numpy.int32)
    mesh = bpy.data.meshes.new("spheres")
    mesh.vertices.add(len(points))
    mesh.vertices.foreach_set("co", points.ravel())
    mesh.loops.add(faces.size)
    mesh.loops.foreach_set("vertex_index", faces.ravel())
    mesh.polygons.add(len(faces))
    mesh.polygons.foreach_set("loop_start", numpy.arange(0, faces.size, 3, dtype=numpy.int32))
    mesh.polygons.foreach_set("loop_total", numpy.full(len(faces), 3, dtype=numpy.int32))
    mesh.polygons.foreach_set("use_smooth", numpy.ones(len(faces), dtype=bool))
    mesh.update(calc_edges=True)
    for surface in SURFACES:
        mesh.materials.append(material(surface))
    mesh.polygons.foreach_set("material_index", numbers)
    made = bpy.data.objects.new("spheres", mesh)
    bpy.context.collection.objects.link(made)
    return made


def move(balls):
    """To the right by one, while the shutter is open."""
    for frame, x in ((1, 0), (2, 1)):
        balls.location.x = x
        balls.keyframe_insert("location", frame=frame)
    for curve in balls.animation_data.action.fcurves:
        for point in curve.keyframe_points:
            point.interpolation = "LINEAR"


def smoke():
    """Scatters, and swallows nothing; the density is 1 - r in the object's space."""
    made = bpy.data.materials.new("smoke")
    made.use_nodes = True
    nodes, links = made.node_tree.nodes, made.node_tree.links
    nodes.clear()
    place, ball, times = (nodes.new(f"ShaderNode{kind}") for kind in ("TexCoord", "TexGradient", "Math"))
    scatter, output = nodes.new("ShaderNodeVolumeScatter"), nodes.new("ShaderNodeOutputMaterial")
    ball.gradient_type, times.operation = "SPHERICAL", "MULTIPLY"
    times.inputs[1].default_value = smoke_column.DENSITY
    scatter.inputs["Color"].default_value = (1, 1, 1, 1)
    links.new(place.outputs["Object"], ball.inputs["Vector"])
    links.new(ball.outputs["Fac"], times.inputs[0])
    links.new(times.outputs[0], scatter.inputs["Density"])
    links.new(scatter.outputs[0], output.inputs["Volume"])
    return made


def build_smoke():
    medium = smoke()
    for (x, y, z), radius in smoke_column.puffs():
        bpy.ops.mesh.primitive_uv_sphere_add(radius=1.01, segments=48, ring_count=24, location=(x, -z, y))
        bpy.context.object.scale = (radius, radius, radius)
        bpy.context.object.data.materials.append(medium)


def add_light(kind):
    place = mathutils.Vector((20, -12, 25))
    if kind == "area":
        light = bpy.data.lights.new("lamp", "AREA")
        light.shape, light.size, light.energy = "SQUARE", 12, 40000
    else:
        light = bpy.data.lights.new("lamp", "POINT")
        light.energy, light.shadow_soft_size = 40000, 0
    lamp = bpy.data.objects.new("lamp", light)
    lamp.location, lamp.visible_glossy = place, kind != "gloss"  # no highlights, which the other has not, either
    lamp.rotation_euler = (-place).to_track_quat("-Z", "Y").to_euler()
    bpy.context.collection.objects.link(lamp)


def set_up(resolution, samples, threads, kind, image, part):
    scene = bpy.context.scene
    add_light(kind)

    camera = bpy.data.cameras.new("cam")
    camera.sensor_width, camera.lens = 1000, 1500
    if kind == "focus":  # the radius is half the focal length by the stop
        camera.dof.use_dof, camera.dof.focus_distance, camera.dof.aperture_fstop = True, 45, 1.5 / (2 * 0.6)
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
    cycles.max_bounces = {"gathering": 1, "gloss": 1, "bounces": 6}.get(kind, 0)
    if kind == "gloss":
        cycles.diffuse_bounces = 0
    if kind == "bounces":
        cycles.diffuse_bounces, cycles.glossy_bounces, cycles.transmission_bounces = 0, 2, 4
    if kind == "motion":
        render.use_motion_blur, render.motion_blur_shutter = True, 1
        cycles.motion_blur_position = "START"
    cycles.sample_clamp_indirect = 0
    # References do without long steps.
    cycles.volume_step_rate = 0.1 if part else 1
    render.filepath = image
    render.image_settings.file_format, render.image_settings.color_depth = "OPEN_EXR", "32"
    if part:
        left, top, edge = (float(number) / resolution for number in part.split(","))
        render.use_border = True
        render.border_min_x, render.border_max_x = left, left + edge
        render.border_min_y, render.border_max_y = 1 - top - edge, 1 - top


bpy.ops.wm.read_factory_settings(use_empty=True)
if not bpy.context.scene.world:
    bpy.context.scene.world = bpy.data.worlds.new("world")
geometry_file, resolution, samples, threads, kind, image, part = sys.argv[sys.argv.index("--") + 1:]
if kind == "smoke":
    build_smoke()
else:
    build(scene_geometry.read(geometry_file), kind)
set_up(int(resolution), int(samples), int(threads), kind, image, part)
bpy.ops.render.render(write_still=True)
