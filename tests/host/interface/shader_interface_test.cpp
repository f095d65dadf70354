#include "mi_shader_if.h"

#include "database/elements.h"
#include "interface/host.h"
#include "shader.h"
#include "support/messages.h"

#include <gtest/gtest.h>

namespace lumorender {
namespace {

TEST(ShaderInterface, OnlyVersionThreeIsThere) {
    EXPECT_EQ(mi_get_shader_interface(2), nullptr);
    EXPECT_EQ(mi_get_shader_interface(4), nullptr);
    ASSERT_NE(mi_get_shader_interface(), nullptr);
}

TEST(ShaderInterface, OptionsAreReadWithTheirTypes) {
    const miTag tag = hostDatabase().create(miSCENE_LOCAL, 0);
    auto detail = std::make_unique<StringOptions>();
    detail->values["on"] = true;
    detail->values["count"] = 3;
    detail->values["text"] = std::string("words");
    detail->values["axis"] = std::vector<float>{1, 2, 3};
    hostDatabase().setDetail(tag, std::move(detail));

    mi::shader::Interface* interface = mi_get_shader_interface(3);
    mi::shader::Options* options = interface->getOptions(tag);
    interface->release();
    bool on = false;
    int count = 0;
    float number = 0, x = 0, y = 0, z = 0;
    const char* text = nullptr;
    EXPECT_TRUE(options->get("on", &on) && on);
    EXPECT_TRUE(options->get("count", &count) && count == 3);
    EXPECT_TRUE(options->get("count", &number) && number == 3) << "an integer may be read as a number";
    EXPECT_TRUE(options->get("text", &text));
    EXPECT_STREQ(text, "words");
    EXPECT_TRUE(options->get("axis", &x, &y, &z) && x == 1 && y == 2 && z == 3);

    x = 7;
    EXPECT_FALSE(options->get("axis", &x, &y));
    EXPECT_FALSE(options->get("on", &x));
    EXPECT_FALSE(options->get("missing", &x));
    EXPECT_FALSE(options->get(nullptr, &x));
    EXPECT_EQ(x, 7) << "written on success only";
    count = 7;
    options->set("number", 2.5f);
    EXPECT_FALSE(options->get("number", &count)) << "a number is no integer";
    EXPECT_TRUE(options->get("number", &number) && number == 2.5f);
    options->set("number", "now a text");
    EXPECT_FALSE(options->get("number", &number));
    EXPECT_TRUE(options->remove("number"));
    EXPECT_FALSE(options->remove("number"));
    options->release();

    mi::shader::Options* none = interface->getOptions(miNULLTAG);
    ASSERT_NE(none, nullptr) << "callers do not test for null";
    EXPECT_FALSE(none->get("on", &on));
}

TEST(ShaderInterface, FrameBuffersAreFoundByName) {
    const miTag tag = hostDatabase().create(miSCENE_FBINFO, 0);
    auto detail = std::make_unique<FrameBufferSet>();
    detail->buffers.resize(2);
    detail->buffers[0].name = "depth";
    detail->buffers[0].datatype = miIMG_TYPE_Z;
    detail->buffers[0].filtering = false;
    detail->buffers[0].filename = "depth.exr";
    detail->buffers[0].quality = 80;
    detail->buffers[1].name = "beauty";
    detail->buffers[1].primary = true;
    hostDatabase().setDetail(tag, std::move(detail));

    mi::shader::Interface* interface = mi_get_shader_interface(3);
    const mi::shader::Framebuffer* buffers = interface->accessFramebuffer(tag);
    ASSERT_NE(buffers, nullptr);
    size_t index = 99, count = 0;
    EXPECT_FALSE(buffers->get_index("missing", index));
    EXPECT_FALSE(buffers->get_index(nullptr, index));
    EXPECT_EQ(index, 99u);
    EXPECT_TRUE(buffers->get_index("depth", index) && index == 1);
    EXPECT_TRUE(buffers->get_index("beauty", index) && index == 0);
    EXPECT_TRUE(buffers->get_buffercount(count) && count == 2);

    bool flag = true;
    int quality = 0;
    const char* text = nullptr;
    miImg_type type = miIMG_TYPE_RGBA;
    EXPECT_TRUE(buffers->get("depth", "filtering", flag) && !flag);
    EXPECT_TRUE(buffers->get("beauty", "primary", flag) && flag);
    EXPECT_TRUE(buffers->get("depth", "quality", quality) && quality == 80);
    EXPECT_TRUE(buffers->get("depth", "filename", text));
    EXPECT_STREQ(text, "depth.exr");
    EXPECT_TRUE(buffers->get("depth", "datatype", text));
    EXPECT_STREQ(text, "z");
    EXPECT_FALSE(buffers->get("depth", "no such setting", text));
    EXPECT_TRUE(buffers->get_datatype(1, type) && type == miIMG_TYPE_Z);
    EXPECT_TRUE(buffers->get_buffername(0, text));
    EXPECT_STREQ(text, "beauty");
    EXPECT_FALSE(buffers->get_buffername(2, text));
    EXPECT_TRUE(interface->releaseFramebuffer(buffers, tag));

    EXPECT_EQ(interface->accessFramebuffer(miNULLTAG), nullptr);
    EXPECT_EQ(interface->accessFramebuffer(hostDatabase().create(miSCENE_LIGHT, 16)), nullptr);
}

TEST(ShaderInterface, WhatIsNotThereSaysSo) {
    std::string said;
    setMessageSink([&](MessageClass, std::string_view, std::string_view text) { said = text; });
    mi::shader::Interface* interface = mi_get_shader_interface(3);
    EXPECT_EQ(interface->createLightList(nullptr), nullptr);
    EXPECT_NE(said.find("createLightList"), std::string::npos);
    EXPECT_EQ(interface->createMapIterator(nullptr), nullptr);
    EXPECT_EQ(interface->editFramebuffer(0), nullptr);
    EXPECT_NE(said.find("editFramebuffer"), std::string::npos);
    setMessageSink({});
}

TEST(DatabaseFunctions, ElementsAreCreatedAccessedAndDeleted) {
    miTag tag = 0;
    int type = 0;
    auto* record = static_cast<int*>(mi_db_create(&tag, miSCENE_USERDATA, 40));
    record[9] = 5;
    mi_db_unpin(tag);
    EXPECT_EQ(mi_db_access(tag), record);
    EXPECT_EQ(mi_db_access_type(&type, tag), record);
    EXPECT_EQ(type, miSCENE_USERDATA);
    EXPECT_EQ(mi_db_size(tag), 40u);
    EXPECT_FALSE(mi_db_isjob(tag));
    record = static_cast<int*>(mi_db_realloc(tag, 4000));
    EXPECT_EQ(record[9], 5);
    EXPECT_EQ(record[999], 0);
    mi_db_delete(tag);
    EXPECT_EQ(mi_db_type(tag), miSCENE_NONE);

    setMessageSink([](MessageClass, std::string_view, std::string_view) {});
    const long errors = messageCount(MessageClass::Error);
    EXPECT_EQ(mi_db_access(tag), nullptr);
    EXPECT_EQ(messageCount(MessageClass::Error) - errors, 1);
    setMessageSink({});
}

}  // namespace
}  // namespace lumorender
