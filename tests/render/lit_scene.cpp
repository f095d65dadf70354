#include "lit_scene.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>

namespace rendertest {

namespace {

std::string bufferText(const std::string& name, const std::string& use) {
    return fmt::format("framebuffer \"{}\" datatype \"rgba_fp\" {} on filename \"out.exr\" filetype \"exr\"\n", name,
                       use);
}

/// Every level takes part.
std::string recordText(const LitScene::Pass& pass) {
    constexpr std::array kSwitches{"matte",
                                   "user4",
                                   "user8",
                                   "throughReflection",
                                   "throughRefraction",
                                   "timesSurfaceColor",
                                   "shadowed",
                                   "ignoresOccluderMask"};
    std::string text = fmt::format(
        "{{ \"frameBufferName\" \"{}\", \"composited\" {}, \"maxReflectionLevel\" 1000, "
        "\"maxRefractionLevel\" 1000",
        pass.name, pass.flags & kComposited ? "on" : "off");
    unsigned flag = kMatte;
    for (const char* name : kSwitches) {
        if (pass.flags & flag) text += fmt::format(", \"{}\" 1", name);
        flag <<= 1;
    }
    return text + " }";
}

std::string blockText(const std::vector<LitScene::Pass>& passes) {
    std::array<int, 35> counts{};
    std::string records;
    for (const LitScene::Pass& pass : passes) {
        ++counts.at(static_cast<std::size_t>(pass.type));
        records += (records.empty() ? "" : ", ") + recordText(pass);
    }
    return fmt::format(
        "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"passNames\" [], "
        "\"frameBufferInfo\" [ {} ], \"FrameBufferTypeCounts\" [ {} ] )\n",
        records, fmt::join(counts, ", "));
}

}  // namespace

LitScene::LitScene(std::vector<Pass> passes) : passes_(std::move(passes)) {
    std::stable_sort(passes_.begin(), passes_.end(), [](const Pass& a, const Pass& b) { return a.type < b.type; });
}

void LitScene::light(const std::string& name, const std::string& shader, const std::string& place,
                     const std::string& instance) {
    elements_ += fmt::format("light \"{0}_light\" {1} {2} end light\n", name, shader, place);
    addInstance(fmt::format("instance \"{0}\" \"{0}_light\" {1} end instance\n", name, instance), name);
}

void LitScene::lambert(const std::string& name, const std::string& parameters, const std::string& shadow,
                       const std::string& engine) {
    const std::string caster = shadow.empty() ? "\"lumoVexaFastShadow\" ()" : shadow;
    elements_ += fmt::format(
        "shader \"{0}_surface\" \"lumoVexaLambert\" ( {1} )\n"
        "material \"{0}\" \"lumoVexaShadingEngine\" ( \"surfaceShader\" = \"{0}_surface\"{2} ) "
        "shadow {3} end material\n",
        name, parameters, engine, caster);
}

void LitScene::wall(const std::string& name, double z, const std::string& material, double size,
                    const std::string& instance) {
    addInstance(rendertest::wall(name, z, material, size, instance), name);
}

void LitScene::addInstance(const std::string& text, const std::string& name) {
    elements_ += text;
    members_ += " \"" + name + "\"";
}

std::string LitScene::leftOutOf(const std::vector<std::string>& passes) {
    std::vector<unsigned> digits((passes_.size() + 3) / 4, 15);
    for (std::size_t p = 0; p < passes_.size(); ++p)
        if (std::find(passes.begin(), passes.end(), passes_[p].name) != passes.end()) digits[p / 4] &= ~(1U << (p % 4));
    const std::string name = fmt::format("mask{}", masks_++);
    elements_ += fmt::format("data \"{}\" \"PassMask\" ( \"passMask\" \"{:x}\" )\n", name, fmt::join(digits, ""));
    return "data \"" + name + "\"";
}

std::string LitScene::text() const {
    SceneText scene;
    scene.before = libraryPrelude() + blockText(passes_);
    scene.options = "samples 0 0 " + options + " state [ \"vexabase\" (" + record + "), \"lumoFrameBufferState\" () ]";
    scene.buffers = bufferText("picture", "primary");
    for (const Pass& pass : passes_) scene.buffers += bufferText(pass.name, "user");
    scene.camera = "data \"fbuf\" " + camera;
    scene.elements = elements_;
    scene.members = members_;
    return scene.text();
}

std::string parameter(const std::string& name, const Rgb& value) {
    return fmt::format("\"{}\" {:.9g} {:.9g} {:.9g} 1", name, value.r, value.g, value.b);
}

std::string parameter(const std::string& name, double value) { return fmt::format("\"{}\" {:.9g}", name, value); }

}  // namespace rendertest
