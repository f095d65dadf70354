// Memory, messages, elements, options and frame buffers as modules get them.
#include "database/elements.h"
#include "support/fatal.h"
#include "interface/host.h"
#include "library/memory.h"
#include "mi_shader_if.h"
#include "shader.h"
#include "support/messages.h"
#include "tests/host/as_text.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <thread>

namespace lumorender {
namespace {

/// Keeps what is said.
class Services : public testing::Test {
protected:
    Services() {
        releaseForgottenMemory();
        reportRepeatedMessages();
        setVerbosity(5);
        setMessageSink([this](MessageClass, std::string_view module, std::string_view text) {
            lines.push_back(fmt::format("{}: {}", module, text));
        });
    }
    ~Services() override {
        reportRepeatedMessages();
        setMessageSink({});
        setVerbosity(kDefaultVerbosity);
    }
    std::vector<std::string> lines;
};

bool allBytesAre(const void* memory, char value, std::size_t size) {
    const auto* bytes = static_cast<const char*>(memory);
    return std::all_of(bytes, bytes + size, [=](char byte) { return byte == value; });
}

TEST_F(Services, MemoryAndItsGrowthAreZeroedAndCounted) {
    char* memory = static_cast<char*>(mi_mem_allocate(100));
    EXPECT_TRUE(reinterpret_cast<std::uintptr_t>(memory) % 16 == 0 && allBytesAre(memory, 0, 100));
    std::memset(memory, 7, 100);
    memory = static_cast<char*>(mi_mem_reallocate(mi_mem_reallocate(memory, 20), 10000));
    EXPECT_TRUE(allBytesAre(memory, 7, 20) && allBytesAre(memory + 20, 0, 9980));
    int foreign = 0;
    for (void* released : {static_cast<void*>(memory), static_cast<void*>(memory), static_cast<void*>(&foreign),
                           static_cast<void*>(nullptr)})
        mi_mem_release(released);
    EXPECT_EQ(mi_mem_test_reallocate(&foreign, 100), nullptr);
    EXPECT_EQ(lines.size(), 2u) << "released, twice, and grown without being ours";

    EXPECT_TRUE(allBytesAre(mi_mem_reallocate(nullptr, 8), 0, 8) && mi_mem_allocate(0));
    EXPECT_STREQ(mi_mem_strdup("text"), "text");
    mi_mem_blkallocate(mi_mem_blkcreate(64));
    const ForgottenMemory inUse = memoryInUse(), forgotten = releaseForgottenMemory();
    EXPECT_TRUE(inUse.blocks == 5 && inUse.bytes >= 8u + 5 + 8192) << "two blocks, the text, the arena and its page";
    EXPECT_EQ(asText(forgotten.blocks, forgotten.bytes, memoryInUse().blocks), asText(inUse.blocks, inUse.bytes, 0));
}

/// Where the callback of an arena walk puts the blocks: it has no argument for it.
std::set<void*> enumerated;

std::set<void*> liveBlocks(miMemblk* arena) {
    enumerated.clear();
    mi_mem_blkenumerate(arena, [](void* block) { enumerated.insert(block); });
    return enumerated;
}

TEST_F(Services, ArenasHandOutEachBlockOnceAndZeroedAndLocksLock) {
    for (const int size : {1, 12, 160, 4000, 20000}) {
        miMemblk* arena = mi_mem_blkcreate(size);
        const auto bytes = static_cast<std::size_t>(size);
        std::set<void*> blocks;
        for (int i = 0; i < 3000 / size + 50; ++i) {
            void* block = mi_mem_blkallocate(arena);
            ASSERT_TRUE(allBytesAre(block, 0, bytes) && blocks.insert(block).second);
            std::memset(block, 0x5a, bytes);
        }
        for (void* block : blocks) ASSERT_TRUE(allBytesAre(block, 0x5a, bytes));
        EXPECT_EQ(liveBlocks(arena), blocks);
        // A released block comes again, zeroed by the slow form only; a cleared arena uses its pages again.
        void* reused = *blocks.begin();
        mi_mem_blkfrelease(arena, reused);
        EXPECT_EQ(liveBlocks(arena).size(), blocks.size() - 1);
        EXPECT_TRUE(mi_mem_blkallocate(arena) == reused && allBytesAre(reused, 0, bytes));
        mi_mem_blkclear(arena);
        const std::size_t pages = memoryInUse().blocks, left = liveBlocks(arena).size();
        for (std::size_t i = 0; i < blocks.size(); ++i) mi_mem_blkfallocate(arena);
        EXPECT_EQ(asText(left, memoryInUse().blocks), asText(0, pages));
        mi_mem_blkdelete(arena);
        EXPECT_EQ(memoryInUse().blocks, 0u);
    }
    miMemblk* arena = mi_mem_blkcreate(24);
    const auto useHalf = [=] {
        void* last = nullptr;
        for (int i = 0; i < 2000; ++i) {
            void* block = mi_mem_blkallocate(arena);
            if (i % 2) mi_mem_blkrelease(arena, last);
            last = block;
        }
    };
    {
        const std::jthread a(useHalf), b(useHalf), c(useHalf), d(useHalf);
    }
    EXPECT_EQ(liveBlocks(arena).size(), 4000u);

    miLock lock;
    ASSERT_TRUE(mi_init_lock(&lock));
    mi_lock(lock);
    std::jthread([=] { EXPECT_FALSE(mi_trylock(lock)); }).join();
    mi_unlock(lock);
    std::jthread([=] { EXPECT_TRUE(mi_trylock(lock)), mi_unlock(lock); }).join();
    mi_delete_lock(&lock);
    EXPECT_EQ(lock.ptr, nullptr);
}

TEST_F(Services, EqualErrorsAndWarningsAreCollapsedAndCounted) {
    const long before = messageCount(MessageClass::Warning);
    const auto complain = [] {
        for (int i = 0; i < 50; ++i) warning("TEST", "too dark");
    };
    {
        const std::jthread a(complain), b(complain);
    }
    error("TEST", "too dark");
    info("TEST", "said");
    info("TEST", "said");
    reportRepeatedMessages();
    warning("TEST", "too dark");  // after the report it is news again
    EXPECT_EQ(asText(lines),
              "TEST: too dark TEST: too dark TEST: said TEST: said TEST: too dark (100 times) TEST: too dark");
    EXPECT_EQ(messageCount(MessageClass::Warning) - before, 101);
    lines.clear();
    for (int i = 0; i < 10000; ++i) warning("TEST", "pixel {}", i);
    const std::size_t printed = lines.size();
    EXPECT_LT(printed, 5000u) << "they do not pile up";
    reportRepeatedMessages();
    expectParts(lines.at(printed), {std::to_string(10000 - printed)});
}

TEST_F(Services, ShadersSpeakThroughPrintfFormats) {
    const long debugs = messageCount(MessageClass::Debug);
    mi_debug("not switched on");
    EXPECT_EQ(asText(messageCount(MessageClass::Debug) - debugs, lines.size()), "1 0");
    setVerbosity(7);
    mi_info("%s has %d lights\n", "scene", 3);
    mi_vdebug("%.2f", 0.5);
    mi_nwarning(51, "odd");
    const std::string writesMemory = "half %d%% %n";  // printed as it is
    mi_error(writesMemory.c_str(), 5);
    EXPECT_EQ(asText(lines), "API: scene has 3 lights API: 0.50 API: 000051: odd API: half %d%% %n");
    mi_error("%s", std::string(100000, 'x').c_str());
    EXPECT_LT(lines.back().size(), 20000u) << "long texts are cut";
    setMessageSink({});
    testing::internal::CaptureStderr();
    mi_error("no light");
    expectParts(testing::internal::GetCapturedStderr(), {"API  0.", " error   : no light\n"});

    // What is finished is written, and the process ends, once.
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // other tests leave threads behind
    setFatalHook([] { error("TEST", "images written"), mi_fatal("again"); });
    EXPECT_EXIT(mi_fatal("cannot go %s", "on"), testing::ExitedWithCode(1), "fatal +: cannot go on\n.*images written");
    setFatalHook(nullptr);
}

TEST_F(Services, OptionsAreReadWithTheirTypes) {
    const miTag tag = hostDatabase().create(miSCENE_LOCAL, 0);
    auto detail = std::make_unique<StringOptions>();
    detail->values = {
        {"on", true}, {"count", 3}, {"text", std::string("words")}, {"axis", std::vector<float>{1, 2, 3}}};
    hostDatabase().setDetail(tag, std::move(detail));
    EXPECT_TRUE(!mi_get_shader_interface(2) && !mi_get_shader_interface(4));
    mi::shader::Interface* interface = mi_get_shader_interface(3);
    mi::shader::Options* options = interface->getOptions(tag);
    bool on = false;
    int count = 0;
    float number = 0, x = 0, y = 0, z = 0, w = 7;
    const char* text = nullptr;
    EXPECT_TRUE(options->get("on", &on) && options->get("count", &count) && options->get("count", &number) &&
                options->get("text", &text) && options->get("axis", &x, &y, &z));
    EXPECT_EQ(asText(on, count, number, text, x, y, z), "true 3 3 words 1 2 3") << "an integer may be read as a number";
    options->set("number", 2.5f);
    EXPECT_FALSE(options->get("axis", &w, &w) || options->get("axis", &w, &w, &w, &w) || options->get("on", &w) ||
                 options->get("missing", &w) || options->get(nullptr, &w) || options->get("number", &count));
    EXPECT_TRUE(options->get("number", &number));
    EXPECT_EQ(asText(w, count, number), "7 3 2.5") << "written on success only";
    options->set("number", "now a text");
    EXPECT_FALSE(options->get("number", &number));
    EXPECT_TRUE(options->remove("number") && !options->remove("number"));
    EXPECT_FALSE(interface->getOptions(miNULLTAG)->get("on", &on)) << "callers do not test for null";
    // What the table has room for and this host does not have, says so.
    EXPECT_TRUE(!interface->createLightList(nullptr) && !interface->createMap(0));
    expectParts(asText(lines), {"createLightList", "createMap"});
}

TEST_F(Services, FrameBuffersAreFoundByName) {
    const miTag tag = hostDatabase().create(miSCENE_FBINFO, 0);
    auto detail = std::make_unique<FrameBufferSet>();
    detail->buffers = {{{"", "zip", 80, 0, true}, "depth", miIMG_TYPE_Z, "iff", "depth.exr", false, false, true},
                       {{}, "beauty", miIMG_TYPE_RGBA, "", "", true, true, false}};
    hostDatabase().setDetail(tag, std::move(detail));
    mi::shader::Interface* interface = mi_get_shader_interface(3);
    const mi::shader::Framebuffer* buffers = interface->accessFramebuffer(tag);
    size_t index = 99, count = 0;
    miImg_type type = miIMG_TYPE_RGBA;
    const char* text = nullptr;
    EXPECT_FALSE(buffers->get_index("missing", index) || buffers->get_index(nullptr, index) || index != 99);
    EXPECT_TRUE(buffers->get_index("depth", index) && buffers->get_buffercount(count) &&
                buffers->get_datatype(index, type) && buffers->get_buffername(0, text) &&
                !buffers->get_buffername(2, text));
    EXPECT_EQ(asText(index, count, type, text), asText(1, 2, miIMG_TYPE_Z, "beauty"));
    int place = 7;
    EXPECT_TRUE(buffers->map_old_index(miRC_IMAGE_RGBA, place) && !buffers->map_old_index(miRC_IMAGE_Z, place));
    EXPECT_EQ(place, 0);
    std::string said;
    bool flag = false;
    int quality = 0;
    for (const char* name :
         {"filtering", "primary", "user", "dod", "quality", "filename", "filetype", "compression", "datatype", "x"})
        for (const char* buffer : {"depth", "beauty"})
            said += buffers->get(buffer, name, flag)      ? asText(flag, "")
                    : buffers->get(buffer, name, quality) ? asText(quality, "")
                    : buffers->get(buffer, name, text)    ? asText(text, "")
                                                          : "";
    EXPECT_EQ(said, "false true false true true false true false 80 -1 depth.exr iff zip z rgba ");
    EXPECT_TRUE(interface->releaseFramebuffer(buffers, tag) && !interface->accessFramebuffer(miNULLTAG) &&
                !interface->accessFramebuffer(hostDatabase().create(miSCENE_LIGHT, 16)));

    // Elements are created, accessed and deleted.
    miTag made = 0;
    int kind = 0;
    auto* record = static_cast<int*>(mi_db_create(&made, miSCENE_USERDATA, 40));
    record[9] = 5;
    EXPECT_TRUE(mi_db_access(made) == record && mi_db_access_type(&kind, made) == record && !mi_db_isjob(made));
    EXPECT_EQ(asText(kind, mi_db_size(made)), asText(miSCENE_USERDATA, 40));
    record = static_cast<int*>(mi_db_realloc(made, 4000));
    EXPECT_EQ(asText(record[9], record[999]), "5 0");
    mi_db_delete(made);
    EXPECT_TRUE(mi_db_type(made) == miSCENE_NONE && !mi_db_access(made) && lines.size() == 1);
}

}  // namespace
}  // namespace lumorender
