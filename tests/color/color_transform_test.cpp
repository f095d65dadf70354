/* Color transforms of shader instances, over the color-management library that is built with the modules. */
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <dlfcn.h>
#include <malloc.h>
#include <thread>
#include <unistd.h>

#include "SDK/color/color_transform.h"
#include "binding/tintcore.h"
#include "tests/shaders/frame_buffer_scene.h"

namespace {

using lumo::ColorTransform;
using twin::renderer;
using Cache = lumo::LumoColorTransformCache;

struct Block {
    miTag name = miNULLTAG;
};

class ColorTransforms : public twin::LibraryTest {
protected:
    ColorTransforms() {
        miSetModuleHandle(dlopen(nullptr, RTLD_NOW));  // of the code in this program
    }

    bool init(ColorTransform& transform, miTag name) {
        twin::ShaderInstance<Block> shader;
        shader->name = name;
        return init(transform, shader);
    }
    bool init(ColorTransform& transform, twin::ShaderInstance<Block>& shader) {
        miState own = *state;
        own.shader = &shader.function();
        return Cache::initTransform(lumo::ShaderHelper<Block>(&own, shader.parameters()), &Block::name, transform);
    }
    bool init(ColorTransform& transform, const std::string& name) {
        return init(transform, renderer().database.addString(name));
    }

