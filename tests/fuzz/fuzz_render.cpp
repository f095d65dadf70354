// Renders 8 x 8 pixels of arbitrary scenes with the shader modules loaded. What is read may be broken; a picture is made of
// what is left. A stop comes soon, from another thread, so that every stage has to answer it.
#include "database/elements.h"
#include "elements/module_declarations.h"
#include "elements/reader.h"
#include "interface/host.h"
#include "library/memory.h"
#include "mi/camera.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "render/renderer.h"
#include "support/abort.h"
#include "support/limits.h"
#include "support/messages.h"
#include "support/threads.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <thread>

namespace {

using namespace lumorender;
using namespace std::chrono_literals;

/// What every scene begins with: that of the rendered cases.
const std::string kBegin =
    R"(camera "cam" framebuffer "picture" datatype "rgba_fp" primary on focal 1 aperture 2 aspect 1
    resolution 8 8 end camera instance "cam_i" "cam" end instance instgroup "world" "cam_i" end instgroup
)";

/// Bounds the work, whatever the scene asks for.
const std::string kEnd = R"(
incremental options "opt" samples 0 0 task size 4 state [ "vexabase" (), "lumoFrameBufferState" () ] end options
incremental camera "cam" resolution 8 8 window 0 0 7 7 end camera
render "world" "cam_i" "opt"
)";

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Without the lines that name files, and without what the runner of the rendered cases fills in.
std::string withoutFiles(const std::string& text) {
    static const std::regex lines("(^|\n)(\\$include|link )[^\n]*"), settings("%[\\w ]*%");
    return std::regex_replace(std::regex_replace(text, lines, "$1"), settings, "1");
}

class Render : public SceneActions {
public:
    /// Nothing is written.
    bool render(const RenderCommand& command) override {
        Database& database = hostDatabase();
        const auto* instance = database.as<miInstance>(command.cameraInstance, miSCENE_INSTANCE);
        const auto* camera = instance ? database.as<miCamera>(instance->item, miSCENE_CAMERA) : nullptr;
        if (!camera) return false;
        if (auto* detail = database.detail<CameraDetail>(instance->item)) detail->files.clear();
        if (auto* buffers = database.detail<FrameBufferSet>(camera->buffertag))
            for (FrameBufferDescription& buffer : buffers->buffers) buffer.filename.clear();
        if (auto* detail = database.detail<OptionsDetail>(command.options)) detail->gatherFiles.clear();
        RenderSettings settings;
        settings.tiles.threads = 1;
        settings.continueWithoutTextures = true;
        settings.progress = [](const RenderProgress&) {};
        renderScene(database, command.rootGroup, command.cameraInstance, command.options, command.where, settings);
        return false;
    }
};

/// Asks for a stop some time after `start`.
class Watch {
public:
    Watch() {
        std::thread([this] {
            for (;; std::this_thread::sleep_for(10ms))
                if (const auto end = end_.load(); end != 0 && now() > end) requestAbort();
        }).detach();
    }
    void start() {
        clearAbort();
        end_ = now() + std::chrono::nanoseconds(300ms).count();
    }
    void stop() { end_ = 0; }

private:
    std::atomic<std::int64_t> end_{0};

    static std::int64_t now() { return std::chrono::steady_clock::now().time_since_epoch().count(); }
};

/// What lasts from one scene to the next.
struct World {
    std::map<std::string, std::string> declarations;  ///< text by name
    std::string plain = withoutFiles(contentOf(LUMO_CASES "/Plain.mi"));
    ReaderSettings settings;
    Watch* watch = new Watch;

    World() {
        if (!std::getenv("LUMO_FUZZ_TELLS")) setMessageSink([](MessageClass, std::string_view, std::string_view) {});
        setVerbosity(7);
        limits().memoryBytes = std::uint64_t{512} << 20;
        hostModules().searchPath = {LUMO_MODULES, LUMO_TEST_MODULES};
        for (const char* module : {"lumovexa", "vexabase", "architectural", "plain"}) hostModules().link(module);
        settings.filesAllowed = false;
        settings.moduleDeclarations = std::make_shared<ModuleDeclarations>(settings);
        for (const char* name : {"lumovexa", "vexabase", "architectural", "subsurface", "paint", "base"})
            addDeclarations(contentOf(fmt::format("{}/{}.mi", LUMO_MODULES, name)));
        addDeclarations(contentOf(LUMO_TEST_MODULES "/modules.mi"));
    }

    void addDeclarations(std::string text) {
        static const std::string kEndWord = "end declare";
        static const std::regex name("\"([^\"]+)\"\\s*\\(");
        for (std::size_t begin; (begin = text.find("\ndeclare")) != std::string::npos;) {
            const std::size_t end =
                std::min(text.find(kEndWord, begin), text.size() - kEndWord.size()) + kEndWord.size();
            const std::string one = text.substr(begin, end - begin);
            std::smatch found;
            if (std::regex_search(one, found, name)) declarations[found[1]] = one;
            text.erase(0, end);
        }
    }

    /// Of the shaders and data that the scene names.
    std::string declarationsFor(const std::string& scene) const {
        std::string text;
        for (const auto& [name, declaration] : declarations)
            if (scene.find("\"" + name + "\"") != std::string::npos) text += declaration;
        return text;
    }
};

World& world() {
    static auto* const one = new World;
    return *one;
}

void read(const std::string& text, const char* name) {
    Render render;
    readSceneText(text, name, hostDatabase(), hostModules(), render, world().settings);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    world();
    noteStack();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string scene = withoutFiles(std::string(reinterpret_cast<const char*>(data), size));
    std::destroy_at(&hostDatabase());
    std::construct_at(&hostDatabase());
    world().watch->start();
    read(world().declarationsFor(scene + kEnd) + world().plain + kBegin, "begin");
    read(scene, "scene");
    read(kEnd, "end");
    world().watch->stop();
    releaseForgottenMemory();
    reportRepeatedMessages();
    return 0;
}
