// Reads what follows the word `approximate`.
#include "elements/element_readers.h"

#include <array>
#include <limits>
#include <unordered_set>

namespace lumorender {

namespace {

constexpr int kFinestLevels = 24;

class ApproximationReader {
public:
    explicit ApproximationReader(SceneContext& scene) : scene_(scene), in_(scene.in) {}

    void read(Approximation& approximation) {
        const bool concernsPolygons = readKind();
        while (readWord()) {
        }
        readLevels();
        if (in_.accept("max"))
            rule_.mostTriangles = static_cast<std::size_t>(in_.readInteger(0, std::numeric_limits<int>::max()));
        else if (acceptIdle("samples"))
            in_.readInteger();
        while (in_.atString()) in_.advance();  // of free-form surfaces
        in_.accept("all");
        if (concernsPolygons) approximation.push_back(rule_);
    }

private:
    SceneContext& scene_;
    Cursor& in_;
    ApproximationRule rule_;
    bool levelsAreGiven_ = false;

    bool acceptIdle(std::string_view word) {
        if (!in_.at(word)) return false;
        scene_.problems.tell(in_.place(), "approximate", word);
        in_.advance();
        return true;
    }

    /// What it is for. Without a word, and for displacement, it is for polygons.
    bool readKind() {
        if (in_.accept("displace") || in_.accept("trilist")) return true;
        bool other = acceptIdle("subdivision") || acceptIdle("space");
        for (const std::string_view word : {"surface", "ccmesh", "curve", "trim"}) other = acceptIdle(word) || other;
        return !other;
    }

    bool readWord() {
        static const std::unordered_set<std::string_view> kOfNoConcern = {"tree",    "grid",        "delaunay",
                                                                          "regular", "nosmoothing", "implicit"};
        if (in_.current().kind != TokenKind::Symbol) return false;
        if (kOfNoConcern.contains(in_.current().text)) {
            acceptIdle(in_.current().text);
        } else if (in_.accept("view")) {
            rule_.view = true;
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
    void readParametric() {
        std::array<float, 4> numbers = {};
        std::size_t count = 0;
        for (; count < numbers.size() && in_.atNumber(); ++count) {
            numbers[count] = in_.readFloat();
            in_.accept('%');
        }
        if (count == 0) in_.fail("the number of divisions");
        const float most = count == 2 || count == 4 ? std::max(numbers[0], numbers[1]) : numbers[0];
        rule_.parametric = levelsOf(most);
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

void readApproximation(SceneContext& scene, Approximation& approximation) {
    ApproximationReader(scene).read(approximation);
}

}  // namespace lumorender
