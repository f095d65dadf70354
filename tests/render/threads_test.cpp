// The same scene gives the same bits, whatever the number of threads and the size of tiles.
#include "harness.h"

namespace rendertest {
namespace {

class Threads : public RenderTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(Threads, DoNotChangeThePicture) {
    const auto render = [&](const std::string& folder, const std::string& threads, const std::string& task) {
        std::filesystem::create_directory(path(folder));
        const Outcome outcome = run({"-ld_path", LUMO_TEST_MODULES, "-I", LUMO_TEST_MODULES, "-resolution", "64", "48",
                                     "-file_dir", folder, "-threads", threads, "-task_size", task, GetParam()});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    };
    render("one", "1", "16");
    render("many", "5", "7");
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path("one")))
        if (entry.path().extension() == ".exr") {
            ++files;
            const Picture one(entry.path());
            EXPECT_TRUE(one == Picture(path("many") / entry.path().filename())) << entry.path().filename();
            int different = 0;  // the picture is worth comparing: neighbours differ
            for (const auto& [name, channel] : one.channels())
                for (std::size_t i = 1; i < channel.bits.size(); ++i)
                    different += channel.bits[i] != channel.bits[i - 1];
            EXPECT_GT(different, 1000) << entry.path();
        }
    EXPECT_GT(files, 0);
}

INSTANTIATE_TEST_SUITE_P(Scenes, Threads,
                         ::testing::Values(LUMO_CASES "/Busy.mi", LUMO_SCENES "roundabout.mi", LUMO_SCENES "wax.mi",
                                           LUMO_SCENES "interior.mi", LUMO_SCENES "still_life.mi",
                                           LUMO_SCENES "halftone.mi", LUMO_SCENES "look_development.mi"));

}  // namespace
}  // namespace rendertest
