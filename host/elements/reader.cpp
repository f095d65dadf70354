#include "elements/reader.h"

#include "elements/element_readers.h"
#include "elements/module_declarations.h"
#include "parameters/shader_calls.h"
#include "support/files.h"
#include "support/messages.h"

#include <exception>

namespace lumorender {

namespace {

bool readAll(SceneContext& scene, const std::string& name, const std::filesystem::path& directory, std::string text) {
    scene.onPhenomenon = [&scene](const Place& place, const std::string& shader, miTag declaration,
                                  const ParameterBlock& block, int given) {
        return makePhenomenon(scene, place, shader, declaration, block, given);
    };
    auto declarations = scene.settings.moduleDeclarations;
    if (!declarations) declarations = std::make_shared<ModuleDeclarations>(scene.settings);
    if (!scene.settings.declarationsOnly)
        scene.expectedDeclaration = [&](const Declaration& found, const Place& place) {
            return declarations->expected(scene.modules, found, place.source->name());
        };
    try {
        scene.in.open(name, directory, std::move(text));
        readCommands(scene);
        passParameters(scene);
        scene.actions.finishText();
    } catch (const StopReading&) {
        // Has been said, or was asked for.
    }
    scene.problems.summarize();
    return scene.problems.errors() == 0;
}

/// Whatever goes wrong below, such as a lack of memory, ends the reading and not the program.
template <class Read>
bool guarded(const std::string& name, const Read& read) noexcept {
    try {
        return read();
    } catch (const std::exception& failure) {
        message(MessageClass::Error, "SCEN", name + ": " + failure.what());
    } catch (...) {
        message(MessageClass::Error, "SCEN", name + ": reading failed");
    }
    return false;
}

}  // namespace

bool readScene(const std::filesystem::path& file, Database& database, Modules& modules, SceneActions& actions,
               const ReaderSettings& settings) {
    return guarded("scene", [&] {
        const std::string name = file.lexically_normal().string();
        std::string text;
        if (const std::string failure = readFile(file, text); !failure.empty()) {
            error("SCEN", "cannot read scene \"{}\": {}", name, failure);
            return false;
        }
        if (!settings.declarationsOnly) progress("SCEN", "reading {}", name);
        SceneContext scene(database, modules, actions, settings);
        return readAll(scene, name, file.parent_path(), std::move(text));
    });
}

bool readSceneText(std::string_view text, const std::string& name, Database& database, Modules& modules,
                   SceneActions& actions, const ReaderSettings& settings) {
    return guarded(name, [&] {
        SceneContext scene(database, modules, actions, settings);
        return readAll(scene, name, {}, std::string(text));
    });
}

}  // namespace lumorender
