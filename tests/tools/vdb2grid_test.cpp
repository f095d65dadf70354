/* Voxel grids made of OpenVDB files. */
#include <openvdb/openvdb.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

/* Runs the tool on the file, and reads the words that it wrote. */
std::vector<std::uint32_t> convert(const std::string& file, const std::string& options) {
    const std::string to = testing::TempDir() + "made.grid";
    const std::string command =
        std::string(LUMO_VDB2GRID) + " " + file + " " + to + " " + options + " > " + to + ".txt";
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::ifstream in(to, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), {});
    std::vector<std::uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), words.size() * 4);
    return words;
}

float number(std::uint32_t word) {
    float value;
    std::memcpy(&value, &word, sizeof value);
    return value;
}

TEST(VdbToGrid, KeepsVoxelsAndTheirPlace) {
    openvdb::initialize();
    auto density = openvdb::FloatGrid::create();
    auto heat = openvdb::FloatGrid::create(7);
    auto tint = openvdb::Vec3SGrid::create();
    density->setName("density");
    heat->setName("heat");
    tint->setName("tint");
    for (openvdb::GridBase* grid :
         {static_cast<openvdb::GridBase*>(density.get()), static_cast<openvdb::GridBase*>(heat.get()),
          static_cast<openvdb::GridBase*>(tint.get())})
        grid->setTransform(openvdb::math::Transform::createLinearTransform(.5));
    // 4 x 2 x 1 voxels from -3 0 5 on, of which two are set.
    density->getAccessor().setValue({-3, 0, 5}, .25f);
    density->getAccessor().setValue({0, 1, 5}, .75f);
    tint->getAccessor().setValue({0, 1, 5}, {1, .5f, .125f});
    const std::string file = testing::TempDir() + "two.vdb";
    openvdb::io::File(file).write({density, heat, tint});

    const auto words = convert(file, "-temperature heat -color tint");
    ASSERT_GE(words.size(), 16u + 8 + 8 + 32);
    EXPECT_EQ(words[0], 0x56477264u);
    EXPECT_EQ((std::vector(words.begin() + 1, words.begin() + 4)), (std::vector<std::uint32_t>{4, 2, 1}));
    const auto element = [&](std::size_t head, std::size_t size, std::size_t k) {
        return number(words.at(head + 2 + (words[head] + k / size) * size + k % size));
    };
    EXPECT_EQ(words[5], 8u);
    EXPECT_EQ(words[8], 8u);
    EXPECT_EQ(words[11], 8u);
    for (std::size_t k = 0; k < 8; ++k) {
        EXPECT_EQ(element(4, 1, k), k == 0 ? .25f : k == 7 ? .75f : 0) << k;
        EXPECT_EQ(element(7, 1, k), 7) << k;
        EXPECT_EQ(element(10, 4, 4 * k + 1), k == 7 ? .5f : 0) << k;
    }
    // The box is 2 x 1 x .5 wide around (-.75 .25 2.5).
    std::ifstream text(testing::TempDir() + "made.grid.txt");
    std::string line;
    std::getline(text, line);
    std::getline(text, line);
    EXPECT_EQ(line, "transform 1 0 0 0 0 2 0 0 0 0 4 0 0.75 -0.5 -10 1");

    // One of 2 x 2 x 2: the mean of eight, of which four lie beyond the only layer.
    const auto shrunk = convert(file, "-shrink 2");
    EXPECT_EQ(shrunk[5], 2u);
    EXPECT_EQ(number(shrunk.at(16)), .25f / 8);
    EXPECT_EQ(number(shrunk.at(17)), .75f / 8);
}

TEST(VdbToGrid, SaysWhatIsWrong) {
    const std::string tool = LUMO_VDB2GRID;
    EXPECT_NE(std::system((tool + " 2> " + testing::TempDir() + "e1").c_str()), 0);
    EXPECT_NE(std::system((tool + " none.vdb to.grid 2> " + testing::TempDir() + "e2").c_str()), 0);
}

}  // namespace
