/* Pass masks, accumulation over ray levels and pass writes, against small references over random entries. */
#include <cmath>
#include <random>

#include "scene.h"

namespace {

constexpr int kTraceDepth = 4, kLevels = kTraceDepth + 2;

/* The same numbers as plain arrays, for the references: contribution, color, transparency, level flags. */
struct PlainSlot {
    std::array<miScalar, 12> values;
    miUint levelFlags;
};

class Passes : public twin::LibraryTest {
protected:
    static constexpr miUint kCount = 64;

    std::vector<FrameBufferInfo> entries = std::vector<FrameBufferInfo>(kCount);
    std::vector<FrameBufferSlot> slots = std::vector<FrameBufferSlot>(kCount * kLevels);
    std::mt19937 random{12345};

    Passes() {
        stage.options.trace_depth = kTraceDepth;
        for (miUint k = 0; k < kCount; ++k) entries[k].slots = &slots[k * kLevels];
    }

    miScalar number() { return std::uniform_real_distribution<miScalar>(-2, 2)(random); }
    miColor color() { return {number(), number(), number(), number()}; }
    miUint bits(miUint mask) { return static_cast<miUint>(random()) & mask; }

    void randomise() {
        for (FrameBufferInfo& each : entries) {
            each.flags = bits(0x40F0u | 0x8000u);
            each.lightValue = color();
            each.lightSum = color();
        }
        for (FrameBufferSlot& each : slots) each = {color(), color(), color(), bits(0x1F)};
    }

    void setLevel(int reflection, int refraction) {
        state->reflection_level = reflection;
        state->refraction_level = refraction;
    }

    PlainSlot& plain(miUint entry, int level) {
        return reinterpret_cast<PlainSlot&>(slots[entry * kLevels + static_cast<miUint>(level)]);
    }
    std::vector<PlainSlot> snapshot() {
        const auto* first = reinterpret_cast<PlainSlot*>(slots.data());
        return {first, first + slots.size()};
    }
    void expectSlots(const std::vector<PlainSlot>& expected) {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const PlainSlot& actual = plain(static_cast<miUint>(i / kLevels), static_cast<int>(i % kLevels));
            EXPECT_EQ(actual.levelFlags, expected[i].levelFlags) << i;
            for (std::size_t v = 0; v < 12; ++v)
                EXPECT_FLOAT_EQ(actual.values[v], expected[i].values[v]) << "slot " << i << " value " << v;
        }
    }
};

static_assert(sizeof(PlainSlot) == sizeof(FrameBufferSlot) && sizeof(PlainSlot) == 52);

TEST_F(Passes, MasksAreHexadecimalDigitsOfFourPasses) {
    EXPECT_TRUE(library::contributesToPass(17, nullptr));
    EXPECT_FALSE(library::contributesToPass(5, "21"));
    EXPECT_TRUE(library::contributesToPass(1, "2"));
    EXPECT_TRUE(library::contributesToPass(10, "00f"));
    EXPECT_TRUE(library::contributesToPass(10, "00F"));
    EXPECT_FALSE(library::contributesToPass(0, ""));
    EXPECT_FALSE(library::contributesToPass(4, "f")) << "the mask ends before the digit";
    EXPECT_FALSE(library::contributesToPass(4000000000u, "ffff"));

    // Random masks, written as text by the C library and read back bit by bit.
    for (int round = 0; round < 200; ++round) {
        const auto value = static_cast<miUint>(random());
        char text[16];
        std::snprintf(text, sizeof text, round % 2 ? "%08x" : "%08X", value);
        for (miUint pass = 0; pass < 32; ++pass) {
            const miUint digit = value >> (28 - pass / 4 * 4) & 0xF;
            EXPECT_EQ(library::contributesToPass(pass, text) != 0, (digit >> pass % 4 & 1) != 0) << text << ' ' << pass;
        }
    }
}

