// Writes the scene that is being read as one text of the scene language. Reading that renders the same pictures.
#pragma once

#include "database/modules.h"
#include "echo/element_text.h"
#include "parsing/scene_actions.h"
#include "support/whole_file.h"

#include <cstddef>
#include <deque>
#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace lumorender {

/// Every element is written before those that need it, as it is when a render command comes; what has changed at the
/// next one is written again as a whole, under the same name. Declarations are written where something uses them. One
/// thread, the one that reads. Everything throws Failure where the file cannot be written.
class SceneEcho {
public:
    SceneEcho(const Database& database, const Modules& modules, const std::filesystem::path& file);

    /// What has changed, and the render command. Must be called while the command is carried out.
    void render(const RenderCommand& command);
    /// What has changed since the last render command.
    void rest();
    /// The file takes its name. Without this there is none.
    void keep() { file_.keep(); }

private:
    struct Written {
        miTag tag = miNULLTAG;
        std::size_t hash = 0;
    };

    void writeChanges(const std::vector<miTag>& first);
    void writeLinks();
    void writeDeletions();
    void collectNames();
    bool isInBody(std::string_view name) const;
    void visit(miTag tag);
    void announce(miTag tag);
    void visitWithMentioned(miTag tag);
    void emit(miTag tag, const ElementText& element);
    void followInheritance(miTag instance);

    const Database& database_;
    const Modules& modules_;
    WholeFile file_;
    std::set<std::string> links_;
    std::map<std::string, Written, std::less<>> written_;
    std::set<miTag> visited_;    ///< since the last render command
    std::set<miTag> open_;       ///< what they need is being written
    std::deque<miTag> waiting_;  ///< named by what has been visited, and may stand behind that
    std::string groups_;         ///< they stand last: they only name instances, and nothing needs them before
    /// All elements that have one, in the order of the names: tags are others when the text is read.
    std::map<std::string_view, miTag> names_;
    std::set<std::string, std::less<>> phenomena_;  ///< names of their declarations
    bool hasGeometryShaders_ = false;               ///< which call other shaders by their names
    miTag inheritance_ = miNULLTAG;  ///< by which the reader of the file lays out parameters of instances here
};

}  // namespace lumorender
