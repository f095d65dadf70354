/* Pools per thread, stacks on them, and the sampler of the shutter interval. */
#include <thread>

#include "scene.h"

namespace {

using twin::renderer;

class Pools : public twin::LibraryTest {
protected:
    void TearDown() override {
        library::clr_tla_list(state->global_lock);
        EXPECT_EQ(renderer().memory.livePools(), 0u);
        LibraryTest::TearDown();
    }

    miMemblk* pool(miUint id, miUint size) { return library::get_tla(state->global_lock, id, size); }
};

TEST_F(Pools, AreSharedByEqualKeysOnly) {
    miMemblk* const first = pool(1, 16);
    miMemblk* const others[] = {pool(2, 16), pool(1, 32)};
    EXPECT_EQ(renderer().timesLocked, 3);
    EXPECT_EQ(pool(1, 16), first);
    EXPECT_EQ(pool(2, 16), others[0]);
    EXPECT_EQ(pool(1, 32), others[1]);
    EXPECT_NE(first, others[0]);
    EXPECT_NE(first, others[1]);
    EXPECT_NE(others[0], others[1]);
    EXPECT_EQ(renderer().timesLocked, 3) << "a pool that exists is found without the lock";

    const twin::Allocation& node = renderer().memory.allocations.front();
    EXPECT_EQ(node.file, "sdk/lumoVexaState");
    EXPECT_EQ(node.line, 451);
    EXPECT_EQ(renderer().memory.poolRequests[0].line, 455);
    EXPECT_EQ(renderer().memory.poolRequests[0].size, 16u);
    EXPECT_EQ(renderer().memory.poolRequests[2].size, 32u);
}

TEST_F(Pools, AreGoneAfterClearing) {
    pool(1, 16);
    pool(2, 16);
    library::clr_tla_list(state->global_lock);
    EXPECT_EQ(renderer().memory.livePools(), 0u);
    EXPECT_EQ(renderer().memory.liveAllocations(), 0u);
    EXPECT_EQ(renderer().timesLocked, 3);
    ASSERT_EQ(renderer().memory.releases.size(), 2u);
    EXPECT_EQ(renderer().memory.releases[0].line, 482);

    pool(1, 16);
    EXPECT_EQ(renderer().memory.poolRequests.size(), 3u) << "nothing is left to be found";
}

TEST_F(Pools, MayBeMadeByManyThreadsAtOnce) {
    miMemblk* made[4][8] = {};
    std::vector<std::thread> threads;
    for (miUint thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            for (miUint size = 0; size < 8; ++size) made[thread][size] = pool(thread, 16 + 8 * size);
        });
    for (std::thread& each : threads) each.join();
    for (miUint thread = 0; thread < 4; ++thread)
        for (miUint size = 0; size < 8; ++size) EXPECT_EQ(pool(thread, 16 + 8 * size), made[thread][size]);
    EXPECT_EQ(renderer().memory.livePools(), 32u);
}

TEST_F(Pools, CarryAStack) {
    struct Element {
        Element* below;
        int payload;
    };
    LumoStack stack{&stack, 99, nullptr};
    state->thread = 3;
    library::stack_create(state, &stack, static_cast<miUint>(sizeof(Element)));
    EXPECT_EQ(stack.top, nullptr);
    EXPECT_EQ(stack.count, 0u);
    EXPECT_EQ(stack.pool, pool(3, sizeof(Element)));
    library::stack_pop(&stack);
    EXPECT_EQ(stack.count, 0u);

    auto* first = static_cast<Element*>(library::stack_push(&stack));
    auto* second = static_cast<Element*>(library::stack_push(&stack));
    first->payload = 1;
    second->payload = 2;
    EXPECT_EQ(first->below, nullptr);
    EXPECT_EQ(second->below, first);
    EXPECT_EQ(stack.top, second);
    EXPECT_EQ(stack.count, 2u);
    library::stack_pop(&stack);
    EXPECT_EQ(stack.top, first);
    EXPECT_EQ(first->payload, 1);
    library::stack_pop(&stack);
    EXPECT_EQ(stack.top, nullptr);
    EXPECT_EQ(stack.count, 0u);
    EXPECT_EQ(stack.pool->blocks.size(), 0u) << "every element went back";
}

