#include "tests/host/scene/random_scene.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace lumorender {

SceneGrammar::SceneGrammar(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::string element;
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line.substr(1));
        if (line[0] == '[')
            element = line.substr(1, line.find(']') - 1);
        else if (line[0] == '!')
            for (std::string word; words >> word;) elsewhere[element].insert(word);
        else
            statements[element].push_back(line);
    }
    if (statements.empty()) throw std::runtime_error("there is no grammar in " + file.string());
}

/// Declarations come first, as others need them; commands behind what they need.
std::string RandomScene::text(int statements) {
    std::string all;
    for (int i = 0; i < 4; ++i) all += one("declare <declaration>") + "\n";
    for (int i = 0; i < statements; ++i) all += one(any(grammar_.statements.find("scene")->second)) + "\n";
    return all + one("render <instgroup> <camera instance> <options>") + "\n";
}

/// What has failed has left no name.
std::string RandomScene::one(std::string_view statement) {
    const std::string space = space_, options = options_, inherited = inherited_;
    const auto inheritances = inheritances_;
    const auto pending = pending_;
    const auto declared = declared_;
    const auto known = known_;
    try {
        const std::string text = expand(statement);
        if (depth_ > 0) return text;
        for (const auto& [kind, name] : pending_) known_[kind].push_back(name);
        pending_.clear();
        if (statement.starts_with("delete")) std::erase(known_[picked_.first], picked_.second);
        return text;
    } catch (const NothingThere&) {
        space_ = space;
        options_ = options;
        inherited_ = inherited;
        inheritances_ = inheritances;
        pending_ = pending;
        declared_ = declared;
        known_ = known;
        return "";
    }
}

/// "splitmix64".
std::uint32_t RandomScene::number(std::uint32_t end) {
    std::uint64_t x = state_ += 0x9e3779b97f4a7c15u;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9u;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebu;
    return static_cast<std::uint32_t>(((x ^ (x >> 31)) >> 32) % end);
}

std::string RandomScene::expand(std::string_view rule) {
    std::string text;
    while (!rule.empty()) {
        if (rule[0] == '{') {
            text += choose(rule);
        } else if (rule[0] == '<') {
            const std::size_t end = rule.find('>');
            text += make(std::string(rule.substr(1, end - 1)));
            rule.remove_prefix(end + 1);
        } else {
            text += rule[0];
            rule.remove_prefix(1);
        }
    }
    return text;
}

std::string RandomScene::choose(std::string_view& rule) {
    std::vector<std::string_view> alternatives;
    std::size_t begin = 1, at = 1;
    for (int depth = 1; depth > 0; ++at) {
        if (rule[at] == '<') at = rule.find('>', at);
        if (rule[at] == '{') ++depth;
        if (rule[at] == '}') --depth;
        if (depth > 1 || (rule[at] != '|' && depth == 1)) continue;
        alternatives.push_back(rule.substr(begin, at - begin));
        begin = at + 1;
    }
    const bool repeats = at < rule.size() && rule[at] == '*';
    rule.remove_prefix(at + repeats);
    std::string text;
    const std::uint32_t times = repeats ? number(4) : 1;
    for (std::uint32_t i = 0; i < times; ++i) text += (repeats ? " " : "") + expand(any(alternatives));
    return text;
}

