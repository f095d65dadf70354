// Declarations as their file has them, with all comments: for people.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

struct DeclarationText {
    std::string kind;  ///< "shader", "data" or "phenomenon"
    std::string name;
    int version = 0;
    std::string text;  ///< from the comment right before it to the end of its last line
};

/// All declarations of a text, in its order. What is no declaration is passed over; nothing is included or defined.
std::vector<DeclarationText> findDeclarationTexts(std::string_view text);

/// Of a file; none where it cannot be read.
std::vector<DeclarationText> readDeclarationTexts(const std::filesystem::path& file);

}  // namespace lumorender
