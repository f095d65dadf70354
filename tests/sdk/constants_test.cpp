/* Exported constants and messages. */
#include <cstring>

#include "scene.h"

namespace {

using twin::libraryVariable;
using twin::renderer;

TEST(Constants, HaveTheirExactValues) {
    for (const char* name : {"BLACK", "VEXA_BLACK"})
        for (int i = 0; i < 4; ++i) EXPECT_EQ((&libraryVariable<miColor>(name).r)[i], 0.0f) << name;
    for (const char* name : {"WHITE", "VEXA_WHITE"})
        for (int i = 0; i < 4; ++i) EXPECT_EQ((&libraryVariable<miColor>(name).r)[i], 1.0f) << name;
    EXPECT_EQ(libraryVariable<miScalar>("VEXA_LUMINANCE_RED"), 0.3f);
    EXPECT_EQ(libraryVariable<miScalar>("VEXA_LUMINANCE_GREEN"), 0.59f);
    EXPECT_EQ(libraryVariable<miScalar>("VEXA_LUMINANCE_BLUE"), 0.11f);
    EXPECT_EQ(libraryVariable<miScalar>("VEXA_EPS"), 1e-5f);
    EXPECT_EQ(std::memcmp(&libraryVariable<miUint>("VEXA_MAGIC"), "axeV", 4), 0);
    EXPECT_EQ(libraryVariable<miInteger>("VEXA_CUBE_SIDE"), 32);

    const char* const bits[] = {"BUMP2D", "IMAGEPLANE", "ENVLIGHTFOG", "VOLUMEFOG", "FLUID", "NOAF", "MOTION"};
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(libraryVariable<miInteger>((std::string("VEXA_BIT_") + bits[i]).c_str()), 1 << i) << bits[i];
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(libraryVariable<miMatrix>("VEXA_IDENTITY_MATRIX")[i], i % 5 == 0 ? 1.0f : 0.0f);
        EXPECT_EQ(libraryVariable<miMatrix>("VEXA_NULL_MATRIX")[i], 0.0f);
    }
    EXPECT_EQ(libraryVariable<miScalar>("TRANSLUCENCE_ANGLE_FAC"), -11.5f);
    EXPECT_EQ(libraryVariable<miScalar>("TRANSLUCENCE_FADE"), 0.15f);
    EXPECT_STREQ(libraryVariable<const char*>("VEXA_FRAMEBUFFER_DATA_SUFFIX"), ":fbdata");
    EXPECT_STREQ(libraryVariable<const char*>("PASS_TYPE_INFO_KEY"), "lumoPassState");
    EXPECT_STREQ(libraryVariable<const char*>("FRAME_BUFFER_INFO_KEY"), "lumoFBInfo");
    EXPECT_STREQ(libraryVariable<const char*>("FRAME_BUFFER_STATE_KEY"), "lumoFBState");
}

class Messages : public twin::LibraryTest {};

TEST_F(Messages, GoToTheRendererByLevelAndAreItsFormat) {
    library::lumoFatal("f");
    library::lumoError("e");
    library::lumoWarning("w");
    library::lumoInfo("100%% done");
    const std::vector<twin::Message> said = renderer().messages();
    ASSERT_EQ(said.size(), 4u);
    const char* const expected[4][2] = {{"fatal", "f"}, {"error", "e"}, {"warning", "w"}, {"info", "100% done"}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(said[i].level, expected[i][0]);
        EXPECT_EQ(said[i].text, expected[i][1]);
    }
}

}  // namespace
