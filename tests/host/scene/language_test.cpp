// Bytes in back quotes, verbosity, and where reading gives up.
#include "scene_fixture.h"

namespace lumorender {
namespace {

class Language : public SceneTest {};

TEST_F(Language, Bytes) {
    // 1.0 is 3f800000; bytes may be a back quote (60), a line feed (0a), a quote (22).
    const std::string vector("\x3f\x80\x00\x00\x42\x60\x60\x60\x41\x0a\x22\x23", 12), corners(12, '\0');
    readClean("object \"o\" group `" + vector + "` 4 5 6 `" + vector +
              "` end group end object object \"list\" tagged " + "trilist vertex 1 p triangle 1 scalar `" + vector +
              "` integer `" + corners + "` integer `" + std::string("\0\0\1\2", 4) + "` end trilist end object");
    const PolygonGroupSource& list = detail<ObjectSource>("list").groups.at(0);
    EXPECT_EQ(asText(detail<ObjectSource>("o").groups.at(0).vectors), "1 56.094 8.6333 4 5 6 1 56.094 8.6333");
    readClean("object \"h\" hair scalar [ 6 ] `" + vector + vector + "` hair [ 2 ] `" +
              std::string("\0\0\0\0\0\0\0\6", 8) + "` end hair end object");
    EXPECT_EQ(asText(detail<ObjectSource>("h").hair->scalars), "1 56.094 8.6333 1 56.094 8.6333");
    EXPECT_EQ(asText(list.vectors, list.polygons.at(0).label, list.corners), "1 56.094 8.6333 258 0 0 0");
}

TEST_F(Language, VerbosityIsFixedByTheCommandLine) {
    readClean("verbose 4");
    settings.verbosityIsFixed = true;
    readClean("verbose 6");
    EXPECT_EQ(verbosity(), 4);
}

TEST_F(Language, ManyErrorsAndDeepNestingEndTheReading) {
    std::string cameras, shaders = "declare shader \"s\" (color \"c\") end declare material \"m\" ",
                         structs = "declare shader \"t\" (";
    for (int i = 0; i < 5000; ++i) {
        cameras += "camera \"c\" focal on end camera\n";
        shaders += " = shader \"x\" \"s\" (\"c\" ";
        structs += "struct \"s\" {";
    }
    EXPECT_FALSE(read(cameras));
    expectParts(errors, {"test.mi:20: too many errors"});
    EXPECT_EQ(errors.find("test.mi:21"), std::string::npos);
    EXPECT_FALSE(read(shaders) || read(structs) || read("gui " + std::string(200000, '{')));
    expectParts(errors, {"nested too deeply"});
}

}  // namespace
}  // namespace lumorender
