// Photon maps in files.
#include "harness.h"

namespace rendertest {
namespace {

class PhotonMaps : public RenderTest {
protected:
    PhotonMaps() {
        write(
            "camera.mi",
            "camera \"cam\" framebuffer \"b\" datatype \"rgba_fp\" filename \"out.exr\" primary on focal 1 aperture 2\n"
            "aspect 1 resolution 8 8 end camera instance \"cam_i\" \"cam\" end instance\n");
    }

    Outcome render(const std::string& options) const {
        const Outcome outcome = renderText(
            "link \"base.so\"\n$include <base.mi>\n$include <Plain.mi>\n"
            "incremental options \"opt\" globillum on caustic on photonmap file \"kept.pmap\" " +
                options +
                " end options\n"
                "light \"l\" \"plain_light\" () origin 0 0 0 energy 9 9 9 globillum photons 9000 caustic photons 1000 "
                "end light\n"
                "instance \"l_i\" \"l\" end instance\n"
                "material \"m\" \"mib_illum_lambert\" (\"diffuse\" 1 1 1)\n"
                "  photon \"mib_photon_basic\" (\"diffuse\" .5 .5 .5, \"specular\" .3 .3 .3) end material\n"
                "instance \"room_i\" \"room\" material \"m\" end instance\n"
                "instgroup \"world\" \"cam_i\" \"l_i\" \"room_i\" end instgroup render \"world\" \"cam_i\" \"opt\"\n",
            {"-I", LUMO_CASES, "-verbose", "5"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        return outcome;
    }
};

TEST_F(PhotonMaps, AreKeptInFiles) {
    // Maps alone first; they are what a picture would have come from.
    render("photonmap only on");
    EXPECT_FALSE(exists("out.exr"));
    const std::string kept = contentOf(path("kept.pmap"));
    render("");
    const Picture first(path("out.exr"));
    EXPECT_EQ(contentOf(path("kept.pmap")), kept);
    EXPECT_GE(kept.size(), 48U + 32U * 10000U) << "a header, and all photons";

    std::string flipped = kept;
    flipped[kept.size() / 2] ^= 1;
    const std::tuple<std::string, std::string> cases[] = {{kept, " photons from"},
                                                          {kept.substr(0, kept.size() - 7), "expected as many"},
                                                          {kept.substr(0, 20), "is no file of photon maps"},
                                                          {flipped, "is damaged"}};
    for (const auto& [bytes, message] : cases) {
        write("kept.pmap", bytes);
        const Outcome outcome = render("photonmap rebuild off");
        EXPECT_TRUE(outcome.says(message)) << message << "\n" << outcome.messages;
        EXPECT_EQ(outcome.says(" emitted by "), bytes != kept) << outcome.messages;
        EXPECT_TRUE(first == Picture(path("out.exr"))) << message;
        EXPECT_EQ(contentOf(path("kept.pmap")), kept) << message;
    }
}

}  // namespace
}  // namespace rendertest
