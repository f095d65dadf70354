#include "parameters/interface_parameters.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

InterfaceParameter readInterfaceParameter(SceneContext& scene) {
    Cursor& in = scene.in;
    if (scene.phenomena.empty()) in.fail("a shader: only the body of a phenomenon has an interface");
    const Place place = in.place();
    const std::string_view path = in.readName("the name of a parameter of the phenomenon");
    const PhenomenonScope& scope = scene.phenomena.back();

    const auto dot = std::min(path.find('.'), path.size());
    InterfaceParameter found{scope.declaration->parameter(path.substr(0, dot)), scope.block, 0};
    std::string_view rest = path.substr(std::min(dot + 1, path.size()));
    while (found.parameter && !rest.empty()) {
        const auto next = std::min(rest.find('.'), rest.size());
        found.base += found.parameter->elementOffset;
        found.parameter = found.parameter->isArray ? nullptr : found.parameter->member(rest.substr(0, next));
        rest.remove_prefix(std::min(next + 1, rest.size()));
    }
    if (!found.parameter)
        scene.problems.error(place,
                             fmt::format("phenomenon \"{}\" has no parameter \"{}\"", scope.declaration->name, path));
    return found;
}

bool isSameType(const Parameter& to, const Parameter& from) {
    const auto isWord = [](miParam_type type) { return type == miTYPE_BOOLEAN || type == miTYPE_INTEGER; };
    if (to.isArray != from.isArray) return false;
    if (to.type != from.type) return isWord(to.type) && isWord(from.type);
    return std::equal(to.members.begin(), to.members.end(), from.members.begin(), from.members.end(), isSameType);
}

}  // namespace lumorender
