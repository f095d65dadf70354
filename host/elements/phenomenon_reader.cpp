// Makes the elements of a phenomenon's body for one use of it. Each use has elements of its own, under names that only
// the body knows, and the values of the interface are copied into their parameters: a render sees ordinary shaders.
#include "elements/element_readers.h"
#include "mi/records.h"
#include "parameters/declarations.h"
#include "parameters/function_record.h"
#include "parameters/interface_parameters.h"
#include "parameters/shader_calls.h"
#include "parsing/statements.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

/// Phenomena that use each other twice would fill any memory.
constexpr int kMostPhenomena = 100000;

struct BodyReader {
    SceneContext& scene;
    Cursor& in;
    const Declaration& declaration;
    PhenomenonInstance instance = {};  ///< its root may be a material or light
    Parameter result = {};             ///< of the root, where it is a shader

    bool readOther() {
        if (!isTextureWord(in.current())) return false;
        readTexture(scene);
        return true;
    }

    void readRoot();
    void readRootShaders();
    void readCameraShaders(PhenomenonInstance::CameraShaders& shaders);
    void readOutputShaders();
    void readContourShader();
};

void BodyReader::readRoot() {
    if (in.accept("material"))
        instance.root = scene.readReference({miSCENE_MATERIAL}, "a material of the phenomenon");
    else if (in.accept("light"))
        instance.root = scene.readReference({miSCENE_LIGHT}, "a light of the phenomenon");
    else
        readRootShaders();
}

/// The root's result is that of the phenomenon; it may be a member of a shader's result.
void BodyReader::readRootShaders() {
    if (!atShader(in)) in.fail("\"material\", \"light\" or a shader behind \"root\"");
    if (in.at('=') && in.followedBy('"')) {
        in.advance();
        const ConnectedShader source = readConnectedShader(scene);
        instance.root = atShader(in) ? joinShaders(scene, source.tag, readShaderList(scene)) : source.tag;
        result = source.result;
    } else {
        instance.root = readShaderList(scene);
        const auto shaders = shadersOf(scene, instance.root);
        if (!shaders.empty()) result = resultOf(scene, shaders.front());
    }
}

void BodyReader::readCameraShaders(PhenomenonInstance::CameraShaders& shaders) {
    if (in.accept("priority"))
        shaders.priority = in.readInteger();
    else if (in.accept("level"))
        in.readInteger();  // of volumes within each other: a requirement, which informs
    else
        shaders.shaders = joinShaders(scene, shaders.shaders, readShaderList(scene));
}

void BodyReader::readOutputShaders() {
    for (std::string& type : readOutputTypes(scene)) instance.outputTypes.push_back(std::move(type));
    readCameraShaders(instance.output);
}

void BodyReader::readContourShader() {
    const bool store = in.accept("store");
    if (!store) in.expect("contrast");
    (store ? instance.contourStore : instance.contourContrast) = readShaderList(scene);
}

using Reader = BodyReader;

/// What a phenomenon requires of the options informs people, as it does for shaders.
const StatementTable<Reader>& statements() {
    static const StatementTable<Reader> table = {
        {"shader", [](Reader& r) { readNamedShader(r.scene); }},
        {"material", [](Reader& r) { readMaterial(r.scene); }},
        {"light", [](Reader& r) { readLight(r.scene); }},
        {"instance", [](Reader& r) { readInstance(r.scene); }},
        {"root", [](Reader& r) { r.readRoot(); }},
        {"lens", [](Reader& r) { r.readCameraShaders(r.instance.lens); }},
        {"volume", [](Reader& r) { r.readCameraShaders(r.instance.volume); }},
        {"environment", [](Reader& r) { r.readCameraShaders(r.instance.environment); }},
        {"geometry", [](Reader& r) { r.readCameraShaders(r.instance.geometry); }},
        {"output", [](Reader& r) { r.readOutputShaders(); }},
        {"contour", [](Reader& r) { r.readContourShader(); }},
        {"version", [](Reader& r) { r.in.readInteger(); }},
        {"apply",
         [](Reader& r) {
             do r.in.readName("what it applies to");
             while (r.in.accept(','));
         }},
        {"scanline", [](Reader& r) { r.in.advance(); }},
        {"trace", [](Reader& r) { r.in.advance(); }},
        {"shadow", [](Reader& r) { r.in.advance(); }},
        {"face", [](Reader& r) { r.in.advance(); }},
        {"parallel", [](Reader&) {}},
        {"texture", [](Reader& r) { r.in.readInteger(); }},
        {"bump", [](Reader& r) { r.in.readInteger(); }},
        {"derivative",
         [](Reader& r) {
             while (r.in.atInteger()) r.in.advance();
         }},
        {"object", [](Reader& r) { r.in.expect("space"); }},
        {"camera", [](Reader& r) { r.in.expect("space"); }},
        {"mixed", [](Reader& r) { r.in.expect("space"); }},
        {"hardware", [](Reader& r) { r.in.skipGroup(); }},
    };
    return table;
}

