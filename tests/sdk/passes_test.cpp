/* Pass masks, accumulation over ray levels and pass writes, against small references over random entries. */
#include <algorithm>
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
static_assert(sizeof(PlainSlot) == sizeof(FrameBufferSlot));

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

    /* New random content, and a copy of the slots. */
    std::vector<PlainSlot> randomise() {
        for (FrameBufferInfo& each : entries) {
            each.flags = bits(0x40F0u | 0x8000u);
            each.lightValue = color();
            each.lightSum = color();
        }
        for (FrameBufferSlot& each : slots) each = {color(), color(), color(), bits(0x1F)};
        const auto* first = reinterpret_cast<PlainSlot*>(slots.data());
        return {first, first + slots.size()};
    }

    static PlainSlot& at(std::vector<PlainSlot>& all, miUint entry, int level) {
        return all[entry * kLevels + static_cast<miUint>(level)];
    }

    void expectSlots(const std::vector<PlainSlot>& expected) {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const auto& actual = reinterpret_cast<PlainSlot&>(slots[i]);
            EXPECT_EQ(actual.levelFlags, expected[i].levelFlags) << i;
            for (std::size_t v = 0; v < 12; ++v)
                EXPECT_NEAR(actual.values[v], expected[i].values[v], 2e-6) << "slot " << i << " value " << v;
        }
    }

    /* What a value becomes of an entry's light: all of it, or what is missing to a reference. */
    static miScalar lit(miScalar value, std::size_t c, miBoolean use, const miColor* reference, const miColor& light) {
        return !use ? value : value * ((reference ? (&reference->r)[c] : 0) - (reference ? 1 : -1) * (&light.r)[c]);
    }
};

