#include "expressions.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <stdexcept>

namespace rendertest {

namespace {

using Operation = double (*)(double, double);
using Function = Value (*)(const Value&, const Value&, const Value&);

Value all(double v) { return {v, v, v, v}; }
double dot(const Value& a, const Value& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
double length(const Value& a) { return std::sqrt(dot(a, a)); }
Value unit(const Value& a) { return {a[0] / length(a), a[1] / length(a), a[2] / length(a), 0}; }
Value cross(const Value& a, const Value& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0], 0};
}

template <class F>
Value each(const Value& v, F f) {
    return {f(v[0]), f(v[1]), f(v[2]), f(v[3])};
}

struct Named {
    int arguments;
    Function function;
};

const std::map<std::string, Named, std::less<>>& functions() {
    using V = const Value&;
    static const std::map<std::string, Named, std::less<>> table = {
        {"sqrt", {1, [](V a, V, V) { return each(a, [](double v) { return std::sqrt(v); }); }}},
        {"exp", {1, [](V a, V, V) { return each(a, [](double v) { return std::exp(v); }); }}},
        {"log", {1, [](V a, V, V) { return each(a, [](double v) { return std::log(v); }); }}},
        {"sin", {1, [](V a, V, V) { return each(a, [](double v) { return std::sin(v); }); }}},
        {"cos", {1, [](V a, V, V) { return each(a, [](double v) { return std::cos(v); }); }}},
        {"acos", {1, [](V a, V, V) { return each(a, [](double v) { return std::acos(v); }); }}},
        {"atan", {1, [](V a, V, V) { return each(a, [](double v) { return std::atan(v); }); }}},
        {"abs", {1, [](V a, V, V) { return each(a, [](double v) { return std::abs(v); }); }}},
        {"floor", {1, [](V a, V, V) { return each(a, [](double v) { return std::floor(v); }); }}},
        {"length", {1, [](V a, V, V) { return all(length(a)); }}},
        {"unit", {1, [](V a, V, V) { return unit(a); }}},
        {"luminance", {1, [](V a, V, V) { return all(.3 * a[0] + .59 * a[1] + .11 * a[2]); }}},
        {"atan2", {2, [](V a, V b, V) { return all(std::atan2(a[0], b[0])); }}},
        {"dot", {2, [](V a, V b, V) { return all(dot(a, b)); }}},
        {"cross", {2, [](V a, V b, V) { return cross(a, b); }}},
        {"if", {3, [](V a, V b, V c) { return a[0] != 0 ? b : c; }}},
    };
    return table;
}

/// Recursive descent. Every rule returns a function that is called for each pixel.
class Parser {
public:
    Parser(std::string_view text, const Formulas& known) : text_(text), known_(known) {}

    Formula whole() {
        Formula formula = sum();
        expectEnd();
        return formula;
    }

    Assertion assertion() {
        Assertion made;
        made.left = sum();
        made.comparison = next();
        if (!accept('=') && !accept('<') && !accept('>')) fail("a comparison");
        made.right = sum();
        if (accept('~')) made.tolerance = sum();
        expectEnd();
        return made;
    }

private:
    char next() {
        while (at_ < text_.size() && text_[at_] == ' ') ++at_;
        return at_ < text_.size() ? text_[at_] : '\0';
    }
    bool accept(char wanted) { return next() == wanted && ++at_; }
    void expect(char wanted) {
        if (!accept(wanted)) fail(std::string(1, wanted));
    }
    void expectEnd() {
        if (next() != '\0') fail("the end");
    }
    [[noreturn]] void fail(const std::string& wanted) const {
        throw std::runtime_error("expected " + wanted + " before \"" + std::string(text_.substr(at_)) + "\"");
    }

    static Formula join(Formula a, Formula b, Operation operation) {
        return [a = std::move(a), b = std::move(b), operation](const PixelContext& p) {
            const Value x = a(p), y = b(p);
            return Value{operation(x[0], y[0]), operation(x[1], y[1]), operation(x[2], y[2]), operation(x[3], y[3])};
        };
    }

    /// One or more operands with some of the operators in between.
    Formula chain(std::string_view operators, Formula (Parser::*operand)()) {
        static const std::map<char, Operation> operations = {{'+', [](double x, double y) { return x + y; }},
                                                             {'-', [](double x, double y) { return x - y; }},
                                                             {'*', [](double x, double y) { return x * y; }},
                                                             {'/', [](double x, double y) { return x / y; }},
                                                             {'<', [](double x, double y) { return double(x < y); }},
                                                             {'>', [](double x, double y) { return double(x > y); }},
                                                             {'=', [](double x, double y) { return double(x == y); }}};
        Formula a = (this->*operand)();
        while (next() != '\0' && operators.find(next()) != std::string_view::npos) {
            const Operation operation = operations.at(text_[at_++]);
            a = join(a, (this->*operand)(), operation);
        }
        return a;
    }

    /// Inside of parentheses: 1 where it holds, else 0.
    Formula comparison() { return chain("<>=", &Parser::sum); }
    Formula sum() { return chain("+-", &Parser::product); }
    Formula product() { return chain("*/", &Parser::factor); }

    Formula factor() {
        if (accept('-'))
            return join([](const PixelContext&) { return all(0); }, factor(), [](double x, double y) { return x - y; });
        Formula a = primary();
        while (at_ < text_.size() && text_[at_] == '.') a = part(a);
        if (accept('^')) return join(a, factor(), [](double x, double y) { return std::pow(x, y); });
        return a;
    }

