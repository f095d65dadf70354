#include "harness.h"

#include "application/application.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenImageIO/imageio.h>

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>
#include <thread>

namespace rendertest {

namespace {

/// In the child: files take the place of the standard streams.
void enter(const std::filesystem::path& folder) {
    const auto open = [&](const char* name, int flags, int as) {
        dup2(::open((folder / name).c_str(), flags, 0600), as);
    };
    open("stdin", O_RDONLY, STDIN_FILENO);
    open("stdout", O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
    open("stderr", O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
    std::filesystem::current_path(folder);
}

/// The renderer is linked into this program: a fork of it has all its libraries bound already, which is what starting
/// lumorender mostly waits for. It finds the modules where those of lumorender are. Some of the libraries have threads
/// from the start, which a fork lacks and their destructors wait for: so none runs.
[[noreturn]] void becomeRenderer(const std::vector<const char*>& command, const std::filesystem::path& folder) {
    enter(folder);
    const std::string product = std::filesystem::path(LUMO_RENDERER).parent_path();
    setenv("MI_LIBRARY_PATH", product.c_str(), 1);
    setenv("MI_RAY_INCPATH", product.c_str(), 1);
    const int code = lumorender::runApplication(static_cast<int>(command.size()) - 1, command.data());
    std::cout.flush();
    std::fflush(nullptr);
    _exit(code);
}

[[noreturn]] void becomeProgram(const std::vector<const char*>& command, const std::filesystem::path& folder) {
    enter(folder);
    execv(command[0], const_cast<char* const*>(command.data()));
    _exit(127);
}

/// Seconds of the processor that the child has taken: on machines with much else to do it gets as far as on others.
double workOf(pid_t child) {
    clockid_t clock;
    timespec time;
    if (clock_getcpuclockid(child, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Waits for the child; past the deadline it is killed. It gets the signal before, where that is asked for.
int await(pid_t child, int seconds, const std::function<bool()>& killNow, int killSignal, bool& timedOut) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    int status = 0;
    bool isKilled = false;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (!isKilled && killNow()) {
            kill(child, killSignal);
            isKilled = true;
        }
        if (!timedOut && std::chrono::steady_clock::now() > deadline) {
            timedOut = true;
            kill(child, SIGKILL);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return status;
}

}  // namespace

Picture::Picture(const std::filesystem::path& path) {
    Imf::InputFile file(path.c_str());
    const Imath::Box2i full = file.header().displayWindow();
    const Imath::Box2i window = file.header().dataWindow();
    width = full.max.x - full.min.x + 1;
    height = full.max.y - full.min.y + 1;
    windowX = window.min.x;
    windowWidth = window.max.x - window.min.x + 1;
    windowHeight = window.max.y - window.min.y + 1;
    windowY = height - 1 - window.max.y;

    const auto count = static_cast<std::size_t>(windowWidth) * static_cast<std::size_t>(windowHeight);
    const auto stride = 4 * static_cast<std::size_t>(windowWidth);
    Imf::FrameBuffer buffer;
    const Imf::ChannelList& list = file.header().channels();
    for (auto i = list.begin(); i != list.end(); ++i) {
        const Imf::PixelType type = i.channel().type;
        Channel& channel = channels_[i.name()];
        channel.format = type == Imf::UINT ? Format::Integer : type == Imf::HALF ? Format::Half : Format::Float;
        channel.bits.resize(count);
        char* base = reinterpret_cast<char*>(channel.bits.data());
        buffer.insert(i.name(), Imf::Slice::Make(type == Imf::UINT ? Imf::UINT : Imf::FLOAT, base, window, 4, stride));
    }
    file.setFrameBuffer(buffer);
    file.readPixels(window.min.y, window.max.y);
}

// Files begin at the top.
double Picture::at(const std::string& channel, int x, int y) const {
    const int column = x - windowX, row = windowHeight - 1 - (y - windowY);
    const bool inside = column >= 0 && column < windowWidth && row >= 0 && row < windowHeight;
    EXPECT_TRUE(inside) << "pixel " << x << " " << y << " is outside the data window";
    return inside ? channels_.at(channel).value(static_cast<std::size_t>(row * windowWidth + column)) : 0;
}

std::array<double, 4> Picture::pixel(const std::string& layer, int x, int y) const {
    const std::string prefix = layer.empty() ? "" : layer + ".";
    for (const std::string channels : {"RGBA", "XYZ"}) {
        if (!channels_.contains(prefix + channels[0])) continue;
        std::array<double, 4> result{};
        for (std::size_t i = 0; i < channels.size(); ++i)
            if (const std::string name = prefix + channels[i]; channels_.contains(name)) result[i] = at(name, x, y);
        return result;
    }
    for (const auto& [name, channel] : channels_)
        if (name.starts_with(prefix) && name.find('.', prefix.size()) == std::string::npos) {
            const double one = at(name, x, y);
            return {one, one, one, one};
        }
    throw std::runtime_error("no layer \"" + layer + "\"");
}

std::string Picture::description() const {
    std::string result = fmt::format("{} {}, window {} {} {} {}:", width, height, windowX, windowY,
                                     windowX + windowWidth - 1, windowY + windowHeight - 1);
    for (const auto& [name, channel] : channels_)
        result += " " + name +
                  (channel.format == Format::Half      ? " half"
                   : channel.format == Format::Integer ? " integer"
                                                       : "");
    return result;
}

std::string storedIn(const std::filesystem::path& file, const std::string& place) {
    // Threads that it starts here would be missing in forks.
    OIIO::attribute("threads", 1);
    OIIO::attribute("exr_threads", -1);
    OIIO::ImageSpec asStored;
    asStored.attribute("oiio:UnassociatedAlpha", 1);
    const auto input = OIIO::ImageInput::open(file.string(), &asStored);
    if (!input) return "no image";
    const OIIO::ImageSpec& spec = input->spec();
    std::size_t x = 0, y = 0;
    if (std::sscanf(place.c_str(), "%zu %zu", &x, &y) != 2) {
        const auto* attribute = spec.find_attribute(place);
        return attribute ? attribute->get_string() : "none";
    }
    const auto channels = static_cast<std::size_t>(spec.nchannels);
    const auto at =
        ((static_cast<std::size_t>(spec.height) - 1 - y) * static_cast<std::size_t>(spec.width) + x) * channels;
    std::string found = spec.format.c_str();
    const auto read = [&](auto value, OIIO::TypeDesc type) {
        std::vector<decltype(value)> pixels(spec.image_pixels() * channels);
        if (!input->read_image(0, 0, 0, spec.nchannels, type, pixels.data())) found = "unreadable";
        for (std::size_t c = 0; c < channels; ++c) found += fmt::format(" {:.5g}", static_cast<double>(pixels[at + c]));
    };
    if (spec.format.is_floating_point())
        read(0.0F, OIIO::TypeFloat);
    else if (spec.format.basesize() == 1)
        read(std::uint8_t(), OIIO::TypeUInt8);
    else if (spec.format.basesize() == 2)
        read(std::uint16_t(), OIIO::TypeUInt16);
    else
        read(std::uint32_t(), OIIO::TypeUInt32);
    return found;
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
    return count;
}

RenderTest::RenderTest() {
    std::string name = (std::filesystem::temp_directory_path() / "lumorender-test-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
    folder_ = name;
}

RenderTest::~RenderTest() {
    if (std::getenv("LUMO_KEEP_TEST_FOLDERS")) {
        std::cerr << "kept " << folder_.string() << "\n";
        return;
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

Outcome RenderTest::run(const std::vector<std::string>& arguments, const std::string& input) const {
    std::vector<const char*> command{LUMO_RENDERER};
    for (const std::string& argument : arguments) command.push_back(argument.c_str());
    command.push_back(nullptr);
    write("stdin", input);
    std::cout.flush();
    std::fflush(nullptr);  // or the child would write what waits here, too

    Outcome outcome;
    const pid_t child = fork();
    if (child == 0) runsProgram ? becomeProgram(command, folder_) : becomeRenderer(command, folder_);
    const auto killNow = [&] {
        if (killWhen) return killWhen();
        return killAfterMilliseconds > 0 && 1000 * workOf(child) > killAfterMilliseconds;
    };
    const int status = await(child, timeoutSeconds, killNow, killSignal, outcome.timedOut);
    if (WIFEXITED(status)) outcome.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
    outcome.output = contentOf(path("stdout"));
    outcome.messages = contentOf(path("stderr"));
    return outcome;
}

Outcome RenderTest::renderText(const std::string& scene, const std::vector<std::string>& arguments) const {
    write("scene.mi", scene);
    std::vector<std::string> all{"-ld_path", LUMO_TEST_MODULES, "-I", LUMO_TEST_MODULES};
    all.insert(all.end(), arguments.begin(), arguments.end());
    all.emplace_back("scene.mi");
    return run(all);
}

/// As they are stored, without what the header says. Nothing of what is no image.
static std::string pixelsOf(const std::filesystem::path& file) {
    const auto input = OIIO::ImageInput::open(file.string());
    if (!input) return "";
    const OIIO::ImageSpec& spec = input->spec();
    std::string pixels(spec.image_bytes(true), '\0');
    if (!input->read_image(0, 0, 0, spec.nchannels, OIIO::TypeUnknown, pixels.data())) return "unreadable";
    return fmt::format("{} {} {} ", spec.width, spec.height, spec.format.c_str()) + pixels;
}

RenderTest::Files RenderTest::takeFiles() const {
    static const std::set<std::string> own{"stdin", "stdout", "stderr"};
    Files taken;
    const std::filesystem::directory_iterator begin(folder_), end;
    for (const auto& entry : std::vector<std::filesystem::directory_entry>(begin, end)) {
        const std::filesystem::path& file = entry.path();
        const std::string name = file.filename();
        if (file.extension() == ".mi" || own.contains(name) || entry.is_directory()) continue;
        if (file.extension() == ".exr")
            taken.pictures.emplace(name, file);
        else if (const std::string pixels = pixelsOf(file); !pixels.empty())
            taken.others.emplace(name, pixels);
        std::filesystem::remove(file);
    }
    return taken;
}

void RenderTest::write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
}

}  // namespace rendertest
