#include "database/modules.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <link.h>
#include <stdlib.h>

#include <fstream>

namespace lumorender {
namespace {

namespace fs = std::filesystem;

/// A folder with a module: a copy of the C library's mathematical part, which every machine has.
class ModulesTest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "modulesXXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        link_map* map = nullptr;
        void* library = dlopen("libm.so.6", RTLD_NOW);
        ASSERT_EQ(dlinfo(library, RTLD_DI_LINKMAP, &map), 0);
        fs::copy_file(map->l_name, folder_ / "shaders.so");
        dlclose(library);
    }
    void TearDown() override { fs::remove_all(folder_); }

    fs::path folder_;
    Modules modules_;
};

TEST_F(ModulesTest, FindsModulesOfOtherPlatformsOnTheSearchPath) {
    modules_.searchPath = {folder_ / "missing", folder_};
    EXPECT_EQ(modules_.link("C:\\plugins\\shaders.dll"), "");
    EXPECT_TRUE(modules_.isLinked("/usr/lib/shaders.dylib"));
    EXPECT_EQ(modules_.link("shaders"), "") << "linking it once more is no error";

    EXPECT_NE(modules_.find("cos").call, nullptr);
    EXPECT_EQ(modules_.find("cos").init, nullptr);
    EXPECT_EQ(modules_.find("no_such_shader").call, nullptr);
    EXPECT_EQ(modules_.find("system").call, nullptr) << "functions of the libraries below a module are no shaders";
}

TEST_F(ModulesTest, PathsOfTheSceneAreFollowedOnlyIfAllowed) {
    const std::string path = (folder_ / "shaders.so").string();
    modules_.searchPath = {folder_ / "elsewhere"};
    const std::string refusal = modules_.link(path);
    EXPECT_NE(refusal.find((folder_ / "elsewhere" / "shaders.so").string()), std::string::npos) << refusal;
    EXPECT_NE(refusal.find("not allowed"), std::string::npos) << refusal;
    modules_.allowPaths = true;
    EXPECT_EQ(modules_.link(path), "");
}

TEST_F(ModulesTest, TellsWhyALibraryCannotBeLoaded) {
    std::ofstream(folder_ / "broken.so") << "not a library";
    modules_.searchPath = {folder_};
    const std::string reason = modules_.link("broken.so");
    EXPECT_NE(reason.find("broken.so"), std::string::npos) << reason;
    EXPECT_NE(reason.find("too short"), std::string::npos) << "the loader's own words: " << reason;
    EXPECT_FALSE(modules_.isLinked("broken.so"));
}

}  // namespace
}  // namespace lumorender
