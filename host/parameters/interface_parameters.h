// The parameters of a phenomenon, as the shaders inside of it refer to them.
#pragma once

#include "parameters/parameter_block.h"
#include "parsing/context.h"

namespace lumorender {

struct InterfaceParameter {
    const Parameter* parameter = nullptr;
    const ParameterBlock* block = nullptr;
    std::size_t base = 0;  ///< where the record lies that holds the parameter
};

/// Behind `interface`: `"name"` or `"name.member"`. Without a parameter after an error. Throws SyntaxError outside of
/// phenomena.
InterfaceParameter readInterfaceParameter(SceneContext& scene);

/// True when a value of `from` can be copied to `to`: also between integers and truth values.
bool isSameType(const Parameter& to, const Parameter& from);

}  // namespace lumorender
