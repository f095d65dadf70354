
#include "parameters/declarations.h"
#include "elements/assembly.h"
#include "elements/element_readers.h"
#include "parameters/shader_calls.h"
#include "parsing/statements.h"
#include "parameters/user_data.h"
#include "support/messages.h"
#include "mi/records.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

using Scene = SceneContext;

/// The variable is set before the next token is fetched, because a condition may stand right behind.
void readSet(Scene& scene) {
    Cursor& in = scene.in;
    if (!in.atName()) in.fail("the name of a variable");
    const std::string_view name = in.current().text;
    if (!in.followedBy('"')) {
        scene.registry.clearVariable(name);
        return in.advance();
    }
    in.advance();
    if (in.atString()) scene.registry.setVariable(name, in.current().text);
    in.readString();
}

void readVerbose(Scene& scene) {
    constexpr int kOff = 2, kOn = 5;
    const int level = scene.in.atInteger() ? scene.in.readInteger(0, 7) : scene.in.readBoolean() ? kOn : kOff;
    if (!scene.settings.verbosityIsFixed) setVerbosity(level);
}

void readLink(Scene& scene) {
    const Place place = scene.in.place();
    scene.link(place, scene.readFileName());
}

/// A command with any number of texts or bytes.
void skipTexts(Scene& scene) {
    while (scene.in.atString() || scene.in.current().kind == TokenKind::Bytes || scene.in.at(',')) scene.in.advance();
}

void checkVersion(Scene& scene, int refused) {
    const Place place = scene.in.place();
    const std::string wanted = scene.in.readString("a version in quotes");
    const int order = compareWithOwnVersion(wanted);
    if (order == 0 || order != refused) return;
    scene.problems.error(place, fmt::format("the scene is made for a renderer version {} {}, this one answers {}",
                                            refused > 0 ? "from" : "up to", wanted, kRendererVersion));
    throw StopReading();
}

constexpr int kRefuseNewer = 1, kRefuseOlder = -1;

void readMinimum(Scene& scene) {
    scene.in.expect("version");
    checkVersion(scene, kRefuseNewer);
}

void readMaximum(Scene& scene) {
    scene.in.expect("version");
    checkVersion(scene, kRefuseOlder);
}

void readRegistry(Scene& scene) {
    Cursor& in = scene.in;
    const std::string_view name = in.readName("the name of a registry entry");
    Registry::Entry entry;
    while (!in.at("end")) {
        Registry::Item item;
        item.kind = in.readName("a registry item or \"end registry\"");
        item.text = in.readString("the item's text");
        entry.items.push_back(std::move(item));
    }
    scene.registry.define(name, std::move(entry));  // before a $lookup right behind is carried out
    in.acceptEnd("registry");
}

/// The names of a camera instance and of options may follow.
void readCall(Scene& scene) {
    const Place place = scene.in.place();
    CallCommand command;
    command.where = place.text();
    command.shaders = readShaderList(scene);
    if (scene.in.accept(',')) {
        command.cameraInstance = scene.readReference({miSCENE_INSTANCE}, "a camera instance");
        command.options = scene.readReference({miSCENE_OPTIONS}, "options");
    }
    if (scene.problems.errors() > 0 && !scene.settings.lenient)
        return scene.problems.warning(place, "nothing is called because of the errors above");
    if (command.shaders) scene.actions.call(command);
}

void readDelete(Scene& scene) {
    Cursor& in = scene.in;
    const Place place = in.place();
    const std::string_view name = in.readName("the name of an element");
    const miTag tag = scene.find(name);
    if (!tag) return scene.problems.warning(place, fmt::format("there is no \"{}\" to delete", name));
    const auto* declaration = scene.database.detail<Declaration>(tag);
    if (declaration && declaration->used)
        return scene.problems.error(place, fmt::format("\"{}\" is in use and cannot be deleted", name));
    scene.database.remove(tag);
}

void readNamespace(Scene& scene) {
    constexpr std::size_t kDeepest = 32;
    if (scene.namespaces.size() >= kDeepest) scene.in.fail("fewer namespaces within each other");
    scene.namespaces.emplace_back(scene.in.readName("the name of a namespace"));
}

void readEnd(Scene& scene) {
    Cursor& in = scene.in;
    if (in.at("namespace") && !scene.namespaces.empty()) {
        scene.namespaces.pop_back();
        return in.advance();
    }
    if (in.accept("frame")) return endFrame(scene);
    throw SyntaxError{in.place(), fmt::format("found \"end {}\" where nothing is open", in.current().text)};
}

void skipGui(Scene& scene) {
    if (scene.in.atName()) scene.in.advance();
    while (scene.in.at('(') || scene.in.at('{')) scene.in.skipGroup();
}

void skipDebug(Scene& scene) {
    scene.in.readName("a debugging mode");
    if (scene.in.atString()) scene.in.advance();
}

void readSession(Scene& scene) {
    scene.in.expect("depth");
    scene.in.readInteger();
}

