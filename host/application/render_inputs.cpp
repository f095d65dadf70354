#include "application/render_inputs.h"

#include "saving/digest.h"

#include <fmt/format.h>

namespace lumorender {

namespace {

std::string nameOf(const std::filesystem::path& file) { return file.filename().string(); }

}  // namespace

Identity renderInputs(const CommandLine& commandLine, const RenderCommand& command, const Modules& modules,
                      int number) {
    Identity identity;
    identity.addProgram();
    for (const auto& [name, text] : command.texts)
        identity.addDigest(fmt::format("scene file \"{}\"", nameOf(name)), fmt::format("{:016x}", digestOf(text)));
    identity.add("the number of the render command", std::to_string(number));
    for (const std::filesystem::path& file : modules.files())
        identity.addDigest(fmt::format("module \"{}\"", nameOf(file)), fileDigest(file));
    identity.add("what the command line says of options", "\"" + commandLine.optionsStatements + "\"");
    identity.add("what the command line says of the camera", "\"" + commandLine.cameraStatements + "\"");
    for (const auto& [key, value] : commandLine.reader.registry)
        identity.add(fmt::format("-registry {}", key), "\"" + value + "\"");
    identity.add("-shutter_delay", commandLine.shutterDelay.empty() ? "as in the scene" : commandLine.shutterDelay);
    identity.add("-lenient", commandLine.reader.lenient ? "on" : "off");
    identity.add("-texture_continue", commandLine.render.continueWithoutTextures ? "on" : "off");
    return identity;
}

}  // namespace lumorender
