// Runs lumorender on a scene as a user would, and reads the pictures that it wrote.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace rendertest {

/// An EXR file. Coordinates are those of raster space: pixels of the full image from the lower left corner. Pictures are
/// equal when their bits are: no number equals itself there, too.
class Picture {
public:
    enum class Format { Half, Float, Integer };
    struct Channel {
        Format format;
        std::vector<unsigned> bits;  ///< integers, or floats as they are stored
        double value(std::size_t at) const {
            return format == Format::Integer ? double(bits[at]) : double(std::bit_cast<float>(bits[at]));
        }
        bool operator==(const Channel&) const = default;
    };

    explicit Picture(const std::filesystem::path& file);
    bool operator==(const Picture&) const = default;

    /// Pixels outside the data window fail the test and give 0.
    double at(const std::string& channel, int x, int y) const;
    /// Red to alpha, or x to z, of a layer; "" is the picture itself. What it has one channel of is the same in all.
    std::array<double, 4> pixel(const std::string& layer, int x, int y) const;
    /// "width height, window" with the window's corners as cameras state them, and the channels by name; behind those that
    /// are not floats stands what they are.
    std::string description() const;

    int width = 0, height = 0;  ///< of the full image
    int windowX = 0, windowY = 0, windowWidth = 0, windowHeight = 0;

    const std::map<std::string, Channel>& channels() const { return channels_; }

private:
    std::map<std::string, Channel> channels_;
};

/// How a run of the program ended, and what it said.
struct Outcome {
    int exitCode = -1;  ///< -1 when a signal ended it
    int signal = 0;
    bool timedOut = false;
    std::string output;    ///< standard output
    std::string messages;  ///< standard error

    bool says(const std::string& text) const { return messages.find(text) != std::string::npos; }
};

/// What another reader finds in an image file, colors not multiplied by a straight alpha: the type and the values of the
/// pixel that `place` names, "x y" from the lower left, or the attribute of that name.
std::string storedIn(const std::filesystem::path& file, const std::string& place);

std::string contentOf(const std::filesystem::path& file);

/// Number of times that a text occurs.
int countOf(const std::string& text, const std::string& part);

/// A test with a folder of its own, in which the program runs. Modules and declarations of tests/modules are found.
/// The folder stays where the environment has LUMO_KEEP_TEST_FOLDERS.
class RenderTest : public ::testing::Test {
protected:
    RenderTest();
    ~RenderTest() override;

    /// Runs the program with exactly these arguments; `input` is its standard input.
    Outcome run(const std::vector<std::string>& arguments, const std::string& input = {}) const;

    /// Writes the scene to scene.mi and renders it, with the module and include folders and further arguments.
    Outcome renderText(const std::string& scene, const std::vector<std::string>& arguments = {}) const;

    /// The images that were written: of EXR files all layers, of others their pixels.
    struct Files {
        std::map<std::string, Picture> pictures;
        std::map<std::string, std::string> others;
        bool operator==(const Files&) const = default;
    };
    /// Those of the folder. Afterwards it has neither these nor any other files but scenes.
    Files takeFiles() const;

    void write(const std::string& name, const std::string& content) const;
    std::filesystem::path path(const std::string& name) const { return folder_ / name; }
    bool exists(const std::string& name) const { return std::filesystem::exists(path(name)); }

    int timeoutSeconds = 60;
    int killAfterMilliseconds = 0;     ///< of its work, the program gets the signal; 0 = it does not
    std::function<bool()> killWhen{};  ///< or when this holds
    int killSignal = SIGKILL;
    /// Starts the program itself in place of a fork of what is linked into the tests. It takes .4 s, mostly for the
    /// libraries; sanitizers need it, they do not go on in forks of programs with threads.
    bool runsProgram = LUMO_SANITIZED;

private:
    std::filesystem::path folder_;
};

}  // namespace rendertest
