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
    int i_weights, n_weights;
    miScalar weights[1];
    miTag texture;
    int i_layers, n_layers;
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
        array struct "layers" { integer "count" default 9, color "tint" }, scalar "last", )
    version 1 apply material, light scanline on
end declare
declare shader scalar "number" (scalar "value") end declare
declare color "tint" (color "value")
declare shader "nothing" () end declare
shader "n" "number" ("value" 1)
)";

class Parameters : public SceneTest {
protected:
    void SetUp() override { readClean(kEverything); }

    const miFunction& function(miTag tag) { return record<miFunction>(tag, miSCENE_FUNCTION); }
    const miFunction& function(std::string_view name) { return function(find(name)); }

    template <class Params>
    static const Params& parameters(const miFunction& f) {
        return *reinterpret_cast<const Params*>(f.parameters);
    }
    miColor tint(miTag tag) { return parameters<miColor>(function(tag)); }
    /// Name of the shader that the parameter at this address is connected to, "given", or "-".
    template <class Value>
    std::string ghost(const miFunction& f, const Value& value) {
        miTag tag = 0;
        std::memcpy(&tag, reinterpret_cast<const char*>(&value) + f.ghost_offs, sizeof tag);
        if (const auto* member = database.detail<MemberConnection>(tag))
            return fmt::format("{}+{}:{}", database.name(member->source), member->offset, member->size);
        return tag == miPARAMTAG ? "given" : nameOf(tag);
    }

    std::string text(const miFunction& f) {
        const auto& p = parameters<Everything>(f);
        const auto layer = [](const Inner& l) { return asText(l.count, l.tint); };
        std::string all = asText(p.flag, p.number, p.size, p.axis, p.color, p.matrix[14], database.string(p.text),
                                 layer(p.inner), p.last, ";", p.texture == find("picture"));
        const miScalar* weights = p.weights;
        const Inner* layers = p.layers;
        for (int i = 0; i < p.n_weights; ++i) all += fmt::format(" w{}", weights[p.i_weights + i]);
        for (int i = 0; i < p.n_layers; ++i) all += fmt::format(" l{}", layer(layers[p.i_layers + i]));
        return all;
    }
};

TEST_F(Parameters, BlocksAreTheCompilersRecords) {
    readClean(R"(color texture "picture" "a.png"
shader "s" "everything" (
    "flag" on, "number" -4, "size" 2, "axis" 4 5.5 -6, "color" 1 0.5 .25,
    "matrix" 1 0 0 0  0 1 0 0  0 0 1 0  7 8 9 1, "text" "say \"C:\\x\"",
    "inner" { "tint" 9 8 7 6, "count" 5 }, "weights" [ 1, 2.5, -3 ], "texture" "picture",
    "layers" [ { "tint" 1 2 3 }, { "count" 2 }, ], "last" 42, )
shader "d" "everything" ("size" = "n", "number" 8, "layers" [ { "tint" 1 1 1 } ]))");
    const miFunction &s = function("s"), &d = function("d");
    // A missing alpha is 0 in a parameter.
    EXPECT_EQ(text(s),
              "1 -4 2 4 5.5 -6 1 0.5 0.25 0 9 say \"C:\\x\" 5 9 8 7 6 42 ; true w1 w2.5 w-3 l9 1 2 3 0 l2 0 0 0 0");
    EXPECT_EQ(text(d), "0 8 1.5 1 2 3 0.1 0.2 0.3 0 0  3 1 1 1 1 0 ; false l9 1 1 1 0");
    const auto& p = parameters<Everything>(d);
    const Inner& layer = static_cast<const Inner*>(p.layers)[p.i_layers];
    EXPECT_EQ(asText(ghost(d, p.size), ghost(d, p.number), ghost(d, p.axis), ghost(d, p.i_layers), ghost(d, layer.tint),
                     ghost(d, layer.count)),
              "n given - given given -");
    EXPECT_EQ(asText(s.result_size, d.ghost_offs - d.parameter_size, d.has_connections, d.no_expl_params,
                     function("n").has_connections, function("n").ghost_offs),
              "36 0 1 0 0 4");
    EXPECT_GE(s.parameter_size, static_cast<int>(sizeof(Everything)));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&s) % 16, 0u);

    // An incremental shader keeps what is not given; another one begins anew.
    const miTag before = find("d");
    readClean(R"(incremental shader "d" "everything" ("axis" 7 7 7, "weights" [ 5 ]))");
    EXPECT_EQ(find("d"), before);
    EXPECT_EQ(text(function("d")), "0 8 1.5 7 7 7 0.1 0.2 0.3 0 0  3 1 1 1 1 0 ; false w5 l9 1 1 1 0");
    EXPECT_EQ(asText(ghost(function("d"), parameters<Everything>(function("d")).size), function("d").has_connections),
              "n 1");
    readClean(R"(shader "d" "everything" ())");
    EXPECT_EQ(parameters<Everything>(function("d")).number, 1449490529);  // a number that no float holds
    EXPECT_EQ(function("d").has_connections, 0);
}

