// Reads scene texts and keeps what was said and what was to be rendered.
#pragma once

#include "database/declaration.h"
#include "database/elements.h"
#include "mi/records.h"
#include "elements/reader.h"
#include "support/messages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace lumorender {

class SceneTest : public testing::Test, protected SceneActions {
protected:
    SceneTest() {
        settings.functionsRequired = false;
        setVerbosity(7);
        setMessageSink([this](MessageClass c, std::string_view, std::string_view text) {
            if (c == MessageClass::Error) errors += std::string(text) + "\n";
            if (c == MessageClass::Warning) warnings += std::string(text) + "\n";
            if (c == MessageClass::Info) infos += std::string(text) + "\n";
        });
    }
    ~SceneTest() override {
        reportRepeatedMessages();
        setMessageSink({});
        setVerbosity(kDefaultVerbosity);
    }

    bool render(const RenderCommand& command) override {
        renders.push_back(command);
        return goOn;
    }

    bool read(std::string_view text) { return readSceneText(text, "test.mi", database, modules, *this, settings); }

    void readClean(std::string_view text) {
        EXPECT_TRUE(read(text));
        EXPECT_EQ(errors, "");
        EXPECT_EQ(warnings, "");
    }

    template <class Record>
    const Record& record(std::string_view name, int type) {
        static const Record none = {};
        const auto* found = database.as<Record>(database.find(name), type);
        EXPECT_NE(found, nullptr) << name << "\n" << errors;
        return found ? *found : none;
    }

    const miFunction& function(miTag tag) {
        static const miFunction none = {};
        const auto* found = database.as<miFunction>(tag, miSCENE_FUNCTION);
        EXPECT_NE(found, nullptr) << errors;
        return found ? *found : none;
    }
    const miFunction& function(std::string_view name) { return function(database.find(name)); }

    template <class Params>
    const Params& parameters(const miFunction& f) {
        return *reinterpret_cast<const Params*>(f.parameters);
    }

    /// The ghost tag of the parameter at this address.
    template <class Value>
    miTag ghost(const miFunction& f, const Value& value) {
        miTag tag = 0;
        std::memcpy(&tag, reinterpret_cast<const char*>(&value) + f.ghost_offs, sizeof tag);
        return tag;
    }

    Database database;
    Modules modules;
    ReaderSettings settings;
    std::vector<RenderCommand> renders;
    bool goOn = true;
    std::string errors, warnings, infos;
};

}  // namespace lumorender