const StatementTable<Scene>& commands() {
    static const StatementTable<Scene> table = {
        {"set", &readSet},
        {"verbose", &readVerbose},
        {"echo", [](Scene& s) { message(MessageClass::Info, "SCEN", s.in.readString()); }},
        {"system", &skipTexts},
        {"code", &skipTexts},
        {"link", &readLink},
        {"version", [](Scene& s) { checkVersion(s, kRefuseNewer); }},
        {"min", &readMinimum},
        {"max", &readMaximum},
        {"registry", &readRegistry},
        {"call", &readCall},
        {"debug", &skipDebug},
        {"memory", [](Scene& s) { s.in.readFloat(); }},
        {"delete", &readDelete},
        {"touch", [](Scene& s) { s.in.readName("the name of an element"); }},
        {"namespace", &readNamespace},
        {"end", &readEnd},
        {"root", &readAssemblyRoot},
        {"render", &readRender},
        {"gui", &skipGui},
        {"frame", &readFrame},
        {"view", &readView},
        {"incremental", [](Scene& s) { s.incremental = true; }},
        {"private", [](Scene&) {}},
        {"session", &readSession},
        {"declare", &readDeclaration},
        {"shader", &readNamedShader},
        {"data", &readUserData},
        {"options", &readOptions},
        {"camera", &readCamera},
        {"light", &readLight},
        {"material", &readMaterial},
        {"object", &readObject},
        {"instance", &readInstance},
        {"instgroup", &readInstanceGroup},
        {"assembly", &readAssembly},
        {"lightprofile", &readLightProfile},
        {"colorprofile", &readColorProfile},
        {"spectrum", &readSpectrum},
    };
    return table;
}

/// What a file of objects may hold.
bool isOfObjects(std::string_view word) {
    static constexpr std::string_view kWords[] = {"object", "incremental", "private", "session", "set",       "verbose",
                                                  "echo",   "version",     "min",     "max",     "namespace", "end"};
    return std::find(std::begin(kWords), std::end(kWords), word) != std::end(kWords);
}

bool isPrefix(std::string_view word) { return word == "incremental" || word == "private" || word == "session"; }

void readCommand(Scene& scene) {
    Cursor& in = scene.in;
    if (isTextureWord(in.current()) && !scene.onObject) return readTexture(scene);
    const auto read = commands().find(in.current());
    if (!read && in.current().text == "$") in.fail("a command or an element; directives begin in the first column");
    if (!read) in.fail("a command or an element");
    const std::string_view word = in.current().text;
    if (scene.onObject && !isOfObjects(word))
        in.fail("an object: other elements of an object file would come too late");
    in.advance();
    scene.problems.tell(scene.elementPlace, "scene", word, in.continuation());
    read(scene);
}

}  // namespace

bool isTextureWord(const Token& token) {
    return token.isSymbol("color") || token.isSymbol("scalar") || token.isSymbol("vector") || token.isSymbol("local") ||
           token.isSymbol("filter") || token.isSymbol("writable");
}

bool isCommand(std::string_view word) {
    Token token;
    token.kind = TokenKind::Symbol;
    token.text = word;
    return commands().find(token) != nullptr;
}

void readCommands(Scene& scene) {
    const std::size_t namespaces = scene.namespaces.size();
    Cursor& in = scene.in;
    while (!in.atEnd()) {
        const std::string_view word = in.current().text;
        const char* const begin = in.current().at;
        scene.elementPlace = in.place();
        try {
            readCommand(scene);
        } catch (const SyntaxError& problem) {
            scene.problems.error(problem.place, problem.text);
            scene.depth = 0;
            if (in.current().at == begin) in.advance();
            recover(scene, word);
        }
        if (!isPrefix(word)) scene.incremental = false;
    }
    if (scene.namespaces.size() > namespaces)
        scene.problems.error(in.place(), "found the end of the file, expected \"end namespace\"");
}

void readRender(SceneContext& scene) {
    Cursor& in = scene.in;
    const Place place = in.place();
    RenderCommand command;
    command.rootGroup = scene.readReference({miSCENE_GROUP}, "an instance group");
    command.cameraInstance = scene.readReference({miSCENE_INSTANCE}, "a camera instance");
    if (const auto* instance = scene.database.as<miInstance>(command.cameraInstance, miSCENE_INSTANCE))
        if (scene.database.type(instance->item) != miSCENE_CAMERA)
            scene.problems.error(
                place, fmt::format("instance \"{}\" places no camera", scene.database.name(command.cameraInstance)));
    command.options = scene.readReference({miSCENE_OPTIONS}, "options");
    carryOutRender(scene, place, std::move(command));
}

void carryOutRender(SceneContext& scene, const Place& place, RenderCommand command) {
    if (scene.problems.errors() > 0 && !scene.settings.lenient)
        return scene.problems.warning(place, "nothing is rendered because of the errors above");
    command.where = place.text();
    command.texts = scene.in.texts();
    passParameters(scene);
    if (!scene.actions.render(command)) throw StopReading();
}

}  // namespace lumorender
