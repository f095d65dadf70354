// Scenes that are written back and read again are the same scenes, whatever they say, at each render command.
#include "echo/scene_echo.h"
#include "tests/host/scene/database_text.h"
#include "tests/host/scene/scene_fixture.h"

#include <functional>
#include <memory>

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

class EchoTest : public SceneTest {
protected:
    /// What has errors is written as far as it was read. Returns false after a failure.
    bool expectSame(const std::string& text, const std::string& name) {
        const auto first = folder / "first.mi", second = folder / "second.mi";
        const Reading original(text, name, settings, first);
        if (!original.isWhole) return true;
        const bool isBroken = !errors.empty();
        errors.clear();
        const std::string written = contentOf(first);
        const Reading again(written, "first.mi", settings, second);
        if (!isBroken) {
            EXPECT_EQ(errors, "");
        }
        EXPECT_EQ(original.states.size(), again.states.size());
        for (std::size_t i = 0; i < std::min(original.states.size(), again.states.size()); ++i)
            if (original.states[i] != again.states[i])
                ADD_FAILURE() << "before command " << i << ": " << difference(original.states[i], again.states[i]);
        EXPECT_EQ(written, contentOf(second));
        return !HasFailure();
    }
};

class EchoOfCase : public EchoTest {
public:
    explicit EchoOfCase(std::filesystem::path path) : file(std::move(path)) {}

private:
    void TestBody() override {
        std::filesystem::current_path(file.parent_path());
        settings.includePath = settings.texturePath = {"parts"};
        settings.substitutions = readSubstitutions("/gone=parts;D:\\lib\\=parts/more");
        setenv("LUMO_TEST_PLACE", "here", 1);
        expectSame(contentOf(file), file.filename());
    }
    const std::filesystem::path file;
};

const bool registered = [] {
    for (const auto& entry : std::filesystem::directory_iterator(LUMO_SCENE_CASES))
        if (entry.path().extension() == ".mi")
            testing::RegisterTest("Echo", entry.path().stem().c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                  [path = entry.path()]() -> SceneTest* { return new EchoOfCase(path); });
    return true;
}();

}  // namespace
}  // namespace lumorender
