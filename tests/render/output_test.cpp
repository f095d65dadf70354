// Where pictures go, and what remains when they cannot be written: the earlier file, the other files, and no parts.
#include "harness.h"

#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

namespace rendertest {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFormats[] = {"exr", "png", "tif", "tga", "jpg",  "hdr", "bmp", "ppm",
                                    "iff", "rla", "rgb", "dpx", "webp", "pic", "ct"};

/// Every pixel another color, so that nothing gets small by compression.
std::string scene(const std::string& outputs, const std::string& more = "") {
    return "$include <modules.mi>\noptions \"opt\" object space samples 0 0 " + more +
           " end options\ncamera \"cam\" focal 1 aperture 2 aspect 1 resolution 64 64 environment \"plain_noise\" "
           "()\n" +
           outputs + "\nend camera\ninstance \"cam_i\" \"cam\" end instance\n" +
           "instgroup \"world\" \"cam_i\" end instgroup\nrender \"world\" \"cam_i\" \"opt\"\n";
}

std::string output(const std::string& format, const std::string& file) {
    return "output \"" + format + "\" \"" + file + "\" ";
}

class Output : public RenderTest {
protected:
    /// Parts are temporary files, of any folder below.
    int parts() const {
        int count = 0;
        for (const auto& entry : fs::recursive_directory_iterator(path(".")))
            count += entry.path().extension() == ".part";
        return count;
    }

