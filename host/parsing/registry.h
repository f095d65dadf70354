// Variables and registry entries that a scene sets for its own conditionals and file names.
#pragma once

#include "support/version.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

class Registry {
public:
    struct Item {
        std::string kind;  ///< "value", "link", "mi", "echo" ..., or a key of the scene's own
        std::string text;
    };
    struct Entry {
        std::vector<Item> items;
        bool executed = false;
    };

    void setVariable(std::string_view name, std::string_view value);
    void clearVariable(std::string_view name);

    /// Names of entries may stand in braces, as they do where they are used.
    void define(std::string_view name, Entry entry);
    Entry* find(std::string_view name);

    /// What a conditional's key stands for: the value of a variable, or the expansion of a key in braces.
    std::string conditionValue(std::string_view key);

    /// Replaces `{key}` by registry values, `{$VAR}` and `${VAR}` by environment variables, `${?VAR}` by "1" where the
    /// variable is set. What cannot be replaced is named in `missing`, except keys that begin with an underscore.
    /// Folders that the value of an entry lists, parted by colons or semicolons; none where it has no value.
    std::vector<std::string> folders(std::string_view key);
    std::string expand(std::string_view text, std::vector<std::string>& missing);

private:
    void expandInto(std::string& result, std::string_view text, int depth, std::vector<std::string>& missing);
    void expandKey(std::string& result, std::string_view key, int depth, std::vector<std::string>& missing);

    std::map<std::string, std::string, std::less<>> variables_;
    std::map<std::string, Entry, std::less<>> entries_;
    int expansions_ = 0;  ///< of the running call
};

/// The renderer version that scenes ask for: field by field below 0, 0 or above 0 as `wanted` is older, equal or newer.
int compareWithOwnVersion(std::string_view wanted);

constexpr std::string_view kRendererVersion = kInterfaceVersion;

}  // namespace lumorender