    Formula part(Formula a) {
        ++at_;
        const std::size_t index = std::string_view("rgbaRGBAxyz").find(next());
        if (index == std::string_view::npos) fail("a part such as .r or .x");
        ++at_;
        return
            [a = std::move(a), i = index < 8 ? index % 4 : index - 8](const PixelContext& p) { return all(a(p)[i]); };
    }

    Formula primary() {
        if (accept('(')) {
            Formula inside = comparison();
            expect(')');
            return inside;
        }
        if (accept('[')) return vector();
        double number = 0;
        next();
        const auto [end, error] = std::from_chars(text_.data() + at_, text_.data() + text_.size(), number);
        if (error == std::errc()) {
            at_ = static_cast<std::size_t>(end - text_.data());
            return [number](const PixelContext&) { return all(number); };
        }
        const std::string name = word();
        if (name == "integral") return integral();
        if (const auto found = functions().find(name); found != functions().end() && next() == '(')
            return call(found->second);
        if (name == "min" || name == "max") return extreme(name == "min");
        if (const auto found = known_.find(name); found != known_.end()) return found->second;
        return ofPixel(name);
    }

    std::string word() {
        const std::size_t begin = at_;
        while (at_ < text_.size() &&
               (std::isalnum(static_cast<unsigned char>(text_[at_])) || text_[at_] == '_' || text_[at_] == ':'))
            ++at_;
        if (at_ == begin) fail("a number, a name, ( or [");
        return std::string(text_.substr(begin, at_ - begin));
    }

    /// Behind "[": three numbers with blanks, or three formulas with commas in between.
    Formula vector() {
        const std::string_view inside = text_.substr(at_, text_.find(']', at_) - at_);
        const bool commas = inside.find(',') != std::string_view::npos;
        std::array<Formula, 3> parts;
        for (std::size_t i = 0; i < 3; ++i) {
            if (commas && i > 0) expect(',');
            parts[i] = commas ? sum() : factor();
        }
        expect(']');
        return [parts](const PixelContext& p) { return Value{parts[0](p)[0], parts[1](p)[0], parts[2](p)[0], 0}; };
    }

    Formula call(const Named& named) {
        std::array<Formula, 3> arguments;
        arguments.fill([](const PixelContext&) { return all(0); });
        for (int i = 0; i < named.arguments; ++i) {
            expect(i == 0 ? '(' : ',');
            arguments.at(static_cast<std::size_t>(i)) = comparison();
        }
        expect(')');
        return [arguments, f = named.function](const PixelContext& p) {
            return f(arguments[0](p), arguments[1](p), arguments[2](p));
        };
    }

    Formula extreme(bool smallest) {
        expect('(');
        Formula a = sum();
        while (accept(','))
            a = smallest ? join(a, sum(), [](double x, double y) { return std::min(x, y); })
                         : join(a, sum(), [](double x, double y) { return std::max(x, y); });
        expect(')');
        return a;
    }

    /// integral(u, 100, f): the mean of f over 100 steps of u from 0 to 1. The other variable is v.
    Formula integral() {
        expect('(');
        next();
        const std::string name = word();
        const bool isU = name == "u";
        expect(',');
        const Formula steps = sum();
        expect(',');
        const Formula inside = comparison();
        expect(')');
        return [=](const PixelContext& p) {
            const int count = static_cast<int>(steps(p)[0]);
            Value total = all(0);
            for (int i = 0; i < count; ++i) {
                (isU ? p.u : p.v) = (i + .5) / count;
                const Value one = inside(p);
                for (std::size_t k = 0; k < 4; ++k) total[k] += one[k] / count;
            }
            return total;
        };
    }

    /// The pixel's place, or what a layer has there: "diffuse", or "other:diffuse" of the case of that name.
    static Formula ofPixel(const std::string& name) {
        if (name == "pi") return [](const PixelContext&) { return all(std::acos(-1.)); };
        if (name == "u") return [](const PixelContext& p) { return all(p.u); };
        if (name == "v") return [](const PixelContext& p) { return all(p.v); };
        if (name == "x") return [](const PixelContext& p) { return all(p.x); };
        if (name == "y") return [](const PixelContext& p) { return all(p.y); };
        if (name == "width") return [](const PixelContext& p) { return all(p.picture->width); };
        if (name == "height") return [](const PixelContext& p) { return all(p.picture->height); };
        if (name == "ray")
            return [](const PixelContext& p) {
                const int w = p.picture->width, h = p.picture->height;
                return unit({(p.x + .5) * 2 / w - 1, (p.y + .5) * 2 / h - 1, -1});
            };
        const std::size_t colon = name.find(':');
        const std::string other = colon == std::string::npos ? "" : name.substr(0, colon),
                          layer = name.substr(colon + 1);
        return [=](const PixelContext& p) {
            const Picture& picture = other.empty() ? *p.picture : p.others->at(other);
            return picture.pixel(layer == "picture" ? "" : layer, p.x, p.y);
        };
    }

    std::string_view text_;
    const Formulas& known_;
    std::size_t at_ = 0;
};

}  // namespace

// Remembers its last value: formulas are made of others that are made of others.
Formula readFormula(std::string_view text, const Formulas& known) {
    struct Memory {
        Formula formula;
        std::array<double, 4> place;
        Value value;
    };
    const auto memory = std::make_shared<Memory>(Memory{Parser(text, known).whole(), all(-1), {}});
    return [memory](const PixelContext& p) {
        const std::array<double, 4> place{double(p.x), double(p.y), p.u, p.v};
        if (memory->place != place) memory->value = memory->formula(p);
        memory->place = place;
        return memory->value;
    };
}

Assertion readAssertion(std::string_view text, const Formulas& known) { return Parser(text, known).assertion(); }

}  // namespace rendertest
