#include "contract_test.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <regex>

namespace rendertest {
namespace {

/// A wall with this material that fills the picture, and one behind it.
SceneText twoWalls(const std::string& frontMaterial) {
    SceneText scene;
    scene.elements = "material \"front\" " + frontMaterial + " end material\n" + constantMaterial("behind", "0 1 0 1") +
                     wall("near", -5, "front") + wall("far", -10, "behind");
    scene.members = "\"near\" \"far\"";
    return scene;
}

// ---- States, samples and the primary call.

struct BracketSums {
    int states = 0, inits = 0, exits = 0, calls = 0, mismatches = 0;
};

BracketSums bracketsIn(const std::string& messages) {
    const std::regex line("state exit: stage 1 inits (\\d+) exits (\\d+) calls (\\d+) mismatches (\\d+)");
    BracketSums sums;
    for (std::sregex_iterator i(messages.begin(), messages.end(), line), end; i != end; ++i) {
        ++sums.states;
        sums.inits += std::stoi((*i)[1]);
        sums.exits += std::stoi((*i)[2]);
        sums.calls += std::stoi((*i)[3]);
        sums.mismatches += std::stoi((*i)[4]);
    }
    return sums;
}

TEST_F(Contract, StateShadersBracketStatesAndSamples) {
    const auto expectBrackets = [&](const SceneText& scene, const char* what) {
        probe(scene, {"-threads", "3", "-task_size", "4"});
        const BracketSums sums = bracketsIn(told.messages);
        EXPECT_EQ(sums.states, 3) << what << "\n" << told.messages;  // one per thread
        EXPECT_EQ(sums.inits, 4 * 16 * 16) << what;
        EXPECT_EQ(sums.exits, 4 * 16 * 16) << what;
        EXPECT_EQ(sums.calls, 4 * 16 * 16) << what;  // the primary call, with the same result
        EXPECT_EQ(sums.mismatches, 0) << what;
    };
    SceneText scene = twoWalls("\"probe_primary\" ()");
    scene.camera = "resolution 16 16";
    scene.options = "samples 1 1 state [ \"probe_state\" () ]";
    expectBrackets(scene, "materials are outermost");
    scene.camera += " lens \"probe_primary\" () \"probe_primary\" ()";
    expectBrackets(scene, "lens shaders are outermost");
    scene.options = "samples 1 1 state [ \"probe_state\" ( \"refuse\" on ) ]";
    expectBrackets(scene, "state init says no, which is no error");
}

TEST_F(Contract, EachRenderHasStatesOfItsOwn) {
    SceneText scene = twoWalls("\"probe_primary\" ()");
    scene.options = "samples 0 0 state [ \"probe_state\" () ]";
    scene.after = "render \"world\" \"cam_i\" \"opt\"";
    probe(scene, {"-threads", "2"});
    const BracketSums sums = bracketsIn(told.messages);
    EXPECT_EQ(sums.states, 4);
    EXPECT_EQ(sums.calls, 2 * 16);
    EXPECT_EQ(sums.mismatches, 0);
}

TEST_F(Contract, PrimaryBufferTakesTheResultAfterSampleExit) {
    SceneText scene = twoWalls("\"probe_primary\" ()");
    scene.options = "samples 1 1 state [ \"probe_state\" ( \"atExit\" .125 .5 .375 1 ) ]";
    const Picture image = probe(scene);
    EXPECT_EQ(image.at("R", 1, 2), .125F);
    EXPECT_EQ(image.at("G", 3, 3), .5F);
    EXPECT_EQ(image.at("B", 0, 0), .375F);
}

TEST_F(Contract, ShaderStateEntriesKeepTheirPlaceAndLifetime) {
    SceneText scene = twoWalls("\"probe_entries\" ()");
    scene.elements += "material \"behind\" \"probe_entries\" () end material\n";
    const Picture image = probe(scene);
    expectFacts(image, 11);

    // What lives for all samples counted them: 4 x 4 of one tile.
    std::vector<int> samples;
    for (int i = 0; i < 16; ++i) samples.push_back(static_cast<int>(image.at("B", i % 4, i / 4)));
    std::sort(samples.begin(), samples.end());
    for (int i = 0; i < 16; ++i) EXPECT_EQ(samples[static_cast<std::size_t>(i)], i + 1);
}

// ---- Frame buffers.

TEST_F(Contract, LensShadersKnowWhetherAnythingWasHit) {
    SceneText scene;
    scene.buffers += userBuffer("vector", "n") + userBuffer("normal", "n");
    scene.camera = "lens \"probe_lens\" ()";
    // The wall is moved five to the right, so that the right half of the picture sees it.
    scene.elements =
        constantMaterial("m", "1 0 0 1") + wall("right", -5, "m", 5, "transform 1 0 0 0  0 1 0 0  0 0 1 0  -5 0 0 1");
    scene.members = "\"right\"";
    const Picture image = probe(scene);
    for (int y = 0; y < 4; ++y) {
        EXPECT_EQ(image.at("vector.X", 0, y), 0);
        EXPECT_EQ(image.at("normal.Z", 0, y), 0);
        EXPECT_EQ(image.at("vector.X", 3, y), 1);
        EXPECT_NEAR(image.at("vector.Y", 3, y), -5, 1e-5);  // point.z
        // The ray through the pixel's centre on a film of width 2 at distance 1.
        const double fx = (3.5 / 4 - .5) * 2, fy = ((y + .5) / 4 - .5) * 2;
        EXPECT_NEAR(image.at("vector.Z", 3, y), 5 * std::sqrt(fx * fx + fy * fy + 1), 1e-4);
        EXPECT_NEAR(image.at("normal.Z", 3, y), 1, 1e-6);
    }
}

TEST_F(Contract, FrameBuffersAreEmptyAtFirstAndHoldThisSamplesValue) {
    SceneText scene = twoWalls("\"probe_buffers\" ()");
    scene.options = "samples 2 2 jitter 1";
    scene.buffers += userBuffer("filtered", "rgba_fp") + userBuffer("number", "z") + userBuffer("vector", "n") +
                     userBuffer("label", "tag");
    const Picture image = probe(scene);
    expectFacts(image, 18);  // four per buffer and two more
    EXPECT_EQ(image.labelAt("label.id", 2, 1), 0xDEADBEEFU);
    EXPECT_NEAR(image.at("filtered.R", 2, 1), 2.5, .2);  // mean of raster x over jittered samples
    EXPECT_EQ(image.at("vector.Z", 2, 1), -1);
}

TEST_F(Contract, ColorsThatAreNoNumbersAreLeftOutAndCounted) {
    SceneText scene = twoWalls("\"probe_value\" ( \"from\" 2.5, \"value\" .5 )");
    scene.options = "samples 1 1";
    scene.buffers += userBuffer("number", "z") + userBuffer("vector", "n");
    const Picture image = probe(scene);
    for (int y = 0; y < 4; ++y) {
        EXPECT_EQ(image.at("R", 1, y), .5F);
        EXPECT_EQ(image.at("R", 2, y), .5F);  // two of four samples count
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

// ---- Threads.

TEST_F(Contract, ThreadsKeepDenormalsAndHaveDeepStacks) {
    SceneText scene = twoWalls("\"probe_thread\" ()");
    scene.buffers += userBuffer("bits", "rgba_fp", "filtering off");
    const Picture image = probe(scene, {"-threads", "2"});
    expectFacts(image, 6);
    EXPECT_EQ(std::bit_cast<unsigned>(image.at("bits.R", 1, 1)), 1U);
    EXPECT_EQ(std::bit_cast<unsigned>(image.at("bits.G", 1, 1)), 0x7FFFFFU);
    EXPECT_EQ(std::bit_cast<unsigned>(image.at("bits.B", 1, 1)), 0x00800001U);
    EXPECT_EQ(std::bit_cast<unsigned>(image.at("bits.A", 1, 1)), 0x80000003U);
}

TEST_F(Contract, TheGlobalLockBelongsToShaders) {
    timeoutSeconds = 20;  // a host that takes the lock itself waits for ever
    SceneText scene = twoWalls("\"probe_lock\" ( \"color\" = \"quarter\" )");
    scene.elements = "shader \"quarter\" \"plain_constant\" ( \"color\" .25 .25 .25 0 )\n" + scene.elements;
    scene.buffers += userBuffer("one", "rgba_fp");
    const Picture image = probe(scene, {"-threads", "2"});
    EXPECT_EQ(image.at("R", 0, 0), .25F);
    EXPECT_EQ(image.at("G", 3, 3), 1.25F);
    EXPECT_EQ(image.at("one.G", 3, 3), .25F);
}

// ---- Calls.

TEST_F(Contract, CallsPassFourArgumentsAndCleanResults) {
    SceneText scene = twoWalls("\"probe_arguments\" ( \"small\" = \"s\", \"large\" = \"l\" )");
    scene.elements = "shader \"s\" \"probe_small\" ()\nshader \"l\" \"probe_large\" ()\n" + scene.elements;
    expectFacts(probe(scene), 8);
}

TEST_F(Contract, ConnectedParametersAreEvaluatedOncePerInvocationAndAddress) {
    SceneText scene = twoWalls("\"probe_cache\" ( \"first\" = \"c\", \"second\" = \"c\" )");
    scene.elements = "shader \"c\" \"probe_counter\" ()\n" + scene.elements;
    expectFacts(probe(scene), 6);
}

TEST_F(Contract, LevelsAreSignedAndTheCallersCount) {
    SceneText scene = twoWalls("\"probe_levels\" ()");
    scene.camera = "environment \"plain_environment\" ( \"down\" .5 .5 .5 1, \"up\" .5 .5 .5 1 )";
    expectFacts(probe(scene), 17);
}

TEST_F(Contract, InitAndExitRunPerRenderWithTheirRecords) {
    SceneText scene = twoWalls("\"probe_lifecycle\" ( \"color\" 1 0 0 1 )");
    scene.before = "declare data \"nothing\" ( integer \"n\" ) end declare\ndata \"d\" \"nothing\" ( \"n\" 1 )\n";
    scene.elements += "material \"behind\" \"probe_lifecycle\" ( \"color\" 0 1 0 1 ) end material\n";
    scene.camera = "data \"d\"";
    scene.after = "incremental camera \"cam\" resolution 6 4 end camera\nrender \"world\" \"cam_i\" \"opt\"";
    EXPECT_EQ(probe(scene).width, 6);
    for (const std::string width : {"4", "6"})
        for (const std::string what : {"init", "exit"}) {
            const std::string records = ": width " + width + " depth 8 data yes";
            EXPECT_EQ(countOf(told.messages, what + " of shader" + records), 1) << told.messages;
            EXPECT_EQ(countOf(told.messages, what + " of instance" + records), 2) << told.messages;
        }

    // Each of the six inits left one block of 1000 bytes.
    const std::regex line("left (\\d+) blocks of memory with (\\d+) bytes");
    int blocks = 0, bytes = 0;
    for (std::sregex_iterator i(told.messages.begin(), told.messages.end(), line), end; i != end; ++i) {
        blocks += std::stoi((*i)[1]);
        bytes += std::stoi((*i)[2]);
    }
    EXPECT_EQ(blocks, 6) << told.messages;
    EXPECT_EQ(bytes, 6000);
}

TEST_F(Contract, IdenticalMessagesAreToldOnceWithTheirNumber) {
    probe(twoWalls("\"probe_message\" ( \"text\" \"good day\" )"), {"-threads", "2"});
    EXPECT_EQ(countOf(told.messages, "probe: says good day"), 2) << told.messages;
    EXPECT_TRUE(told.says("probe: says good day (16 times)")) << told.messages;
}

}  // namespace
}  // namespace rendertest
