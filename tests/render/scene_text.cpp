#include "scene_text.h"

#include <fmt/format.h>

namespace rendertest {

std::string SceneText::text() const {
    std::string text = "$include <modules.mi>\n" + before + "\n";
    text += "options \"opt\" object space trace depth 4 4 8 " + options + " end options\n";
    text += "camera \"cam\" " + buffers + "\n focal 1 aperture 2 aspect 1 resolution 4 4 " + camera + " end camera\n";
    text += "instance \"cam_i\" \"cam\" " + cameraPlace + " end instance\n";
    text += elements + "\n";
    text += "instgroup \"world\" \"cam_i\" " + members + " end instgroup\n";
    text += "render \"world\" \"cam_i\" \"opt\"\n" + after + "\n";
    return text;
}

std::string wall(const std::string& name, double z, const std::string& material, double size,
                 const std::string& instance) {
    return fmt::format(R"(
object "{0}_object" visible shadow trace
    group
        -{2} -{2} {1}  {2} -{2} {1}  {2} {2} {1}  -{2} {2} {1}
        0 0 0  1 0 0  1 1 0  0 1 0
        v 0 t 4  v 1 t 5  v 2 t 6  v 3 t 7
        c 0 1 2 3
    end group
end object
instance "{0}" "{0}_object" material "{3}" {4} end instance
)",
                       name, z, size, material, instance);
}

std::string box(const std::string& name, V3 half, const Placing& place, bool inside, const std::string& instance) {
    const char* faces = inside ? "c 0 1 2 3  c 7 6 5 4  c 4 5 1 0  c 6 7 3 2  c 5 6 2 1  c 3 7 4 0"
                               : "c 3 2 1 0  c 4 5 6 7  c 0 1 5 4  c 2 3 7 6  c 1 2 6 5  c 0 4 7 3";
    return fmt::format(R"(
object "{0}_object" visible trace shadow group
    -{1} -{2} -{3}  {1} -{2} -{3}  {1} {2} -{3}  -{1} {2} -{3}  -{1} -{2} {3}  {1} -{2} {3}  {1} {2} {3}  -{1} {2} {3}
    v 0 v 1 v 2 v 3 v 4 v 5 v 6 v 7 {4} end group end object
instance "{0}" "{0}_object" {6} transform {5} end instance
)",
                       name, half.x, half.y, half.z, faces, place.inverse().text(), instance);
}

std::string constantMaterial(const std::string& name, const std::string& color) {
    return fmt::format("material \"{}\" \"plain_constant\" ( \"color\" {} ) end material\n", name, color);
}

std::string libraryPrelude() {
    return "link \"lumovexa.so\"\nlink \"vexabase.so\"\n$include <lumovexa.mi>\n$include <vexabase.mi>\n";
}

}  // namespace rendertest
