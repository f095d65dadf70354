#include "application/application.h"

#include "application/closing_line.h"
#include "application/command_line.h"
#include "application/interrupts.h"
#include "application/progress_line.h"
#include "application/render_inputs.h"
#include "application/shader_list.h"
#include "building/build_session.h"
#include "echo/scene_echo.h"
#include "mi/geometry_api.h"
#include "render/called_shaders.h"
#include "interface/host.h"
#include "library/memory.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "parsing/scanner.h"
#include "render/merge.h"
#include "render/renderer.h"
#include "support/abort.h"
#include "support/limits.h"
#include "support/messages.h"
#include "support/threads.h"
#include "support/version.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>

namespace lumorender {

namespace {

class Application : public SceneActions {
public:
    explicit Application(const CommandLine& commandLine) : commandLine_(commandLine) {}

    bool render(const RenderCommand& command) override {
        if (!commandLine_.renders.includes(++commands_)) return true;
        if (!applyStatements(command) && !commandLine_.reader.lenient) return false;
        const ProgressLine progress;
        RenderSettings settings = commandLine_.render;
        settings.strict = commandLine_.strict;
        for (const auto& [name, text] : command.texts) settings.sceneFiles.emplace_back(name);
        settings.history = &history_;
        settings.building = std::make_shared<BuildWorld>(hostDatabase(), hostModules(),
                                                         std::make_shared<ReaderSettings>(commandLine_.reader));
        settings.progress = [](const RenderProgress& state) {
            tellProgress({"rendering", static_cast<double>(state.done) / std::max(state.total, 1), state.seconds,
                          static_cast<double>(state.rays) / std::max(state.seconds, 1e-6)});
        };
        prepareSaving(command, settings.saving);
        complete_ = renderScene(hostDatabase(), command.rootGroup, command.cameraInstance, command.options,
                                command.where, settings) &&
                    complete_;
        ++rendered_;
        return !abortRequested();
    }

    /// In a world of its own where the scene names no camera and no options.
    void call(const CallCommand& command) override {
        if (commandLine_.renders.last == 0) return;
        if (command.cameraInstance)
            return call(command.shaders, command.cameraInstance, command.options, command.where);
        constexpr const char* kWorld =
            "options \"of a call\" object space end options camera \"of a call: camera\" end camera "
            "instance \"of a call: instance\" \"of a call: camera\" end instance";
        constexpr const char* kAway =
            "delete \"of a call: instance\" delete \"of a call: camera\" delete \"of a call\"";
        Database& database = hostDatabase();
        const ReaderSettings settings;
        readSceneText(kWorld, "call", database, hostModules(), *this, settings);
        call(command.shaders, database.find("of a call: instance"), database.find("of a call"), command.where);
        readSceneText(kAway, "call", database, hostModules(), *this, settings);
    }

    /// Says what the scene did not have, and returns whether everything was rendered.
    bool finish() const {
        const RenderRange& range = commandLine_.renders;
        if (abortRequested()) return false;
        if (rendered_ == 0 && range.last > 0 && errorCount() == 0)
            error("SCEN", "nothing was rendered: {}",
                  commands_ == 0
                      ? "the scene holds no render command"
                      : fmt::format("-render {} {} {} names none of the scene's {} render command{}", range.first,
                                    range.last, range.step, commands_, commands_ == 1 ? "" : "s"));
        return complete_ && (rendered_ > 0 || range.last == 0);
    }

    /// Checkpoints go when all pictures are written: a second run has to know which ones are.
    void removeCheckpoints() const {
        if (written_ < checkpoints_.size() || commandLine_.render.saving.keepsCheckpoint) return;
        std::error_code ignored;
        for (const std::filesystem::path& file : checkpoints_) std::filesystem::remove(file, ignored);
    }

private:
    /// The first render's checkpoint has the name that the user gave, those of further ones a number behind it.
    void prepareSaving(const RenderCommand& command, SavingSettings& saving) {
        saving.inputs = [&, this] { return renderInputs(commandLine_, command, hostModules(), commands_); };
        saving.onWritten = [this] { ++written_; };
        if (saving.checkpoint.empty()) return;
        if (rendered_ > 0) saving.checkpoint += fmt::format(".{}", rendered_ + 1);
        checkpoints_.push_back(saving.checkpoint);
    }