std::string RandomScene::make(const std::string& what) {
    std::istringstream words(what);
    std::string word, rest;
    words >> word;
    std::getline(words >> std::ws, rest);
    if (word == "int") {
        const int low = std::stoi(rest), high = std::stoi(rest.substr(rest.find(' ')));
        return fmt::format("{}", low + static_cast<int>(number(static_cast<std::uint32_t>(high - low + 1))));
    }
    if (word == "float") return float_();
    if (word == "positive") return fmt::format("{}", 1 + number(400) / 8.0);
    if (word == "unit") return fmt::format("{}", number(1024) / 1024.0);
    if (word == "vector") return floats(3);
    if (word == "color") return floats(3 + static_cast<int>(number(2)));
    if (word == "matrix") return floats(12) + " 0 0 0 1";
    if (word == "affine")  // what has an inverse, and is its own inverse' inverse
        return fmt::format("{} 0 0 0 0 {} 0 0 0 0 {} 0 {} 1", 1 << number(3), 1 << number(3), 1 << number(3),
                           floats(3));
    if (word == "on") return std::array{"on", "off", "true", "false"}[number(4)];
    if (word == "text" || word == "file")
        return std::array{
            "\"a\"", "\"two words\"", "\"qu\\\"ote\"", "\"back\\\\slash\"", "\"end\"", "\"x.y\""}[number(6)];
    if (word == "some") return some(rest);
    if (word == "new") return newName(rest);
    if (word == "declaration") return declaration();
    if (word == "declared") {
        if (!inherits_) throw NothingThere();
        inheritances_[options_] = inherited_ = declared(rest).name;
        return reference(inherited_);
    }
    if (word == "edited") {
        const std::string name = known(rest);
        options_ = picked_.second;
        inherited_ = inheritances_[options_];
        return name;
    }
    if (word == "call") return call();
    if (word == "shaders") return shaders();
    if (word == "data" && rest == "block") {
        const Declared& data = declared("data");
        return reference(data.name) + " " + list(data.parameters, false);
    }
    if (word == "inherited") {
        if (inherits_ && inherited_.empty()) throw NothingThere();
        if (!inherits_) return fmt::format("( {}, {}, {}, null )", float_(), number(9), make("text"));
        const auto found =
            std::find_if(declared_.begin(), declared_.end(), [&](const Declared& d) { return d.name == inherited_; });
        return list(found->parameters, false);
    }
    if (word == "leave") {
        space_.erase(space_.rfind("::"));
        return "";
    }
    if (word == "group") return group(false);
    if (word == "tagged") return group(true);
    if (word == "trilist") return trilist();
    if (word == "hair") return hair();
    // Surfaces need the curves before them.
    if (word == "curves")
        return expand(
            "curve \"line\" {rational \"r\" 0. 1. 0 w 2. 1|\"x\" 0. 1. 0 1} {special 3|}\n"
            "space curve \"wire\" \"x\" 0. .5 1. 2 1 3\n"
            "surface \"plane\" {<material>|} \"x\" 0. 1. 0. 1. \"x\" 0. 1. 0. 1. 0 1 2 3 "
            "{derivative 1 {2|}|} {texture \"x\" 0. 1. \"x\" 0. 1. 0 1 2 3|} {trim \"line\" 0. 1.|}\n");
    return known(what);
}

std::string RandomScene::some(const std::string& element) {
    std::string text;
    const std::uint32_t count = number(7);
    const auto& statements = grammar_.statements.find(element)->second;
    ++depth_;
    for (std::uint32_t i = 0; i < (element == "approximate" ? 1 : count); ++i) {
        // What is only found in whole files does not stand in namespaces.
        const std::string& statement = any(statements);
        const bool isApart = element == "scene" && (statement.starts_with("namespace") ||
                                                    statement.starts_with("delete") || statement.starts_with("render"));
        if (!isApart) text += one(statement) + "\n";
    }
    --depth_;
    return text;
}

/// All that a float can be, as people and programs write it.
std::string RandomScene::float_() {
    switch (number(8)) {
        case 0: return "-0.";
        case 1: return fmt::format("{}", static_cast<int>(number(200)) - 100);
        case 2: return fmt::format("{}.", number(100));
        case 3: return fmt::format("-.{:03}", number(1000));
        case 4: return fmt::format("{}e{}", number(10), static_cast<int>(number(60)) - 30);
        case 5: return fmt::format("{:.12f}", number(1u << 31) / 7e6);
        default: return fmt::format("{}", static_cast<float>(number(1u << 31)) * 1e-7f);
    }
}