TEST_F(Passes, TraceInitClearsTheNextLevel) {
    for (int level = 0; level < kLevels; ++level) {
        randomise();
        std::vector<PlainSlot> expected = snapshot();
        if (level < kTraceDepth)
            for (miUint k = 0; k < kCount; ++k) {
                PlainSlot& next = expected[k * kLevels + static_cast<miUint>(level) + 1];
                std::fill(next.values.begin() + 4, next.values.end(), 0.0f);
                next.levelFlags = 0;
            }
        setLevel(level / 2, level - level / 2);
        library::tracePassInit(kCount, entries.data(), state);
        expectSlots(expected);
    }
}

TEST_F(Passes, TraceAddFoldsTheNextLevelBack) {
    for (int round = 0; round < 2 * kLevels; ++round) {
        const int level = round / 2;
        const miBoolean kind = round % 2;
        randomise();
        const miColor weight = color();
        const miScalar w[4] = {weight.r, weight.g, weight.b, weight.a};

        std::vector<PlainSlot> expected = snapshot();
        for (miUint k = 0; k < kCount && level < kTraceDepth; ++k) {
            PlainSlot& here = expected[k * kLevels + static_cast<miUint>(level)];
            PlainSlot& next = expected[k * kLevels + static_cast<miUint>(level) + 1];
            const bool filtered = (here.levelFlags & 3) == 1;
            const bool letsThrough = entries[k].flags & (kind ? 32u : 16u);
            if ((entries[k].flags & 0x4000) || (filtered && !letsThrough)) continue;
            for (std::size_t c = 0; c < 4; ++c) {
                here.values[c] += w[c] * next.values[4 + c];
                next.values[4 + c] = 0;
            }
        }
        setLevel(level, 0);
        library::tracePassAdd(kCount, entries.data(), state, &weight, kind);
        expectSlots(expected);
    }
}

TEST_F(Passes, LevelsOutsideTheSlotsAreLeftAlone) {
    // Shaders may lower a level below 0, and set one beyond what the renderer itself would trace.
    const miColor weight = {1, 1, 1, 1}, value = {1, 1, 1, 1};
    const miUint mode = kWriteAdd;
    const miCBoolean flags = 0;
    for (int level : {-1, -1000, kTraceDepth + 2, 1000}) {
        randomise();
        const std::vector<PlainSlot> before = snapshot();
        setLevel(level, 0);
        if (level != -1)  // one below: the next level is 0, which exists
            library::tracePassInit(kCount, entries.data(), state);
        library::tracePassAdd(kCount, entries.data(), state, &weight, 0);
        entries[0].flags = 0;
        EXPECT_EQ(library::passWriteColor(state, &value, &entries[0], &mode, &flags, &weight.r, nullptr, nullptr),
                  miFALSE);
        if (level != -1) expectSlots(before);
    }
}

TEST_F(Passes, ColorWritesFollowModeWeightAndLight) {
    for (int round = 0; round < 2000; ++round) {
        randomise();
        const miUint k = bits(kCount - 1), mode = bits(7);
        const int level = static_cast<int>(bits(3));
        const auto flags = static_cast<miCBoolean>(bits(3));
        const miBoolean useLight = round % 3 != 0;
        const miColor value = color(), reference = color(), light = entries[k].lightValue;
        const miColor* const given = round % 2 ? &reference : nullptr;
        const miScalar weight = number();
        setLevel(level, 0);

        std::vector<PlainSlot> expected = snapshot();
        PlainSlot& slot = expected[k * kLevels + static_cast<miUint>(level)];
        const bool closed = mode == 0 || (entries[k].flags & 0x8000);
        const bool filtered = slot.levelFlags & 1;
        for (std::size_t c = 0; c < 4 && !closed && !filtered; ++c) {
            miScalar v = (&value.r)[c] * (flags & 1 ? weight : 1);
            if (useLight) v *= given ? (&reference.r)[c] - (&light.r)[c] : (&light.r)[c];
            miScalar& target = slot.values[c];
            target = mode == 2 ? target * v : mode == 3 ? v : target + v;
        }
        EXPECT_EQ(library::passWriteColor(state, &value, &entries[k], &mode, &flags, &weight, &useLight, &given),
                  closed || !filtered ? miTRUE : miFALSE);
        expectSlots(expected);
    }
}

