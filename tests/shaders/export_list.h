/* The names that the module exports, as exports.txt lists them. */
#pragma once

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

namespace twin {

class ExportList {
public:
    ExportList() {
        std::ifstream file(LUMO_EXPORT_LIST);
        for (std::string line, kind, name; std::getline(file, line);) {
            std::istringstream words(line);
            words >> kind;
            while (words >> name) kinds_[kind].insert(name);
        }
    }

    /* name, plain, checked or object. */
    std::set<std::string> ofKind(const std::string& kind) { return kinds_[kind]; }

    std::set<std::string> shaders() {
        std::set<std::string> all = kinds_["plain"];
        for (const char* kind : {"checked", "object"}) all.insert(kinds_[kind].begin(), kinds_[kind].end());
        return all;
    }

    std::set<std::string> symbols() {
        std::set<std::string> all = kinds_["name"];
        for (const std::string& shader : shaders()) {
            all.insert({shader, shader + "_version"});
            if (!kinds_["plain"].contains(shader)) all.insert(shader + "_init");
            if (kinds_["object"].contains(shader)) all.insert(shader + "_exit");
        }
        return all;
    }

private:
    std::map<std::string, std::set<std::string>> kinds_;
};

}  // namespace twin
