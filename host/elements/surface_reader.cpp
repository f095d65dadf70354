// Reads bases, free-form curves and surfaces, and connections.
#include "elements/element_readers.h"
#include "elements/free_form_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

using Kind = BasisSource::Kind;

constexpr std::size_t kMostNumbers = 1 << 24;

[[noreturn]] void failAt(const Place& place, const std::string& text) { throw SyntaxError{place, text}; }

void failIf(const Place& place, const std::string& problem) {
    if (!problem.empty()) failAt(place, problem);
}

/// Reads one curve or surface.
class FreeFormReader {
public:
    explicit FreeFormReader(GroupInReading& group)
        : group_(group), scene_(group.scene), in_(group.scene.in), place_(in_.place()) {}

    CurveSource readCurve(bool inSpace);
    SurfaceSource readSurface();
    ConnectionSource readConnection();

private:
    GroupInReading& group_;
    SceneContext& scene_;
    Cursor& in_;
    Place place_;
    bool rational_ = false;

    const BasisSource* findBasis(std::string_view name) const {
        const auto found = std::find_if(group_.bases.begin(), group_.bases.end(),
                                        [&](const BasisSource& basis) { return basis.name == name; });
        return found == group_.bases.end() ? nullptr : &*found;
    }
    /// `rational` may stand before the surface's first basis, or before each.
    DirectionSource readBasisName() {
        if (in_.accept("rational")) rational_ = true;
        const Place place = in_.place();
        const std::string_view name = in_.readName("the name of a basis");
        const BasisSource* basis = findBasis(name);
        if (!basis) failAt(place, fmt::format("found \"{}\", expected a basis of this object", name));
        DirectionSource direction;
        direction.basis = *basis;
        direction.rational = rational_ || basis->rational;
        return direction;
    }

    /// Parameters before vertices: vertices are integers, parameters hardly ever.
    std::vector<float> readParametersBeforePoints(std::size_t least = 2) {
        std::vector<float> numbers;
        while (in_.atNumber() && (!in_.atInteger() || numbers.size() < least)) numbers.push_back(in_.readFloat());
        return numbers;
    }
    void takeRange(DirectionSource& direction, const Place& place) const;

    std::vector<ControlPoint> readPoints();
    void checkCount(const std::vector<ControlPoint>& points, long expected) const;
    void readDerivatives(SurfaceSource& surface);
    void readOverlay(SurfaceSource& surface);
    void readLoop(SurfaceSource& surface, LoopSource::Kind kind);
    CurvePiece readPiece();
    int findSurface();
};

/// The range stands before the parameters.
void FreeFormReader::takeRange(DirectionSource& direction, const Place& place) const {
    if (direction.parameters.size() < 2) failAt(place, "found less than two numbers, expected a range of parameters");
    const float low = direction.parameters[0], high = direction.parameters[1];
    direction.parameters.erase(direction.parameters.begin(), direction.parameters.begin() + 2);
    failIf(place, problemOfParameters(direction));
    failIf(place, useRange(direction, low, high));
}

std::vector<ControlPoint> FreeFormReader::readPoints() {
    std::vector<ControlPoint> points;
    while (in_.atInteger()) {
        ControlPoint& point = points.emplace_back();
        point.vertex = group_.readVertex();
        const bool hasWeight = in_.accept("w") || (in_.atNumber() && !in_.atInteger());
        if (!hasWeight) continue;
        const Place place = in_.place();
        point.weight = in_.readFloat();
        if (!(point.weight > 0) || !std::isfinite(point.weight))
            failAt(place, fmt::format("found the weight {}, expected one above 0", point.weight));
    }
    return points;
}

void FreeFormReader::checkCount(const std::vector<ControlPoint>& points, long expected) const {
    if (static_cast<long>(points.size()) != expected)
        failAt(place_,
               fmt::format("found {} control points, expected {} for these parameters", points.size(), expected));
}

CurveSource FreeFormReader::readCurve(bool inSpace) {
    CurveSource curve;
    curve.inSpace = inSpace;
    curve.name = in_.readName("the name of the curve");
    curve.direction = readBasisName();
    const Place place = in_.place();
    curve.direction.parameters = readParametersBeforePoints();
    failIf(place, problemOfParameters(curve.direction));
    failIf(place_, useWholeRange(curve.direction));
    curve.points = readPoints();
    checkCount(curve.points, pointsOf(curve.direction.basis, curve.direction.parameters.size()));
    if (in_.accept("special"))
        while (in_.atInteger()) curve.specials.push_back(group_.readVertex());
    return curve;
}

