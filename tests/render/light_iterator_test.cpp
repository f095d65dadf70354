// The light iterator of C++ shaders gives what a loop in C over the same lights gives.
#include "harness.h"
#include "pixels.h"
#include "scene_text.h"

#include <algorithm>

namespace rendertest {
namespace {

class LightIterator : public RenderTest {
protected:
    /// A wall in the light of a point, a rectangle and the sun, partly behind a small wall.
    Picture lit(const std::string& material, const std::string& ownLights) {
        SceneText scene;
        scene.before = "link \"cxx_lights.so\"\n$include <cxx_lights.mi>\n";
        scene.options = "samples 0 0 shadow on";
        scene.camera = "resolution 24 24";
        scene.elements =
            "light \"point\" \"plain_light\" ( \"color\" 1 .2 .1 1 ) origin 2 1 -1 end light\n"
            "light \"area\" \"plain_light\" ( \"color\" .1 1 .3 1 ) origin -2 0 -2 rectangle 2 0 0  0 2 0 3 3 end "
            "light\n"
            "light \"sun\" \"plain_light\" ( \"color\" .1 .2 .9 1 ) direction 1 -1 -2 end light\n"
            "instance \"p\" \"point\" end instance instance \"a\" \"area\" end instance "
            "instance \"s\" \"sun\" end instance\n" +
            constantMaterial("black", "0 0 0 1") + "material \"m\" \"" + material +
            "\" ( \"diffuse\" .7 .6 .5 1, \"specular\" .3 .4 .5 1, \"exponent\" 12 " + ownLights + " ) end material\n" +
            wall("surface", -5, "m") + wall("blocker", -3, "black", .8);
        scene.members = "\"p\" \"a\" \"s\" \"surface\" \"blocker\"";
        return picture(scene.text());
    }

    static float brightest(const Picture& image, const std::string& channel) {
        float most = 0;
        for (const float value : image.channels().at(channel).values) most = std::max(most, value);
        return most;
    }
};

TEST_F(LightIterator, LightsAsALoopInCDoes) {
    for (const std::string own : {"", ", \"lights\" [ \"s\" ]", ", \"lights\" [ \"p\", \"a\" ]"}) {
        const Picture loop = lit("plain_material", own), iterated = lit("cxx_lights", own);
        for (const std::string channel : {"R", "G", "B"}) {
            const std::vector<float>&a = loop.channels().at(channel).values,
                  &b = iterated.channels().at(channel).values;
            ASSERT_EQ(a.size(), b.size());
            for (std::size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], 1e-5) << channel << " " << i << own;
            EXPECT_GT(brightest(iterated, channel), .02) << own;
        }
    }
}

}  // namespace
}  // namespace rendertest
