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
        std::string line, kind, name;
        while (std::getline(file, line))
            if (std::istringstream(line) >> kind >> name && kind != "#") kinds_[kind].insert(name);
    }

    /* name, plain, checked or object. */
    std::set<std::string> ofKind(const std::string& kind) const {
        const auto found = kinds_.find(kind);
        return found == kinds_.end() ? std::set<std::string>() : found->second;
    }

    std::set<std::string> shaders() const {
        std::set<std::string> all;
        for (const char* kind : {"plain", "checked", "object"}) all.merge(ofKind(kind));
        return all;
    }

    std::set<std::string> symbols() const {
        std::set<std::string> all = ofKind("name");
        for (const std::string& shader : shaders()) {
            all.insert({shader, shader + "_version"});
            if (!ofKind("plain").contains(shader)) all.insert(shader + "_init");
            if (ofKind("object").contains(shader)) all.insert(shader + "_exit");
        }
        return all;
    }

private:
    std::map<std::string, std::set<std::string>> kinds_;
};

}  // namespace twin