class TimeSampler : public twin::LibraryTest {
protected:
    LumoTimeSampler sampler{};

    /* The shutter is open from 0.25 to 0.75. */
    int count(miScalar r, miScalar g, miScalar b, miBoolean enable = miTRUE) {
        stage.options.shutter_delay = 0.25f;
        stage.options.shutter = 0.75f;
        stage.options.time_contrast = {r, g, b, 0};
        sampler = {55, 55, 55};
        library::tmsampler_init(&sampler, state, enable);
        EXPECT_EQ(sampler.index, 0);
        return sampler.count;
    }

    void expectSingle(const char* why) {
        EXPECT_EQ(count(0.25f, 0.25f, 0.25f), 1) << why;
        EXPECT_EQ(sampler.step, 0.0f) << why;
    }
};

TEST_F(TimeSampler, CountsByTheSmallestTimeContrast) {
    renderer().queries.answer(miQ_SAMPLE_MOVING, 0);
    // 1 / c, never more than 100, and one at least; the step divides the half-second shutter.
    EXPECT_EQ(count(0.5f, 0.25f, 0.5f), 4);
    EXPECT_FLOAT_EQ(sampler.step, 0.125f);
    EXPECT_EQ(count(0.3f, 0.4f, 0.5f), 3);
    EXPECT_EQ(count(0.9f, 0.005f, 0.9f), 100);
    EXPECT_FLOAT_EQ(sampler.step, 0.005f);
    EXPECT_EQ(count(0.01f, 0.2f, 0.2f), 100);
    EXPECT_EQ(count(0.1f, 0.2f, 0.2f), 10) << "1 / 0.1f is a little off 10, which must not cost a sample";
    EXPECT_EQ(count(1, 2, 3), 1);
    EXPECT_FLOAT_EQ(sampler.step, 0.5f);
}

TEST_F(TimeSampler, TakesOneSampleWhenThereIsNothingToAverage) {
    renderer().queries.answer(miQ_SAMPLE_MOVING, 0);
    EXPECT_EQ(count(0.25f, 0.25f, 0.25f, miFALSE), 1);
    EXPECT_EQ(sampler.step, 0.0f);
    EXPECT_EQ(count(0, 0.25f, 0.25f), 1);
    EXPECT_EQ(sampler.step, 0.0f);

    renderer().queries.answer(miQ_FINALGATHER_STATE, 1);
    expectSingle("inside final gathering");
    renderer().queries.answer(miQ_FINALGATHER_STATE, 0);
    EXPECT_EQ(count(0.25f, 0.25f, 0.25f), 4) << "final gathering is off";
    renderer().queries.answer(miQ_SAMPLE_MOVING, 1);
    expectSingle("something moves in the sample: the renderer itself distributes it over time");
    renderer().queries.refuse(miQ_SAMPLE_MOVING);
    expectSingle("the renderer does not say");

    renderer().queries.answer(miQ_SAMPLE_MOVING, 0);
    stage.options.shutter = stage.options.shutter_delay;
    sampler = {55, 55, 55};
    library::tmsampler_init(&sampler, state, miTRUE);
    EXPECT_EQ(sampler.count, 1) << "closed shutter";
    EXPECT_EQ(sampler.step, 0.0f);
}

TEST_F(TimeSampler, WalksThroughTheShutterAndWraps) {
    renderer().queries.answer(miQ_SAMPLE_MOVING, 0);
    ASSERT_EQ(count(0.25f, 0.25f, 0.25f), 4);
    state->time = 0.5f;
    // 0.5, then steps of 0.125; beyond 0.75 the interval's length 0.5 is taken off again.
    const miScalar expected[] = {0.5f, 0.625f, 0.75f, 0.375f};
    int taken = 0;
    for (; !library::tmsampler_isDone(&sampler) && taken < 4; library::tmsampler_next(&sampler, state))
        EXPECT_FLOAT_EQ(state->time, expected[taken++]);
    EXPECT_EQ(taken, 4);
    EXPECT_TRUE(library::tmsampler_isDone(&sampler));
    EXPECT_EQ(sampler.index, 4);
}

}  // namespace
