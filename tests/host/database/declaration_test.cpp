#include "database/declaration.h"

#include "database/elements.h"
#include "shader.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace lumorender {
namespace {

Parameter parameter(const char* name, miParam_type type, bool isArray = false, std::vector<Parameter> members = {}) {
    Parameter made;
    made.name = name;
    made.type = type;
    made.isArray = isArray;
    made.members = std::move(members);
    return made;
}

TEST(Declaration, LayoutIsThatOfACRecord) {
    struct Layer {
        miTag texture;
        miColor tint;
        int i_weights, n_weights;
        miScalar weights[1];
    };
    struct Record {
        miBoolean on;
        miVector axis;
        Layer base;
        miMatrix transform;
        int i_layers, n_layers;
        Layer layers[1];
        miTag last;
    };
    const std::vector<Parameter> layer = {parameter("texture", miTYPE_COLOR_TEX), parameter("tint", miTYPE_COLOR),
                                          parameter("weights", miTYPE_SCALAR, true)};
    std::vector<Parameter> record = {parameter("on", miTYPE_BOOLEAN),
                                     parameter("axis", miTYPE_VECTOR),
                                     parameter("base", miTYPE_STRUCT, false, layer),
                                     parameter("transform", miTYPE_TRANSFORM),
                                     parameter("layers", miTYPE_STRUCT, true, layer),
                                     parameter("last", miTYPE_LIGHT)};
    EXPECT_EQ(layOut(record), sizeof(Record));
    EXPECT_EQ(record[1].offset, offsetof(Record, axis));
    EXPECT_EQ(record[2].offset, offsetof(Record, base));
    EXPECT_EQ(record[2].elementSize, sizeof(Layer));
    EXPECT_EQ(record[2].member("weights")->offset, offsetof(Layer, i_weights));
    EXPECT_EQ(record[2].member("weights")->elementOffset, offsetof(Layer, weights));
    EXPECT_EQ(record[2].member("weight"), nullptr);
    EXPECT_EQ(record[3].offset, offsetof(Record, transform));
    EXPECT_EQ(record[4].offset, offsetof(Record, i_layers));
    EXPECT_EQ(record[4].elementOffset, offsetof(Record, layers));
    EXPECT_EQ(record[4].elementSize, sizeof(Layer));
    EXPECT_EQ(record[5].offset, offsetof(Record, last));
}

FrameBufferSet buffersWithPrimaryAt(int position) {
    FrameBufferSet set;
    for (int i = 0; i < 3; ++i) {
        set.buffers.emplace_back().name = std::string(1, static_cast<char>('a' + i));
        set.buffers.back().primary = i == position;
    }
    return set;
}

TEST(FrameBufferSet, PrimaryHasIndexZeroAndTheOthersCountFromOne) {
    struct Case {
        int primary, a, b, c, count;
    };
    for (const Case& expected : {Case{-1, 1, 2, 3, 4}, Case{0, 0, 1, 2, 3}, Case{1, 1, 0, 2, 3}, Case{2, 1, 2, 0, 3}}) {
        const FrameBufferSet set = buffersWithPrimaryAt(expected.primary);
        EXPECT_EQ(set.shaderIndex("a"), expected.a);
        EXPECT_EQ(set.shaderIndex("b"), expected.b);
        EXPECT_EQ(set.shaderIndex("c"), expected.c);
        EXPECT_EQ(set.shaderIndex("d"), -1);
        EXPECT_EQ(set.shaderCount(), expected.count);
        for (const char* name : {"a", "b", "c"}) EXPECT_EQ(set.atShaderIndex(set.shaderIndex(name))->name, name);
        EXPECT_EQ(set.atShaderIndex(expected.count), nullptr);
        EXPECT_EQ(set.atShaderIndex(-1), nullptr);
        EXPECT_EQ(set.atShaderIndex(0) == nullptr, expected.primary < 0);
    }
}

}  // namespace
}  // namespace lumorender
