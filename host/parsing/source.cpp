#include "parsing/source.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace lumorender {

SourceText::SourceText(std::string name, std::filesystem::path directory, std::string text)
    : name_(std::move(name)), directory_(std::move(directory)), text_(std::move(text)), countedTo_(text_.data()) {}

std::size_t SourceText::lineOf(const char* at) const {
    at = std::clamp(at, begin(), end());
    if (at < countedTo_) {
        countedTo_ = begin();
        countedLine_ = 1;
    }
    countedLine_ += static_cast<std::size_t>(std::count(countedTo_, at, '\n'));
    countedTo_ = at;
    return countedLine_;
}

std::string Place::text() const {
    return source ? fmt::format("{}:{}", source->name(), source->lineOf(at)) : std::string("scene");
}

std::string loadFile(const std::filesystem::path& file, std::string& text) {
    std::error_code failure;
    const auto status = std::filesystem::status(file, failure);
    if (!std::filesystem::exists(status)) return "there is no such file";
    if (!std::filesystem::is_regular_file(status)) return "it is not a regular file";

    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "rb"), &std::fclose);
    if (!stream) return "it cannot be opened";
    const auto size = std::filesystem::file_size(file, failure);
    if (failure) return "its size is unknown";
    text.resize(size);
    text.resize(std::fread(text.data(), 1, text.size(), stream.get()));
    return std::ferror(stream.get()) ? "it cannot be read" : "";
}

}  // namespace lumorender
