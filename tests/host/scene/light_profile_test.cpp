// The element `lightprofile` and the file that it names.
#include "photometry/light_profile.h"
#include "scene_fixture.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace lumorender {
namespace {

class LightProfiles : public SceneTest {
protected:
    LightProfiles() : folder(std::filesystem::temp_directory_path() / ("profiles" + std::to_string(getpid()))) {
        std::filesystem::create_directories(folder);
        settings.texturePath.push_back(folder);
        write("good.ies", "TILT=NONE\n1 1 1 2 1 1 2 0 0 0\n1 1 1\n0 90\n0\n8 4\n");
        write("bad.ies", "TILT=NONE\n1 1 1 2 1 1\n2 0 wide 0");
    }
    ~LightProfiles() override { std::filesystem::remove_all(folder); }

    void write(const std::string& name, const std::string& text) const { std::ofstream(folder / name) << text; }

    const LightProfile* profile(const char* name) { return database.detail<LightProfile>(database.find(name)); }

    std::filesystem::path folder;
};

TEST_F(LightProfiles, AreReadWithTheirSettings) {
    readClean("lightprofile \"p\" format ies flags 0 file \"good.ies\" hermite 3 resolution 4 6 end lightprofile");
    const LightProfile* p = profile("p");
    ASSERT_TRUE(p && p->distribution);
    EXPECT_EQ(p->curve, Curve::Smooth);
    EXPECT_EQ(p->distribution->grid().horizontal.size(), 5u);
    EXPECT_EQ(p->distribution->grid().vertical.size(), 7u);
    EXPECT_EQ(record<LightProfileRecord>("p", miSCENE_LIGHTPROFILE).distribution, p->distribution.get());

    readClean("incremental lightprofile \"p\" resolution 0 0 end lightprofile");
    EXPECT_EQ(profile("p")->distribution->grid().vertical.size(), 2u);
    EXPECT_EQ(record<LightProfileRecord>("p", miSCENE_LIGHTPROFILE).distribution, profile("p")->distribution.get());
    EXPECT_TRUE(read("lightprofile \"q\" flags 4 file \"good.ies\" end lightprofile"));
    EXPECT_NE(warnings.find("test.mi:1: flags of a light profile"), std::string::npos) << warnings;

    // Shaders apply profiles. What a light names for itself is kept for them to find.
    EXPECT_TRUE(read("light \"l\"\nlightprofile p end light"));
    EXPECT_EQ(record<miLight>("l", miSCENE_LIGHT).lightprofile, database.find("p"));
    EXPECT_NE(warnings.find("test.mi:2: the light profile of a light element is not applied"), std::string::npos);
}

TEST_F(LightProfiles, ProblemsNameSceneAndFile) {
    const std::pair<const char*, const char*> cases[] = {
        {"file \"bad.ies\"", "bad.ies:3: found \"wide\", expected the length"},
        {"file \"none.ies\"", "none.ies: the file cannot be read, or is empty"},
        {"file \".\"", "the file cannot be read, or is empty"},
        {"format ies", "light profile \"p\": found no file, expected file \"name\""},
        {"format round file \"good.ies\"", "found round, expected ies or eulumdat"},
        {"format eulumdat file \"good.ies\"", "good.ies:4: found 0, expected the number of C planes"},
        {"file \"good.ies\" hermite 9", "expected"},
    };
    for (const auto& [body, message] : cases) {
        errors.clear();
        EXPECT_FALSE(read(std::string("\nlightprofile \"p\"\n ") + body + " end lightprofile\n")) << body;
        EXPECT_EQ(errors.find("test.mi:"), 0u) << errors;
        EXPECT_NE(errors.find(message), std::string::npos) << errors;
    }
    settings.filesAllowed = false;
    EXPECT_FALSE(read("lightprofile \"p\" file \"good.ies\" end lightprofile"));
}

}  // namespace
}  // namespace lumorender