    /// What the command line says in the words of the scene language goes to the end of the options and of the camera.
    bool applyStatements(const RenderCommand& command) {
        Database& database = hostDatabase();
        const auto edit = [&](const char* element, miTag tag, const std::string& statements) {
            if (statements.empty() || database.name(tag).empty()) return true;
            const std::string text =
                fmt::format("incremental {0} {1}{2} end {0}\n", element, quotedText(database.name(tag)), statements);
            return readSceneText(text, "command line", database, hostModules(), *this, commandLine_.reader);
        };
        const auto* instance = database.as<miInstance>(command.cameraInstance, miSCENE_INSTANCE);
        bool good = edit("options", command.options, commandLine_.optionsStatements);
        good = edit("camera", instance ? instance->item : miNULLTAG, commandLine_.cameraStatements) && good;
        const auto* options = database.as<miOptions>(command.options, miSCENE_OPTIONS);
        if (options && !commandLine_.shutterDelay.empty())
            good = edit("options", command.options,
                        fmt::format(" shutter {} {:#}", commandLine_.shutterDelay, options->shutter)) &&
                   good;
        return good;
    }

    /// Below a group that holds the camera and nothing else.
    void call(miTag shaders, miTag cameraInstance, miTag options, const std::string& where) {
        Database& database = hostDatabase();
        const miTag group = database.create(miSCENE_GROUP, sizeof(miGroup));
        auto members = std::make_unique<GroupDetail>();
        members->instances.push_back(cameraInstance);
        database.setDetail(group, std::move(members));
        complete_ = callShaders(database, shaders, group, cameraInstance, options, where) && complete_;
        database.remove(group);
    }

    const CommandLine& commandLine_;
    bool complete_ = true;
    int commands_ = 0;
    int rendered_ = 0;
    std::vector<std::filesystem::path> checkpoints_;
    std::size_t written_ = 0;  ///< of them, those whose pictures are on the disk
    OutputHistory history_;
};

std::filesystem::path programFolder() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

/// Folders come from the command line, then from the environment, then from beside the program.
void setPaths(CommandLine& commandLine) {
    Modules& modules = hostModules();
    modules.searchPath = commandLine.libraryPath;
    const auto fromEnvironment = [](const char* name, std::vector<std::filesystem::path>& path) {
        const char* value = std::getenv(name);
        std::string part;
        for (const char* c = value ? value : ""; *c != '\0'; ++c) {
            if (*c != ':') part += *c;
            if ((*c == ':' || c[1] == '\0') && !part.empty()) path.emplace_back(std::exchange(part, {}));
        }
    };
    fromEnvironment("MI_LIBRARY_PATH", modules.searchPath);
    fromEnvironment("MI_RAY_INCPATH", commandLine.reader.includePath);
    for (const char* name : {"LUMORENDER_PATHS", "MI_RAY_SUBSTITUTE"})
        if (const char* value = std::getenv(name))
            for (PathSubstitution& each : readSubstitutions(value)) commandLine.reader.substitutions.push_back(each);
    modules.searchPath.push_back(programFolder());
    commandLine.reader.includePath.push_back(programFolder());
}

bool linkModules(const CommandLine& commandLine) {
    bool good = true;
    Modules& modules = hostModules();
    modules.allowPaths = true;  // the user named these files, not a scene
    for (const std::string& file : commandLine.links) {
        const std::string problem = modules.link(file);
        if (problem.empty()) continue;
        error("LINK", "-link {}: {}", file, problem);
        good = false;
    }
    modules.allowPaths = commandLine.render.allowPaths;
    return good;
}

/// To its end, or to the wish to stop.
std::string readStandardInput() {
    std::string text;
    std::array<char, 1 << 16> piece;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    constexpr int kMilliseconds = 200;
    while (!abortRequested()) {
        if (poll(&input, 1, kMilliseconds) <= 0) continue;
        const ssize_t got = ::read(STDIN_FILENO, piece.data(), piece.size());
        if (got == 0 || (got < 0 && errno != EINTR)) break;
        if (got > 0) text.append(piece.data(), static_cast<std::size_t>(got));
        if (text.size() <= limits().fileBytes) continue;
        error("SCEN", "standard input has more than {} MB (-file_limit)", limits().fileBytes >> 20);
        return {};
    }
    return text;
}

bool readFrom(const CommandLine& commandLine, SceneActions& application) {
    if (!commandLine.scene.empty())
        return readScene(commandLine.scene, hostDatabase(), hostModules(), application, commandLine.reader);
    return readSceneText(readStandardInput(), "standard input", hostDatabase(), hostModules(), application,
                         commandLine.reader);
}

/// Prints what was asked for in place of rendering, if anything was. The modules that a scene links count, too.
std::optional<int> printLists(const CommandLine& commandLine) {
    if (!commandLine.listsShaders && commandLine.described.empty()) return std::nullopt;
    CommandLine reading = commandLine;
    reading.renders.last = 0;
    Application application(reading);
    linkModules(commandLine);
    if (!commandLine.scene.empty()) readFrom(reading, application);
    if (commandLine.listsShaders) std::cout << listShaders(hostModules());
    std::string text;
    if (commandLine.described.empty()) return errorCount() == 0 ? 0 : 1;
    if (describeShader(commandLine.described, hostModules(), commandLine.reader.includePath, text))
        std::cout << text;
    else
        error("HOST", "{}", text);
    return errorCount() == 0 ? 0 : 1;
}

/// The one rule of exit codes: everything was read and rendered, and no error of any kind was told.
int exitCode(bool read, const Application& application) {
    const bool complete = application.finish();
    return read && complete && errorCount() == 0 ? 0 : 1;
}

int mergePictures(const CommandLine& commandLine) {
    return mergeParts(commandLine.parts, commandLine.render) && errorCount() == 0 ? 0 : 1;
}

/// Writes the scene in place of rendering it.
class EchoApplication : public SceneActions {
public:
    explicit EchoApplication(const CommandLine& commandLine)
        : commandLine_(commandLine), echo_(hostDatabase(), hostModules(), commandLine.echo, commandLine.echoStyle) {}

