// The one place through which the host and the shaders speak to the user, in the renderer's message classes.
#pragma once

#include <fmt/format.h>

#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumorender {

/// Classes in the order in which `verbose N` switches them on: N prints the first N of them.
enum class MessageClass { Fatal = 1, Error, Warning, Progress, Info, Debug, VerboseDebug };

constexpr int kDefaultVerbosity = 3;

/// Prints one message to standard error if its class is switched on, and counts it in any case.
/// @param module four letters that say who speaks, as the renderer does: "SCEN", "GEOM", "RC", "IMG", "PHEN", "API".
/// Identical errors and warnings are collapsed: the first is printed at once, the others are counted and the count is
/// told by reportRepeatedMessages. What could play tricks on a terminal is shown escaped (printable.h). Safe from all threads. Never throws.
void message(MessageClass messageClass, std::string_view module, std::string_view text) noexcept;

/// Prints, for every message that came more than once, how often it came, and forgets them.
void reportRepeatedMessages();

void setVerbosity(int level);

/// From now on warnings are errors.
void setStrict(bool strict);

/// Errors of any kind so far, printed or not: what exit codes and strictness go by.
long errorCount();

/// Prints a line that is no complaint and that everybody wants to see who does not want silence: from the default
/// verbosity on. Shown as information.
void announce(std::string_view module, std::string_view text);

/// Tells, as information, that a file was written, and remembers it.
void tellWritten(std::string_view module, const std::string& file);
std::vector<std::string> writtenFiles();
int verbosity();

/// Hands every message that would be printed to `sink` instead of standard error; an empty sink restores printing.
/// The sink is called by one thread at a time and must not send messages itself.
void setMessageSink(std::function<void(MessageClass, std::string_view module, std::string_view text)> sink);

/// True where a message of the class would be printed: lets a caller skip building its text.
bool speaks(MessageClass messageClass);

/// How many messages of the class there were since the program started, printed or not.
long messageCount(MessageClass messageClass);

template <class... Args>
void error(std::string_view module, fmt::format_string<Args...> text, Args&&... args) {
    message(MessageClass::Error, module, fmt::format(text, std::forward<Args>(args)...));
}

template <class... Args>
void warning(std::string_view module, fmt::format_string<Args...> text, Args&&... args) {
    message(MessageClass::Warning, module, fmt::format(text, std::forward<Args>(args)...));
}

template <class... Args>
void info(std::string_view module, fmt::format_string<Args...> text, Args&&... args) {
    if (speaks(MessageClass::Info)) message(MessageClass::Info, module, fmt::format(text, std::forward<Args>(args)...));
}

template <class... Args>
void progress(std::string_view module, fmt::format_string<Args...> text, Args&&... args) {
    if (speaks(MessageClass::Progress))
        message(MessageClass::Progress, module, fmt::format(text, std::forward<Args>(args)...));
}

template <class... Args>
void debug(std::string_view module, fmt::format_string<Args...> text, Args&&... args) {
    if (speaks(MessageClass::Debug))
        message(MessageClass::Debug, module, fmt::format(text, std::forward<Args>(args)...));
}

/// What is thrown inside the host where a render or a scene cannot go on. Never crosses a shader.
class Failure : public std::exception {
public:
    explicit Failure(std::string text) : text_(std::move(text)) {}
    const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string text_;
};

}  // namespace lumorender