SurfaceSource FreeFormReader::readSurface() {
    SurfaceSource surface;
    surface.where = place_.text();
    surface.name = in_.readName("the name of the surface");
    const bool namesBasis = in_.at("rational") || (in_.atName() && findBasis(in_.current().text));
    if (group_.tagged || !namesBasis) surface.label = group_.readHeading();
    surface.material = group_.material;
    DirectionSource* const directions[] = {&surface.u, &surface.v};
    for (DirectionSource* direction : directions) {
        *direction = readBasisName();
        const Place place = in_.place();
        direction->parameters = direction == &surface.u ? in_.readFloats(kMostNumbers) : readParametersBeforePoints(4);
        takeRange(*direction, place);
    }
    surface.u.rational = surface.v.rational = surface.u.rational || surface.v.rational;
    surface.points = readPoints();
    checkCount(surface.points, pointsOf(surface.u.basis, surface.u.parameters.size()) *
                                   pointsOf(surface.v.basis, surface.v.parameters.size()));
    if (in_.accept("derivative")) readDerivatives(surface);
    while (in_.at("volume") || in_.at("texture") || in_.at("motion")) readOverlay(surface);
    for (;;) {
        if (in_.accept("trim"))
            readLoop(surface, LoopSource::Kind::Trim);
        else if (in_.accept("hole"))
            readLoop(surface, LoopSource::Kind::Hole);
        else if (in_.accept("special"))
            readLoop(surface, LoopSource::Kind::Special);
        else
            return surface;
    }
}

void FreeFormReader::readDerivatives(SurfaceSource& surface) {
    surface.firstDerivatives = !in_.atInteger();
    while (in_.atInteger()) (in_.readInteger(1, 2) == 1 ? surface.firstDerivatives : surface.secondDerivatives) = true;
}

/// A range may stand before the parameters: the number of control points tells.
void FreeFormReader::readOverlay(SurfaceSource& surface) {
    OverlaySource overlay;
    const Place place = in_.place();
    overlay.volume = in_.accept("volume");
    if (in_.accept("motion"))
        overlay.kind = OverlaySource::Kind::Motion;
    else
        in_.expect("texture");
    rational_ = false;
    overlay.u = readBasisName();
    overlay.u.parameters = in_.readFloats(kMostNumbers);
    overlay.v = readBasisName();
    overlay.v.parameters = readParametersBeforePoints();
    overlay.u.rational = overlay.v.rational = overlay.u.rational || overlay.v.rational;
    overlay.points = readPoints();
    const auto count = [&](std::size_t less) {
        const std::size_t u = overlay.u.parameters.size(), v = overlay.v.parameters.size();
        if (u < less || v < less) return -1L;
        const long inU = pointsOf(overlay.u.basis, u - less), inV = pointsOf(overlay.v.basis, v - less);
        return inU < 0 || inV < 0 ? -1L : inU * inV;
    };
    if (static_cast<long>(overlay.points.size()) != count(0) && static_cast<long>(overlay.points.size()) == count(2)) {
        takeRange(overlay.u, place);
        takeRange(overlay.v, place);
    } else {
        for (DirectionSource* direction : {&overlay.u, &overlay.v}) {
            failIf(place, problemOfParameters(*direction));
            failIf(place_, useWholeRange(*direction));
        }
        checkCount(overlay.points, count(0));
    }
    if (surface.overlays.size() >= 64) failAt(place, "found more than 64 textures of a surface, expected less");
    surface.overlays.push_back(std::move(overlay));
}

CurvePiece FreeFormReader::readPiece() {
    const Place place = in_.place();
    const std::string_view name = in_.readName("the name of a curve");
    const auto& curves = group_.group.surfaces.curves;
    const auto found =
        std::find_if(curves.begin(), curves.end(), [&](const CurveSource& curve) { return curve.name == name; });
    if (found == curves.end()) failAt(place, fmt::format("found \"{}\", expected a curve of this group", name));
    CurvePiece piece;
    piece.curve = static_cast<int>(found - curves.begin());
    piece.low = found->direction.low;
    piece.high = found->direction.high;
    if (!in_.atNumber()) return piece;
    const float low = in_.readFloat(), high = in_.readFloat();
    if (!std::isfinite(low) || !std::isfinite(high) || low == high)
        failAt(place, fmt::format("found the range {} to {} of a curve, expected two different numbers", low, high));
    piece.low = std::clamp(low, found->direction.low, found->direction.high);
    piece.high = std::clamp(high, found->direction.low, found->direction.high);
    return piece;
}

