/* The built module from outside: what it exports, and what it can write to. */
#include <array>
#include <cstdio>
#include <memory>
#include <set>
#include <sstream>

#include "export_list.h"
#include "scene.h"

namespace {

std::vector<std::string> outputOf(const std::string& command) {
    std::vector<std::string> lines;
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::array<char, 4096> line;
    while (pipe && std::fgets(line.data(), line.size(), pipe.get())) lines.emplace_back(line.data());
    return lines;
}

TEST(Exports, AreTheShadersThatAreDeclaredAndTheSdk) {
    std::set<std::string> exported;
    for (const std::string& line : outputOf(LUMO_NM " -D --defined-only --format=posix " LUMO_LIBRARY))
        exported.insert(line.substr(0, line.find(' ')));
    const std::set<std::string> shaders = twin::declaredShaders();
    EXPECT_GE(shaders.size(), 50u);
    for (const std::string& shader : shaders) {
        EXPECT_TRUE(exported.erase(shader)) << shader;
        EXPECT_TRUE(exported.erase(shader + "_version")) << shader;
        const bool hasInit = exported.erase(shader + "_init");
        EXPECT_TRUE(!exported.erase(shader + "_exit") || hasInit) << shader;
        EXPECT_EQ(reinterpret_cast<int (*)()>(twin::librarySymbol((shader + "_version").c_str()))(), 2) << shader;
    }
    EXPECT_EQ(exported, twin::sdkNames());
}

/* A renderer function that is reached past the binding would be an undefined symbol. */
TEST(Exports, NothingOfTheRendererIsUndefined) {
    for (const std::string& line : outputOf(LUMO_NM " -D --undefined-only --format=posix " LUMO_LIBRARY))
        EXPECT_NE(line.substr(0, 3), "mi_") << line;
}

/* Data that any thread could change: the two writable constants, the module handle, the functions of the renderer, the
 * list of pools. Everything else must be read-only. */
TEST(Exports, WritableDataIsOnlyWhatIsKnown) {
    if (LUMO_SANITIZED) GTEST_SKIP() << "sanitizers add data of their own";
    const std::set<std::string> known = {"VEXA_BLACK",   "VEXA_WHITE",  "rendererModule", "colorLibrary", "poolList",
                                         "__dso_handle", "__TMC_END__", "completed.0",    "gradientTable"};
    int objects = 0;
    for (const std::string& line : outputOf(LUMO_OBJDUMP " -tC " LUMO_LIBRARY)) {
        // value flags section size [.hidden] name: the last part of the name is enough
        if (line.size() < 26 || line[23] != 'O') continue;
        std::istringstream fields(line.substr(25));
        std::string section, size, name;
        fields >> section >> size;
        std::getline(fields, name);
        if (section != ".data" && section != ".bss") continue;
        ++objects;
        name = name.substr(0, name.find(" (."));  // a mark of some compilers for what they split
        name.erase(0, name.find_last_of(" :") + 1);
        const bool isRendererFunction = name.starts_with("mi_") || name.starts_with("lumorender_");
        EXPECT_TRUE(known.count(name) || isRendererFunction || name.starts_with("DW.ref.")) << line;
    }
    EXPECT_GT(objects, 3) << "the symbol table was not understood";
}

}  // namespace
