#include "tests/host/scene/echo_loss.h"

#include "echo/scene_echo.h"
#include "elements/reader.h"
#include "tests/host/scene/database_text.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

namespace lumorender {
namespace {

/// Reads a scene, and writes it as it is at each render command and at its end.
class Reading : private SceneActions {
public:
    Reading(const std::string& text, const std::string& name, const ReaderSettings& settings,
            const std::filesystem::path& echo)
        : echo_(database_, modules_, echo) {
        readSceneText(text, name, database_, modules_, *this, settings);
        echo_.keep();
    }

    std::vector<std::string> states;  ///< of the whole database
    bool isWhole = false;             ///< the text was read to its end

private:
    bool render(const RenderCommand& command) override {
        states.push_back(databaseText(database_));
        echo_.render(command);
        return true;
    }
    void finishText() override {
        isWhole = true;
        states.push_back(databaseText(database_));
        echo_.rest();
    }

    Database database_;
    Modules modules_;
    SceneEcho echo_;
};

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// What one of the texts says and the other does not, and a little in front of it.
std::string difference(const std::string& a, const std::string& b) {
    const auto at = static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin());
    const std::size_t line = a.rfind('\n', at) + 1, begin = std::max(line, at - std::min<std::size_t>(at, 200));
    return a.substr(line, 30) + " .. " + a.substr(begin, at - begin + 60) + "\nwas read from the echo as\n" +
           b.substr(std::min(begin, b.size()), at - begin + 60);
}

}  // namespace

std::string lossOfEcho(const std::string& text, const std::string& name, const ReaderSettings& settings,
                       const std::filesystem::path& folder, const std::function<std::string()>& takeErrors,
                       bool comparesBroken) {
    const auto first = folder / "first.mi", second = folder / "second.mi";
    takeErrors();
    const Reading original(text, name, settings, first);
    if (!original.isWhole) return "";
    const bool isBroken = !takeErrors().empty();
    const std::string written = contentOf(first);
    const Reading again(written, "first.mi", settings, second);
    const std::string errors = takeErrors();
    if (isBroken && !comparesBroken) return "";
    if (!isBroken && !errors.empty()) return errors;
    if (original.states.size() != again.states.size()) return "render commands";
    for (std::size_t i = 0; i < original.states.size(); ++i)
        if (original.states[i] != again.states[i]) return difference(original.states[i], again.states[i]);
    const std::string twice = contentOf(second);
    return written == twice ? "" : difference(written, twice);
}

}  // namespace lumorender
