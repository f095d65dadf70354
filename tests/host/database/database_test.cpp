// Elements by tag and name, frame buffers by index, and the modules that shaders come from.
#include "database/database.h"

#include "database/elements.h"
#include "database/modules.h"
#include "tests/host/as_text.h"

#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <set>
#include <thread>

namespace lumorender {
namespace {

TEST(Database, TagsFromSeveralThreadsAreDistinctAndKeepTheirRecords) {
    Database database;
    std::vector<miTag> tags[4];
    const auto fill = [&](int t) {
        for (int i = 0; i < 5000; ++i) {  // more than a chunk of tags each
            tags[t].push_back(database.create(miSCENE_FIRST_USER + t, sizeof(int)));
            *static_cast<int*>(database.record(tags[t].back())) = i;
        }
    };
    {
        const std::jthread a(fill, 0), b(fill, 1), c(fill, 2), d(fill, 3);
    }
    std::set<miTag> distinct;
    for (int t = 0; t < 4; ++t)
        for (int i = 0; const miTag tag : tags[t]) {
            distinct.insert(tag);
            ASSERT_EQ(*database.as<int>(tag, miSCENE_FIRST_USER + t), i++);
        }
    EXPECT_EQ(asText(distinct.size(), *distinct.rbegin() + 1), asText(20000, database.end()));
}

TEST(Database, NamesAreReservedDefinedAndRedefinedUnderOneTag) {
    struct Colors : Detail {};
    Database database;
    const miTag tag = database.reserve("lamp");
    EXPECT_EQ(asText(database.type(tag), database.record(tag) == nullptr, database.name(tag)), "0 true lamp");
    EXPECT_EQ(database.define("lamp", miSCENE_LIGHT, 8), tag);
    std::memset(database.record(tag), 1, 8);
    database.setDetail(tag, std::make_unique<Colors>());
    EXPECT_NE(database.detail<Colors>(tag), nullptr);
    EXPECT_EQ(database.define("lamp", miSCENE_OBJECT, 8), tag);
    EXPECT_EQ(database.as<char>(tag, miSCENE_LIGHT), nullptr);
    EXPECT_EQ(*database.as<char>(tag, miSCENE_OBJECT), 0) << "the new record is not the old one";
    EXPECT_EQ(database.detail<Colors>(tag), nullptr) << "the old element's detail is gone";
    database.remove(tag);
    EXPECT_EQ(asText(database.find("lamp"), database.record(tag) == nullptr), "0 true");
    EXPECT_NE(database.define("lamp", miSCENE_LIGHT, 8), tag) << "stale tags must not come to life again";

    const miTag data = database.create(miSCENE_USERDATA, 100);
    std::memset(database.record(data), 7, 100);
    database.resize(data, 10);
    const char* bytes = static_cast<char*>(database.resize(data, 5000));
    EXPECT_EQ(asText(database.size(data), reinterpret_cast<std::uintptr_t>(bytes) % 16), "5000 0");
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(bytes[i], i < 10 ? 7 : 0) << i;
    for (const miTag wrong : {0u, 5000u, 0x7fffffffu, 0xffffffffu}) {
        EXPECT_EQ(asText(database.type(wrong), database.size(wrong), database.name(wrong)), "0 0 ");
        EXPECT_TRUE(!database.record(wrong) && !database.resize(wrong, 10));
        database.remove(wrong);
    }
}

TEST(Database, EqualStringsShareAnElement) {
    Database database;
    const miTag tag = database.addString("a text"), unterminated = database.create(miSCENE_STRING, 20);
    EXPECT_TRUE(database.addString("a text") == tag && database.addString("a text ") != tag);
    EXPECT_STREQ(static_cast<char*>(database.record(tag)), "a text");
    std::memset(database.record(unterminated), 'x', 20);
    EXPECT_EQ(database.string(unterminated), std::string(20, 'x'));
    EXPECT_EQ(database.string(database.create(miSCENE_LIGHT, 16)), "");
    database.remove(tag);
    EXPECT_NE(database.addString("a text"), tag);
    EXPECT_EQ(database.string(database.addString("a text")), "a text");
}

TEST(FrameBufferSet, PrimaryHasIndexZeroAndTheOthersCountFromOne) {
    for (const auto& [primary, indices] :
         {std::pair{-1, "1 2 3 -1 4 -"}, {0, "0 1 2 -1 3 a"}, {1, "1 0 2 -1 3 b"}, {2, "1 2 0 -1 3 c"}}) {
        FrameBufferSet set;
        for (const char* name : {"a", "b", "c"}) set.buffers.emplace_back().name = name;
        if (primary >= 0) set.buffers[static_cast<std::size_t>(primary)].primary = true;
        EXPECT_EQ(asText(set.shaderIndex("a"), set.shaderIndex("b"), set.shaderIndex("c"), set.shaderIndex("d"),
                         set.shaderCount(), set.atShaderIndex(0) ? set.atShaderIndex(0)->name : "-"),
                  indices);
        for (const char* name : {"a", "b", "c"}) EXPECT_EQ(set.atShaderIndex(set.shaderIndex(name))->name, name);
        EXPECT_TRUE(!set.atShaderIndex(set.shaderCount()) && !set.atShaderIndex(-1));
    }
}

TEST(Modules, AreFoundOnTheSearchPathOrRefusedWithTheReason) {
    // A folder with a module: a copy of the C library's mathematical part, which every machine has.
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(testing::TempDir()) / ("modules" + std::to_string(getpid()));
    fs::create_directories(folder);
    link_map* map = nullptr;
    ASSERT_EQ(dlinfo(dlopen("libm.so.6", RTLD_NOW), RTLD_DI_LINKMAP, &map), 0);
    fs::copy_file(map->l_name, folder / "shaders.so");
    std::ofstream(folder / "broken.so") << "not a library";

    Modules modules, strict;
    modules.searchPath = {folder / "missing", folder};
    EXPECT_EQ(modules.link("C:\\plugins\\shaders.dll"), "");
    EXPECT_TRUE(modules.isLinked("/usr/lib/shaders.dylib"));
    EXPECT_EQ(modules.link("shaders"), "") << "linking it once more is no error";
    fs::create_symlink("shaders.so", folder / "other_name.so");
    EXPECT_EQ(modules.link("other_name.sl"), "");
    EXPECT_TRUE(modules.isLinked("other_name.dll") && modules.isLinked("shaders.so"));
    EXPECT_TRUE(modules.find("cos").call && !modules.find("cos").init && !modules.find("no_such_shader").call);
    EXPECT_EQ(modules.find("system").call, nullptr) << "functions of the libraries below a module are no shaders";
    expectParts(modules.link("broken.so"), {"broken.so", "too short"});  // the loader's own words
    EXPECT_FALSE(modules.isLinked("broken.so"));

    const std::string path = (folder / "shaders.so").string();
    strict.searchPath = {folder / "elsewhere"};
    expectParts(strict.link(path), {(folder / "elsewhere" / "shaders.so").string(), "not allowed"});
    strict.allowPaths = true;
    EXPECT_EQ(strict.link(path), "");
    fs::remove_all(folder);
}

}  // namespace
}  // namespace lumorender
