// Reads scene texts and keeps what was said and what was to be rendered.
#pragma once

#include "database/declaration.h"
#include "database/elements.h"
#include "mi/records.h"
#include "elements/reader.h"
#include "support/messages.h"
#include "tests/host/as_text.h"

#include <unistd.h>

#include <cstring>
#include <fstream>

namespace lumorender {

class SceneTest : public testing::Test, protected SceneActions {
protected:
    SceneTest() {
        settings.functionsRequired = false;
        setVerbosity(7);
        setMessageSink([this](MessageClass c, std::string_view, std::string_view text) {
            if (c <= MessageClass::Info)
                (c <= MessageClass::Error     ? errors
                 : c == MessageClass::Warning ? warnings
                                              : infos) += std::string(text) + "\n";
        });
        std::filesystem::create_directories(folder / "parts");
    }
    ~SceneTest() override {
        reportRepeatedMessages();
        setMessageSink({});
        setVerbosity(kDefaultVerbosity);
        std::filesystem::remove_all(folder);
    }

    bool render(const RenderCommand& command) override { return renders.push_back(command), goOn; }

    bool read(std::string_view text) { return readSceneText(text, "test.mi", database, modules, *this, settings); }
    void readClean(std::string_view text) {
        EXPECT_TRUE(read(text));
        EXPECT_EQ(errors + warnings, "");
    }
    void write(const std::string& name, std::string_view text) { std::ofstream(folder / name) << text; }
    bool readFile(const std::string& name) { return readScene(folder / name, database, modules, *this, settings); }

    miTag find(std::string_view name) { return database.find(name); }
    miTag find(miTag tag) { return tag; }
    std::string nameOf(miTag tag) const { return tag ? std::string(database.name(tag)) : "-"; }

    /// Of an element by its name or tag.
    template <class Record, class Key>
    const Record& record(const Key& key, int type) {
        static const Record none = {};
        const auto* found = database.as<Record>(find(key), type);
        EXPECT_NE(found, nullptr) << key << "\n" << errors;
        return found ? *found : none;
    }
    template <class Kind, class Key>
    const Kind& detail(const Key& key) {
        static const Kind none;
        const auto* found = database.detail<Kind>(find(key));
        EXPECT_NE(found, nullptr) << key << "\n" << errors;
        return found ? *found : none;
    }

    const std::filesystem::path folder = std::filesystem::temp_directory_path() / ("scene" + std::to_string(getpid()));
    Database database;
    Modules modules;
    ReaderSettings settings;
    std::vector<RenderCommand> renders;
    bool goOn = true;
    std::string errors, warnings, infos;
};

}  // namespace lumorender
