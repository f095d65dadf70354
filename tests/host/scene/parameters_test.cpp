// Parameter blocks against C records as shaders declare them, connections and ghosts.
#include "scene_fixture.h"

namespace lumorender {
namespace {

struct Inner {
    miInteger count;
    miColor tint;
};

struct Everything {
    miBoolean flag;
    miInteger number;
    miScalar size;
    miVector axis;
    miColor color;
    miMatrix matrix;
    miTag text;
    Inner inner;
    int i_weights;
    int n_weights;
    miScalar weights[1];
    miTag texture;
    int i_layers;
    int n_layers;
    Inner layers[1];
    miScalar last;
};

constexpr std::string_view kEverything = R"(
declare shader struct { color "main", scalar "depth", struct "more" { vector "way", integer "id" } }
    "everything" (
        boolean "flag", integer "number" default 1449490529, scalar "size" default 1.5, vector "axis" default 1 2 3,
        color "color" default 0.1 0.2 0.3, transform "matrix", string "text",
        struct "inner" { integer "count" default 3, color "tint" default 1 1 1 1 },
        array scalar "weights", color texture "texture",
        array struct "layers" { integer "count" default 9, color "tint" },
        scalar "last", )
    version 1 apply material, light scanline on
end declare
declare shader scalar "number" (scalar "value") end declare
declare color "tint" (color "value")
)";

/// Array elements lie behind the one that the record declares.
template <class T>
const T& element(const T (&array)[1], int index) {
    const T* elements = array;
    return elements[index];
}

class Parameters : public SceneTest {
protected:
    void SetUp() override { readClean(kEverything); }
};

TEST_F(Parameters, BlockIsTheCompilersRecord) {
    readClean(R"(
color texture "picture" "a.png"
shader "s" "everything" (
    "flag" on, "number" -4, "size" 2, "axis" 4 5.5 -6, "color" 1 0.5 .25,
    "matrix" 1 0 0 0  0 1 0 0  0 0 1 0  7 8 9 1, "text" "say \"C:\\x\"",
    "inner" { "tint" 9 8 7 6, "count" 5 }, "weights" [ 1, 2.5, -3 ], "texture" "picture",
    "layers" [ { "tint" 1 2 3 }, { "count" 2 }, ], "last" 42, ))");
    const miFunction& f = function("s");
    const auto& p = parameters<Everything>(f);
    EXPECT_EQ(p.flag, miTRUE);
    EXPECT_EQ(p.number, -4);
    EXPECT_EQ(p.size, 2.0f);
    EXPECT_EQ(p.axis.y, 5.5f);
    EXPECT_EQ(p.axis.z, -6.0f);
    EXPECT_EQ(p.color.b, 0.25f);
    EXPECT_EQ(p.color.a, 0.0f);  // a missing alpha in a parameter
    EXPECT_EQ(p.matrix[14], 9.0f);
    EXPECT_EQ(database.string(p.text), "say \"C:\\x\"");
    EXPECT_EQ(p.inner.count, 5);
    EXPECT_EQ(p.inner.tint.a, 6.0f);
    EXPECT_EQ(p.texture, database.find("picture"));
    EXPECT_EQ(p.last, 42.0f);
    ASSERT_EQ(p.n_weights, 3);
    EXPECT_EQ(element(p.weights, p.i_weights), 1.0f);
    EXPECT_EQ(element(p.weights, p.i_weights + 2), -3.0f);
    ASSERT_EQ(p.n_layers, 2);
    EXPECT_EQ(element(p.layers, p.i_layers).count, 9);
    EXPECT_EQ(element(p.layers, p.i_layers).tint.b, 3.0f);
    EXPECT_EQ(element(p.layers, p.i_layers + 1).count, 2);
    EXPECT_GE(f.parameter_size, static_cast<int>(sizeof(Everything)));
    EXPECT_EQ(f.result_size, 36);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&f) % 16, 0u);
}

TEST_F(Parameters, DefaultsAndGhosts) {
    readClean(R"(shader "n" "number" ("value" 1)
                 shader "s" "everything" ("size" = "n", "number" 8, "layers" [ { "tint" 1 1 1 } ]))");
    const miFunction& f = function("s");
    const auto& p = parameters<Everything>(f);
    EXPECT_EQ(p.flag, miFALSE);
    EXPECT_EQ(p.axis.z, 3.0f);
    EXPECT_EQ(p.inner.count, 3);
    EXPECT_EQ(p.inner.tint.a, 1.0f);
    EXPECT_EQ(p.n_weights, 0);
    EXPECT_EQ(ghost(f, p.size), database.find("n"));
    EXPECT_EQ(ghost(f, p.number), miPARAMTAG);
    EXPECT_EQ(ghost(f, p.axis), 0u);
    EXPECT_EQ(ghost(f, p.i_layers), miPARAMTAG);
    EXPECT_EQ(ghost(f, element(p.layers, p.i_layers).tint), miPARAMTAG);
    EXPECT_EQ(ghost(f, element(p.layers, p.i_layers).count), 0u);
    EXPECT_EQ(f.ghost_offs, f.parameter_size);
    EXPECT_EQ(f.has_connections, 1);
    EXPECT_EQ(function("n").has_connections, 0);
    EXPECT_EQ(function("n").ghost_offs, 4);
}

