// What an ordinary surface shader asks about its place.
#include "contract_test.h"

namespace rendertest {
namespace {

using SurfaceContract = Contract;

TEST_F(SurfaceContract, TellsSpacesCornersLightsOpacityAndEntries) {
    SceneText scene;
    scene.before = "link \"probe_surface.so\"\n$include <probe_surface.mi>\n";
    scene.cameraPlace = "transform " + moved({0, 0, 3}).inverse().text();
    scene.elements =
        "material \"m\" \"probe_surface\" () end material\n"
        "light \"lamp\" \"plain_light\" () origin 0 0 7 end light\n"
        "instance \"l\" \"lamp\" transform " +
        moved({0, 5, 0}).inverse().text() + " end instance\n" +
        wall("surface", 0, "m", 50, "transform " + scaled({2, 1, 1}).then(moved({1, 2, -5})).inverse().text());
    scene.members = "\"l\" \"surface\"";
    expectFacts(probe(scene), 27);
}

}  // namespace
}  // namespace rendertest
