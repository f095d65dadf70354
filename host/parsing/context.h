// What the readers of all elements share: where tokens come from, where elements go, and how names are found.
#pragma once

#include "database/elements.h"
#include "parsing/cursor.h"
#include "parsing/scene_actions.h"

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace lumorender {

struct Declaration;
class ParameterBlock;

/// The parameters of the phenomenon whose body is read.
struct PhenomenonScope {
    const Declaration* declaration;
    const ParameterBlock* block;
};

/// A frame of former versions that is open.
struct FormerFrame {
    int number = 0;
    float time = 0;
    bool hasView = false;
};

struct SceneContext {
    SceneContext(Database& database, Modules& modules, SceneActions& actions, const ReaderSettings& settings);

    Database& database;
    Modules& modules;
    SceneActions& actions;
    const ReaderSettings& settings;
    Problems problems;
    Registry registry;
    Cursor in;

    Place elementPlace;  ///< where the command or element begins that is read
    /// `incremental` stands before the element that is read.
    bool incremental = false;
    /// At least one module was linked, so that missing functions are worth a warning.
    bool linked = false;
    /// The declaration that instance parameters are laid out by, from the options read last.
    miTag inheritance = 0;
    /// The color profile of the space that the scene is rendered in, from the options read last; 0 = the usual one.
    miTag renderProfile = 0;
    FormerFrame frame;
    std::vector<std::string> namespaces;
    /// Phenomena whose bodies are read, the innermost last; and how many were made in all.
    std::vector<PhenomenonScope> phenomena;
    int phenomenonCount = 0;
    /// Makes the elements of a phenomenon's body for one use of it. Returns what stands for it.
    std::function<miTag(const Place& place, const std::string& name, miTag declaration, const ParameterBlock& block,
                        int given)>
        onPhenomenon;
    /// Takes the objects of a file that is read for their geometry alone; empty where they become elements.
    std::function<void(std::unique_ptr<ObjectSource>)> onObject;
    /// Of an assembly with a box: the geometry of objects in this file is read once more when it is needed.
    std::filesystem::path assemblyFile;
    /// A copy of the settings for files that are read later.
    std::shared_ptr<const ReaderSettings> settingsForLater();
    /// What modules say of a shader, or of user data, that is declared at the place; null where they say nothing else.
    std::function<const Declaration*(const Declaration& found, const Place& place)> expectedDeclaration;
    /// How deep shaders are defined within parameter values of other shaders.
    int depth = 0;

    /// The full name under which an element is defined here.
    std::string qualify(std::string_view name) const;
    /// Reads the name of an element that is defined here, and returns its full name.
    std::string readNewName(std::string_view what);
    /// The tag of a name as seen from here, 0 where there is none.
    miTag find(std::string_view name) const;
    /// The tag of a name that may come later.
    miTag reserve(std::string_view name);
    /// The element of this name if it has one of the types; else an error is reported and 0 returned.
    miTag require(std::string_view name, std::initializer_list<int> types, std::string_view what);
    /// Reads a name and requires it.
    miTag readReference(std::initializer_list<int> types, std::string_view what);

    std::string readFileName();
    /// A file that the scene names: beside the scene file, in the working directory or in one of the folders, also
    /// where the scene gives its place on another machine, which is told. The name as it is where there is none.
    std::filesystem::path locate(const std::string& file, const std::vector<std::filesystem::path>& folders);
    /// The same for images, whose folders a registry entry may name, too. Where there is none, `hint` says what lies
    /// there under a similar name.
    std::filesystem::path locateImage(const std::string& file, std::string& hint);

    void link(const Place& place, const std::string& file);

    /// Warns of a statement that the element does not have and skips to the next that `isKnown`.
    void skipUnknown(std::string_view element, const std::function<bool()>& isKnown);

    /// Shaders rely on their declaration, so nothing else may take its name.
    void refuseDeclarationName(const std::string& name) const;
    void warnOfOtherKind(const std::string& name, int type);

    /// Stores a finished element. Nothing is stored before an element has been read as a whole, so that a broken one
    /// leaves the former in place.
    template <class Record>
    miTag store(const std::string& name, int type, const Record& record, std::unique_ptr<Detail> detail) {
        return storeBytes(name, type, &record, sizeof record, std::move(detail));
    }
    miTag storeBytes(const std::string& name, int type, const void* record, std::size_t size,
                     std::unique_ptr<Detail> detail);

    /// The tag of the element that an `incremental` statement edits, or 0 where a new one is made.
    miTag edited(const std::string& name, int type, std::string_view what);

    /// Copies record and detail of an element that is edited, or leaves them as they are.
    template <class Record, class ItsDetail>
    void loadEdited(miTag tag, int type, Record& record, ItsDetail& detail) const {
        if (const auto* stored = database.as<Record>(tag, type)) record = *stored;
        if (const auto* stored = database.detail<ItsDetail>(tag)) detail = *stored;
    }

private:
    std::shared_ptr<const ReaderSettings> settingsForLater_;
    Place fileNamePlace_;  ///< of the one that was read last
};

/// True for words that begin an element or command; inside an element they mean that its `end` is missing.
bool isCommand(std::string_view word);

/// Counts nesting while it lives and refuses too much of it.
class DepthGuard {
public:
    explicit DepthGuard(SceneContext& scene);
    ~DepthGuard() { --scene_.depth; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;

private:
    static constexpr int kDeepest = 64;
    SceneContext& scene_;
};

}  // namespace lumorender
