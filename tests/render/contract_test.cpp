// What shaders may rely on and a single picture does not show.
#include "contract_test.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <regex>

namespace rendertest {
namespace {

/// A wall with this material that fills the picture, and a green one behind it.
SceneText twoWalls(const std::string& frontMaterial, const std::string& shaders = {}) {
    SceneText scene;
    scene.elements = shaders + "material \"front\" " + frontMaterial + " end material\n" +
                     constantMaterial("behind", "0 1 0 1") + wall("near", -5, "front") + wall("far", -10, "behind");
    scene.members = "\"near\" \"far\"";
    return scene;
}

TEST_F(Contract, StateShadersBracketStatesAndSamples) {
    const struct {
        std::string what, lens, state;
        int renders;
    } cases[] = {{"materials are outermost, each render has states of its own", "", "", 2},
                 {"lens shaders are outermost", "lens \"probe_primary\" () \"probe_primary\" ()", "", 1},
                 {"state init says no, which is no error", "", "\"refuse\" on", 1}};
    for (const auto& [what, lens, state, renders] : cases) {
        SceneText scene = twoWalls("\"probe_primary\" ()");
        scene.camera = "resolution 16 16 " + lens;
        scene.options = "samples 1 1 state [ \"probe_state\" ( " + state + " ) ]";
        if (renders == 2) scene.after = "render \"world\" \"cam_i\" \"opt\"";
        probe(scene, {"-threads", "3", "-task_size", "4"});
        const std::regex line("of stage 1 had inits (\\d+) exits (\\d+) calls (\\d+) mismatches (\\d+)");
        int states = 0, sums[5] = {};
        for (std::sregex_iterator i(told.messages.begin(), told.messages.end(), line), end; i != end; ++i, ++states)
            for (std::size_t k = 1; k < 5; ++k) sums[k] += std::stoi((*i)[k]);
        EXPECT_EQ(states, 3 * renders) << what << told.messages;                             // one per thread
        for (int k = 1; k < 4; ++k) EXPECT_EQ(sums[k], renders * 4 * 16 * 16) << what << k;  // calls: the primary one
        EXPECT_EQ(sums[4], 0) << what;
    }
}

TEST_F(Contract, ShaderStateEntriesKeepTheirPlaceAndLifetime) {
    SceneText scene = twoWalls("\"probe_entries\" ()");
    scene.elements += "material \"behind\" \"probe_entries\" () end material\n";
    std::vector<float> samples = probe(scene).channels().at("B").values;
    std::sort(samples.begin(), samples.end());
    for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(samples[i], i + 1);  // what lives for all samples of a tile
}

TEST_F(Contract, FrameBuffersHoldThisSamplesValueAndNoColorsThatAreNoNumbers) {
    SceneText scene = twoWalls("\"probe_buffers\" ()");
    scene.options = "samples 2 2 jitter 1";
    scene.buffers += userBuffer("filtered", "rgba_fp") + userBuffer("number", "z") + userBuffer("vector", "n") +
                     userBuffer("label", "tag");
    const Picture held = probe(scene);
    EXPECT_EQ(held.labelAt("label.id", 2, 1), 0xDEADBEEFU);
    EXPECT_NEAR(held.at("filtered.R", 2, 1), 2.5, .2);  // mean of raster x over jittered samples
    EXPECT_EQ(held.at("vector.Z", 2, 1), -1);

    scene.options = "samples 1 1";
    scene.elements += "material \"front\" \"probe_value\" ( \"from\" 2.5, \"value\" .5 ) end material\n";
    const Picture image = probe(scene);
    for (int y = 0; y < 4; ++y) {
        for (const int x : {0, 1, 2}) EXPECT_EQ(image.at("R", x, y), .5F);  // in column 2 two of four samples count
        EXPECT_EQ(image.at("A", 2, y), 1);
        EXPECT_EQ(image.at("R", 3, y), 0);  // none
        EXPECT_EQ(image.at("number.Z", 0, y), .5F);
        EXPECT_TRUE(std::isnan(image.at("number.Z", 3, y)));
        EXPECT_TRUE(std::isnan(image.at("vector.X", 3, y)));
        EXPECT_EQ(image.at("vector.Z", 3, y), 1);
    }
    // Four rows of two samples in column 2 and four in column 3.
    EXPECT_EQ(countOf(told.messages, "not finite"), 1) << told.messages;
    EXPECT_TRUE(told.says("24 color samples")) << told.messages;
}

TEST_F(Contract, ThreadsKeepDenormalsAndHaveDeepStacksAndTheGlobalLock) {
    timeoutSeconds = 20;  // a host that takes the lock itself waits for ever
    SceneText scene = twoWalls("\"probe_thread\" ( \"color\" = \"quarter\" )",
                               "shader \"quarter\" \"plain_constant\" ( \"color\" .25 .25 .25 0 )\n");
    scene.buffers += userBuffer("bits", "rgba_fp", "filtering off");
    const Picture image = probe(scene, {"-threads", "2"});
    EXPECT_EQ(image.at("R", 0, 0), .25F);
    EXPECT_EQ(image.at("G", 3, 3), 1.25F);
    EXPECT_EQ(std::bit_cast<unsigned>(image.at("bits.R", 1, 1)), 1U);
    EXPECT_EQ(std::bit_cast<unsigned>(image.at("bits.G", 1, 1)), 0x7FFFFFU);
    EXPECT_EQ(std::bit_cast<unsigned>(image.at("bits.B", 1, 1)), 0x00800001U);
    EXPECT_EQ(std::bit_cast<unsigned>(image.at("bits.A", 1, 1)), 0x80000003U);
}

TEST_F(Contract, InitAndExitRunPerRenderWithTheirRecords) {
    SceneText scene = twoWalls("\"probe_lifecycle\" ( \"color\" 1 0 0 1 )");
    scene.before = "declare data \"nothing\" ( integer \"n\" ) end declare\ndata \"d\" \"nothing\" ( \"n\" 1 )\n";
    scene.elements += "material \"behind\" \"probe_lifecycle\" ( \"color\" 0 1 0 1 ) end material\n";
    scene.camera = "data \"d\"";
    scene.after = "incremental camera \"cam\" resolution 6 4 end camera\nrender \"world\" \"cam_i\" \"opt\"";
    EXPECT_EQ(probe(scene).width, 6);
    for (const std::string what : {"init", "exit"})
        for (const std::string width : {"4", "6"}) {
            const std::string records = ": width " + width + " depth 8 data yes";
            EXPECT_EQ(countOf(told.messages, what + " of shader" + records), 1) << told.messages;
            EXPECT_EQ(countOf(told.messages, what + " of instance" + records), 2) << told.messages;
        }
    // Each of the six inits left one block of 1000 bytes.
    const std::regex line("left (\\d+) blocks of memory with (\\d+) bytes");
    int blocks = 0, bytes = 0;
    for (std::sregex_iterator i(told.messages.begin(), told.messages.end(), line), end; i != end; ++i)
        blocks += std::stoi((*i)[1]), bytes += std::stoi((*i)[2]);
    EXPECT_EQ(blocks, 6) << told.messages;
    EXPECT_EQ(bytes, 6000);
}

}  // namespace
}  // namespace rendertest
