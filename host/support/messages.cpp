#include "support/messages.h"

#include "support/printable.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <unordered_map>

namespace lumorender {

namespace {

constexpr std::size_t kClasses = 8;  // class numbers start at 1

/// Messages that differ in a number (a position, a pixel) would fill the memory: from here on they are only counted.
constexpr std::size_t kRememberedTexts = 4096;

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

/// What came with the same class, module and text.
struct Repetition {
    MessageClass messageClass = MessageClass::Error;
    std::string module;
    std::string text;
    long count = 0;
};

/// All of it lives as long as the process: shaders may speak while static objects are destroyed.
struct Speaker {
    std::atomic<int> verbosity{kDefaultVerbosity};
    std::array<std::atomic<long>, kClasses> counts{};
    std::mutex mutex;  // for everything below, and so that lines do not interleave
    std::unordered_map<std::string, Repetition, TextHash, std::equal_to<>> repetitions;
    long notRemembered = 0;
    std::function<void(MessageClass, std::string_view, std::string_view)> sink;
    std::vector<std::string> written;
    std::atomic<bool> strict{false};
};

Speaker& speaker() {
    static Speaker* const instance = new Speaker;
    return *instance;
}

const char* nameOf(MessageClass messageClass) {
    constexpr std::array<const char*, kClasses> names = {"",         "fatal", "error", "warning",
                                                         "progress", "info",  "debug", "vdebug"};
    return names[static_cast<std::size_t>(messageClass)];
}

/// A small number per thread, in the order in which threads first speak.
int threadNumber() {
    static std::atomic<int> next{1};
    thread_local const int number = next++;
    return number;
}

/// One write per line, so that lines of several processes on one terminal stay whole as well.
void writeLine(MessageClass messageClass, std::string_view module, std::string_view text) {
    fmt::memory_buffer line;
    fmt::format_to(std::back_inserter(line), "{:<4} 0.{:<2} {:<8}: {}\n", module, threadNumber(), nameOf(messageClass),
                   text);
    std::string_view rest(line.data(), line.size());
    while (!rest.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (written <= 0) return;
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

/// Call with the mutex held.
void emit(Speaker& to, MessageClass messageClass, std::string_view module, std::string_view text) {
    if (to.sink)
        to.sink(messageClass, module, text);
    else
        writeLine(messageClass, module, text);
}

/// Counts an error or warning; true when it is to be printed now. Call with the mutex held.
bool isNew(Speaker& to, MessageClass messageClass, std::string_view module, std::string_view text) {
    fmt::memory_buffer key;
    fmt::format_to(std::back_inserter(key), "{}{}\n{}", static_cast<int>(messageClass), module, text);
    const std::string_view keyText(key.data(), key.size());
    if (const auto known = to.repetitions.find(keyText); known != to.repetitions.end()) {
        ++known->second.count;
        return false;
    }
    if (to.repetitions.size() >= kRememberedTexts) {
        ++to.notRemembered;
        return false;
    }
    to.repetitions.emplace(keyText, Repetition{messageClass, std::string(module), std::string(text), 1});
    return true;
}

/// Shader writers often end their formats with a line feed, which the line gets anyway.
std::string_view withoutLineEnd(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
    return text;
}

}  // namespace

void message(MessageClass messageClass, std::string_view module, std::string_view text) noexcept {
    try {
        Speaker& to = speaker();
        if (to.strict && messageClass == MessageClass::Warning) messageClass = MessageClass::Error;
        to.counts[static_cast<std::size_t>(messageClass)].fetch_add(1, std::memory_order_relaxed);
        if (!speaks(messageClass)) return;
        const std::string shown = printable(withoutLineEnd(text));
        const bool collapses = messageClass == MessageClass::Error || messageClass == MessageClass::Warning;
        const std::lock_guard lock(to.mutex);
        if (!collapses || isNew(to, messageClass, module, shown)) emit(to, messageClass, module, shown);
    } catch (...) {
        // Out of memory while speaking: the message is lost, the render is not.
    }
}

void reportRepeatedMessages() {
    Speaker& to = speaker();
    const std::lock_guard lock(to.mutex);
    for (const auto& [key, repetition] : to.repetitions) {
        if (repetition.count < 2) continue;
        emit(to, repetition.messageClass, repetition.module,
             fmt::format("{} ({} times)", repetition.text, repetition.count));
    }
    if (to.notRemembered > 0)
        emit(to, MessageClass::Warning, "HOST",
             fmt::format("{} further errors and warnings, too many different ones to print", to.notRemembered));
    to.repetitions.clear();
    to.notRemembered = 0;
}

void setStrict(bool strict) { speaker().strict = strict; }

long errorCount() { return messageCount(MessageClass::Error) + messageCount(MessageClass::Fatal); }

void announce(std::string_view module, std::string_view text) {
    Speaker& to = speaker();
    if (to.verbosity < kDefaultVerbosity) return;
    const std::lock_guard lock(to.mutex);
    emit(to, MessageClass::Info, module, text);
}

void tellWritten(std::string_view module, const std::string& file) {
    info(module, "wrote {}", file);
    Speaker& to = speaker();
    const std::lock_guard lock(to.mutex);
    if (std::find(to.written.begin(), to.written.end(), file) == to.written.end()) to.written.push_back(file);
}

std::vector<std::string> writtenFiles() {
    Speaker& to = speaker();
    const std::lock_guard lock(to.mutex);
    return to.written;
}

void setVerbosity(int level) { speaker().verbosity = level; }

int verbosity() { return speaker().verbosity; }

void setMessageSink(std::function<void(MessageClass, std::string_view module, std::string_view text)> sink) {
    Speaker& to = speaker();
    const std::lock_guard lock(to.mutex);
    to.sink = std::move(sink);
}

bool speaks(MessageClass messageClass) {
    return static_cast<int>(messageClass) <= speaker().verbosity.load(std::memory_order_relaxed);
}

long messageCount(MessageClass messageClass) {
    return speaker().counts[static_cast<std::size_t>(messageClass)].load(std::memory_order_relaxed);
}

}  // namespace lumorender