/// The namespaces of an element by its full name.
std::vector<std::string> namespacesOf(std::string_view fullName) {
    std::vector<std::string> spaces;
    for (std::size_t end = fullName.find("::"); end != std::string_view::npos; end = fullName.find("::")) {
        spaces.emplace_back(fullName.substr(0, end));
        fullName.remove_prefix(end + 2);
    }
    return spaces;
}

/// While it lives names are private, those around the declaration are seen, and \"interface\" leads to the parameters of
/// this use.
class BodyScope {
public:
    BodyScope(SceneContext& scene, miTag declaration, const ParameterBlock& block)
        : scene_(scene), namespaces_(std::move(scene.namespaces)), incremental_(scene.incremental) {
        const auto& declared = *scene.database.detail<Declaration>(declaration);
        scene.incremental = false;
        scene.namespaces = namespacesOf(scene.database.name(declaration));
        scene.namespaces.push_back(fmt::format("{} {}", declared.name, ++scene.phenomenonCount));
        scene.phenomena.push_back({&declared, &block});
    }
    ~BodyScope() {
        scene_.phenomena.pop_back();
        scene_.namespaces = std::move(namespaces_);
        scene_.incremental = incremental_;
    }
    BodyScope(const BodyScope&) = delete;
    BodyScope& operator=(const BodyScope&) = delete;

private:
    SceneContext& scene_;
    std::vector<std::string> namespaces_;
    const bool incremental_;
};

/// The elements of the body. Its text is left behind in any case; problems are told with their place in it.
void readBody(BodyReader& reader, const SourceText& body) {
    reader.in.replay({&body, body.begin(), body.end()});
    try {
        readStatements(reader, statements(), "declare");
    } catch (const SyntaxError& problem) {
        reader.in.leaveReplay();
        reader.scene.problems.error(problem.place, problem.text);
    } catch (...) {
        reader.in.leaveReplay();
        throw;
    }
}

bool isCalledWithinItself(const SceneContext& scene, const Declaration& declaration) {
    return std::any_of(scene.phenomena.begin(), scene.phenomena.end(),
                       [&](const PhenomenonScope& open) { return open.declaration == &declaration; });
}

/// A material or light under the name of the phenomenon's instance: a copy of the one in the body.
template <class Record>
miTag storeElement(SceneContext& scene, const Place& place, const std::string& name, int type, miTag root,
                   miTag function, std::string_view what) {
    if (name.empty())
        throw SyntaxError{place, fmt::format("a phenomenon that is a {} needs a name: shader \"name\" ..", what)};
    const Record copy = *scene.database.as<Record>(root, type);
    auto use = std::make_unique<PhenomenonElement>();
    use->function = function;
    return scene.store(name, type, copy, std::move(use));
}

}  // namespace

miTag makePhenomenon(SceneContext& scene, const Place& place, const std::string& name, miTag declarationTag,
                     const ParameterBlock& block, int given) {
    const auto& declaration = *scene.database.detail<PhenomenonDeclaration>(declarationTag);
    if (isCalledWithinItself(scene, declaration))
        throw SyntaxError{place, fmt::format("phenomenon \"{}\" contains itself", declaration.name)};
    if (scene.phenomenonCount >= kMostPhenomena)
        scene.problems.stop(place, fmt::format("there are more than {} phenomena", kMostPhenomena));

    BodyReader reader{scene, scene.in, declaration};
    const int errors = scene.problems.errors();
    {
        const BodyScope scope(scene, declarationTag, block);
        readBody(reader, *declaration.body);
    }
    if (scene.problems.errors() > errors) return miNULLTAG;
    const miTag root = reader.instance.root;
    const auto storeUse = [&](const std::string& itsName) {
        const miTag function = storeFunction(scene, itsName, declarationTag, declaration, block, given);
        scene.database.setDetail(function, std::make_unique<PhenomenonInstance>(reader.instance));
        return function;
    };
    if (scene.database.type(root) == miSCENE_MATERIAL && declaration.result.type == miTYPE_MATERIAL)
        return storeElement<miMaterial>(scene, place, name, miSCENE_MATERIAL, root, storeUse({}), "material");
    if (scene.database.type(root) == miSCENE_LIGHT && declaration.result.type == miTYPE_LIGHT)
        return storeElement<miLight>(scene, place, name, miSCENE_LIGHT, root, storeUse({}), "light");
    const bool isShader = scene.database.type(root) == miSCENE_FUNCTION || scene.database.type(root) == miSCENE_FLIST;
    if (!isShader || !isConnectable(declaration.result, reader.result)) {
        scene.problems.error(place, fmt::format("phenomenon \"{}\" has no root that is a {}", declaration.name,
                                                nameOfType(declaration.result.type)));
        return miNULLTAG;
    }
    return storeUse(name);
}

}  // namespace lumorender