void FreeFormReader::readLoop(SurfaceSource& surface, LoopSource::Kind kind) {
    if (kind == LoopSource::Kind::Special && in_.atInteger()) {
        while (in_.atInteger()) surface.specials.push_back(group_.readVertex());
        return;
    }
    LoopSource loop;
    loop.kind = kind;
    loop.where = in_.place().text();
    while (in_.atString() || (loop.pieces.empty() && in_.atName())) loop.pieces.push_back(readPiece());
    if (loop.pieces.empty()) in_.fail("a curve");
    surface.loops.push_back(std::move(loop));
}

int FreeFormReader::findSurface() {
    const Place place = in_.place();
    const std::string_view name = in_.readName("the name of a surface");
    const auto& surfaces = group_.group.surfaces.surfaces;
    const auto found = std::find_if(surfaces.begin(), surfaces.end(),
                                    [&](const SurfaceSource& surface) { return surface.name == name; });
    if (found == surfaces.end()) failAt(place, fmt::format("found \"{}\", expected a surface of this group", name));
    return static_cast<int>(found - surfaces.begin());
}

ConnectionSource FreeFormReader::readConnection() {
    ConnectionSource connection;
    connection.where = place_.text();
    for (int i = 0; i < 2; ++i) {
        connection.surfaces[i] = findSurface();
        connection.pieces[i] = readPiece();
    }
    return connection;
}

}  // namespace

int GroupInReading::readVertex() const {
    const std::size_t count = group.vertices.size();
    const Token& token = scene.in.current();
    if (token.kind != TokenKind::Integer) scene.in.fail("the number of a vertex");
    if (token.integer < 0 || static_cast<unsigned long long>(token.integer) >= count)
        scene.in.fail(count == 0 ? std::string("no reference: there is no vertex in this group")
                                 : fmt::format("a vertex number from 0 to {}", count - 1));
    const int index = static_cast<int>(token.integer);
    scene.in.advance();
    return index;
}

std::uint32_t GroupInReading::readHeading() {
    if (tagged) return static_cast<std::uint32_t>(scene.in.readInteger());
    if (scene.in.accept("null")) material = miNULLTAG;
    const miTag named = scene.in.atName() ? scene.readReference({miSCENE_MATERIAL, miSCENE_FUNCTION}, "a material") : 0;
    if (named) material = named;
    return 0;
}

void readBasis(SceneContext& scene, std::vector<BasisSource>& bases) {
    Cursor& in = scene.in;
    BasisSource basis;
    basis.name = in.readName("the name of a basis");
    basis.rational = in.accept("rational");
    const auto readDegree = [&] { basis.degree = in.readInteger(1, kHighestDegree); };
    if (in.accept("bezier")) {
        readDegree();
    } else if (in.accept("bspline")) {
        basis.kind = Kind::BSpline;
        readDegree();
    } else if (in.accept("taylor")) {
        basis.kind = Kind::Taylor;
        readDegree();
    } else if (in.accept("cardinal")) {
        basis.kind = Kind::Cardinal;
        basis.degree = 3;
    } else if (in.accept("matrix")) {
        basis.kind = Kind::Matrix;
        readDegree();
        basis.step = in.readInteger(1, kHighestDegree + 1);
        basis.matrix.resize(static_cast<std::size_t>((basis.degree + 1) * (basis.degree + 1)));
        in.readFloats(basis.matrix.data(), static_cast<int>(basis.matrix.size()));
    } else {
        in.fail("bezier, bspline, cardinal, taylor or matrix");
    }
    const auto former =
        std::find_if(bases.begin(), bases.end(), [&](const BasisSource& other) { return other.name == basis.name; });
    if (former != bases.end())
        *former = std::move(basis);
    else
        bases.push_back(std::move(basis));
}

void readCurve(GroupInReading& group, bool inSpace) {
    group.group.surfaces.curves.push_back(FreeFormReader(group).readCurve(inSpace));
}

void readSurface(GroupInReading& group) {
    group.group.surfaces.surfaces.push_back(FreeFormReader(group).readSurface());
}

void readConnection(GroupInReading& group) {
    group.group.surfaces.connections.push_back(FreeFormReader(group).readConnection());
}

}  // namespace lumorender