std::string RandomScene::floats(int count) {
    std::string text = float_();
    for (int i = 1; i < count; ++i) text += " " + float_();
    return text;
}

std::string RandomScene::newName(const std::string& kind) {
    const std::string name = fmt::format(
        fmt::runtime(std::array{"n{}", "a name {}", "qu\\\"ote{}", "back\\\\{}", "{}", "end{}", "\u00e4{}"}[number(7)]),
        names_++);
    if (kind == "namespace") {
        space_ += "::" + name;
        return "\"" + name + "\"\n";
    }
    // Those of an element come into use behind it.
    pending_.emplace_back(kind, space_ + "::" + name);
    if (kind == "options") {
        options_ = pending_.back().second;
        inherited_.clear();
    }
    return "\"" + name + "\"";
}

/// Names in full, without the blank beginning outside of namespaces.
std::string RandomScene::reference(const std::string& name) {
    return "\"" + (space_.empty() ? name.substr(2) : name) + "\"";
}

std::string RandomScene::known(const std::string& kinds) {
    std::vector<std::string> kind;
    std::istringstream words(kinds);
    for (std::string one; std::getline(words, one, '|');) kind.push_back(one);
    picked_.first = any(kind);
    picked_.second = any(known_[picked_.first]);
    return reference(picked_.second);
}

RandomScene::Type RandomScene::type(int depth) {
    static const std::array kWords{"boolean", "integer",   "scalar",       "string",        "color",
                                   "vector",  "transform", "shader",       "color texture", "scalar texture",
                                   "light",   "material",  "lightprofile", "data",          "struct"};
    Type type;
    type.word = kWords[number(static_cast<std::uint32_t>(kWords.size()) - (depth > 1))];
    type.name = fmt::format("p{}", number(1000));
    type.isArray = happens(20);
    if (type.word == "struct") type.members = types(depth + 1);
    return type;
}

std::vector<RandomScene::Type> RandomScene::types(int depth) {
    std::vector<Type> all;
    for (std::uint32_t i = 1 + number(5); i > 0; --i) {
        Type one = type(depth);
        one.name += fmt::format("_{}", i);
        all.push_back(one);
    }
    return all;
}

std::string RandomScene::typeText(const Type& type) {
    std::string text = (type.isArray ? "array " : "") + type.word + " \"" + type.name + "\"";
    if (type.word == "struct") {
        std::string members;
        for (const Type& member : type.members) members += (members.empty() ? "" : ", ") + typeText(member);
        return text + " { " + members + " }";
    }
    if (type.isArray || happens(60)) return text;
    if (type.word == "boolean") return text + " default " + make("on");
    if (type.word == "integer") return text + " default " + make("int -9 9");
    if (type.word == "scalar") return text + " default " + float_();
    if (type.word == "vector") return text + " default " + floats(3);
    if (type.word == "color") return text + " default " + floats(3);
    return text;
}

std::string RandomScene::declaration() {
    Declared one;
    one.kind = any(std::vector<std::string>{"shader", "shader", "data", "phenomenon"});
    one.name = space_ + fmt::format("::d{}", names_++);
    one.parameters = types(0);
    one.result = {any(std::vector<std::string>{"color", "scalar", "vector", "integer", "struct"}), "", false, {}};
    if (one.kind == "phenomenon") return phenomenon(one);
    std::string result;
    if (one.kind == "shader") {
        result = one.result.word;
        if (result == "struct")
            for (one.result.members = {{"color", "c", false, {}}, {"scalar", "s", false, {}}}; result == "struct";)
                result += " { color \"c\", scalar \"s\" }";
    }
    std::string parameters;
    for (const Type& each : one.parameters) parameters += (parameters.empty() ? "" : ",\n ") + typeText(each);
    const std::string requirements = happens(50) ? fmt::format(" version {} apply material", number(9)) : "";
    const std::string name = one.name.substr(one.name.rfind("::") + 2);
    declared_.push_back(one);
    return fmt::format("{} {} \"{}\" ( {} ){} end declare", one.kind, result, name, parameters, requirements);
}