TEST_F(Parameters, ConnectionsPickResultsThatFit) {
    readClean(R"(shader "s" "everything" ()
                 shader "t" "tint" ("value" = "s")              # the first member is a color
                 shader "m" "number" ("value" = "s.depth")
                 shader "u" "everything" ("weights" [ 1, = "n" ], "inner" { "count" = "s.more.id" },
                                          "color" = shader "inline" "tint" ("value" 1 2 3 4)))");
    const miFunction &t = function("t"), &m = function("m"), &u = function("u");
    const auto& p = parameters<Everything>(u);
    const miScalar* weights = static_cast<const miScalar*>(p.weights) + p.i_weights;
    EXPECT_EQ(asText(ghost(t, parameters<miColor>(t)), ghost(m, parameters<miScalar>(m)), ghost(u, weights[0]),
                     ghost(u, weights[1]), ghost(u, p.color), ghost(u, p.inner.count), tint(find("inline"))),
              "s s+16:4 given n inline s+32:4 1 2 3 4");
}

TEST_F(Parameters, ArraysInsideArrays) {
    struct Nested {
        int i_rows, n_rows;
        struct Row {
            miScalar height;
            miVector edge;
            int i_cells, n_cells;
            miVector cells[1];
        } rows[1];
        miInteger end;
    };
    readClean(R"(declare shader "table" (
            array struct "rows" { scalar "height" default 2, struct "edge" { vector "way" default 1 1 1 },
                array vector "cells" }, integer "end") end declare
        shader "s" "table" ("rows" [ { "cells" [ 1 2 3, 4 5 6 ], "edge" { "way" 3 4 5 } },
                                      { "height" = "n" }, { "cells" [ 7 8 9 ] } ], "end" 5)
        shader "empty" "table" ("rows" [ ]))");
    const miFunction& f = function("s");
    const auto& p = parameters<Nested>(f);
    std::string text = asText(p.n_rows, p.end, parameters<Nested>(function("empty")).n_rows);
    for (int r = 0; r < 3; ++r) {
        const Nested::Row& row = static_cast<const Nested::Row*>(p.rows)[p.i_rows + r];
        text += asText(" |", row.height, ghost(f, row.height), row.edge);
        const miVector* cells = static_cast<const miVector*>(row.cells) + row.i_cells;
        for (int c = 0; c < row.n_cells; ++c) text += fmt::format(" {}", asText(cells[c]));
        EXPECT_LE(reinterpret_cast<const char*>(cells + row.n_cells), f.parameters + f.parameter_size);
    }
    EXPECT_EQ(text, "3 5 0 | 2 - 3 4 5 1 2 3 4 5 6 | 2 n 1 1 1 | 2 - 1 1 1 7 8 9");
}

TEST_F(Parameters, ShadowShadersGetTheConnectionsOfTheMaterial) {
    readClean(R"(shader "red" "tint" () material "p" "tint" ("value" = "red") shadow "nothing" () end material)");
    const miFunction& shadow = function(record<miMaterial>("p", miSCENE_MATERIAL).shadow);
    EXPECT_EQ(ghost(shadow, parameters<miColor>(shadow)), "red");
}

TEST_F(Parameters, UserDataByBytesAndByDeclaration) {
    readClean(R"(declare data "block" (integer "magic", string "mask", array integer "ids") end declare
                 data "raw" 5 [ '0a1b' 'FF
                                 00 7f' ]
                 data "typed" tag 3 "block" ("magic" 77, "mask" "abc", "ids" [ 5, 6 ])
                 light "l" data "typed" data "raw" end light light "k" data "typed" end light)");
    const auto& raw = record<miUserdata>("raw", miSCENE_USERDATA);
    EXPECT_EQ(asText(raw.one, raw.parameter_size), "1 5");
    EXPECT_EQ(std::memcmp(raw.parameters, "\x0a\x1b\xff\x00\x7f", 5), 0);
    const auto& typed = record<miUserdata>("typed", miSCENE_USERDATA);
    int words[4] = {};
    std::memcpy(words, typed.parameters, sizeof words);
    EXPECT_EQ(asText(typed.label, database.name(typed.data_decl), words[0],
                     database.string(static_cast<miTag>(words[1])), words[3]),
              "3 block 77 abc 2");
    // The chain of one light does not reach the other that shares a block.
    const auto& first = record<miUserdata>(record<miLight>("l", miSCENE_LIGHT).userdata, miSCENE_USERDATA);
    EXPECT_EQ(asText(first.label, database.name(first.next_data), typed.next_data,
                     database.name(record<miLight>("k", miSCENE_LIGHT).userdata)),
              "3 raw 0 typed");
}

/// The lights of a group are in lists in place of its instance.
TEST_F(Parameters, ListsOfLightsAndThoseOfInstances) {
    readClean(R"(declare shader "loop" (array light "lights") end declare light "l" end light
                 instance "l1" "l" end instance instance "l2" "l" end instance
                 instgroup "both" "l1" "l2" end instgroup instance "bothi" "both" end instance
                 shader "s" "loop" ("lights" [ "bothi", "l1" ])
                 declare shader "inherit" (string "mask", integer "level") end declare
                 options "o" inheritance "inherit" end options instance "i" ( "level" 4, "mask" "ab" ) end instance)");
    const miTag* lights = &parameters<miTag>(function("s"));
    const miTag* list = lights + 2 + lights[0];
    EXPECT_EQ(asText(lights[1], nameOf(list[0]), nameOf(list[1]), nameOf(list[2])), "3 l1 l2 l1");
    const auto& i = record<miInstance>("i", miSCENE_INSTANCE);
    miTag words[2];
    std::memcpy(words, i.param, sizeof words);
    EXPECT_EQ(asText(i.param_size, nameOf(i.param_decl), database.string(words[0]), words[1]), "8 inherit ab 4");
}

}  // namespace
}  // namespace lumorender