TEST_F(Parameters, ConnectionsPickResultsThatFit) {
    readClean(R"(shader "s" "everything" ()
                 shader "t" "tint" ("value" = "s")              # the first member is a color
                 shader "n" "number" ("value" = "s.depth")
                 shader "u" "everything" ("weights" [ 1, = "n" ], "inner" { "count" = "s.more.id" },
                                          "color" = shader "inline" "tint" ("value" 1 2 3 4)))");
    EXPECT_EQ(ghost(function("t"), parameters<miColor>(function("t"))), database.find("s"));

    const miFunction& n = function("n");
    const auto* member = database.detail<MemberConnection>(ghost(n, parameters<miScalar>(n)));
    ASSERT_NE(member, nullptr);
    EXPECT_EQ(member->source, database.find("s"));
    EXPECT_EQ(member->offset, 16u);
    EXPECT_EQ(member->size, 4u);

    const miFunction& u = function("u");
    const auto& p = parameters<Everything>(u);
    EXPECT_EQ(ghost(u, element(p.weights, p.i_weights)), miPARAMTAG);
    EXPECT_EQ(ghost(u, element(p.weights, p.i_weights + 1)), database.find("n"));
    EXPECT_EQ(ghost(u, p.color), database.find("inline"));
    EXPECT_EQ(parameters<miColor>(function("inline")).a, 4.0f);
    const auto* id = database.detail<MemberConnection>(ghost(u, p.inner.count));
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(id->offset, 32u);

    EXPECT_FALSE(read(R"(shader "bad" "number" ("value" = "t"))"));
    EXPECT_NE(errors.find("has the type scalar, the shader \"t\" returns color"), std::string::npos) << errors;
}

struct Nested {
    int i_rows, n_rows;
    struct Row {
        miScalar height;
        int i_cells, n_cells;
        miVector cells[1];
    } rows[1];
    miInteger end;
};

TEST_F(Parameters, ArraysInsideArrays) {
    readClean(R"(declare shader "table" (
            array struct "rows" { scalar "height" default 2, array vector "cells" }, integer "end") end declare
        shader "n" "number" ()
        shader "s" "table" ("rows" [ { "cells" [ 1 2 3, 4 5 6 ] }, { "height" = "n" }, { "cells" [ 7 8 9 ] } ], "end" 5)
        shader "empty" "table" ("rows" [ ]))");
    const miFunction& f = function("s");
    const auto& p = parameters<Nested>(f);
    ASSERT_EQ(p.n_rows, 3);
    const Nested::Row* rows = p.rows + p.i_rows;
    ASSERT_EQ(rows[0].n_cells, 2);
    EXPECT_EQ(element(rows[0].cells, rows[0].i_cells + 1).z, 6.0f);
    EXPECT_EQ(rows[0].height, 2.0f);
    EXPECT_EQ(rows[1].n_cells, 0);
    EXPECT_EQ(ghost(f, rows[1].height), database.find("n"));
    ASSERT_EQ(rows[2].n_cells, 1);
    EXPECT_EQ(element(rows[2].cells, rows[2].i_cells).x, 7.0f);
    EXPECT_EQ(p.end, 5);
    const char* last = reinterpret_cast<const char*>(&element(rows[2].cells, rows[2].i_cells) + 1);
    EXPECT_LE(last, f.parameters + f.parameter_size);
    EXPECT_EQ(parameters<Nested>(function("empty")).n_rows, 0);
}

TEST_F(Parameters, IncrementalShadersKeepWhatIsNotGiven) {
    readClean(R"(shader "n" "number" ("value" 1)
                 shader "s" "everything" ("size" = "n", "number" 8, "weights" [ 1, 2 ]))");
    const miTag before = database.find("s");
    readClean(R"(incremental shader "s" "everything" ("axis" 7 7 7, "layers" [ { "count" 4 } ]))");
    EXPECT_EQ(database.find("s"), before);
    const miFunction& f = function("s");
    const auto& p = parameters<Everything>(f);
    EXPECT_EQ(p.number, 8);
    EXPECT_EQ(p.axis.x, 7.0f);
    EXPECT_EQ(element(p.weights, p.i_weights + 1), 2.0f);
    EXPECT_EQ(element(p.layers, p.i_layers).count, 4);
    EXPECT_EQ(ghost(f, p.size), database.find("n"));
    EXPECT_EQ(f.has_connections, 1);
    // Without `incremental` everything begins anew.
    readClean(R"(shader "s" "everything" ())");
    EXPECT_EQ(parameters<Everything>(function("s")).number, 1449490529);  // a number that no float holds
    EXPECT_EQ(function("s").has_connections, 0);
}

