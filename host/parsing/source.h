// The text of a scene file, and places in it.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumorender {

/// One file as a whole. Text after its end reads as zero bytes once, so that scanning needs no bounds check per byte.
class SourceText {
public:
    /// `isScene`: false for a file that may be anything, such as one that a scene includes and that is not named like a
    /// scene. Nothing of it is shown in messages. A part of a file begins at a later line of it.
    SourceText(std::string name, std::filesystem::path directory, std::string text, bool isScene = true,
               std::size_t firstLine = 1);

    const std::string& name() const { return name_; }
    /// Where file names in this text are relative to.
    const std::filesystem::path& directory() const { return directory_; }
    const char* begin() const { return text_.data(); }
    const char* end() const { return text_.data() + text_.size(); }
    bool isScene() const { return isScene_; }

    /// Line number of a position. Counts on from the last call, because questions come in reading order mostly.
    std::size_t lineOf(const char* at) const;

private:
    std::string name_;
    std::filesystem::path directory_;
    std::string text_;
    bool isScene_;
    std::size_t firstLine_;
    mutable const char* countedTo_;
    mutable std::size_t countedLine_;
};

/// A position for messages.
struct Place {
    const SourceText* source = nullptr;
    const char* at = nullptr;

    /// "file:line"
    std::string text() const;
};

/// A part of a text, from the beginning of a token to the end of one.
struct TextSpan {
    const SourceText* source = nullptr;
    const char* begin = nullptr;
    const char* end = nullptr;
};

}  // namespace lumorender