    bool render(const RenderCommand& command) override {
        if (commandLine_.renders.includes(++commands_)) echo_.render(command);
        return !abortRequested();
    }
    void call(const CallCommand& command) override { echo_.call(command); }
    void finishText() override { echo_.rest(); }
    void keep() { echo_.keep(); }

private:
    const CommandLine& commandLine_;
    SceneEcho echo_;
    int commands_ = 0;
};

int echoScene(const CommandLine& commandLine) {
    try {
        EchoApplication application(commandLine);
        const bool lenient = commandLine.reader.lenient;
        const bool read = (linkModules(commandLine) || lenient) && readFrom(commandLine, application);
        if (abortRequested() || !(read || lenient)) {
            error("HOST", "-echo {}: nothing is written", commandLine.echo.string());
            return 1;
        }
        application.keep();
        progress("HOST", "wrote {}", commandLine.echo.string());
    } catch (const Failure& failure) {
        error("HOST", "-echo {}: {}", commandLine.echo.string(), failure.what());
    }
    return errorCount() == 0 ? 0 : 1;
}

int renderPictures(const CommandLine& commandLine) {
    Application application(commandLine);
    const bool linked = linkModules(commandLine);
    const bool read = (linked || commandLine.reader.lenient) && readFrom(commandLine, application);
    application.removeCheckpoints();
    return exitCode(read, application);
}

}  // namespace

int runApplication(int argumentCount, const char* const* arguments) {
    CommandLine commandLine;
    if (const auto code = readCommandLine(argumentCount, arguments, commandLine)) return *code;
    if (commandLine.verbosity) setVerbosity(*commandLine.verbosity);
    setStrict(commandLine.strict);
    setPaths(commandLine);
    noteStack();
    answerInterrupts();
    if (commandLine.copyright) announce("HOST", fmt::format("{}, Apache License 2.0", kProgram));
    for (const std::string& text : commandLine.warnings) warning("HOST", "{}", text);
    for (const std::string& text : commandLine.errors) error("HOST", "{}", text);

    // Writing beyond a limit is an error like others, not a reason to end.
    std::signal(SIGXFSZ, SIG_IGN);

    if (const auto code = printLists(commandLine)) return *code;
    const ClosingLine closing;
    const int code = commandLine.merges          ? mergePictures(commandLine)
                     : !commandLine.echo.empty() ? echoScene(commandLine)
                                                 : renderPictures(commandLine);
    reportRepeatedMessages();
    closing.print();
    releaseForgottenMemory();
    return code;
}

}  // namespace lumorender
