// The scenes of scenes/ as they are written back: they make the same pictures.
#include "harness.h"

namespace rendertest {
namespace {

class EchoOfScene : public RenderTest {
public:
    explicit EchoOfScene(std::filesystem::path scene) : scene_(std::move(scene)) {}

private:
    void TestBody() override {
        const std::vector<std::string> small{"-v", "2",  "-file_dir", ".", "-resolution",
                                             "24", "18", "-samples",  "0", "0"};
        const auto render = [&](const std::string& scene) {
            auto arguments = small;
            arguments.push_back(scene);
            return run(arguments);
        };
        EXPECT_EQ(render(scene_).messages, "");
        const Files files = takeFiles();
        EXPECT_FALSE(files.pictures.empty());
        EXPECT_EQ(run({"-v", "2", "-echo", "written.mi", "--", scene_}).messages, "");
        EXPECT_EQ(render("written.mi").messages, "");
        EXPECT_TRUE(takeFiles() == files);
    }

    const std::filesystem::path scene_;
};

/// Others are included, or include what is grown on request.
const bool registered = [] {
    for (const auto& entry : std::filesystem::directory_iterator(LUMO_SCENES)) {
        const std::filesystem::path& file = entry.path();
        const std::string text = file.extension() == ".mi" ? contentOf(file) : "";
        if (text.find("\nrender ") == std::string::npos || text.find("rabbits_hair.mi") != std::string::npos) continue;
        ::testing::RegisterTest("EchoOfScene", file.stem().c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                [file]() -> RenderTest* { return new EchoOfScene(file); });
    }
    return true;
}();

}  // namespace
}  // namespace rendertest
