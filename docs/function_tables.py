#!/usr/bin/env python3
"""Makes the table of the shader interface's functions in host.md from the program and the headers, between the two marks.

Usage: function_tables.py PROGRAM [--check]     with --check it only tells whether the table is up to date

A function that the program exports is supported; what only says that it is not there answers false; what headers or manuals
of the interface name and the program does not export is missing: a module that calls it loads, and stops where it does.
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).parent.parent
PAGE = ROOT / "docs/host.md"
MARKS = re.compile(r"(<!-- functions -->\n).*?(<!-- end of functions -->)", re.S)
METHOD = re.compile(r"^    [\w:<> ]+[ \*&]+(\w+)\([^;{]*\) (?:const )?noexcept override \{(.*?)\n?(?:^    )?\}", re.M | re.S)

# Published names that no header here declares, by what they are for.
ELSEWHERE = {
    "photons": "mi_trace_photon mi_photon_reflection_specular mi_photon_reflection_glossy mi_photon_reflection_diffuse "
    "mi_photon_transmission_specular mi_photon_transmission_glossy mi_photon_transmission_diffuse mi_photon_transparent "
    "mi_photon_light mi_photon_volume_scattering mi_store_photon mi_store_volume_photon mi_choose_scatter_type "
    "mi_scattering_dir_specular mi_scattering_pathlength mi_compute_volume_irradiance",
    "geometry": "mi_api_object_begin mi_api_object_end mi_api_object_callback mi_api_object_file mi_api_object_placeholder_file "
    "mi_api_vector_xyz_add mi_api_vertex_add mi_api_vertex_normal_add mi_api_vertex_tex_add mi_api_poly_begin_tag "
    "mi_api_poly_index_add mi_api_poly_end mi_api_object_group_begin mi_api_object_group_end mi_api_hair_begin mi_api_hair_info "
    "mi_api_hair_scalars_begin mi_api_hair_scalars_end mi_api_hair_hairs_begin mi_api_hair_hairs_end mi_api_hair_end "
    "mi_api_instance_begin mi_api_instance_end mi_api_instgroup_begin mi_api_instgroup_additem mi_api_instgroup_end "
    "mi_api_material_begin mi_api_material_end mi_api_light_begin mi_api_light_end mi_api_function_call mi_api_parameter_name "
    "mi_api_parameter_value mi_api_basis_add mi_api_surface_begin_tag mi_api_surface_end mi_api_curve_begin mi_api_curve_end "
    "mi_geoshader_add_result mi_geoshader_tesselate mi_geoshader_tesselate_end mi_scene_edit mi_scene_edit_end",
    "older": "mi_instance_info mi_shader_info",
}


def exported(program):
    """The functions that the program has for modules."""
    symbols = subprocess.run(["nm", "-D", "--defined-only", program], capture_output=True, text=True, check=True).stdout
    return {name for name in re.findall(r" T (mi_\w+)$", symbols, re.M)}


def declared():
    names = []
    for path in sorted((ROOT / "platform").rglob("*.h")):
        if path.name == "vector_math.h":
            continue  # which needs no host
        text = re.sub(r"/\*.*?\*/", "", path.read_text(), flags=re.S)
        text = re.sub(r"^#define[^\n]*(\\\n[^\n]*)*$", "", text, flags=re.M)
        names += re.findall(r"\b(mi_\w+)\([^;{]*\)[^;{]*;", text)
    return dict.fromkeys(names)


def methods():
    """(supported, answering nothing) methods of the C++ interface."""
    text = (ROOT / "host/interface/shader_interface.cpp").read_text()
    found = {}
    for name, body in METHOD.findall(text):
        empty = "unsupported<" in body or "declaration(" in body or not body.strip()
        found[name] = found.get(name, False) or not empty
    supported = {"release", "releaseFramebuffer", "close_output_image"}  # there is nothing to do
    return ([n for n, is_there in found.items() if is_there or n in supported],
            [n for n, is_there in found.items() if not is_there and n not in supported])


def queries():
    """(answered, never answered) codes of mi_query, without their prefix."""
    codes = re.findall(r"^    miQ_(\w+) = \d+", (ROOT / "platform/mi/query_codes.h").read_text(), re.M)
    sources = "".join(path.read_text() for path in sorted((ROOT / "host/interface").glob("*.cpp")))
    answered = set(re.findall(r"(?:case|==) miQ_(\w+)", sources))
    return [c for c in codes if c in answered], [c for c in codes if c not in answered and c not in ("NONE", "COUNT")]


def shown(names):
    return " ".join(f"`{name}`" for name in names)


def table(program):
    host = exported(program)
    headers = declared()
    there = [name for name in headers if name in host] + sorted(host - headers.keys())
    lacking = [name for name in headers if name not in host]
    supported, answering = methods()
    lines = ["", "| | functions |", "|---|---|", f"| supported | {shown(there)} |",
             f"| supported, of the C++ interface | {shown(supported)} |",
             f"| answers null, 0 or false, with a warning | {shown(answering)} |"]
    known, unknown = queries()
    lines += [f"| `mi_query` answers | {shown(known)} |", f"| `mi_query` answers false | {shown(unknown)} |"]
    if lacking:
        lines.append(f"| missing | {shown(lacking)} |")
    for what, names in ELSEWHERE.items():
        missing = [name for name in names.split() if name not in host]
        if missing:
            lines.append(f"| missing: {what} | {shown(missing)} |")
    return "\n".join(lines) + "\n"


def main():
    text = PAGE.read_text()
    made = MARKS.sub(lambda match: f"{match[1]}{table(sys.argv[1])}\n{match[2]}", text)
    if "--check" in sys.argv[2:]:
        if made != text:
            raise SystemExit("host.md is not what docs/function_tables.py makes of the host's functions: run it.")
    elif made != text:
        PAGE.write_text(made)


if __name__ == "__main__":
    main()
