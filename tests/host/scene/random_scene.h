// Scenes that nobody has written: every statement in any order, of any number, as a grammar says.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// What statements the elements of the scene language have; grammar.txt says how they are written.
struct SceneGrammar {
    explicit SceneGrammar(const std::filesystem::path& file);

    std::map<std::string, std::vector<std::string>, std::less<>> statements;  ///< of each element
    std::map<std::string, std::set<std::string>, std::less<>> elsewhere;      ///< words that need no statement
};

/// The same scene for the same seed, everywhere.
class RandomScene {
public:
    RandomScene(const SceneGrammar& grammar, std::uint64_t seed)
        : grammar_(grammar), inherits_(seed % 2 == 0), state_(seed) {}

    std::string text(int statements);
    /// One statement as it might stand there, or nothing where it needs what there is not.
    std::string one(std::string_view statement);

private:
    struct Type {
        std::string word, name;
        bool isArray = false;
        std::vector<Type> members;
    };
    struct Declared {
        std::string kind, name;
        Type result;
        std::vector<Type> parameters;
    };
    struct NothingThere {};

    std::uint32_t number(std::uint32_t end);
    bool happens(int percent) { return number(100) < static_cast<std::uint32_t>(percent); }
    template <class List>
    const auto& any(const List& list) {
        if (list.empty()) throw NothingThere();
        return list[number(static_cast<std::uint32_t>(list.size()))];
    }

    std::string expand(std::string_view rule);
    std::string choose(std::string_view& rule);
    std::string make(const std::string& what);
    std::string some(const std::string& element);
    std::string float_();
    std::string floats(int count);
    std::string newName(const std::string& kind);
    std::string known(const std::string& kinds);
    std::string reference(const std::string& kind);

    std::string declaration();
    std::string phenomenon(Declared& declared);
    std::string typeText(const Type& type);
    Type type(int depth);
    std::vector<Type> types(int depth);
    const Declared& declared(std::string_view kind);
    std::string call();
    std::string shaders();
    std::string list(const std::vector<Type>& types, bool connects);
    std::string value(const Type& type, bool connects);
    std::string element(const Type& type, bool connects);
    std::string connection(const Type& type);

    std::string group(bool tagged);
    std::string trilist();
    std::string hair();

    const SceneGrammar& grammar_;
    const bool inherits_;  ///< parameters of instances are declared; else none of them are
    std::uint64_t state_;
    int names_ = 0, depth_ = 0;
    std::string space_;
    std::string options_, inherited_;                  ///< read last, and how these lay out parameters of instances
    std::map<std::string, std::string> inheritances_;  ///< of all options
    std::map<std::string, std::vector<std::string>, std::less<>> known_;
    std::vector<std::pair<std::string, std::string>> pending_;  ///< kinds and names of the statement in the making
    std::pair<std::string, std::string> picked_;                ///< kind and name of what was named last
    std::vector<Declared> declared_;
    std::map<std::string, Type> results_;  ///< of named shaders
};

}  // namespace lumorender
