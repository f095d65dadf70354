#include "parameters/declarations.h"

#include "database/declaration_match.h"
#include "parsing/nearest_name.h"

#include <fmt/format.h>

namespace lumorender {

namespace {

/// What a parameter block may take at most: 64 MB, far above any real record, so that sizes fit all their fields.
constexpr std::size_t kLargestRecord = std::size_t{1} << 26;

std::string_view bodyOf(const Declaration& declaration) {
    const auto* phenomenon = dynamic_cast<const PhenomenonDeclaration*>(&declaration);
    return phenomenon ? std::string_view(phenomenon->body->begin(), phenomenon->body->end()) : std::string_view();
}

bool isSame(const Declaration& a, const Declaration& b) {
    return bodyOf(a) == bodyOf(b) && a.kind == b.kind && a.version == b.version &&
           isSameLayout({a.result}, {b.result}) && isSameLayout(a.parameters, b.parameters);
}

void layOutDeclaration(SceneContext& scene, Declaration& declaration) {
    declaration.parameterSize = layOut(declaration.parameters);
    std::vector<Parameter> result{declaration.result};
    layOut(result);
    declaration.result = result.front();
    declaration.signature = signatureText(declaration.result, declaration.name, declaration.parameters);
    if (declaration.parameterSize > kLargestRecord || declaration.result.elementSize > kLargestRecord)
        throw SyntaxError{scene.in.place(), fmt::format("the record of \"{}\" is too large", declaration.name)};
}

/// A shader reads its parameters, and user data, where it was made to find them, so a scene that declares either in
/// another way could make it read and write anywhere.
void checkLayout(SceneContext& scene, Declaration& declaration, const Place& place) {
    const Declaration* expected = scene.expectedDeclaration ? scene.expectedDeclaration(declaration, place) : nullptr;
    if (!expected) return;
    const char* const kind = declaration.kind == DeclarationKind::Data ? "user data" : "shader";
    const std::string difference = layoutDifference(declaration, *expected);
    if (!difference.empty()) {
        declaration.entry = {};
        declaration.refused = true;
        return scene.problems.error(
            place, fmt::format("{} \"{}\" is declared in another way than its module expects: {}. Found, "
                               "at {}: {}; expected, by {}: {}",
                               kind, declaration.name, difference, declaration.where, declaration.signature,
                               expected->where, expected->signature));
    }
    const std::size_t missing = completeParameters(declaration, *expected);
    if (missing == 0) return;
    layOutDeclaration(scene, declaration);
    scene.problems.warning(place, fmt::format("{} \"{}\" is declared without the last {} of its "
                                              "parameters, which have their defaults",
                                              kind, declaration.name, missing));
}

void lookUpFunctions(SceneContext& scene, Declaration& declaration, const Place& place) {
    if (declaration.refused) return;
    declaration.entry = scene.modules.find(declaration.name);
    if (!declaration.entry.call) return;
    checkLayout(scene, declaration, place);
    if (!declaration.entry.version) return;
    const int version = declaration.entry.version();
    if (version != declaration.version)
        scene.problems.versionMismatch(place, fmt::format("shader \"{}\" is declared with version {}, its module has "
                                                          "version {}",
                                                          declaration.name, declaration.version, version));
}

/// What a declaration says behind its parameters. Only the version matters to this host; the rest informs.
void readRequirements(SceneContext& scene, Declaration& declaration) {
    Cursor& in = scene.in;
    while (!in.acceptEnd("declare")) {
        if (in.atEnd() || in.at("declare")) in.fail("\"end declare\"");
        if (in.accept("version"))
            declaration.version = in.readInteger();
        else
            in.skipGroup();
    }
}

/// The body of a phenomenon holds elements of its own, with their own `end`. It is read when the phenomenon is used,
/// once for each use; conditions and inclusions in it are those of the place where it is declared.
std::shared_ptr<const SourceText> skipPhenomenonBody(Cursor& in) {
    return in.copy([&in] {
        while (!in.at("end") || in.followingWord() != "declare") {
            if (in.atEnd()) in.fail("\"end declare\"");
            in.skipGroup();
        }
        in.advance();
        in.expect("declare");
    });
}

/// Shaders keep the layout they were made with, so a name in use cannot change its layout.
void storeDeclaration(SceneContext& scene, std::unique_ptr<Declaration> declaration, const Place& place) {
    const std::string& name = declaration->name;
    const std::string fullName = scene.qualify(name);
    if (const auto* former = scene.database.detail<Declaration>(scene.database.find(fullName))) {
        if (isSame(*former, *declaration)) return;
        if (former->used)
            return scene.problems.error(place, fmt::format("\"{}\" is declared differently while shaders use "
                                                           "the former declaration",
                                                           name));
        scene.problems.warning(place, fmt::format("\"{}\" is declared again and differently", name));
    }
    if (declaration->kind == DeclarationKind::Shader) {
        lookUpFunctions(scene, *declaration, place);
        if (scene.linked && !declaration->entry.call && !declaration->refused)
            scene.problems.warning(place, fmt::format("no linked module has a function \"{}\"", name));
    }
    if (declaration->kind == DeclarationKind::Data) checkLayout(scene, *declaration, place);
    scene.storeBytes(fullName, miSCENE_FUNCTION_DECL, nullptr, 16, std::move(declaration));
}

}  // namespace

void readDeclaration(SceneContext& scene) {
    Cursor& in = scene.in;
    const Place place = in.place();
    const bool isPhenomenon = in.accept("phenomenon");
    std::unique_ptr<Declaration> declaration =
        isPhenomenon ? std::make_unique<PhenomenonDeclaration>() : std::make_unique<Declaration>();
    declaration->result.type = miTYPE_COLOR;
    declaration->where = place.text();
    bool hasEnd = true;
    if (isPhenomenon)
        declaration->kind = DeclarationKind::Phenomenon;
    else if (in.accept("data"))
        declaration->kind = DeclarationKind::Data;
    else
        hasEnd = in.accept("shader");
    if (declaration->kind == DeclarationKind::Data)
        declaration->result.type = miTYPE_DATA;
    else if (atType(in))
        declaration->result = readResultType(scene);

    declaration->name = in.readName("the name of a declaration");
    declaration->parameters = readParameterDeclarations(scene, '(');
    layOutDeclaration(scene, *declaration);
    if (isPhenomenon) {
        static_cast<PhenomenonDeclaration&>(*declaration).body = skipPhenomenonBody(in);
    } else if (hasEnd || (in.at("end") && in.followingWord() == "declare")) {
        readRequirements(scene, *declaration);
    }
    storeDeclaration(scene, std::move(declaration), place);
}

Declaration* requireDataDeclaration(SceneContext& scene, std::string_view name, miTag& tag) {
    tag = scene.find(name);
    auto* declaration = scene.database.detail<Declaration>(tag);
    const Place place = scene.in.place();
    if (!declaration || declaration->kind != DeclarationKind::Data) {
        scene.problems.error(place, fmt::format("user data \"{}\" is not declared", name));
        return nullptr;
    }
    // Modules that know it may have been linked since.
    if (!declaration->used && !declaration->refused) checkLayout(scene, *declaration, place);
    if (declaration->refused) {
        scene.problems.error(place, fmt::format("user data \"{}\" is not used because of its declaration at {}", name,
                                                declaration->where));
        return nullptr;
    }
    declaration->used = true;
    return declaration;
}

namespace {

/// Names of all declarations are looked through only for the first errors, which are those that people read.
std::string guessOfShader(const SceneContext& scene, std::string_view name) {
    constexpr int kFirstErrors = 20;
    std::vector<std::string> names;
    for (miTag tag = 1; tag < scene.database.end() && scene.problems.errors() < kFirstErrors; ++tag)
        if (scene.database.type(tag) == miSCENE_FUNCTION_DECL) names.emplace_back(scene.database.name(tag));
    return guessOf(name, names);
}

}  // namespace

Declaration* requireShaderDeclaration(SceneContext& scene, std::string_view name, miTag& tag) {
    tag = scene.find(name);
    auto* declaration = scene.database.detail<Declaration>(tag);
    const Place place = scene.in.place();
    if (!declaration || declaration->kind == DeclarationKind::Data) {
        scene.problems.error(place, fmt::format("shader \"{}\" is not declared{}", name, guessOfShader(scene, name)));
        return nullptr;
    }
    const bool isPhenomenon = declaration->kind == DeclarationKind::Phenomenon;
    if (!isPhenomenon && !declaration->entry.call) lookUpFunctions(scene, *declaration, place);
    if (!isPhenomenon && !declaration->entry.call && scene.settings.functionsRequired) {
        scene.problems.error(place, declaration->refused
                                        ? fmt::format("shader \"{}\" is not used because of its declaration at {}",
                                                      name, declaration->where)
                                        : fmt::format("no linked module has the function of shader \"{}\"", name));
        return nullptr;
    }
    declaration->used = true;
    return declaration;
}

}  // namespace lumorender
