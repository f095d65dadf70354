// Feeds arbitrary bytes to the scene reader, writes back what it has made of them, and ends where reading that makes
// something else. Nothing outside is reached but a folder for the echoes.
#include "support/messages.h"
#include "tests/host/scene/echo_loss.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

std::string errors;
std::filesystem::path folder;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    folder = std::filesystem::temp_directory_path() / ("fuzz_echo" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    std::atexit([] { std::filesystem::remove_all(folder); });
    lumorender::setMessageSink([](lumorender::MessageClass kind, std::string_view, std::string_view text) {
        if (kind <= lumorender::MessageClass::Error) errors.append(text) += '\n';
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    lumorender::ReaderSettings settings;
    settings.filesAllowed = false;
    settings.functionsRequired = false;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string loss = lumorender::lossOfEcho(
        text, "fuzz", settings, folder,
        [] {
            const std::string told = std::exchange(errors, {});
            lumorender::reportRepeatedMessages();  // what was told of one text is told of the next one, too
            errors.clear();
            return told;
        },
        false);
    if (loss.empty()) return 0;
    std::fprintf(stderr, "%s\n", loss.c_str());
    std::abort();
}
