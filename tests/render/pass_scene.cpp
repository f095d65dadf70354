#include "pass_scene.h"

#include "contract_test.h"

#include <fmt/format.h>

#include <algorithm>

namespace rendertest {
namespace {

constexpr int kTypes = 35;
const char* const kOptions[] = {"composited",
                                "matte",
                                "user4",
                                "user8",
                                "throughReflection",
                                "throughRefraction",
                                "timesSurfaceColor",
                                "shadowed",
                                "ignoresOccluderMask"};

std::string recordText(const PassBuffer& buffer) {
    std::string text = fmt::format("{{ \"frameBufferName\" \"{}\"", buffer.name);
    for (unsigned bit = 0; bit < std::size(kOptions); ++bit)
        if (buffer.flags >> bit & 1) text += fmt::format(", \"{}\" {}", kOptions[bit], bit == 0 ? "on" : "1");
    const auto& [reflectionFrom, reflectionTo, refractionFrom, refractionTo] = buffer.levels;
    return text + fmt::format(
                      ", \"minReflectionLevel\" {}, \"maxReflectionLevel\" {}, \"minRefractionLevel\" {}, "
                      "\"maxRefractionLevel\" {} }}",
                      reflectionFrom, reflectionTo, refractionFrom, refractionTo);
}

}  // namespace

const char* const kTurned = "transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 0 1";

SceneText passScene(std::vector<PassBuffer> buffers) {
    std::stable_sort(buffers.begin(), buffers.end(), [](const auto& a, const auto& b) { return a.type < b.type; });
    std::array<int, kTypes> counts{};
    std::string records;
    SceneText scene;
    for (const PassBuffer& buffer : buffers) {
        records += (records.empty() ? "" : ",\n") + recordText(buffer);
        scene.buffers += userBuffer(buffer.name, "rgba_fp");
        ++counts.at(static_cast<std::size_t>(buffer.type));
    }
    scene.before = libraryPrelude() + "link \"sdk_mirror.so\"\n$include <sdk_mirror.mi>\n" +
                   fmt::format(
                       "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"frameBufferInfo\" [ {} ], "
                       "\"FrameBufferTypeCounts\" [ {} ] )\n",
                       records, fmt::join(counts, ","));
    scene.options += " traversal \"lumoTraversal\" state [ \"vexabase\" (), \"lumoFrameBufferState\" () ]";
    scene.camera = "data \"fbuf\" lens \"lumoFrameBufferLens\" () ";
    return scene;
}

std::string group(const std::string& name, const std::string& surface, const std::string& shadow) {
    return fmt::format(
        "shader \"{0}_s\" {1}\nmaterial \"{0}\" \"lumoVexaShadingEngine\" ( \"surfaceShader\" = \"{0}_s\" ) shadow {2} "
        "end material\n",
        name, surface, shadow);
}

std::string shining(double value, const std::string& more) {
    return fmt::format("\"lumoVexaLambert\" ( \"color\" 0 0 0, \"diffuse\" 0, \"incandescence\" {0} {0} {0} {1} )",
                       value, more);
}

}  // namespace rendertest
