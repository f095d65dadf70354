// Checkpoints and parts: however a render was ended or shared out, the picture has the bits of one that went through.
#include "harness.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <random>

namespace rendertest {
namespace {

using Arguments = std::vector<std::string>;

class SavedWork : public RenderTest {
protected:
    /// Everything that draws random numbers, and points of both kinds, in 48 tiles.
    Outcome render(const Arguments& more, const std::string& text = "$include <Busy.mi>\n") {
        Arguments all{"-I", LUMO_CASES, "-resolution", "64", "48", "-samples", "1", "-task_size", "8"};
        all.insert(all.end(), more.begin(), more.end());
        return renderText(text, all);
    }
    void makeReference() {
        const Outcome outcome = render({"-o", "reference.exr", "-preview"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    }
    void expectReference(const std::string& name, const std::string& what) {
        ASSERT_TRUE(exists(name + ".exr")) << what;
        EXPECT_TRUE(Picture(path(name + ".exr")) == Picture(path("reference.exr"))) << what;
    }
    /// The pictures for people are made of other pixels.
    void expectPreviews(const std::string& name) {
        for (const std::string other : {".png", "-passes.png"})
            EXPECT_TRUE(contentOf(path(name + other)) == contentOf(path("reference" + other))) << name << other;
    }
    /// What a render keeps, as if it had been ended in its last third. Nothing else stays of it.
    std::string begun(Arguments arguments, const std::string& name) {
        arguments.insert(arguments.end(), {"-keep_checkpoint", "-o", "begun.exr"});
        const Outcome outcome = render(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        std::string bytes = contentOf(path(name));
        bytes.resize(bytes.size() * 3 / 4);
        std::filesystem::remove(path(name));
        std::filesystem::remove(path("begun.exr"));
        return bytes;
    }
    /// Kills a render when it has come so far. Where it has ended before that was seen it begins anew.
    bool killWhenReached(const std::function<bool()>& isReached, const Arguments& arguments, const std::string& text) {
        killWhen = isReached;
        bool killed = false;
        for (int tries = 0; tries < 20 && !killed; ++tries) {
            for (const char* file : {"kept.fg", "saved", "saved.2"}) std::filesystem::remove(path(file));
            killed = render(arguments, text).signal != 0;
        }
        killWhen = {};
        return killed;
    }
};

TEST_F(SavedWork, RendersThatAreKilledGoOn) {
    makeReference();
    std::mt19937 random(1);
    std::uniform_int_distribution<int> moment(5, 250);
    // Each fourth time it is asked to end and does so in good order.
    constexpr int kEnds = 28;
    int ends = 0, finished = 0, continued = 0;
    while (ends < kEnds || finished < 2) {
        killAfterMilliseconds = ends < kEnds ? moment(random) : 0;
        killSignal = ends % 4 == 3 ? SIGTERM : SIGKILL;
        const Outcome outcome = render({"-checkpoint", "saved", "-o", "picture.exr", "-v", "5", "-preview"});
        continued += outcome.says("goes on from");
        if (outcome.signal != 0 || outcome.says("stopping")) {
            ++ends;
            continue;
        }
        ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
        ++finished;
        expectReference("picture", outcome.messages);
        expectPreviews("picture");
        EXPECT_FALSE(exists("saved"));
        for (const char* file : {"picture.exr", "picture.png", "picture-passes.png"})
            std::filesystem::remove(path(file));
    }
    EXPECT_GT(continued, 5) << ends << " " << finished;
}

TEST_F(SavedWork, WhatIsTornOrDamagedIsDoneAgain) {
    makeReference();
    const std::string saved = begun({"-checkpoint", "saved"}, "saved");
    std::mt19937 random(2);
    for (int i = 0; i < 24; ++i) {
        std::string bytes = saved;
        const std::size_t at = random() % bytes.size();
        if (i % 2 == 0)
            bytes.resize(at);
        else
            bytes[at] = static_cast<char>(bytes[at] ^ (1 << random() % 8));
        write("saved", bytes);
        const Outcome outcome = render({"-checkpoint", "saved", "-o", "picture.exr"});
        ASSERT_EQ(outcome.exitCode, at < 16 && i % 2 ? 1 : 0) << at << outcome.messages;
        if (outcome.exitCode == 0) expectReference("picture", std::to_string(at));
    }
}

TEST_F(SavedWork, CheckpointsOfOtherPicturesAreRefusedAndStay) {
    const Arguments usual{"-checkpoint", "saved", "-o", "picture.exr"};
    const std::string saved = begun({"-checkpoint", "saved"}, "saved");
    std::string otherVersion = saved;
    otherVersion[8] = 9;
    const auto with = [&](const Arguments& more) {
        Arguments all = usual;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    const std::string scene = "$include <Busy.mi>\n";
    const struct {
        Arguments arguments;
        std::string text, file;
        const char* says;
    } cases[] = {{with({"-resolution", "64", "40"}), scene, saved, "the resolution is 64 x 40, was 64 x 48"},
                 {with({"-samples", "0"}), scene, saved, "command line says of options is \" samples 1 samples 0\""},
                 {with({"-task_size", "16"}), scene, saved, "the edge of tiles is 16, was 8"},
                 {usual, scene + "# changed\n", saved, "scene file \"scene.mi\" has changed"},
                 {with({"-link", "sdk_mirror.so", "--"}), scene, saved, "module \"sdk_mirror.so\" is new"},
                 {usual, scene, otherVersion, "has format version 9, expected version 2"},
                 {usual, scene, "some text that somebody needs", "is neither a checkpoint nor a part"}};
    for (const auto& c : cases) {
        write("saved", c.file);
        const Outcome outcome = render(c.arguments, c.text);
        EXPECT_EQ(outcome.exitCode, 1) << c.says;
        EXPECT_TRUE(outcome.says(c.says)) << c.says << "\n" << outcome.messages;
        EXPECT_TRUE(contentOf(path("saved")) == c.file) << c.says;
        EXPECT_FALSE(exists("picture.exr")) << c.says;
    }
}

TEST_F(SavedWork, FilesOfObjectsAndAssembliesThatHaveChangedAreTold) {
    const std::string scene =
        "object \"far\" box 0 0 0 1 1 1 file \"object.mi\" end object\n"
        "assembly \"parts\" box 0 0 0 1 1 1 file \"assembly.mi\" end assembly\n$include <Busy.mi>\n";
    const std::string object = "object group end group end object\n",
                      assembly = "instgroup \"g\" end instgroup root \"g\"\n";
    const auto renderWith = [&](const std::string& comment, const std::string& other) {
        write("object.mi", object + comment);
        write("assembly.mi", assembly + other);
        return render({"-checkpoint", "saved", "-keep_checkpoint", "-o", "picture.exr"}, scene);
    };
    EXPECT_EQ(renderWith("", "").exitCode, 0);
    EXPECT_EQ(renderWith("", "").exitCode, 0);
    EXPECT_TRUE(renderWith("# later\n", "").says("file \"object.mi\" has changed"));
    EXPECT_TRUE(renderWith("", "# later\n").says("file \"assembly.mi\" has changed"));
}

TEST_F(SavedWork, SharesJoinToThePicture) {
    makeReference();
    // The points once, and then in each share for itself; one share was ended and goes on.
    for (const bool pointsFirst : {true, false}) {
        if (pointsFirst) {
            const Outcome points = render({"-tiles", "0/4"});
            ASSERT_EQ(points.exitCode, 0) << points.messages;
        }
        write("out.2-of-4.part", begun({"-tiles", "2/4"}, "begun.2-of-4.part"));
        for (const std::string share : {"1/4", "2/4", "3/4", "4/4"}) {
            const Outcome outcome = render({"-tiles", share, "-v", "5"});
            ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
            if (share != "2/4") {
                EXPECT_EQ(outcome.says(" points, 0 rays"), pointsFirst) << outcome.messages;
            }
            EXPECT_FALSE(exists("out.exr"));
        }
        Arguments merge{"-merge",          "-preview",        "out.1-of-4.part",
                        "out.3-of-4.part", "out.2-of-4.part", "out.4-of-4.part"};
        if (pointsFirst) merge.push_back("out.0-of-4.part");
        const Outcome merged = run(merge);
        ASSERT_EQ(merged.exitCode, 0) << merged.messages;
        expectReference("out", merged.messages);
        expectPreviews("out");
        for (const auto& entry : std::filesystem::directory_iterator(path("")))
            if (entry.path().filename().string().starts_with("out")) std::filesystem::remove(entry.path());
    }
}

TEST_F(SavedWork, PartsThatDoNotFitTogetherAreTold) {
    const auto make = [&](const std::string& share, const std::string& name, const Arguments& more = {}) {
        Arguments all{"-tiles", share, "-o", name};
        all.insert(all.end(), more.begin(), more.end());
        const Outcome outcome = render(all);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    };
    make("1/2", "a.exr");
    make("2/2", "a.exr");
    make("2/3", "a.exr");
    make("2/2", "b.exr", {"-samples", "0"});
    make("0/2", "a.exr");
    const std::string whole = contentOf(path("a.2-of-2.part"));
    write("torn.part", whole.substr(0, whole.size() - 5000));
    std::filesystem::copy_file(path("a.2-of-2.part"), path("again.part"));
    const struct {
        Arguments parts;
        const char* says;
    } cases[] = {{{"a.1-of-2.part"}, "of 2 shares these are missing: 2"},
                 {{"a.1-of-2.part", "a.2-of-2.part", "again.part"}, "are the same share, 2 of 2"},
                 {{"a.1-of-2.part", "a.2-of-3.part"}, "are of 2 and of 3 shares"},
                 {{"a.1-of-2.part", "b.2-of-2.part"}, "are parts of different pictures: what the command line says"},
                 {{"a.1-of-2.part", "torn.part"}, "\"torn.part\" is not finished"},
                 {{"a.1-of-2.part", "scene.mi"}, "\"scene.mi\" is neither a checkpoint nor a part"},
                 {{"a.0-of-2.part"}, "hold no tiles"},
                 {{"nowhere.part"}, "No such file"}};
    for (const auto& c : cases) {
        Arguments all{"-merge"};
        all.insert(all.end(), c.parts.begin(), c.parts.end());
        const Outcome outcome = run(all);
        EXPECT_EQ(outcome.exitCode, 1) << c.says;
        EXPECT_TRUE(outcome.says(c.says)) << c.says << "\n" << outcome.messages;
        EXPECT_FALSE(exists("a.exr")) << c.says;
    }
    // Somebody else writes to the file.
    const int other = open(path("a.1-of-2.part").c_str(), O_RDONLY);
    flock(other, LOCK_EX);
    const Outcome locked = render({"-tiles", "1/2", "-o", "a.exr"});
    close(other);
    EXPECT_EQ(locked.exitCode, 1);
    EXPECT_TRUE(locked.says("\"a.1-of-2.part\" is in use by another render")) << locked.messages;

    // A part of an earlier version of the picture is replaced, as pictures are.
    const Outcome anew = render({"-tiles", "2/2", "-o", "b.exr"});
    EXPECT_EQ(anew.exitCode, 0);
    EXPECT_TRUE(anew.says("was a part of another picture and is made anew")) << anew.messages;
    const Outcome joined = run({"-merge", "-o", "joined.exr", "a.1-of-2.part", "b.2-of-2.part"});
    EXPECT_EQ(joined.exitCode, 0) << joined.messages;
    EXPECT_TRUE(exists("joined.exr"));
}

/// Parts are data from anywhere, as scenes are.
TEST_F(SavedWork, WhatPartsNameIsWrittenWhereScenesMayWrite) {
    for (const char* folder : {"parts", "elsewhere", "moved"}) std::filesystem::create_directory(path(folder));
    const std::string text = "$include <Busy.mi>\nincremental camera \"cam\" output \"rgba_fp\" \"exr\" \"" +
                             path("elsewhere/second.exr").string() +
                             "\" end camera\nrender \"world\" \"cam_i\" \"opt\"\n";
    ASSERT_EQ(
        render({"-tiles", "1/1", "-samples", "0", "-file_dir", "parts", "-allow_paths", "-render", "2", "2"}, text)
            .exitCode,
        0);
    const Arguments merge{"-merge", "parts/out.1-of-1.part"};
    const auto with = [&](Arguments more) {
        more.insert(more.begin(), merge.begin(), merge.end());
        return run(more);
    };
    EXPECT_EQ(run({"-merge", "parts/out.1-of-1.part"}).exitCode, 0);
    EXPECT_TRUE(exists("parts/out.exr") && exists("elsewhere/second.exr"));  // below the current folder

    std::filesystem::remove(path("elsewhere/second.exr"));
    const Outcome outside = with({"-file_dir", "moved"});
    EXPECT_EQ(outside.exitCode, 1);
    EXPECT_TRUE(outside.says("second.exr\": it is outside of the output folder")) << outside.messages;
    EXPECT_FALSE(exists("elsewhere/second.exr") || exists("moved/out.exr"));
    EXPECT_EQ(with({"-file_dir", "moved", "-allow_paths"}).exitCode, 0);
    EXPECT_TRUE(exists("elsewhere/second.exr") && exists("moved/out.exr"));
    EXPECT_EQ(with({"-o", "parts/out.1-of-1.part"}).exitCode, 1);  // over itself
}

TEST_F(SavedWork, SharesThatSawOtherPointsAreTold) {
    const auto text = [](const std::string& rebuild) {
        return "$include <Crowd.mi>\nincremental options \"opt\" finalgather accuracy 16 finalgather file \"kept.fg\" "
               "finalgather rebuild " +
               rebuild + " end options\nrender \"world\" \"cam_i\" \"opt\"\n";
    };
    // Files of points are not what tells pictures apart: what was read from them is.
    for (const std::string share : {"1", "2"}) {
        ASSERT_EQ(render({"-samples", "0", "-resolution", "32", "2" + share}, text("on")).exitCode, 0);
        ASSERT_EQ(render({"-tiles", share + "/2"}, text("freeze")).exitCode, 0);
    }
    const Outcome merged = run({"-merge", "-o", "joined.exr", "out.1-of-2.part", "out.2-of-2.part"});
    EXPECT_EQ(merged.exitCode, 1);
    EXPECT_TRUE(merged.says("was made with other points of indirect light")) << merged.messages;
    EXPECT_TRUE(exists("joined.exr"));
}

/// Files can not grow beyond a size while the object lives.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_ = {};
};

TEST_F(SavedWork, AFullDiskDoesNotStopTheRender) {
    makeReference();
    {
        const FullDisk disk(150'000);  // behind the points, before the last tile
        const Outcome outcome = render({"-checkpoint", "saved", "-o", "picture.exr"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        EXPECT_TRUE(outcome.says("\"saved\" cannot be written: File too large")) << outcome.messages;
        expectReference("picture", outcome.messages);
        // The part is all that there is to make.
        const Outcome part = render({"-tiles", "1/1", "-o", "part.exr"});
        EXPECT_EQ(part.exitCode, 1);
        EXPECT_TRUE(part.says("is not whole")) << part.messages;
    }
    // With room again, only what is missing is rendered.
    const Outcome part = render({"-tiles", "1/1", "-o", "part.exr", "-v", "5"});
    EXPECT_EQ(part.exitCode, 0) << part.messages;
    EXPECT_TRUE(part.says("goes on from")) << part.messages;
    const Outcome joined = run({"-merge", "part.1-of-1.part"});
    EXPECT_EQ(joined.exitCode, 0) << joined.messages;
    expectReference("part", "");
}

TEST_F(SavedWork, EveryRenderCommandHasACheckpoint) {
    const std::string text =
        "$include <Busy.mi>\nincremental camera \"cam\" "
        "framebuffer \"beauty\" datatype \"rgba_fp\" primary on filename \"second.exr\" "
        "framebuffer \"motion\" datatype \"m\" filename \"second.exr\" end camera\n"
        "render \"world\" \"cam_i\" \"opt\"\n";
    const Outcome whole = render({"-checkpoint", "saved"}, text);
    ASSERT_EQ(whole.exitCode, 0) << whole.messages;
    EXPECT_FALSE(exists("saved") || exists("saved.2"));
    const Picture reference(path("second.exr"));
    std::filesystem::remove(path("second.exr"));
    ASSERT_TRUE(killWhenReached([&] { return exists("saved.2"); }, {"-checkpoint", "saved"}, text));
    std::filesystem::remove(path("second.exr"));
    // The first picture is there already.
    const auto written = std::filesystem::last_write_time(path("out.exr"));
    ASSERT_EQ(render({"-checkpoint", "saved"}, text).exitCode, 0);
    EXPECT_TRUE(std::filesystem::last_write_time(path("out.exr")) == written);
    EXPECT_TRUE(Picture(path("second.exr")) == reference);
    EXPECT_FALSE(exists("saved") || exists("saved.2"));
}

TEST_F(SavedWork, PointsThatAreKeptInFilesStayAsTheyWereRead) {
    const std::string text =
        "$include <Busy.mi>\nincremental options \"opt\" finalgather file \"kept.fg\" finalgather "
        "rebuild off end options\nrender \"world\" \"cam_i\" \"opt\"\n";
    const std::string coarser = "incremental options \"opt\" finalgather accuracy 4 end options\n";
    ASSERT_EQ(render({}, "$include <Busy.mi>\n" + coarser + text.substr(text.find('\n') + 1)).exitCode, 0);
    std::filesystem::rename(path("kept.fg"), path("other"));
    const Outcome whole = render({}, text);
    ASSERT_EQ(whole.exitCode, 0) << whole.messages;
    const Picture reference(path("out.2.exr"));
    // Killed when the points have been written; another render writes its own before this one goes on.
    const Arguments saving{"-checkpoint", "saved"};
    const auto isReached = [&] { return exists("kept.fg") && contentOf(path("saved.2")).size() > 5000; };
    ASSERT_TRUE(killWhenReached(isReached, saving, text));
    std::filesystem::rename(path("other"), path("kept.fg"));
    const Outcome outcome = render(saving, text);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_TRUE(Picture(path("out.2.exr")) == reference);
}

}  // namespace
}  // namespace rendertest
