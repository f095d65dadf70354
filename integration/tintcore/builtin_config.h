/* The color spaces that are known where $OCIO names no configuration. */
#pragma once

namespace TintCore {

inline constexpr char kBuiltinConfig[] = R"(ocio_profile_version: 2
environment: {}
search_path: ""
roles:
  default: Raw
  scene_linear: ACEScg
  data: Raw
  color_picking: sRGB
  texture_paint: sRGB
  compositing_log: ACEScct
file_rules:
  - !<Rule> {name: Default, colorspace: default}
displays:
  sRGB:
    - !<View> {name: Plain, colorspace: sRGB}
    - !<View> {name: Raw, colorspace: Raw}
active_displays: []
active_views: []
colorspaces:
  - !<ColorSpace>
    name: Raw
    isdata: true
  - !<ColorSpace>
    name: ACES2065-1
    isdata: false
  - !<ColorSpace>
    name: ACEScg
    isdata: false
    to_scene_reference: !<BuiltinTransform> {style: ACEScg_to_ACES2065-1}
  - !<ColorSpace>
    name: ACEScct
    isdata: false
    to_scene_reference: !<BuiltinTransform> {style: ACEScct_to_ACES2065-1}
  - !<ColorSpace>
    name: CIE-XYZ-D65
    isdata: false
    from_scene_reference: !<BuiltinTransform> {style: UTILITY - ACES-AP0_to_CIE-XYZ-D65_BFD}
  - !<ColorSpace>
    name: Linear Rec.709
    isdata: false
    from_scene_reference: !<GroupTransform>
      children:
        - !<BuiltinTransform> {style: UTILITY - ACES-AP0_to_CIE-XYZ-D65_BFD}
        - !<MatrixTransform> {matrix: [3.2409699419045, -1.5373831775700, -0.4986107602930, 0, -0.9692436362809, 1.8759675015077, 0.0415550574072, 0, 0.0556300796970, -0.2039769588890, 1.0569715142429, 0, 0, 0, 0, 1]}
  - !<ColorSpace>
    name: sRGB
    aliases: [sRGB display]
    isdata: false
    from_scene_reference: !<GroupTransform>
      children:
        - !<BuiltinTransform> {style: UTILITY - ACES-AP0_to_CIE-XYZ-D65_BFD}
        - !<BuiltinTransform> {style: DISPLAY - CIE-XYZ-D65_to_sRGB}
)";

}  // namespace TintCore
