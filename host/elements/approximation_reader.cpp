// Reads what follows the word `approximate`.
#include "elements/element_readers.h"

#include <algorithm>
#include <array>
#include <limits>
#include <unordered_set>

namespace lumorender {

namespace {

constexpr int kFinestLevels = 24;

class ApproximationReader {
public:
    ApproximationReader(SceneContext& scene, ApproximationNames names) : scene_(scene), in_(scene.in), names_(names) {}

    void read(Approximation& approximation) {
        rule_.kind = readKind();
        while (readWord()) {
        }
        readLevels();
        if (in_.accept("max"))
            rule_.mostTriangles = static_cast<std::size_t>(in_.readInteger(0, std::numeric_limits<int>::max()));
        else if (acceptIdle("samples"))
            in_.readInteger();
        readNames();
        approximation.push_back(std::move(rule_));
    }

private:
    SceneContext& scene_;
    Cursor& in_;
    const ApproximationNames names_;
    ApproximationRule rule_;
    bool levelsAreGiven_ = false;

    bool acceptIdle(std::string_view word) {
        if (!in_.at(word)) return false;
        scene_.problems.tell(in_.place(), "approximate", word);
        in_.advance();
        return true;
    }

    /// What it is for.
    ApproximationKind readKind() {
        using enum ApproximationKind;
        static constexpr std::pair<std::string_view, ApproximationKind> kKinds[] = {
            {"displace", Displacement}, {"trilist", Trilist}, {"surface", Surface},
            {"ccmesh", CatmullClark},   {"curve", Curve},     {"trim", Trim}};
        for (const auto& [word, kind] : kKinds)
            if (in_.accept(word)) return kind;
        if (in_.accept("subdivision")) return in_.expect("surface"), Subdivision;
        if (in_.accept("space")) return in_.expect("curve"), SpaceCurve;
        return Polygons;
    }

    /// Names in quotes: bare ones could not be told from words.
    void readNames() {
        rule_.all = in_.accept("all");
        while (!rule_.all && names_ != ApproximationNames::None && in_.atString()) {
            rule_.names.emplace_back(in_.current().text);
            in_.advance();
            if (names_ == ApproximationNames::PartedByCommas) in_.accept(',');
        }
    }

    bool readWord() {
        static const std::unordered_set<std::string_view> kOfNoConcern = {"tree", "grid", "delaunay", "nosmoothing",
                                                                          "implicit"};
        if (in_.current().kind != TokenKind::Symbol) return false;
        if (kOfNoConcern.contains(in_.current().text)) {
            acceptIdle(in_.current().text);
        } else if (in_.accept("view")) {
            rule_.view = true;
        } else if (in_.accept("regular")) {
            rule_.regular = true;
        } else if (in_.accept("offscreen")) {
            rule_.offscreen = true;
        } else if (in_.accept("any")) {
            rule_.any = true;
        } else if (in_.accept("fine")) {
            if (!levelsAreGiven_) rule_.most = 7;
        } else if (in_.accept("parametric")) {
            readParametric();
        } else if (in_.accept("length") || in_.accept("spatial")) {
            rule_.view = in_.accept("view") || rule_.view;
            rule_.length = in_.readFloat();
        } else if (in_.accept("distance")) {
            rule_.distance = in_.readFloat();
        } else if (in_.accept("angle")) {
            rule_.angle = in_.readFloat();
        } else if (in_.accept("curvature")) {
            rule_.view = in_.accept("view") || rule_.view;
            rule_.distance = in_.readFloat();
            rule_.angle = in_.readFloat();
        } else if (acceptIdle("sharp") || acceptIdle("grading")) {
            in_.readFloat();
        } else {
            return false;
        }
        return true;
    }

    /// One number or two, of u and v, and two levels behind them. Triangles have one direction as good as the other.
    /// A `%` may stand behind the numbers.
    void readParametric() {
        std::array<float, 4> numbers = {};
        std::size_t count = 0;
        for (; count < numbers.size() && in_.atNumber(); ++count) {
            numbers[count] = in_.readFloat();
            rule_.percent = in_.accept('%') || rule_.percent;
        }
        if (count == 0) in_.fail("the number of divisions");
        const float most = count == 2 || count == 4 ? std::max(numbers[0], numbers[1]) : numbers[0];
        rule_.parametric = levelsOf(most);
        rule_.parts[0] = numbers[0];
        rule_.parts[1] = count == 2 || count == 4 ? numbers[1] : numbers[0];
        if (count > 2) setLevels(numbers[count - 2], numbers[count - 1]);
    }

    void readLevels() {
        if (!in_.atNumber()) return;
        const float least = in_.readFloat();
        setLevels(least, in_.readFloat());
    }
    /// What is no number is none.
    static int levelsOf(float number) {
        return number > 0 ? static_cast<int>(std::min(number, static_cast<float>(kFinestLevels))) : 0;
    }
    void setLevels(float least, float most) {
        levelsAreGiven_ = true;
        rule_.least = levelsOf(least);
        rule_.most = levelsOf(most);
    }
};

}  // namespace

bool isApproximation(const Cursor& in) {
    static constexpr std::string_view kWords[] = {"approximate", "visible", "trace", "shadow", "caustic", "globillum"};
    return std::any_of(std::begin(kWords), std::end(kWords), [&](std::string_view word) { return in.at(word); });
}

void readApproximation(SceneContext& scene, Approximation& approximation, ApproximationNames names) {
    ApproximationReader(scene, names).read(approximation);
}

}  // namespace lumorender
