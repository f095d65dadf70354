// Feeds arbitrary bytes to the scene reader. Nothing outside is reached: the reader may not open files or modules.
#include "elements/reader.h"
#include "support/messages.h"

#include <cstddef>
#include <cstdint>

namespace {

struct NoActions : lumorender::SceneActions {
    bool render(const lumorender::RenderCommand&) override { return true; }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    lumorender::setMessageSink([](lumorender::MessageClass, std::string_view, std::string_view) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    lumorender::Database database;
    lumorender::Modules modules;
    NoActions actions;
    lumorender::ReaderSettings settings;
    settings.filesAllowed = false;
    settings.functionsRequired = false;
    lumorender::setVerbosity(7);
    lumorender::readSceneText({reinterpret_cast<const char*>(data), size}, "fuzz", database, modules, actions,
                              settings);
    lumorender::reportRepeatedMessages();
    return 0;
}
