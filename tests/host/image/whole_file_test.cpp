// Files that take their names when they are whole.
#include "support/messages.h"
#include "support/whole_file.h"

#include "image_fixture.h"

#include <csignal>
#include <sys/wait.h>

namespace lumorender::test {
namespace {

class WholeFiles : public ImageTest {
protected:
    std::string content(const char* name) const {
        std::ifstream stream(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    std::size_t count() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator{}));
    }
    void old(const char* name) const { std::ofstream(folder / name) << "old"; }
};

TEST_F(WholeFiles, KilledWritesLeaveTheOldFileAndTheNextOneClearsUp) {
    old("a.exr");
    old(".a.exr.elsewhere-1.part");  // of another machine, which may be writing
    const pid_t child = fork();
    if (child == 0) {
        WholeFile file(folder / "a.exr");
        file.write(std::string(3 << 20, 'x'));
        std::raise(SIGKILL);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(asText(content("a.exr"), count()), "old 3");
    {
        WholeFile other(folder / "b.exr");
        EXPECT_EQ(count(), 4U) << "what is left of another target is not ours";
    }
    WholeFile file(folder / "a.exr");
    file.write("new");
    EXPECT_EQ(asText(content("a.exr"), count()), "old 3");
    file.keep();
    EXPECT_EQ(asText(content("a.exr"), count()), "new 2");
}

TEST_F(WholeFiles, SeekWhatWasWrittenAndKeepRights) {
    old("a");
    fs::permissions(folder / "a", fs::perms(0640));
    fs::create_symlink("a", folder / "link");
    WholeFile file(folder / "link");
    file.write("0123456789");
    file.seek(4);
    file.write("xy");
    EXPECT_EQ(file.position(), 6U);
    file.keep();
    EXPECT_EQ(content("a"), "0123xy6789");
    EXPECT_EQ(fs::status(folder / "a").permissions(), fs::perms(0640));
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    const std::string longest(251, 'n');  // with its ending all that a name may have
    WholeFile named(folder / (longest + ".exr"));
    EXPECT_NO_THROW(named.keep());
}

}  // namespace
}  // namespace lumorender::test
