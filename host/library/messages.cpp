/* Messages of shaders: printf formats, printed by the host under the name "API". */
#include "support/fatal.h"
#include "support/messages.h"

#include "shader.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace lumorender {

namespace {

/// True where the format writes to memory ("%n"). Texts of the scene often end up as formats, so this must not work.
bool writesMemory(const char* format) {
    while ((format = std::strchr(format, '%'))) {
        ++format;
        format += std::strspn(format, "0123456789-+ #'.*$hlqjzLt");
        if (*format == 'n') return true;
        if (*format != '\0') ++format;
    }
    return false;
}

/// Texts longer than this are cut: a message is for people.
constexpr int kLongestMessage = 16384;

std::string formatted(const char* format, va_list arguments) {
    if (!format) return "(no text)";
    if (writesMemory(format)) return format;
    char text[kLongestMessage];
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    return length < 0 ? format : text;
}

/// Counts the message and prints it if its class is switched on; only then is it formatted.
void sayAs(MessageClass messageClass, int number, const char* format, va_list arguments) noexcept {
    if (!speaks(messageClass)) return message(messageClass, "API", "");
    try {
        const std::string text = formatted(format, arguments);
        message(messageClass, "API", number == 0 ? text : fmt::format("{:06}: {}", number, text));
    } catch (...) {
        message(messageClass, "API", "(message lost: out of memory)");
    }
}

}  // namespace

}  // namespace lumorender

using lumorender::MessageClass;

/// The body of a message function, whose arguments cannot be handed on by a plain call.
#define SAY(messageClass, number)                                             \
    va_list arguments;                                                        \
    va_start(arguments, format);                                              \
    lumorender::sayAs(MessageClass::messageClass, number, format, arguments); \
    va_end(arguments)

extern "C" {

void mi_fatal(const char* format, ...) {
    SAY(Fatal, 0);
    lumorender::endFatally();
}

void mi_error(const char* format, ...) { SAY(Error, 0); }

void mi_warning(const char* format, ...) { SAY(Warning, 0); }

void mi_info(const char* format, ...) { SAY(Info, 0); }

void mi_progress(const char* format, ...) { SAY(Progress, 0); }

void mi_debug(const char* format, ...) { SAY(Debug, 0); }

void mi_vdebug(const char* format, ...) { SAY(VerboseDebug, 0); }

void mi_nfatal(int number, const char* format, ...) {
    SAY(Fatal, number);
    lumorender::endFatally();
}

void mi_nerror(int number, const char* format, ...) { SAY(Error, number); }

void mi_nwarning(int number, const char* format, ...) { SAY(Warning, number); }

}  // extern "C"