TEST_F(Parameters, ListsOfShadersAndTheirReuse) {
    readClean(R"(shader "two" "tint" ("value" 1 1 1) "tint" ("value" 2 2 2)
                 material "m" "tint" () = "two" shadow = "two" photon end material)");
    const auto& m = record<miMaterial>("m", miSCENE_MATERIAL);
    const auto* shaders = database.detail<FunctionList>(m.shader);
    ASSERT_NE(shaders, nullptr);
    ASSERT_EQ(shaders->functions.size(), 3u);
    EXPECT_EQ(parameters<miColor>(function(shaders->functions[2])).r, 2.0f);
    EXPECT_EQ(m.shadow, database.find("two"));
    EXPECT_EQ(m.photon, 0u);
    readClean(R"(incremental material "m" "tint" ("value" 5 5 5) shadow end material)");
    const auto& edited = record<miMaterial>("m", miSCENE_MATERIAL);
    EXPECT_EQ(parameters<miColor>(function(edited.shader)).r, 5.0f);
    EXPECT_EQ(edited.shadow, 0u);
}

TEST_F(Parameters, ShadowShadersWithoutParametersGetThoseOfTheMaterial) {
    readClean(R"(declare shader "nothing" () end declare
                 shader "n" "tint" ()
                 material "m" "tint" ("value" = "n") shadow "nothing" () end material
                 material "own" "tint" () shadow "tint" ("value" 3 3 3) end material)");
    const miFunction& shadow = function(record<miMaterial>("m", miSCENE_MATERIAL).shadow);
    EXPECT_EQ(shadow.function_decl, database.find("nothing"));
    EXPECT_EQ(shadow.parameter_size, 16);
    EXPECT_EQ(ghost(shadow, parameters<miColor>(shadow)), database.find("n"));
    EXPECT_EQ(parameters<miColor>(function(record<miMaterial>("own", miSCENE_MATERIAL).shadow)).r, 3.0f);
}

TEST_F(Parameters, UserDataByBytesAndByDeclaration) {
    readClean(R"(declare data "block" (integer "magic", string "mask", array integer "ids") end declare
                 data "raw" 5 [ '0a1b' 'FF
                                 00 7f' ]
                 data "typed" tag 3 "block" ("magic" 77, "mask" "abc", "ids" [ 5, 6 ])
                 light "l" data "typed" data "raw" end light
                 light "k" data "typed" end light)");
    const auto& raw = record<miUserdata>("raw", miSCENE_USERDATA);
    EXPECT_EQ(raw.one, 1);
    EXPECT_EQ(raw.parameter_size, 5);
    EXPECT_EQ(std::memcmp(raw.parameters, "\x0a\x1b\xff\x00\x7f", 5), 0);
    const auto& typed = record<miUserdata>("typed", miSCENE_USERDATA);
    EXPECT_EQ(typed.label, 3u);
    EXPECT_EQ(typed.data_decl, database.find("block"));
    int words[4] = {};
    std::memcpy(words, typed.parameters, sizeof words);
    EXPECT_EQ(words[0], 77);
    EXPECT_EQ(database.string(static_cast<miTag>(words[1])), "abc");
    EXPECT_EQ(words[3], 2);
    // The chain of one light does not reach the other that shares a block.
    const auto* first = database.as<miUserdata>(record<miLight>("l", miSCENE_LIGHT).userdata, miSCENE_USERDATA);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->label, 3u);
    EXPECT_EQ(first->next_data, database.find("raw"));
    EXPECT_EQ(typed.next_data, 0u);
    EXPECT_EQ(record<miLight>("k", miSCENE_LIGHT).userdata, database.find("typed"));
}

TEST_F(Parameters, DeclarationsOnceMore) {
    readClean(R"(declare shader scalar "number" (scalar "value") end declare)");
    EXPECT_TRUE(read(R"(declare shader scalar "number" (scalar "value", scalar "other") end declare)"));
    EXPECT_NE(warnings.find("\"number\" is declared again and differently"), std::string::npos);
    EXPECT_FALSE(read(R"(shader "n" "number" () declare shader scalar "number" () end declare)"));
    EXPECT_EQ(database.detail<Declaration>(database.find("number"))->parameters.size(), 2u);
}

}  // namespace
}  // namespace lumorender
