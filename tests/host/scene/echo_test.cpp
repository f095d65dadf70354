// Scenes that are written back and read again are the same scenes, whatever they say, at each render command.
#include "parsing/language.h"
#include "tests/host/scene/echo_loss.h"
#include "tests/host/scene/random_scene.h"
#include "tests/host/scene/scene_fixture.h"

#include <regex>
#include <sstream>
#include <utility>

namespace lumorender {
namespace {

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

class EchoTest : public SceneTest {
protected:
    std::string lossOf(const std::string& text, const std::string& name) {
        return lossOfEcho(text, name, settings, folder, [this] { return std::exchange(errors, {}); });
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
