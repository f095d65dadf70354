#include "elements/assembly.h"

#include "database/assembly.h"
#include "elements/element_readers.h"
#include "parsing/statements.h"
#include "support/files.h"

#include <fmt/format.h>

namespace lumorender {

namespace {

constexpr std::size_t kDeepest = 16;

/// Takes what an assembly's file says in place of a render command.
class AssemblyActions : public SceneActions {
public:
    explicit AssemblyActions(std::size_t itsDepth) : depth(itsDepth) {}

    /// The file may be a scene of its own, too: its render commands are not those of the scene that it is part of.
    bool render(const RenderCommand&) override { return true; }

    const std::size_t depth;  ///< of assemblies within each other
    miTag root = 0;
};

struct AssemblyReader {
    SceneContext& scene;
    Cursor& in;
    Place place = {};
    std::filesystem::path file = {};
    bool hasBox = false;

    bool readOther() { return false; }
    void readFile() { file = scene.locate(scene.readFileName(), scene.settings.objectPath); }
    /// What lies in it is known better from the file; but geometry may wait until a ray comes.
    void readBox() {
        float corners[6];
        in.readFloats(corners, 6);
        hasBox = true;
    }
    void readMotionBox() {
        in.expect("box");
        in.readFloats(6);
    }
    miTag readContent(const std::string& name);
    void read();
};

const StatementTable<AssemblyReader>& statements() {
    static const StatementTable<AssemblyReader> table = {
        {"box", [](AssemblyReader& r) { r.readBox(); }},
        {"motion", [](AssemblyReader& r) { r.readMotionBox(); }},
        {"file", [](AssemblyReader& r) { r.readFile(); }},
    };
    return table;
}

/// The root group; 0 after an error.
miTag AssemblyReader::readContent(const std::string& name) {
    const auto* outer = dynamic_cast<const AssemblyActions*>(&scene.actions);
    AssemblyActions actions(outer ? outer->depth + 1 : 1);
    if (actions.depth > kDeepest) throw SyntaxError{place, "assemblies lie in each other too deeply"};
    std::string text;
    const std::string failure =
        scene.settings.filesAllowed ? lumorender::readFile(file, text) : "files may not be read here";
    if (!failure.empty()) {
        scene.problems.error(place, fmt::format("cannot read assembly file \"{}\": {}", file.string(), failure));
        return miNULLTAG;
    }
    SceneContext inner(scene.database, scene.modules, actions, scene.settings);
    inner.namespaces = scene.namespaces;
    inner.namespaces.push_back(name);
    inner.inheritance = scene.inheritance;
    if (hasBox) inner.assemblyFile = file.lexically_normal();
    inner.expectedDeclaration = scene.expectedDeclaration;
    inner.onPhenomenon = [&inner](const Place& at, const std::string& shader, miTag declaration,
                                  const ParameterBlock& block,
                                  int given) { return makePhenomenon(inner, at, shader, declaration, block, given); };
    readFileCommands(inner, file.lexically_normal().string(), file.parent_path(), std::move(text));
    if (inner.problems.errors() > 0)
        scene.problems.error(place, fmt::format("assembly \"{}\" has errors, as said above", name));
    else if (!actions.root)
        scene.problems.error(place, fmt::format("assembly file \"{}\" has no root group", file.string()));
    return actions.root;
}

/// The group of its file, once more under its own name. Without a file a group that is there becomes one: so does what
/// was read from a file and written as groups.
void AssemblyReader::read() {
    place = in.place();
    const std::string name = scene.readNewName("the name of the assembly");
    const miTag former = scene.edited(name, miSCENE_GROUP, "instance group");
    readStatements(*this, statements(), "assembly");
    if (const auto* given = file.empty() ? scene.database.detail<GroupDetail>(former) : nullptr) {
        auto group = std::make_unique<AssemblyGroup>();
        static_cast<GroupDetail&>(*group) = *given;
        return scene.database.setDetail(former, std::move(group));
    }
    if (file.empty()) return scene.problems.error(place, fmt::format("assembly \"{}\" has no file", name));
    auto group = std::make_unique<AssemblyGroup>();
    group->file = file.string();
    if (const auto* root = scene.database.detail<GroupDetail>(readContent(name))) group->instances = root->instances;
    scene.storeBytes(name, miSCENE_GROUP, nullptr, 16, std::move(group));
}

}  // namespace

void readAssembly(SceneContext& scene) { AssemblyReader{scene, scene.in}.read(); }

void readAssemblyRoot(SceneContext& scene) {
    const Place place = scene.in.place();
    const miTag root = scene.readReference({miSCENE_GROUP}, "an instance group");
    if (auto* assembly = dynamic_cast<AssemblyActions*>(&scene.actions))
        assembly->root = root;
    else
        scene.problems.warning(place, "found root outside of an assembly's file, it has no effect");
}

}  // namespace lumorender
