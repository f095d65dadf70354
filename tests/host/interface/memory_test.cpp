#include "library/memory.h"

#include "shader.h"
#include "support/messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

namespace lumorender {
namespace {

bool allBytesAre(const void* memory, char value, std::size_t size) {
    const auto* bytes = static_cast<const char*>(memory);
    return std::all_of(bytes, bytes + size, [=](char byte) { return byte == value; });
}

/// Where the callback of an arena walk puts the blocks: it has no argument for it.
std::set<void*>* enumerated = nullptr;

std::set<void*> liveBlocks(miMemblk* arena) {
    std::set<void*> blocks;
    enumerated = &blocks;
    mi_mem_blkenumerate(arena, [](void* block) { enumerated->insert(block); });
    return blocks;
}

class MemoryTest : public testing::Test {
protected:
    void SetUp() override { releaseForgottenMemory(); }
};

TEST_F(MemoryTest, MemoryAndItsGrowthAreZeroed) {
    void* memory = mi_mem_allocate(100);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 16, 0u);
    EXPECT_TRUE(allBytesAre(memory, 0, 100));
    std::memset(memory, 7, 100);
    memory = mi_mem_reallocate(memory, 20);
    memory = mi_mem_reallocate(memory, 10000);
    EXPECT_TRUE(allBytesAre(memory, 7, 20));
    EXPECT_TRUE(allBytesAre(static_cast<char*>(memory) + 20, 0, 9980));
    mi_mem_release(memory);
    EXPECT_EQ(memoryInUse().blocks, 0u);

    void* fresh = mi_mem_reallocate(nullptr, 8);
    EXPECT_TRUE(allBytesAre(fresh, 0, 8));
    mi_mem_release(fresh);
    char* copy = mi_mem_strdup("text");
    EXPECT_STREQ(copy, "text");
    mi_mem_release(copy);
    mi_mem_release(nullptr);
    EXPECT_NE(fresh = mi_mem_allocate(0), nullptr);
    mi_mem_release(fresh);
}

TEST_F(MemoryTest, ReleasingTwiceOrForeignMemoryIsReportedAndHarmless) {
    setMessageSink([](MessageClass, std::string_view, std::string_view) {});
    const long errors = messageCount(MessageClass::Error);
    void* memory = mi_mem_allocate(10);
    mi_mem_release(memory);
    mi_mem_release(memory);
    int foreign = 0;
    mi_mem_release(&foreign);
    EXPECT_EQ(mi_mem_test_reallocate(&foreign, 100), nullptr);
    EXPECT_EQ(messageCount(MessageClass::Error) - errors, 3);
    setMessageSink({});
}

TEST_F(MemoryTest, WhatModulesForgetIsCountedAndFreed) {
    mi_mem_allocate(1000);
    mi_mem_release(mi_mem_allocate(5000));
    miMemblk* arena = mi_mem_blkcreate(64);
    mi_mem_blkallocate(arena);
    const ForgottenMemory inUse = memoryInUse();
    EXPECT_EQ(inUse.blocks, 3u) << "the block, the arena and its page";
    EXPECT_GE(inUse.bytes, 1000u + 8192u);
    const ForgottenMemory forgotten = releaseForgottenMemory();
    EXPECT_EQ(forgotten.blocks, inUse.blocks);
    EXPECT_EQ(forgotten.bytes, inUse.bytes);
    EXPECT_EQ(memoryInUse().blocks, 0u);
}

TEST_F(MemoryTest, ArenasHandOutEachBlockOnceAndZeroed) {
    for (const int size : {1, 12, 160, 4000, 20000}) {
        miMemblk* arena = mi_mem_blkcreate(size);
        std::set<void*> blocks;
        for (int i = 0; i < 3000 / size + 50; ++i) {
            void* block = mi_mem_blkallocate(arena);
            ASSERT_TRUE(allBytesAre(block, 0, static_cast<std::size_t>(size)));
            std::memset(block, 0x5a, static_cast<std::size_t>(size));
            ASSERT_TRUE(blocks.insert(block).second);
        }
        for (void* block : blocks) ASSERT_TRUE(allBytesAre(block, 0x5a, static_cast<std::size_t>(size)));
        EXPECT_EQ(liveBlocks(arena), blocks);

        // A released block comes again, zeroed by the slow form only.
        void* reused = *blocks.begin();
        mi_mem_blkfrelease(arena, reused);
        EXPECT_EQ(liveBlocks(arena).size(), blocks.size() - 1);
        EXPECT_EQ(mi_mem_blkallocate(arena), reused);
        EXPECT_TRUE(allBytesAre(reused, 0, static_cast<std::size_t>(size)));

        mi_mem_blkclear(arena);
        EXPECT_TRUE(liveBlocks(arena).empty());
        const std::size_t pages = memoryInUse().blocks;
        for (std::size_t i = 0; i < blocks.size(); ++i) mi_mem_blkfallocate(arena);
        EXPECT_EQ(memoryInUse().blocks, pages) << "a cleared arena uses its pages again";
        mi_mem_blkdelete(arena);
        EXPECT_EQ(memoryInUse().blocks, 0u);
    }
}

TEST_F(MemoryTest, ArenasServeSeveralThreads) {
    miMemblk* arena = mi_mem_blkcreate(24);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([=] {
            void* last = nullptr;
            for (int i = 0; i < 2000; ++i) {
                void* block = mi_mem_blkallocate(arena);
                if (i % 2) mi_mem_blkrelease(arena, last);
                last = block;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(liveBlocks(arena).size(), 4000u);
    mi_mem_blkdelete(arena);
}

TEST(Locks, KeepOthersOutUntilTheyAreReleased) {
    miLock lock;
    ASSERT_TRUE(mi_init_lock(&lock));
    mi_lock(lock);
    std::thread([=] { EXPECT_FALSE(mi_trylock(lock)); }).join();
    mi_unlock(lock);
    std::thread([=] {
        EXPECT_TRUE(mi_trylock(lock));
        mi_unlock(lock);
    }).join();
    mi_delete_lock(&lock);
    EXPECT_EQ(lock.ptr, nullptr);
}

}  // namespace
}  // namespace lumorender
