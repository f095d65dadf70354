#include "database/database.h"

#include "mi/codes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

namespace lumorender {
namespace {

TEST(Database, TagsFromSeveralThreadsAreDistinctAndKeepTheirRecords) {
    constexpr int kThreads = 4, kEach = 5000;  // more than a chunk of tags each
    Database database;
    std::vector<std::vector<miTag>> tags(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kEach; ++i) {
                const miTag tag = database.create(miSCENE_FIRST_USER + t, sizeof(int));
                *static_cast<int*>(database.record(tag)) = i;
                tags[static_cast<std::size_t>(t)].push_back(tag);
            }
        });
    for (std::thread& thread : threads) thread.join();

    std::set<miTag> distinct;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kEach; ++i) {
            const miTag tag = tags[static_cast<std::size_t>(t)][static_cast<std::size_t>(i)];
            distinct.insert(tag);
            ASSERT_EQ(database.type(tag), miSCENE_FIRST_USER + t);
            ASSERT_EQ(*static_cast<int*>(database.record(tag)), i);
        }
    EXPECT_EQ(distinct.size(), std::size_t{kThreads * kEach});
    EXPECT_EQ(*distinct.rbegin() + 1, database.end());
}

TEST(Database, NamesAreReservedDefinedAndRedefinedUnderOneTag) {
    struct Colors : Detail {};
    Database database;
    const miTag tag = database.reserve("lamp");
    EXPECT_EQ(database.type(tag), miSCENE_NONE);
    EXPECT_EQ(database.record(tag), nullptr);
    EXPECT_EQ(database.name(tag), "lamp");

    EXPECT_EQ(database.define("lamp", miSCENE_LIGHT, 8), tag);
    std::memset(database.record(tag), 1, 8);
    database.setDetail(tag, std::make_unique<Colors>());
    EXPECT_NE(database.detail<Colors>(tag), nullptr);

    EXPECT_EQ(database.define("lamp", miSCENE_OBJECT, 8), tag);
    EXPECT_EQ(database.as<char>(tag, miSCENE_LIGHT), nullptr);
    EXPECT_EQ(*database.as<char>(tag, miSCENE_OBJECT), 0) << "the new record is not the old one";
    EXPECT_EQ(database.detail<Colors>(tag), nullptr) << "the old element's detail is gone";

    database.remove(tag);
    EXPECT_EQ(database.find("lamp"), miNULLTAG);
    EXPECT_EQ(database.record(tag), nullptr);
    EXPECT_NE(database.define("lamp", miSCENE_LIGHT, 8), tag) << "stale tags must not come to life again";
}

TEST(Database, ResizingKeepsTheBeginningAndZeroesTheGrowth) {
    Database database;
    const miTag tag = database.create(miSCENE_USERDATA, 100);
    std::memset(database.record(tag), 7, 100);
    database.resize(tag, 10);
    const char* bytes = static_cast<char*>(database.resize(tag, 5000));
    EXPECT_EQ(database.size(tag), 5000u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 16, 0u);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(bytes[i], i < 10 ? 7 : 0) << i;
}

TEST(Database, WrongTagsNameNothing) {
    Database database;
    for (const miTag tag : {0u, 1u, 5000u, 0x7fffffffu, 0xffffffffu}) {
        EXPECT_EQ(database.record(tag), nullptr);
        EXPECT_EQ(database.type(tag), miSCENE_NONE);
        EXPECT_EQ(database.size(tag), 0u);
        EXPECT_EQ(database.name(tag), "");
        EXPECT_EQ(database.resize(tag, 10), nullptr);
        database.remove(tag);
    }
}

TEST(Database, EqualStringsShareAnElement) {
    Database database;
    const miTag tag = database.addString("a text");
    EXPECT_EQ(database.addString("a text"), tag);
    EXPECT_NE(database.addString("a text "), tag);
    EXPECT_STREQ(static_cast<char*>(database.record(tag)), "a text");
    EXPECT_EQ(database.string(database.create(miSCENE_LIGHT, 16)), "");

    const miTag unterminated = database.create(miSCENE_STRING, 20);
    std::memset(database.record(unterminated), 'x', 20);
    EXPECT_EQ(database.string(unterminated), std::string(20, 'x'));

    database.remove(tag);
    const miTag again = database.addString("a text");
    EXPECT_NE(again, tag);
    EXPECT_EQ(database.string(again), "a text");
}

}  // namespace
}  // namespace lumorender