TEST_F(Passes, EnvironmentRaysAndFilteredLevelsWriteNothing) {
    randomise();
    entries[0].flags = 0;
    const miColor value = {1, 1, 1, 1};
    const miInteger number = 1;
    const miUint add = kWriteAdd, none = kWriteNone;
    const miCBoolean flags = 0;
    const miScalar weight = 1;
    state->type = miRAY_ENVIRONMENT;
    for (const miUint levelFlags : {0u, 1u}) {
        slots[0].levelFlags = levelFlags;
        const std::vector<PlainSlot> before = snapshot();
        EXPECT_EQ(library::passWriteColor(state, &value, &entries[0], &add, &flags, &weight, nullptr, nullptr),
                  miFALSE);
        EXPECT_EQ(library::passWriteInteger(state, &number, &entries[0], &add, &flags, &weight), miFALSE);
        EXPECT_EQ(library::passWriteColor(state, &value, &entries[0], &none, &flags, &weight, nullptr, nullptr),
                  miTRUE);
        expectSlots(before);
        state->type = miRAY_EYE;
    }
}

class IntegerWrites : public Passes {
protected:
    /* The slot's first word after a write to one that held `held`. */
    miInteger write(miInteger held, miInteger value, miUint mode, miCBoolean flags = 0, miScalar weight = 1) {
        std::memcpy(&slots[0], &held, sizeof held);
        EXPECT_EQ(library::passWriteInteger(state, &value, &entries[0], &mode, &flags, &weight), miTRUE);
        std::memcpy(&held, &slots[0], sizeof held);
        return held;
    }
};

TEST_F(IntegerWrites, FollowTheMode) {
    EXPECT_EQ(write(10, 3, 1), 13);
    EXPECT_EQ(write(10, 3, 2), 30);
    EXPECT_EQ(write(10, 3, 3), 3);
    EXPECT_EQ(write(10, 3, 7), 13);
    EXPECT_EQ(write(10, 3, 0), 10);
    entries[0].flags = 0x8000;
    EXPECT_EQ(write(10, 3, 1), 10);
    EXPECT_EQ(write(16777217, 0, 1), 16777217) << "more than a float's 24 bits";
}

TEST_F(IntegerWrites, RoundHalvesAwayFromZero) {
    EXPECT_EQ(write(0, 3, 3, 1, 0.5f), 2);
    EXPECT_EQ(write(0, -3, 3, 1, 0.5f), -2);
    EXPECT_EQ(write(0, 5, 3, 1, 0.25f), 1);    // 1.25
    EXPECT_EQ(write(0, -7, 3, 1, 0.25f), -2);  // -1.75
    EXPECT_EQ(write(0, 3, 3, 2, 0.5f), 3) << "the weight bit is bit 0";
}

TEST_F(IntegerWrites, StayInTheRangeOfIntegers) {
    EXPECT_EQ(write(0, 2000000000, 3, 1, 4), 2147483647);
    EXPECT_EQ(write(0, 2000000000, 3, 1, -4), -2147483647 - 1);
    EXPECT_EQ(write(0, 5, 3, 1, std::nanf("")), 0);
    EXPECT_EQ(write(0, 5, 3, 1, INFINITY), 2147483647);
    EXPECT_EQ(write(2147483647, 1, 1), -2147483647 - 1);
}

TEST_F(Passes, LightSumAddsWithoutAnyTest) {
    for (int round = 0; round < 200; ++round) {
        randomise();
        const std::vector<PlainSlot> before = snapshot();
        FrameBufferInfo& entry = entries[bits(kCount - 1)];
        const miColor value = color(), reference = color(), sum = entry.lightSum, light = entry.lightValue;
        const miColor* const given = round % 2 ? &reference : nullptr;
        const miBoolean useLight = round % 3 != 0;
        EXPECT_EQ(library::passAddToLightSum(state, &value, &entry, &useLight, &given), miTRUE);
        for (int c = 0; c < 4; ++c) {
            miScalar v = (&value.r)[c];
            if (useLight) v *= given ? (&reference.r)[c] - (&light.r)[c] : (&light.r)[c];
            EXPECT_FLOAT_EQ((&entry.lightSum.r)[c], (&sum.r)[c] + v);
        }
        expectSlots(before);
    }
}

}  // namespace
