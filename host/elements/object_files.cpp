#include "elements/object_files.h"

#include "elements/element_readers.h"
#include "support/files.h"
#include "support/messages.h"

#include <fstream>
#include <functional>
#include <iterator>
#include <optional>

namespace lumorender {

namespace {

/// Render commands have been refused before they get here.
class NoActions : public SceneActions {
public:
    bool render(const RenderCommand&) override { return false; }
};

/// Which bytes of a file are to be read, and what they were.
struct FilePart {
    std::size_t begin = 0, size = 0;
    std::size_t hash = 0;
};

class ObjectFile : public ObjectLoader {
public:
    ObjectFile(Database& database, Modules& modules, std::shared_ptr<const ReaderSettings> settings,
               std::filesystem::path file, std::vector<std::string> namespaces, std::optional<FilePart> part = {})
        : database_(database),
          modules_(modules),
          settings_(std::move(settings)),
          file_(std::move(file)),
          namespaces_(std::move(namespaces)),
          part_(part) {}

    std::unique_ptr<ObjectSource> load() override {
        std::string text;
        if (!settings_->filesAllowed) {
            error("SCEN", "file \"{}\" may not be read here", file_.string());
            return nullptr;
        }
        if (const std::string failure = part_ ? readPart(text) : readFile(file_, text); !failure.empty()) {
            error("SCEN", "cannot read object file \"{}\": {}", file_.string(), failure);
            return nullptr;
        }
        NoActions actions;
        SceneContext scene(database_, modules_, actions, *settings_);
        scene.namespaces = namespaces_;
        std::unique_ptr<ObjectSource> whole;
        scene.onObject = [&](std::unique_ptr<ObjectSource> part) { add(whole, std::move(part)); };
        readFileCommands(scene, file_.lexically_normal().string(), file_.parent_path(), std::move(text));
        if (!whole) error("SCEN", "object file \"{}\" has no object", file_.string());
        return whole;
    }

private:
    /// @return what is wrong, or nothing
    std::string readPart(std::string& text) const {
        std::ifstream file(file_, std::ios::binary);
        text.resize(part_->size);
        file.seekg(static_cast<std::streamoff>(part_->begin));
        file.read(text.data(), static_cast<std::streamsize>(part_->size));
        const bool isSame = file.good() && std::hash<std::string_view>()(text) == part_->hash;
        return isSame ? "" : "it has changed since the scene was read";
    }

    static void add(std::unique_ptr<ObjectSource>& whole, std::unique_ptr<ObjectSource> part) {
        if (!whole || part->hair || whole->hair) {
            whole = std::move(part);
            return;
        }
        std::move(part->groups.begin(), part->groups.end(), std::back_inserter(whole->groups));
    }

    Database& database_;
    Modules& modules_;
    std::shared_ptr<const ReaderSettings> settings_;
    std::filesystem::path file_;
    std::vector<std::string> namespaces_;
    std::optional<FilePart> part_;  ///< without it the whole file
};

}  // namespace

std::shared_ptr<ObjectLoader> objectFile(Database& database, Modules& modules,
                                         std::shared_ptr<const ReaderSettings> settings,
                                         const std::filesystem::path& file, std::vector<std::string> namespaces) {
    return std::make_shared<ObjectFile>(database, modules, std::move(settings), file, std::move(namespaces));
}

std::shared_ptr<ObjectLoader> objectPart(SceneContext& scene, const std::filesystem::path& file, std::size_t begin,
                                         std::string_view text) {
    const FilePart part{begin, text.size(), std::hash<std::string_view>()(text)};
    return std::make_shared<ObjectFile>(scene.database, scene.modules, scene.settingsForLater(), file, scene.namespaces,
                                        part);
}

void readFileCommands(SceneContext& scene, const std::string& name, const std::filesystem::path& folder,
                      std::string text) {
    try {
        scene.in.open(name, folder, std::move(text));
        readCommands(scene);
    } catch (const StopReading&) {
        // Has been said.
    }
    scene.problems.summarize();
}

}  // namespace lumorender
