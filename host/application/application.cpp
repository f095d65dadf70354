#include "application/application.h"

#include "application/command_line.h"
#include "application/progress_line.h"
#include "application/render_inputs.h"
#include "interface/host.h"
#include "library/memory.h"
#include "mi/instance.h"
#include "render/merge.h"
#include "support/abort.h"
#include "support/limits.h"
#include "support/messages.h"
#include "support/threads.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace lumorender {

namespace {

/// The first interrupt stops whatever is going on in an orderly way, the second ends the program.
extern "C" void onInterrupt(int signal) {
    requestAbort();
    std::signal(signal, SIG_DFL);
    constexpr std::string_view kAnswer = "\nstopping; once more ends at once\n";
    [[maybe_unused]] const auto ignored = ::write(STDERR_FILENO, kAnswer.data(), kAnswer.size());
}

std::string quoted(std::string_view name) {
    std::string text = "\"";
    for (const char c : name) {
        if (c == '"' || c == '\\') text += '\\';
        text += c;
    }
    text += '"';
    return text;
}

class Application : public SceneActions {
public:
    explicit Application(const CommandLine& commandLine) : commandLine_(commandLine) {}

    bool render(const RenderCommand& command) override {
        if (!applyStatements(command)) return false;
        ProgressLine progress;
        RenderSettings settings = commandLine_.render;
        settings.progress = [&](const RenderProgress& state) { progress.show(state); };
        prepareSaving(command, settings.saving);
        const bool ok = renderScene(hostDatabase(), command.rootGroup, command.cameraInstance, command.options,
                                    command.where, settings);
        ++rendered_;
        good_ = good_ && ok;
        return !abortRequested();
    }

    bool good() const { return good_; }
    int rendered() const { return rendered_; }

    /// Checkpoints go when all pictures are written: a second run has to know which ones are.
    void removeCheckpoints() const {
        if (written_ < checkpoints_.size() || commandLine_.render.saving.keepsCheckpoint) return;
        std::error_code ignored;
        for (const std::filesystem::path& file : checkpoints_) std::filesystem::remove(file, ignored);
    }

private:
    /// The first render's checkpoint has the name that the user gave, those of further ones a number behind it.
    void prepareSaving(const RenderCommand& command, SavingSettings& saving) {
        saving.inputs = [&, this] { return renderInputs(commandLine_, command, hostModules(), rendered_ + 1); };
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
                fmt::format("incremental {0} {1}{2} end {0}\n", element, quoted(database.name(tag)), statements);
            return readSceneText(text, "command line", database, hostModules(), *this, commandLine_.reader);
        };
        const auto* instance = database.as<miInstance>(command.cameraInstance, miSCENE_INSTANCE);
        good_ = edit("options", command.options, commandLine_.optionsStatements) &&
                edit("camera", instance ? instance->item : miNULLTAG, commandLine_.cameraStatements) && good_;
        return good_;
    }

    const CommandLine& commandLine_;
    bool good_ = true;
    int rendered_ = 0;
    std::vector<std::filesystem::path> checkpoints_;
    std::size_t written_ = 0;  ///< of them, those whose pictures are on the disk
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
    modules.allowPaths = commandLine.allowPaths;
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

bool readFrom(const CommandLine& commandLine, Application& application) {
    if (!commandLine.scene.empty())
        return readScene(commandLine.scene, hostDatabase(), hostModules(), application, commandLine.reader);
    return readSceneText(readStandardInput(), "standard input", hostDatabase(), hostModules(), application,
                         commandLine.reader);
}

}  // namespace

int runApplication(int argumentCount, const char* const* arguments) {
    CommandLine commandLine;
    if (const auto code = readCommandLine(argumentCount, arguments, commandLine)) return *code;
    if (commandLine.verbosity) setVerbosity(*commandLine.verbosity);
    setPaths(commandLine);
    noteStack();
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    for (const std::string& text : commandLine.warnings) warning("HOST", "{}", text);
    for (const std::string& text : commandLine.errors) error("HOST", "{}", text);

    // Writing beyond a limit is an error like others, not a reason to end.
    std::signal(SIGXFSZ, SIG_IGN);
    if (commandLine.merges) return mergeParts(commandLine.parts, commandLine.render) ? 0 : 1;
    Application application(commandLine);
    bool good = linkModules(commandLine);
    good = good && readFrom(commandLine, application);
    if (good && application.rendered() == 0) warning("SCEN", "the scene holds no render command: nothing was rendered");
    application.removeCheckpoints();
    reportRepeatedMessages();
    releaseForgottenMemory();
    return good && application.good() && application.rendered() > 0 ? 0 : 1;
}

}  // namespace lumorender