/// Its body has a shader that takes one of its parameters, or all, and other elements.
std::string RandomScene::phenomenon(Declared& one) {
    const Declared inner = declared("shader");
    if (inner.parameters.empty()) throw NothingThere();
    const Type& taken = inner.parameters.front();
    if (taken.word == "struct" || taken.isArray) throw NothingThere();
    one.result = inner.result;
    one.parameters = {taken};
    const std::string name = one.name.substr(one.name.rfind("::") + 2);
    const std::string result = one.result.word == "struct" ? "struct { color \"c\", scalar \"s\" }" : one.result.word;
    one.kind = "shader";
    declared_.push_back(one);
    return fmt::format(
        "phenomenon {} \"{}\" ( {} )\n shader \"x\" {} ( \"{}\" = interface \"{}\" )\n"
        " material \"m\" {} ( ) end material\n root = \"x\" {}\nend declare",
        result, name, typeText(taken), reference("::" + inner.name.substr(2)), taken.name, taken.name,
        reference(inner.name), happens(30) ? fmt::format("lens {} ( ) lens priority 3", reference(inner.name)) : "");
}

const RandomScene::Declared& RandomScene::declared(std::string_view kind) {
    std::vector<const Declared*> all;
    for (const Declared& one : declared_)
        if (one.kind == kind) all.push_back(&one);
    return *any(all);
}

std::string RandomScene::call() {
    const Declared& shader = declared("shader");
    const std::string text = reference(shader.name) + " " + (happens(20) ? "( )" : list(shader.parameters, true));
    // Of a shader with this name, the result can be taken. What is called by others behind it has none.
    if (!pending_.empty() && pending_.back().first == "shader") results_.emplace(pending_.back().second, shader.result);
    return text;
}

std::string RandomScene::shaders() {
    std::string text;
    for (std::uint32_t i = number(3) + 1; i > 0; --i)
        text += (happens(40) ? "= " + known("shader|shader list") : call()) + " ";
    return text;
}

std::string RandomScene::list(const std::vector<Type>& types, bool connects) {
    std::string text;
    for (const Type& each : types)
        if (happens(70)) text += (text.empty() ? "\"" : ", \"") + each.name + "\" " + value(each, connects);
    return "( " + text + " )";
}

std::string RandomScene::value(const Type& type, bool connects) {
    if (!type.isArray) return element(type, connects);
    std::string text;
    for (std::uint32_t i = number(4); i > 0; --i) text += (text.empty() ? "" : ", ") + element(type, connects);
    return "[ " + text + " ]";
}

std::string RandomScene::element(const Type& type, bool connects) {
    if (type.word == "struct") {
        const std::string members = list(type.members, connects);
        return "{" + members.substr(1, members.size() - 2) + "}";
    }
    if (connects && happens(25)) {
        const std::string source = connection(type);
        if (!source.empty()) return "= " + source;
    }
    if (type.word == "boolean") return make("on");
    if (type.word == "integer") return make("int -99 99");
    if (type.word == "scalar") return float_();
    if (type.word == "color") return make("color");
    if (type.word == "vector") return floats(3);
    if (type.word == "transform") return floats(16);
    if (type.word == "string") return make("text");
    const std::string kind = type.word == "light" ? "light instance" : type.word;
    return known_[kind].empty() || happens(10) ? "null" : known(kind);
}

std::string RandomScene::connection(const Type& type) {
    std::vector<std::string> sources;
    for (const std::string& name : known_["shader"]) {
        const auto found = results_.find(name);
        if (found == results_.end()) continue;
        if (found->second.word == type.word) sources.push_back(name);
        for (const Type& member : found->second.members)
            if (member.word == type.word) sources.push_back(name + "." + member.name);
    }
    return sources.empty() ? "" : reference(any(sources));
}