TEST_F(Passes, MasksAreHexadecimalDigitsOfFourPasses) {
    EXPECT_TRUE(library::contributesToPass(17, nullptr));
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

/* Init clears the next level, add folds it back into this one; levels outside of the slots, which shaders may set, are
 * left alone. */
TEST_F(Passes, TracedLightComesFromTheNextLevel) {
    for (const int level : {-1000, -1, 0, 1, 2, 3, 4, 5, 6, 1000})
        for (const miBoolean kind : {0, 1}) {
            SCOPED_TRACE(level);
            state->reflection_level = level / 2;
            state->refraction_level = level - level / 2;
            std::vector<PlainSlot> expected = randomise();
            for (miUint k = 0; k < kCount && level >= -1 && level < kTraceDepth; ++k) {
                std::fill_n(at(expected, k, level + 1).values.begin() + 4, 8, 0.0f);
                at(expected, k, level + 1).levelFlags = 0;
            }
            library::tracePassInit(kCount, entries.data(), state);
            expectSlots(expected);

            expected = randomise();
            const miColor weight = color();
            for (miUint k = 0; k < kCount && level >= 0 && level < kTraceDepth; ++k) {
                PlainSlot &here = at(expected, k, level), &next = at(expected, k, level + 1);
                const bool filtered = (here.levelFlags & 3) == 1;
                if ((entries[k].flags & 0x4000) || (filtered && !(entries[k].flags & (kind ? 32u : 16u)))) continue;
                for (std::size_t c = 0; c < 4; ++c) {
                    here.values[c] += (&weight.r)[c] * next.values[4 + c];
                    next.values[4 + c] = 0;
                }
            }
            library::tracePassAdd(kCount, entries.data(), state, &weight, kind);
            expectSlots(expected);
        }
}

TEST_F(Passes, ColorWritesFollowModeWeightAndLight) {
    for (int round = 0; round < 3000; ++round) {
        std::vector<PlainSlot> expected = randomise();
        const miUint k = bits(kCount - 1), mode = bits(7);
        const int level = static_cast<int>(bits(7)) - 1;
        const auto flags = static_cast<miCBoolean>(bits(3));
        const miBoolean useLight = round % 3 != 0;
        const miColor value = color(), reference = color(), light = entries[k].lightValue, sum = entries[k].lightSum;
        const miColor* const given = round % 2 ? &reference : nullptr;
        const miScalar weight = number();
        state->reflection_level = level;
        state->type = bits(7) ? miRAY_REFLECT : miRAY_ENVIRONMENT;

        const bool closed = mode == 0 || (entries[k].flags & 0x8000);
        bool writable = level >= 0 && level < kLevels && state->type != miRAY_ENVIRONMENT;
        writable = writable && !(at(expected, k, level).levelFlags & 1);
        for (std::size_t c = 0; c < 4 && !closed && writable; ++c) {
            miScalar& target = at(expected, k, level).values[c];
            const miScalar v = lit((&value.r)[c] * (flags & 1 ? weight : 1), c, useLight, given, light);
            target = mode == 2 ? target * v : mode == 3 ? v : target + v;
        }
        EXPECT_EQ(library::passWriteColor(state, &value, &entries[k], &mode, &flags, &weight, &useLight, &given),
                  closed || writable ? miTRUE : miFALSE);
        expectSlots(expected);

        // The sum over lights is asked nothing.
        EXPECT_EQ(library::passAddToLightSum(state, &value, &entries[k], &useLight, &given), miTRUE);
        for (std::size_t c = 0; c < 4; ++c)
            EXPECT_NEAR((&entries[k].lightSum.r)[c], (&sum.r)[c] + lit((&value.r)[c], c, useLight, given, light), 2e-6);
        expectSlots(expected);
    }
}

/* Integers live in the bits of the first word; weighted ones are rounded half away from zero, and stay integers. */
TEST_F(Passes, IntegerWritesFollowModeAndWeight) {
    constexpr miInteger kMost = 2147483647, kLeast = -kMost - 1;
    // What is held and written, mode, flags, weight; what comes out. Integers need more than a float's 24 bits; 1.5,
    // -1.5, 1.25 and -1.75; the weight bit is bit 0; numbers out of range, and none.
    const double rows[][6] = {{10, 3, 1, 0, 9, 13},       {10, 3, 2, 0, 9, 30},   {10, 3, 3, 0, 9, 3},
                              {10, 3, 7, 0, 9, 13},       {10, 3, 0, 0, 9, 10},   {16777217, 0, 1, 0, 9, 16777217},
                              {0, 3, 3, 1, 0.5, 2},       {0, -3, 3, 1, 0.5, -2}, {0, 5, 3, 1, 0.25, 1},
                              {0, -7, 3, 1, 0.25, -2},    {0, 3, 3, 2, 0.5, 3},   {0, 2e9, 3, 1, 4, kMost},
                              {0, 2e9, 3, 1, -4, kLeast}, {0, 5, 3, 1, NAN, 0},   {0, 5, 3, 1, INFINITY, kMost},
                              {kMost, 1, 1, 0, 9, kLeast}};
    miInteger held;
    const auto write = [&](const double(&row)[6]) {
        held = static_cast<miInteger>(row[0]);
        std::memcpy(&slots[0], &held, sizeof held);
        const auto value = static_cast<miInteger>(row[1]);
        const auto mode = static_cast<miUint>(row[2]);
        const auto flags = static_cast<miCBoolean>(row[3]);
        const auto weight = static_cast<miScalar>(row[4]);
        const miBoolean result = library::passWriteInteger(state, &value, &entries[0], &mode, &flags, &weight);
        std::memcpy(&held, &slots[0], sizeof held);
        return result;
    };
    for (const auto& row : rows) {
        EXPECT_EQ(write(row), miTRUE);
        EXPECT_EQ(held, row[5]) << row[1] << " mode " << row[2] << " weight " << row[4];
    }
    entries[0].flags = 0x8000;
    EXPECT_EQ(write(rows[0]), miTRUE);
    EXPECT_EQ(held, 10);
    entries[0].flags = 0;
    slots[0].levelFlags = 1;
    EXPECT_EQ(write(rows[0]), miFALSE);
    EXPECT_EQ(held, 10);
}

}  // namespace
