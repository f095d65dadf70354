#include "application/closing_line.h"

#include "support/messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace lumorender {

namespace {

std::string counted(long count, const char* what) {
    return count == 0 ? "" : fmt::format(", {} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace

std::string durationText(double seconds) {
    return seconds < 60 ? fmt::format("{:.2f} s", seconds) : wholeDurationText(seconds);
}

std::string wholeDurationText(double seconds) {
    const long whole = static_cast<long>(seconds + 0.5);
    if (whole >= 3600) return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

std::string listOfFiles(const std::vector<std::string>& files) {
    constexpr std::size_t kMost = 4;
    if (files.empty()) return "nothing";
    std::string text;
    std::filesystem::path last;
    const std::size_t shown = files.size() > kMost ? 1 : files.size();
    for (std::size_t i = 0; i < shown; ++i) {
        std::error_code ignored;
        const auto file = std::filesystem::absolute(files[i], ignored).lexically_normal();
        text += (i == 0 ? "" : ", ") + (file.parent_path() == last ? file.filename() : file).string();
        last = file.parent_path();
    }
    return shown < files.size() ? fmt::format("{} and {} more files", text, files.size() - 1) : text;
}

void ClosingLine::print() const {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    announce("RC",
             fmt::format("wrote {} in {}{}{}", listOfFiles(writtenFiles()), durationText(seconds),
                         counted(messageCount(MessageClass::Warning), "warning"), counted(errorCount(), "error")));
}

}  // namespace lumorender
