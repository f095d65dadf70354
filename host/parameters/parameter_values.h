// Reads parameter lists of shaders, data and instances into a block of their declared layout.
#pragma once

#include "parsing/context.h"
#include "parameters/parameter_block.h"

#include <string>
#include <vector>

namespace lumorender {

class ParameterReader {
public:
    /// @param owner what the parameters belong to, for messages.
    /// @param connectable false where values cannot come from shaders.
    ParameterReader(SceneContext& scene, ParameterBlock& block, std::string owner, bool connectable)
        : scene_(scene), in_(scene.in), block_(block), owner_(std::move(owner)), connectable_(connectable) {}

    /// `"name" value, ..` up to and past the closing bracket. Returns how many values were given.
    int readList(const std::vector<Parameter>& parameters, std::size_t base, char closing);

private:
    void readNamed(const std::vector<Parameter>& parameters, std::size_t base);
    void skipValue(char closing);
    void readValue(const Parameter& parameter, std::size_t base);
    void readArray(const Parameter& parameter, std::size_t base);
    void readFlatElements(const Parameter& parameter, std::size_t base);
    void readNestedElements(const Parameter& parameter, std::size_t base);
    void readElement(const Parameter& parameter, std::size_t at);
    void readNumbers(const Parameter& parameter, std::size_t at);
    miColor readColor();
    void readConnection(const Parameter& parameter, std::size_t at);
    void readInterface(const Parameter& parameter, std::size_t base);
    void readLights(const Parameter& parameter, ParameterBlock& elements);
    miTag readName(miParam_type type);
    bool nextElement();
    void checkSize(const ParameterBlock& block, const Parameter& parameter) const;

    SceneContext& scene_;
    Cursor& in_;
    ParameterBlock& block_;
    std::string owner_;
    std::string reading_;  ///< the parameter whose value is being read, for messages
    bool connectable_;
};

/// Reads `( value, .. )` of which no declaration is known: values lie one after another as they come, numbers as
/// integer or scalar as they are written, names and texts as tags, whose places `textWords` tells.
ParameterBlock readUndeclaredParameters(SceneContext& scene, std::vector<int>& textWords);

}  // namespace lumorender
