// Scenes in cases/ whose comments say what is seen in them: `#=` begins a line for this runner. CONTRIBUTING.md
// describes them.
#include "expressions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace rendertest {
namespace {

using Settings = std::map<std::string, std::string>;

struct Line {
    int number = 0;
    std::string word, rest;  ///< of `#= word rest`
};

/// The scene's text and what it expects: of the beginning of a file, or of one of its cases.
struct Part {
    std::string name, text;
    Settings settings;
    std::vector<Line> lines;
};

std::string take(std::string& text) {
    std::istringstream stream(text);
    std::string word, rest;
    stream >> word;
    std::getline(stream >> std::ws, rest);
    text = rest;
    return word;
}

/// "a=1 b=2", values with blanks in quotes of one kind or the other.
void readSettings(const std::string& text, Settings& settings) {
    static const std::regex one(R"re((\w+)=("[^"]*"|'[^']*'|\S+))re");
    for (std::sregex_iterator i(text.begin(), text.end(), one), end; i != end; ++i) {
        const std::string value = (*i)[2];
        settings[(*i)[1]] = value[0] == '"' || value[0] == '\'' ? value.substr(1, value.size() - 2) : value;
    }
}

/// What stands before the first case belongs to all of them.
std::vector<Part> readParts(const std::filesystem::path& file) {
    std::vector<Part> parts(1);
    std::ifstream stream(file);
    int number = 0;
    for (std::string text; std::getline(stream, text);) {
        ++number;
        const std::size_t mark = text.find("#=");
        if (mark == std::string::npos) {
            parts.back().text += text + "\n";
            continue;
        }
        std::string rest = text.substr(mark + 2);
        rest = rest.substr(0, rest.find("  # "));
        const std::string word = take(rest);
        if (word == "case") {
            parts.push_back(parts.front());
            parts.back().name = take(rest);
        }
        if (word == "case" || word == "set")
            readSettings(rest, parts.back().settings);
        else
            parts.back().lines.push_back({number, word, rest});
    }
    if (parts.size() > 1) parts.erase(parts.begin());
    return parts;
}

/// A color buffer of a pass, and the members of its record in the frame-buffer block.
struct Pass {
    std::string name;
    int type = 0;
    Settings record{
        {"composited", "on"}, {"shadowed", "1"}, {"maxReflectionLevel", "1000"}, {"maxRefractionLevel", "1000"}};
};

/// "diffuse 5, front 5 -composited, all 0 minReflectionLevel=1 matte": members are set, set to 1, or left out.
void readPasses(const std::string& text, std::vector<Pass>& passes) {
    std::istringstream list(text);
    for (std::string one; std::getline(list, one, ',');) {
        Pass pass;
        pass.name = take(one);
        pass.type = std::stoi(take(one));
        for (std::string word = take(one); !word.empty(); word = take(one)) {
            const std::size_t equal = word.find('=');
            if (word[0] == '-')
                pass.record.erase(word.substr(1));
            else
                pass.record[word.substr(0, equal)] = equal == std::string::npos ? "1" : word.substr(equal + 1);
        }
        passes.push_back(pass);
    }
    std::stable_sort(passes.begin(), passes.end(), [](const Pass& a, const Pass& b) { return a.type < b.type; });
}

/// The camera, at the origin with 90 degrees of view along -z, and its buffers.
std::string cameraText(const std::vector<Pass>& passes) {
    std::array<int, 35> counts{};
    std::string records, buffers;
    for (const Pass& pass : passes) {
        ++counts.at(static_cast<std::size_t>(pass.type));
        records += fmt::format("{}{{ \"frameBufferName\" \"{}\"", records.empty() ? "" : ",\n", pass.name);
        for (const auto& [key, value] : pass.record) records += fmt::format(", \"{}\" {}", key, value);
        records += " }";
        buffers += fmt::format(
            "framebuffer \"{}\" datatype \"rgba_fp\" user on filename \"out.exr\" filetype \"exr\"\n", pass.name);
    }
    const std::string block = fmt::format(
        "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"frameBufferInfo\" [ {} ], "
        "\"FrameBufferTypeCounts\" [ {} ] )\n",
        records, fmt::join(counts, ", "));
    return (passes.empty() ? "" : block) +
           "camera \"cam\" framebuffer \"picture\" datatype \"rgba_fp\" primary on filename \"out.exr\" filetype "
           "\"exr\"\n" +
           buffers + (passes.empty() ? "" : "data \"fbuf\" ") +
           "focal 1 aperture 2 aspect 1 resolution 4 4 end camera\ninstance \"cam_i\" \"cam\" end instance\n";
}

/// Digits of a pass mask that leaves out some passes: a bit for each, four to a digit.
std::string maskWithout(const std::string& names, const std::vector<Pass>& passes) {
    std::vector<unsigned> digits((passes.size() + 3) / 4, 15);
    for (std::size_t p = 0; p < passes.size(); ++p)
        if ((" " + names + " ").find(" " + passes[p].name + " ") != std::string::npos)
            digits[p / 4] &= ~(1U << (p % 4));
    return fmt::format("{:x}", fmt::join(digits, ""));
}

/// %name% is a setting, %without a b% a pass mask.
std::string expand(const std::string& text, const Settings& settings, const std::vector<Pass>& passes) {
    static const std::regex mark("%(without )?([A-Za-z_][\\w ]*)%");
    std::string result = text;
    for (std::smatch found; std::regex_search(result, found, mark);) {
        if (!found[1].matched && !settings.contains(found[2])) throw std::runtime_error("no setting " + found.str());
        const std::string value = found[1].matched ? maskWithout(found[2], passes) : settings.at(found[2]);
        result = found.prefix().str() + value + found.suffix().str();
    }
    return result;
}

std::string quoted(const std::string& text) {
    return text.substr(text.find('"') + 1, text.rfind('"') - text.find('"') - 1);
}

class CasesTest : public RenderTest {
public:
    explicit CasesTest(std::filesystem::path file) : file_(std::move(file)) {}

    void TestBody() override {
        for (const Part& part : readParts(file_)) {
            try {
                check(part);
            } catch (const std::exception& problem) {
                fail(0, part, problem.what());
            }
        }
    }

private:
    void fail(int line, const Part& part, const std::string& what) const {
        ADD_FAILURE_AT(file_.c_str(), line) << what << (part.name.empty() ? "" : "\n  in case " + part.name);
    }

    /// Marks and settings give way to what they stand for.
    static std::vector<Pass> complete(Part& part) {
        part.settings["here"] = LUMO_CASES;
        std::vector<Pass> passes;
        for (const Line& line : part.lines)
            if (line.word == "passes") readPasses(expand(line.rest, part.settings, {}), passes);
        part.text = expand(part.text, part.settings, passes);
        if (const std::size_t mark = part.text.find('@'); mark != std::string::npos) {
            const auto end = part.text.begin() + static_cast<std::ptrdiff_t>(mark);
            part.settings["place"] = fmt::format("scene.mi:{}", 1 + std::count(part.text.begin(), end, '\n'));
            part.text.erase(mark, 1);
        }
        for (Line& line : part.lines) line.rest = expand(line.rest, part.settings, passes);
        return passes;
    }

    void check(Part part) {
        render(part, complete(part));
        Formulas known = counted_;
        for (const Line& line : part.lines) try {
                expectLine(line, part, known);
            } catch (const std::exception& problem) {
                fail(line.number, part, problem.what());
            }
        if (told_.exitCode == 0) expectEchoed(part);
    }

    static std::vector<std::string> argumentsOf(const Part& part) {
        std::vector<std::string> arguments{"-I", LUMO_CASES};
        for (const Line& line : part.lines) {
            std::istringstream words(line.rest);
            if (line.word == "arguments")
                for (std::string word; words >> word;) arguments.push_back(word);
        }
        return arguments;
    }

    static std::string sceneText(const Part& part) {
        const bool renders = std::regex_search(part.text, std::regex("\nrender "));
        return part.text + (renders ? "" : "\nrender \"world\" \"cam_i\" \"opt\"\n");
    }

    /// Fails when it says more than the case expects, or ends otherwise.
    void render(const Part& part, const std::vector<Pass>& passes) {
        int exitCode = 0;
        bool mayWarn = false;
        for (const Line& line : part.lines) {
            if (line.word == "exit") exitCode = std::stoi(line.rest);
            mayWarn = mayWarn || line.word == "message" || line.word == "warnings";
        }
        write("camera.mi", cameraText(passes));
        std::filesystem::remove(path("out.exr"));
        told_ = renderText(sceneText(part), argumentsOf(part));
        const bool complains =
            told_.says("probe: not so") || (!mayWarn && (told_.says("warning") || told_.says("error")));
        if (told_.exitCode != exitCode || complains)
            fail(0, part, fmt::format("exit code {}, signal {}\n{}", told_.exitCode, told_.signal, told_.messages));
        picture_ = nullptr;
        if (!exists("out.exr")) return;
        picture_ = &pictures_.insert_or_assign(part.name, Picture(path("out.exr"))).first->second;
    }

    Outcome echo(const std::string& scene, std::vector<std::string> arguments, const std::string& file) const {
        arguments.insert(arguments.end(), {"-echo", file, "--"});
        return renderText(scene, arguments);
    }

    /// The scene as it is written back makes the same pictures, all of them, and is written as the same text.
    void expectEchoed(const Part& part) {
        const auto arguments = argumentsOf(part);
        const auto pictures = takeFiles();
        const Outcome first = echo(sceneText(part), arguments, "first.mi");
        // What was written has only those render commands that were carried out, under other numbers.
        auto others = arguments;
        const auto selected = std::find(others.begin(), others.end(), "-render");
        if (selected != others.end()) others.erase(selected, selected + 2);
        const Outcome second = echo("$include \"first.mi\"\n", others, "second.mi");
        const Outcome again = renderText("$include \"first.mi\"\n", others);
        if (first.exitCode != 0 || contentOf(path("first.mi")) != contentOf(path("second.mi")))
            fail(0, part, "is written in another way\n" + first.messages + second.messages);
        if (takeFiles() != pictures) fail(0, part, "makes other pictures when it was written\n" + again.messages);
    }

    void expectLine(const Line& line, const Part& part, Formulas& known) {
        const std::string& word = line.word;
        if (word == "let") {
            const std::size_t equal = line.rest.find('=');
            std::string name = line.rest.substr(0, equal);
            known[take(name)] = readFormula(line.rest.substr(equal + 1), known);
        } else if (word == "message" || word == "silent") {
            const int wanted = word == "silent" ? 0 : std::isdigit(line.rest[0]) ? std::stoi(line.rest) : -1;
            const int count = countOf(told_.messages, quoted(line.rest));
            if (wanted < 0 ? count == 0 : count != wanted)
                fail(line.number, part, fmt::format("said {} times, in\n{}", count, told_.messages));
        } else if (word == "told") {
            expectTold(line, part);
        } else if (word == "count") {
            std::string rest = line.rest;
            const std::string name = take(rest);
            known[name] = counted_[part.name + ":" + name] = sumOf(std::regex(quoted(line.rest)));
        } else if (word == "file") {
            std::string description = line.rest;
            const std::string name = take(description);
            if (!exists(name)) throw std::runtime_error("is not there");
            if (!description.empty() && description != Picture(path(name)).description())
                fail(line.number, part, Picture(path(name)).description());
        } else if (word == "stored") {
            expectStored(line, part);
        } else if (word == "same" || word == "expect" || word == "at" || word == "mean" || word == "every") {
            if (!picture_) throw std::runtime_error("no picture");
            if (word == "same") {
                if (*picture_ != pictures_.at(line.rest.substr(3))) fail(line.number, part, "has other bits");
            } else if (word == "every")
                expectEvery(line, part, known);
            else
                expectPicture(line, part, known);
        } else if (word != "passes" && word != "arguments" && word != "exit" && word != "warnings") {
            throw std::runtime_error("unknown: " + word);
        }
    }

    /// "NAME x y: type values", a pixel of any image file; or "NAME attribute: value" of its header.
    void expectStored(const Line& line, const Part& part) const {
        std::string wanted = line.rest.substr(line.rest.find(':') + 1),
                    place = line.rest.substr(0, line.rest.find(':'));
        const std::string name = take(place), found = storedIn(path(name), place);
        if (wanted != " " + found) fail(line.number, part, name + ":" + found);
    }

    /// Of the numbers that the pattern's parentheses find in what the program said.
    Formula sumOf(const std::regex& pattern) const {
        double sum = 0;
        for (std::sregex_iterator i(told_.messages.begin(), told_.messages.end(), pattern), end; i != end; ++i)
            sum += std::stod((*i)[1]);
        return [sum](const PixelContext&) { return Value{sum, sum, sum, sum}; };
    }

    /// The calls that probes tell of, all of them in order, "; " in between.
    void expectTold(const Line& line, const Part& part) {
        static const std::regex told("probe: ([^\n]*)");
        std::string calls;
        for (std::sregex_iterator i(told_.messages.begin(), told_.messages.end(), told), end; i != end; ++i)
            calls += (calls.empty() ? "" : "; ") + (*i)[1].str();
        if (calls != line.rest) fail(line.number, part, "told: " + calls);
    }

    /// In the formula "layer" stands for each of the picture's layers, which it is to be.
    void expectEvery(const Line& line, const Part& part, const Formulas& known) {
        static const std::regex mark("\\blayer\\b");
        std::set<std::string> layers;
        for (const auto& [name, channel] : picture_->channels())
            layers.insert(name.find('.') == std::string::npos ? "picture" : name.substr(0, name.rfind('.')));
        for (const std::string& layer : layers)
            expectPicture({line.number, "expect", std::regex_replace("layer = " + line.rest, mark, layer)}, part,
                          known);
    }

    /// In all pixels, in one, or on the mean of all. One failure is enough.
    void expectPicture(const Line& line, const Part& part, const Formulas& known) {
        std::string rest = line.rest;
        int firstX = picture_->windowX, endX = firstX + picture_->windowWidth;
        int firstY = picture_->windowY, endY = firstY + picture_->windowHeight;
        if (line.word == "at") {
            firstX = std::stoi(take(rest)), endX = firstX + 1;
            firstY = std::stoi(take(rest)), endY = firstY + 1;
        }
        const Assertion assertion = readAssertion(rest, known);
        PixelContext pixel{picture_, &pictures_, 0, 0};
        Value mean{};
        for (pixel.y = firstY; pixel.y < endY; ++pixel.y)
            for (pixel.x = firstX; pixel.x < endX; ++pixel.x) {
                const Value left = assertion.left(pixel);
                if (line.word != "mean" && !expectHolds(line, part, assertion, pixel, left)) return;
                for (std::size_t i = 0; i < 4; ++i)
                    mean[i] += left[i] / (picture_->windowWidth * picture_->windowHeight);
            }
        pixel.x = pixel.y = 0;
        if (line.word == "mean") expectHolds(line, part, assertion, pixel, mean);
    }

    /// Equations hold to a ten thousandth and two millionths, unless they say by how much. Alpha is asked for by name.
    bool expectHolds(const Line& line, const Part& part, const Assertion& assertion, const PixelContext& pixel,
                     const Value& left) const {
        const Value right = assertion.right(pixel);
        bool holds = true;
        for (std::size_t i = 0; i < 3; ++i) {
            const double tolerance =
                assertion.tolerance ? assertion.tolerance(pixel)[i] : 1e-4 * std::abs(right[i]) + 2e-6;
            holds = holds && (assertion.comparison == '='   ? std::abs(left[i] - right[i]) <= tolerance
                              : assertion.comparison == '<' ? left[i] < right[i]
                                                            : left[i] > right[i]);
        }
        if (!holds)
            fail(line.number, part,
                 fmt::format("{}\n  at {} {}: {:.7g} {:.7g} {:.7g}, not {:.7g} {:.7g} {:.7g}", line.rest, pixel.x,
                             pixel.y, left[0], left[1], left[2], right[0], right[1], right[2]));
        return holds;
    }

    std::filesystem::path file_;
    std::map<std::string, Picture> pictures_;  // of the cases so far
    Formulas counted_;                         // "case:name", of the cases so far
    const Picture* picture_ = nullptr;         // of this case, if it made one
    Outcome told_;
};

/// Files whose names begin with a capital letter are included by others.
const bool registered = [] {
    for (const auto& entry : std::filesystem::directory_iterator(LUMO_CASES)) {
        const std::filesystem::path& file = entry.path();
        const std::string name = file.stem();
        if (file.extension() != ".mi" || std::isupper(name[0])) continue;
        ::testing::RegisterTest("Cases", name.c_str(), nullptr, nullptr, file.c_str(), 1,
                                [file]() -> RenderTest* { return new CasesTest(file); });
    }
    return true;
}();

}  // namespace
}  // namespace rendertest
