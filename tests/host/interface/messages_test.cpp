#include "library/fatal.h"
#include "shader.h"
#include "support/messages.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace lumorender {
namespace {

class MessagesTest : public testing::Test {
protected:
    void SetUp() override {
        reportRepeatedMessages();
        setMessageSink([this](MessageClass, std::string_view module, std::string_view text) {
            lines_.push_back(std::string(module) + ": " + std::string(text));
        });
    }
    void TearDown() override {
        reportRepeatedMessages();
        setMessageSink({});
        setVerbosity(kDefaultVerbosity);
    }

    std::vector<std::string> lines_;
};

TEST_F(MessagesTest, EqualErrorsAndWarningsAreCollapsedAndCounted) {
    setVerbosity(5);
    const long before = messageCount(MessageClass::Warning);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 25; ++i) warning("TEST", "too dark");
        });
    for (std::thread& thread : threads) thread.join();
    error("TEST", "too dark");
    info("TEST", "said");
    info("TEST", "said");
    EXPECT_EQ(lines_, (std::vector<std::string>{"TEST: too dark", "TEST: too dark", "TEST: said", "TEST: said"}));
    EXPECT_EQ(messageCount(MessageClass::Warning) - before, 100);

    lines_.clear();
    reportRepeatedMessages();
    EXPECT_EQ(lines_, std::vector<std::string>{"TEST: too dark (100 times)"});
    warning("TEST", "too dark");
    EXPECT_EQ(lines_.size(), 2u) << "after the report it is news again";
}

TEST_F(MessagesTest, ManyDifferentWarningsDoNotPileUp) {
    for (int i = 0; i < 10000; ++i) warning("TEST", "pixel {}", i);
    EXPECT_LT(lines_.size(), 5000u);
    const std::size_t printed = lines_.size();
    reportRepeatedMessages();
    ASSERT_EQ(lines_.size(), printed + 1);
    EXPECT_NE(lines_.back().find(std::to_string(10000 - printed)), std::string::npos) << lines_.back();
}

TEST_F(MessagesTest, ShadersSpeakThroughPrintfFormats) {
    setVerbosity(3);
    const long infos = messageCount(MessageClass::Info);
    mi_info("not switched on");
    EXPECT_EQ(messageCount(MessageClass::Info) - infos, 1);
    setVerbosity(7);
    mi_info("%s has %d lights\n", "scene", 3);
    mi_vdebug("%.2f", 0.5);
    mi_nwarning(51, "odd");
    mi_error("%s", std::string(100000, 'x').c_str());
    const std::string writesMemory = "half %d%% %n";
    mi_error(writesMemory.c_str(), 5);
    ASSERT_EQ(lines_.size(), 5u);
    EXPECT_EQ(lines_[0], "API: scene has 3 lights");
    EXPECT_EQ(lines_[1], "API: 0.50");
    EXPECT_EQ(lines_[2], "API: 000051: odd");
    EXPECT_LT(lines_[3].size(), 20000u) << "long texts are cut";
    EXPECT_EQ(lines_[4], "API: half %d%% %n") << "formats that write to memory are printed as they are";
}

TEST_F(MessagesTest, LinesOnStandardErrorTellModuleThreadAndClass) {
    setMessageSink({});
    testing::internal::CaptureStderr();
    mi_error("no light");
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_EQ(line.substr(0, 7), "API  0.");
    EXPECT_NE(line.find(" error   : no light\n"), std::string::npos) << line;
}

class MessagesDeathTest : public MessagesTest {
protected:
    MessagesDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }  // other tests leave threads behind
};

TEST_F(MessagesDeathTest, FatalWritesWhatIsFinishedAndEndsTheProcess) {
    setMessageSink({});
    setFatalHook([] { error("TEST", "images written"); });
    EXPECT_EXIT(mi_fatal("cannot go %s", "on"), testing::ExitedWithCode(1), "fatal +: cannot go on\n.*images written");
    setFatalHook([] { mi_fatal("again"); });
    EXPECT_EXIT(mi_fatal("once"), testing::ExitedWithCode(1), "once");
    setFatalHook(nullptr);
}

}  // namespace
}  // namespace lumorender
