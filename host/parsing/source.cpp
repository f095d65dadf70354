#include "parsing/source.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

SourceText::SourceText(std::string name, std::filesystem::path directory, std::string text, bool isScene,
                       std::size_t firstLine)
    : name_(std::move(name)),
      directory_(std::move(directory)),
      text_(std::move(text)),
      isScene_(isScene),
      firstLine_(firstLine),
      countedTo_(text_.data()),
      countedLine_(firstLine) {
    // Some editors of old end files with a mark, or fill up their last block.
    while (!text_.empty() && (text_.back() == '\x1a' || text_.back() == '\0')) text_.pop_back();
}

std::size_t SourceText::lineOf(const char* at) const {
    at = std::clamp(at, begin(), end());
    if (at < countedTo_) {
        countedTo_ = begin();
        countedLine_ = firstLine_;
    }
    countedLine_ += static_cast<std::size_t>(std::count(countedTo_, at, '\n'));
    countedTo_ = at;
    return countedLine_;
}

std::string Place::text() const {
    return source ? fmt::format("{}:{}", source->name(), source->lineOf(at)) : std::string("scene");
}

}  // namespace lumorender