std::string RandomScene::group(bool tagged) {
    const std::uint32_t vectors = 3 + number(9), vertices = 3 + number(6);
    const auto vector = [&] { return fmt::format(" {}", number(vectors)); };
    std::string text = "group\n";
    for (std::uint32_t i = 0; i < vectors; ++i) text += " " + floats(3) + "\n";
    const bool normals = happens(50), derivatives = happens(30);
    const std::uint32_t textures = number(3), motions = number(3), users = number(2);
    for (std::uint32_t i = 0; i < vertices; ++i) {
        text += " v" + vector();
        if (normals) text += " n" + vector();
        if (derivatives) text += " d" + vector() + vector();
        for (std::uint32_t k = 0; k < textures; ++k) text += " t" + vector() + (happens(30) ? vector() + vector() : "");
        for (std::uint32_t k = 0; k < motions; ++k) text += " m" + vector();
        for (std::uint32_t k = 0; k < users; ++k) text += " u" + vector();
        text += happens(10) ? " cusp\n" : "\n";
    }
    for (std::uint32_t i = number(6) + 1; i > 0; --i) {
        const std::string word = any(std::vector<std::string>{"c", "p", "cp", "strip", "fan"});
        text += " " + word;
        if (tagged) text += fmt::format(" {}", number(99));
        if (!tagged && happens(40) && !known_["material"].empty()) text += " " + known("material");
        for (std::uint32_t k = 3 + number(4); k > 0; --k) text += fmt::format(" {}", number(vertices));
        if (word == "p" && happens(40)) text += " hole 0 1 2";
        text += "\n";
    }
    if (happens(30)) text += " approximate fine length 2 0 3 all\n";
    return text + "end group";
}

std::string RandomScene::trilist() {
    const std::uint32_t vertices = 1 + number(5), triangles = number(4);
    const bool normals = happens(50);
    const std::uint32_t textures = number(3);
    std::string text = fmt::format("trilist vertex {} p{}", vertices, normals ? " n" : "");
    if (textures > 0) text += fmt::format(" t {}", textures);
    text += fmt::format(" triangle {} [", triangles);
    for (std::uint32_t i = 0; i < vertices; ++i) text += " " + floats(static_cast<int>(3 + 3 * normals + textures));
    text += " ] [";
    for (std::uint32_t i = 0; i < triangles; ++i) {
        if (happens(40) && !known_["material"].empty()) text += " " + known("material");
        for (int k = 0; k < 3; ++k) text += fmt::format(" {}", number(vertices));
    }
    return text + " ] end trilist";
}

std::string RandomScene::hair() {
    std::uint32_t perHair = 0, perVertex = 3;
    const auto extras = [&](const char* word, std::uint32_t& size) {
        std::string text;
        if (happens(40)) text += fmt::format(" {} n", word), size += 3;
        if (happens(40)) text += fmt::format(" {} t 2", word), size += 2;
        if (happens(30)) text += fmt::format(" {} m 1", word), size += 3;
        if (happens(30)) text += fmt::format(" {} u 1", word), size += 1;
        if (happens(30)) text += fmt::format(" {} radius", word), size += 1;
        return text;
    };
    const std::uint32_t degree = 1 + number(3), hairs = 1 + number(3);
    std::string text = fmt::format("hair radius {} degree {} approximate {}", make("positive"), degree, 1 + number(5));
    if (happens(40) && !known_["material"].empty()) text += " material " + known("material");
    text += extras("hair", perHair) + extras("vertex", perVertex);
    std::string offsets = "0";
    std::uint32_t size = 0;
    std::string scalars;
    for (std::uint32_t i = 0; i < hairs; ++i) {
        const std::uint32_t count = perHair + perVertex * (1 + degree * (1 + number(2)));
        scalars += " " + floats(static_cast<int>(count));
        offsets += fmt::format(" {}", size += count);
    }
    return fmt::format("{} scalar [ {} ] {} hair [ {} ] {} end hair", text, size, scalars, hairs + 1, offsets);
}

}  // namespace lumorender
