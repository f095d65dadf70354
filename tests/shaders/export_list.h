/* What the module exports: the shaders that lumovexa.mi declares, and the SDK functions and data of exports.txt. */
#pragma once

#include <fstream>
#include <regex>
#include <set>
#include <string>

#include "library.h"

namespace twin {

inline std::set<std::string> sdkNames() {
    std::ifstream file(LUMO_EXPORT_LIST);
    std::set<std::string> names;
    for (std::string name; file >> name;) names.insert(name);
    return names;
}

inline std::set<std::string> declaredShaders() {
    std::ifstream file(LUMO_DECLARATIONS "/lumovexa.mi");
    const std::regex head("    [^#]*\"(lumo\\w+)\" \\(.*");
    std::set<std::string> names;
    std::smatch match;
    for (std::string line; std::getline(file, line);)
        if (std::regex_match(line, match, head)) names.insert(match[1]);
    return names;
}

/* Those with an object for each instance. */
inline std::set<std::string> shadersWithObjects() {
    std::set<std::string> names;
    for (const std::string& name : declaredShaders())
        if (libraryHas(name + "_exit")) names.insert(name);
    return names;
}

}  // namespace twin