    miColor applied(const std::string& name, miColor color) {
        ColorTransform transform;
        EXPECT_TRUE(init(transform, name)) << name;
        EXPECT_TRUE(Cache::renderTransform(state, color, transform));
        return color;
    }
};

TEST_F(ColorTransforms, GoFromAcesCgToTheDisplay) {
    // As the library's command-line tool gives them for the same two spaces.
    const struct {
        miColor color;
        miScalar r, g, b;
    } cases[] = {{{0.18f, 0.18f, 0.18f, 0.5f}, 0.4613561f, 0.4613562f, 0.4613561f},
                 {{0.4f, 0.2f, 0.1f, 1}, 0.7669618f, 0.455335f, 0.3131163f},
                 {{0.05f, 0.5f, 0.3f, 0}, -3.23883f, 0.7740199f, 0.5659196f},
                 {{0.001f, 0.002f, 0.0015f, 1}, 0.004349674f, 0.02759791f, 0.01870657f},
                 {{1, 1, 1, 1}, 1, 1, 1}};
    for (const auto& each : cases) {
        const miColor result = applied("ACEScg -> sRGB display", each.color);
        EXPECT_NEAR(result.r, each.r, 1e-6 * (1 + std::fabs(each.r)));
        EXPECT_NEAR(result.g, each.g, 1e-6);
        EXPECT_NEAR(result.b, each.b, 1e-6);
        EXPECT_FLOAT_EQ(result.a, each.color.a);
    }
    // The matrix from the chromaticities of both spaces and their white points, Bradford adaptation, worked by hand.
    const miColor linear = applied(" ACEScg->Linear Rec.709 ", {0.4f, 0.2f, 0.1f, 1});
    EXPECT_NEAR(linear.r, 1.705050993 * 0.4 - 0.621792121 * 0.2 - 0.083258872 * 0.1, 1e-6);
    EXPECT_NEAR(linear.g, -0.130256418 * 0.4 + 1.140804737 * 0.2 - 0.010548319 * 0.1, 1e-6);
    EXPECT_NEAR(linear.b, -0.024003357 * 0.4 - 0.128968976 * 0.2 + 1.152972333 * 0.1, 1e-6);
}

TEST_F(ColorTransforms, ComeFromLutFilesAndConnectionsOrNot) {
    const std::string file = std::filesystem::temp_directory_path() / ("lumo-" + std::to_string(getpid()) + ".cube");
    // Red and green change places; blue is inverted.
    std::ofstream(file) << "LUT_3D_SIZE 2\n0 0 1\n0 1 1\n1 0 1\n1 1 1\n0 0 0\n0 1 0\n1 0 0\n1 1 0\n";
    EXPECT_COLOR(applied(file, {0.25f, 0.75f, 0.875f, 0.125f}), 0.75f, 0.25f, 0.125f, 0.125f);
    std::filesystem::remove(file);

    const std::size_t allocations = renderer().memory.allocations.size();
    for (const miTag name : {miNULLTAG, renderer().database.addString("")}) {
        ColorTransform transform;
        miColor same = {0.1f, 2, -3, 0.5f};
        EXPECT_TRUE(init(transform, name) && !transform && Cache::renderTransform(state, same, transform));
        EXPECT_COLOR(same, 0.1f, 2, -3, 0.5f);
    }
    EXPECT_TRUE(renderer().messages().empty() && renderer().memory.allocations.size() == allocations);

    twin::ShaderInstance<Block> shader;
    miTag name = renderer().database.addString("ACEScg -> ACES2065-1");
    shader.connect(&shader->name, &name);
    ColorTransform transform;
    EXPECT_TRUE(init(transform, shader) && transform);
}

TEST_F(ColorTransforms, TellWhyThereIsNone) {
    ColorTransform transform;
    EXPECT_FALSE(init(transform, "50%s of nothing"));
    ASSERT_EQ(renderer().messages().size(), 1u);
    const std::string prefix = "LumoColorTransformCache::initTransform: '50%s of nothing' is no ";
    EXPECT_EQ(renderer().messages()[0].text.substr(0, prefix.size()), prefix);
    EXPECT_EQ(renderer().messages()[0].level, "error");
    EXPECT_FALSE(init(transform, "ACEScg -> nowhere"));
    // What the library's command-line tool says to the same name.
    EXPECT_EQ(renderer().messages().back().text,
              "LumoColorTransformCache::initTransform: Color space 'nowhere' could not be found.");
    EXPECT_FALSE(transform);

    renderer().memory.fails = [](const twin::Allocation&) { return true; };
    EXPECT_FALSE(init(transform, "ACEScg -> sRGB"));
    EXPECT_EQ(renderer().messageCount("error",
                                      "LumoColorTransformCache::initTransform: failed to alllocate a color transform"),
              1);
    EXPECT_EQ(renderer().database.pinsInAll(), 0);
    EXPECT_EQ(renderer().timesLocked, 3);
}

/* A copy of the library's loader part in a process that cannot find the library: this program, run again. */
TEST_F(ColorTransforms, FailWithAMessageWithoutTheLibrary) {
    const std::string own = std::filesystem::read_symlink("/proc/self/exe");
    const std::string copy = std::filesystem::temp_directory_path() / ("lumo-alone-" + std::to_string(getpid()));
    std::filesystem::create_directory(copy);
    std::filesystem::copy_file(own, copy + "/alone");
    const int status = std::system(("LUMO_ALONE=1 " + copy + "/alone --gtest_filter='*RunsAlone' > /dev/null").c_str());
    EXPECT_EQ(status, 0);
    std::filesystem::remove_all(copy);
}

TEST_F(ColorTransforms, RunsAlone) {
    if (!std::getenv("LUMO_ALONE")) GTEST_SKIP() << "for the program that the test before starts";
    ColorTransform transform;
    for (int i = 0; i < 2; ++i) EXPECT_FALSE(init(transform, "ACEScg -> sRGB"));
    ASSERT_EQ(renderer().messages().size(), 2u);
    const std::string text = renderer().messages()[0].text;
    EXPECT_EQ(text.find("LumoColorTransformCache::initTransform: There is no color-management library: "), 0u) << text;
    miColor same = {1, 2, 3, 4};
    EXPECT_TRUE(Cache::renderTransform(state, same, transform));
    EXPECT_COLOR(same, 1, 2, 3, 4);
}

TEST_F(ColorTransforms, AreMadeByManyThreadsAtOnceAndLeakNothing) {
    const miTag names[] = {renderer().database.addString("ACEScg -> sRGB"),
                           renderer().database.addString("ACEScct -> ACEScg")};
    miColor results[16];
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < 16; ++i)
            threads.emplace_back([&, i] {
                ColorTransform transform;
                EXPECT_TRUE(init(transform, names[i % 2]));
                results[i] = {0.2f, 0.3f, 0.4f, 1};
                EXPECT_TRUE(Cache::renderTransform(state, results[i], transform));
            });
    }
    for (std::size_t i = 2; i < 16; ++i) EXPECT_EQ(std::memcmp(&results[i], &results[i - 2], sizeof(miColor)), 0) << i;
    EXPECT_EQ(renderer().memory.liveAllocations(), 0u);

    ColorTransform transform;
    ASSERT_TRUE(init(transform, "ACEScg -> sRGB"));
    std::size_t before = 0;
    for (int i = 0; i < 1001000; ++i) {
        if (i == 1000) before = mallinfo2().uordblks;
        miColor color = {static_cast<miScalar>(i % 100) * 0.01f, 0.5f, 0.25f, 1};
        ASSERT_TRUE(Cache::renderTransform(state, color, transform));
    }
    EXPECT_LT(mallinfo2().uordblks, before + 10000);
}

}  // namespace