    /// No file of these formats can be written in the folder but the smallest one, and the old ones stay.
    void expectFailures(const std::string& folder) {
        const std::string before = "P6 an earlier picture";
        std::string outputs = output("bit", "small.bit");
        for (const char* format : kFormats) {
            write(folder + "/look." + format, before);
            outputs += output(format, std::string("look.") + format);
        }
        const Outcome outcome = renderText(scene(outputs), {"-file_dir", folder});
        EXPECT_EQ(outcome.exitCode, 1) << outcome.messages;
        EXPECT_EQ(outcome.signal, 0);
        for (const char* format : kFormats) {
            EXPECT_EQ(contentOf(path(folder + "/look." + format)), before) << format;
            EXPECT_EQ(countOf(outcome.messages, std::string("look.") + format), 1) << outcome.messages;
        }
        EXPECT_EQ(contentOf(path(folder + "/small.bit")).size(), 8U + 64 * 64 / 8) << outcome.messages;
        EXPECT_EQ(parts(), 0);
    }
};

TEST_F(Output, FullDiskKeepsWhatWasThere) {
    fs::create_directory(path("disk"));
    // As large as the old files, the small one and three pages more: less than any of the pictures.
    const std::string size = "size=" + std::to_string((std::size(kFormats) + 1 + 1) * 4096);
    if (mount("test", path("disk").c_str(), "tmpfs", 0, size.c_str()) != 0)
        GTEST_SKIP() << "mounting a small disk needs root";
    expectFailures("disk");
    umount(path("disk").c_str());
}

TEST_F(Output, LimitsOfFileSizesKeepWhatWasThere) {
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 8192;
    fs::create_directory(path("limited"));
    setrlimit(RLIMIT_FSIZE, &small);
    expectFailures("limited");
    setrlimit(RLIMIT_FSIZE, &before);
}

TEST_F(Output, ScenesWriteImagesBelowTheOutputFolderOnly) {
    fs::create_directories(path("out/deep"));
    fs::create_directory(path("else"));
    fs::create_symlink(path("else"), path("out/away"));
    fs::create_symlink(path("out/deep"), path("out/near"));
    fs::create_symlink(path("else/notes.ppm"), path("out/link.ppm"));
    for (const char* name : {"else/notes.ppm", "out/text.ppm", "out/notes.fg", "out/include.mi.ppm"})
        write(name, "important");
    write("out/picture.ppm", "P6\n1 1 255\n...");
    write("out/empty.ppm", "");
    const std::string outside = "outside of the output folder", ending = "does not end as", helps = "-allow_paths";
    const struct {
        std::string statement, says;
        bool anywhere;  ///< it is written when paths are allowed
    } cases[] = {{output("ppm", path("look.ppm")), outside, true},
                 {output("ppm", "../look.ppm"), outside, true},
                 {"framebuffer \"b\" primary on filename \"../look.ppm\"", outside, true},
                 {output("ppm", "deep/../../look.ppm"), outside, true},
                 {output("ppm", "away/look.ppm"), outside, true},
                 {output("ppm", "link.ppm"), outside, true},
                 {output("ppm", ".bashrc"), ending, true},
                 {output("ppm", "Makefile"), ending, true},
                 {output("ppm", "run.sh"), ending, true},
                 {output("ppm", "look.png"), ending, true},
                 {output("ppm", "text.ppm"), "is no image", true},
                 {output("ppm", "include.mi.ppm"), "made from this file", false},
                 {output("als", "look.als"), "'als' is no image format", false},
                 {output("zt", "look.zt") + output("ppm", "no/look.ppm"), "does not exist", false},
                 {output("ppm", "deep"), ending, false},
                 {output("ppm", "a.ppm") + "output \"z\" \"ppm\" \"a.ppm\"", "names the same file", false},
                 {"output \"rgb\" \"zt\" \"look.zt\"", "cannot hold the data type rgb", false},
                 {"output \"tag\" \"png\" \"look.png\"", "cannot hold labels", false},
                 {"output \"fb1\" \"png\" \"look.png\"", "there is no such frame buffer", false}};
    for (const auto& c : cases) {
        const std::string text = "$include \"out/include.mi.ppm\"\n" + scene(c.statement);
        write("out/include.mi.ppm", "# important\n");
        const Outcome refused = renderText(text, {"-file_dir", "out", "-v", "5"});
        EXPECT_TRUE(refused.exitCode == 1 && refused.says(c.says) && refused.says("scene.mi:"))
            << c.statement << refused.messages;
        EXPECT_FALSE(refused.says("rendered")) << "it is told before the render";
        EXPECT_EQ(contentOf(path("else/notes.ppm")) + contentOf(path("out/text.ppm")), "importantimportant");
        EXPECT_EQ(contentOf(path("out/include.mi.ppm")), "# important\n");
        EXPECT_FALSE(exists("look.ppm") || exists("else/look.ppm") || exists("out/.bashrc")) << c.statement;
        EXPECT_TRUE(c.says != outside || refused.says(helps)) << refused.messages;
        const Outcome allowed = renderText(text, {"-file_dir", "out", "-allow_paths"});
        EXPECT_EQ(allowed.exitCode, c.anywhere ? 0 : 1) << c.statement << allowed.messages;
        for (const char* name : {"look.ppm", "else/look.ppm", "out/.bashrc", "out/look.png"}) fs::remove(path(name));
        write("else/notes.ppm", "important"), write("out/text.ppm", "important");
    }
    for (const std::string name : {"picture.ppm", "empty.ppm", "near/new.ppm", "shot.ppm.0012", "./SHOT.PPM"}) {
        const Outcome good = renderText(scene(output("ppm", name)), {"-file_dir", "out"});
        EXPECT_TRUE(good.exitCode == 0 && contentOf(path("out/" + name)).starts_with("P6")) << name << good.messages;
    }
    // What users name is their business, but not the scene that they render.
    EXPECT_EQ(renderText(scene(output("ppm", "a.ppm")), {"-o", path("else/mine.ppm")}).exitCode, 0);
    const Outcome self = renderText(scene(output("ppm", "a.ppm")), {"-o", "scene.mi"});
    EXPECT_TRUE(self.exitCode == 1 && self.says("scene.mi")) << self.messages;
}

TEST_F(Output, PointsOfScenesAreWrittenOverPointsOnly) {
    const auto render = [&](const std::string& file, const std::string& more = "") {
        return renderText(scene(output("exr", "look.exr"),
                                "finalgather on finalgather accuracy 4 finalgather file \"" + file + "\" " + more));
    };
    write("precious.fg", "important");
    write("precious.txt", "important");
    for (const char* file : {"precious.fg", "precious.txt", "../other.fg", ".profile", "fg"}) {
        const Outcome refused = render(file);
        EXPECT_TRUE(refused.exitCode == 1 && refused.says("cannot write final gather file"))
            << file << refused.messages;
        EXPECT_FALSE(exists("look.exr") || exists(".profile") || exists("../other.fg"));
    }
    EXPECT_EQ(contentOf(path("precious.fg")) + contentOf(path("precious.txt")), "importantimportant");
    EXPECT_EQ(render("new.fg").exitCode, 0);
}

// A picture of 64 rows in tiles of one is stopped in the middle of its height: it goes beside the finished one.
TEST_F(Output, StoppedRendersReplaceNothing) {
    write("look.exr", "\x76\x2f\x31\x01 finished");
    const std::string outputs = output("exr", "look.exr") + output("png", "look.png") + output("tif", "look.tif");
    const auto stopped = [&](const std::string& below, const std::string& options) {
        return renderText(
            "$include <modules.mi>\n" + scene(outputs + "environment environment \"probe_interrupt\" ( \"below\" " +
                                                  below + ", \"color\" .5 .5 .5 1 )",
                                              options),
            {"-task_size", "1", "-threads", "1"});
    };
    const Outcome outcome = stopped("32", "");
    EXPECT_EQ(outcome.exitCode, 1) << outcome.messages;
    EXPECT_TRUE(contentOf(path("look.exr")).ends_with("finished"));
    EXPECT_FALSE(exists("look.png") || exists("look.tif"));
    EXPECT_EQ(storedIn(path("look.incomplete.exr"), "5 60"), "half 0.5 0.5 0.5 1");
    EXPECT_EQ(storedIn(path("look.incomplete.exr"), "5 3"), "half 0 0 0 0");
    EXPECT_EQ(storedIn(path("look.incomplete.exr"), "incomplete"), "incomplete: stopped after 50.0 % of the picture");
    fs::remove(path("look.incomplete.exr"));
    const Outcome gathering = stopped("99", "finalgather on finalgather accuracy 4");
    EXPECT_TRUE(gathering.exitCode == 1 && gathering.says("before its first tile")) << gathering.messages;
    EXPECT_TRUE(contentOf(path("look.exr")).ends_with("finished") && !exists("look.incomplete.exr"));
    for (const char* name : {"look.incomplete.png", "look.incomplete.tif"})
        EXPECT_EQ(storedIn(path(name), "ImageDescription"), "incomplete: stopped after 50.0 % of the picture") << name;
}

TEST_F(Output, OutputShadersWorkOnceOnWholePictures) {
    const auto text = [](const std::string& more) {
        return scene("output \"plain_output\" (\"gain\" 0 0 0 .5" + more + ") " + output("exr", "look.exr"));
    };
    const Outcome stopped = renderText(text(", \"stop\" 1"));
    EXPECT_TRUE(stopped.exitCode == 1 && !exists("look.exr")) << stopped.messages;
    EXPECT_EQ(storedIn(path("look.incomplete.exr"), "incomplete"), "incomplete: stopped in its output shaders");
    // What is kept for later is what was rendered, and not what became of it.
    for (int run = 0; run < 2; ++run) {
        const Outcome kept = renderText(text(""), {"-checkpoint", "kept", "-keep_checkpoint"});
        EXPECT_EQ(kept.exitCode, 0) << kept.messages;
        EXPECT_EQ(storedIn(path("look.exr"), "5 3"), "half 0 0 0 0.5") << run;
        fs::remove(path("look.exr"));
    }
    EXPECT_TRUE(renderText(text(""), {"-tiles", "1/1"}).says("output shaders need the whole picture"));
    const Outcome merged = run({"-merge", "look.1-of-1.part"});
    EXPECT_TRUE(merged.exitCode == 1 && merged.says("on a picture that is merged")) << merged.messages;
    EXPECT_EQ(storedIn(path("look.exr"), "5 3").substr(0, 6), "half 0");
}

TEST_F(Output, NamesOfUsersTellFrames) {
    const std::string text = scene(output("ppm", "a.ppm") + "frame 12") +
                             "incremental camera \"cam\" frame 13 end camera render \"world\" \"cam_i\" \"opt\"\n" +
                             "render \"world\" \"cam_i\" \"opt\"\n";
    const Outcome outcome = renderText(text, {"-o", "shot.####.ppm"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_TRUE(exists("shot.0012.ppm") && exists("shot.0013.ppm") && exists("shot.0013.2.ppm")) << outcome.messages;
    EXPECT_TRUE(outcome.says("was written by the render at scene.mi:")) << outcome.messages;
}

}  // namespace
}  // namespace rendertest
