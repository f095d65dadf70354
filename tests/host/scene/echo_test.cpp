// Scenes that are written back and read again are the same scenes, whatever they say, at each render command.
#include "echo/scene_echo.h"
#include "parsing/language.h"
#include "tests/host/scene/database_text.h"
#include "tests/host/scene/random_scene.h"
#include "tests/host/scene/scene_fixture.h"

#include <functional>
#include <memory>
#include <regex>
#include <sstream>

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
    /// What is not the same, or nothing. What has errors is written as far as it was read.
    std::string lossOf(const std::string& text, const std::string& name) {
        const auto first = folder / "first.mi", second = folder / "second.mi";
        errors.clear();
        const Reading original(text, name, settings, first);
        if (!original.isWhole) return "";
        const bool isBroken = !errors.empty();
        errors.clear();
        const std::string written = contentOf(first);
        const Reading again(written, "first.mi", settings, second);
        if (!isBroken && !errors.empty()) return errors;
        if (original.states.size() != again.states.size()) return "render commands";
        for (std::size_t i = 0; i < original.states.size(); ++i)
            if (original.states[i] != again.states[i]) return difference(original.states[i], again.states[i]);
        const std::string twice = contentOf(second);
        return written == twice ? "" : difference(written, twice);
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
        EXPECT_EQ(lossOf(contentOf(file), file.filename()), "");
    }
    const std::filesystem::path file;
};

class RandomScenes : public EchoTest {
protected:
    static const SceneGrammar& grammar() {
        static const SceneGrammar grammar(LUMO_SCENE_CASES "/../grammar.txt");
        return grammar;
    }
    static int countOr(int usual) {
        const char* count = std::getenv("LUMO_RANDOM_SCENES");
        return count ? std::stoi(count) : usual;
    }
    /// One that begins with the word and what follows it behind =, in any of many ways to choose.
    static bool hasStatement(std::string_view element, const std::string& word) {
        static std::map<std::string, std::string> begins;  // of elements, all beginnings
        std::string& all = begins[std::string(element)];
        if (all.empty()) {
            RandomScene scene(grammar(), 2);
            scene.text(200);
            const auto found = grammar().statements.find(element);
            for (int i = 0; found != grammar().statements.end() && i < 100; ++i)
                for (const std::string& statement : found->second) all += "\n" + scene.one(statement) + " ";
            all = std::regex_replace(std::regex_replace(all, std::regex("\""), ""), std::regex("\n +"), "\n");
        }
        const std::size_t equal = word.find('=');
        const std::string first = word.substr(0, equal);
        std::string next = equal == std::string::npos ? "" : word.substr(equal + 1) + " ";
        if (next == "shader ") next = "";  // stands for any
        const auto elsewhere = grammar().elsewhere.find(element);
        if (elsewhere != grammar().elsewhere.end() && elsewhere->second.contains(first)) return true;
        return all.find("\n" + first + " " + next) != std::string::npos;
    }
};

/// LUMO_RANDOM_SCENES says how many, LUMO_RANDOM_SEED where they begin.
TEST_F(RandomScenes, AreTheSameWhenTheyAreReadAgain) {
    std::filesystem::current_path(LUMO_SCENE_CASES);
    settings.texturePath = {"parts"};
    const char* const first = std::getenv("LUMO_RANDOM_SEED");
    const std::uint64_t begin = first ? std::stoull(first) : 1;
    std::size_t bytes = 0;
    for (std::uint64_t seed = begin; seed < begin + static_cast<std::uint64_t>(countOr(300)); ++seed) {
        const std::string text = RandomScene(grammar(), seed).text(static_cast<int>(5 + seed % 60));
        bytes += text.size();
        errors.clear();
        Database fresh;
        readSceneText(text, "random.mi", fresh, modules, *this, settings);
        if (!errors.empty())
            ADD_FAILURE() << "seed " << seed << ": " << errors << text;
        else if (const std::string loss = lossOf(text, "random.mi"); !loss.empty())
            ADD_FAILURE() << "seed " << seed << ": " << loss << text;
    }
    RecordProperty("bytes", std::to_string(bytes));
}

/// Every word that is of use somewhere in the scene language has a statement in the grammar.
TEST_F(RandomScenes, HaveAllWordsOfTheLanguage) {
    std::string missing;
    for (const Meaning& row : language()) {
        if (row.effect != Effect::Used && row.effect != Effect::Idle) continue;
        std::istringstream words{std::string(row.words)};
        for (std::string word; std::getline(words, word, '|');)
            if (word[0] != '$' && !hasStatement(row.element, word))
                missing += std::string(row.element) + ": " + word + "\n";
    }
    EXPECT_EQ(missing, "");
}

const bool registered = [] {
    for (const auto& entry : std::filesystem::directory_iterator(LUMO_SCENE_CASES))
        if (entry.path().extension() == ".mi")
            testing::RegisterTest("Echo", entry.path().stem().c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                  [path = entry.path()]() -> SceneTest* { return new EchoOfCase(path); });
    return true;
}();

}  // namespace
}  // namespace lumorender
