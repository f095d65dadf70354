#include "elements/element_readers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

constexpr std::size_t kMostTextures = 64;
constexpr std::size_t kMostMotions = 15;
constexpr std::size_t kMostUsers = 255;

class GroupReader {
public:
    GroupReader(SceneContext& scene, bool tagged, const std::vector<BasisSource>& bases, PolygonGroupSource& group)
        : scene_(scene), in_(scene.in), tagged_(tagged), group_(group), surfaces_{scene, tagged, bases, group} {}

    void read();

private:
    void readVectors();
    void readVertex();
    std::uint8_t readDerivatives();
    void readTexture();
    void readSharpness();
    bool readGeometry();
    bool readSurfaces();
    void readPolygon(bool convex);
    void readStrip();
    void readFan();
    void readHeading();
    void addPolygon(std::uint32_t first, bool convex);
    std::uint32_t readCorners();
    void addTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c);
    int readIndex(std::size_t count, std::string_view what);
    int readVectorIndex() { return readIndex(group_.vectors.size(), "vector"); }

    SceneContext& scene_;
    Cursor& in_;
    bool tagged_;
    PolygonGroupSource& group_;
    miTag material_ = 0;
    std::string_view materialName_;
    std::uint32_t label_ = 0;
    GroupInReading surfaces_;
};

void GroupReader::read() {
    const bool isNamed = in_.atString() || (in_.current().kind == TokenKind::Symbol && !in_.at("merge") &&
                                            !in_.at("end") && !in_.at("v"));
    if (isNamed) in_.advance();
    if (in_.accept("merge")) {
        const Place place = in_.place();
        group_.surfaces.merge = in_.readFloat();
        if (!(group_.surfaces.merge >= 0))
            throw SyntaxError{place, fmt::format("found merge {}, expected a distance", group_.surfaces.merge)};
    }
    readVectors();
    while (in_.accept("v")) readVertex();
    while (!in_.acceptEnd("group"))
        if (!readGeometry() && !readSurfaces()) in_.fail("a vertex, a polygon, a surface or \"end group\"");
}

bool GroupReader::readSurfaces() {
    if (in_.accept("curve")) return readCurve(surfaces_, false), true;
    if (in_.accept("surface")) return readSurface(surfaces_), true;
    if (in_.accept("connect")) return readConnection(surfaces_), true;
    if (in_.accept("ccmesh")) return readCatmullClarkMesh(surfaces_), true;
    if (in_.accept("space")) return in_.expect("curve"), readCurve(surfaces_, true), true;
    if (in_.accept("subdivision")) return in_.expect("surface"), readSubdivisionSurface(surfaces_), true;
    return false;
}

void GroupReader::readVectors() {
    while (in_.atVector()) group_.vectors.push_back(in_.readVector());
}

int GroupReader::readIndex(std::size_t count, std::string_view what) {
    const Token& token = in_.current();
    if (token.kind != TokenKind::Integer) in_.fail(fmt::format("the number of a {}", what));
    if (token.integer < 0 || static_cast<unsigned long long>(token.integer) >= count)
        in_.fail(count == 0 ? fmt::format("no reference: there is no {} in this group", what)
                            : fmt::format("a {} number from 0 to {}", what, count - 1));
    const int index = static_cast<int>(token.integer);
    in_.advance();
    return index;
}

/// The order of the parts is fixed, so the vectors lie in `extras` as elements.h wants them.
void GroupReader::readVertex() {
    VertexSource vertex;
    vertex.position = readVectorIndex();
    vertex.firstExtra = static_cast<std::uint32_t>(group_.extras.size());
    if (in_.accept("n")) vertex.normal = readVectorIndex();
    if (in_.accept("d")) vertex.derivatives = readDerivatives();
    for (; in_.accept("t"); ++vertex.textures) {
        if (vertex.textures >= kMostTextures) in_.fail("no more texture coordinates than 64");
        readTexture();
    }
    for (; in_.accept("m"); ++vertex.motions) {
        if (vertex.motions >= kMostMotions) in_.fail("no more motion vectors than 15");
        group_.extras.push_back(readVectorIndex());
    }
    for (; in_.accept("u"); ++vertex.users) {
        if (vertex.users >= kMostUsers) in_.fail("no more user vectors than 255");
        group_.extras.push_back(readVectorIndex());
    }
    readSharpness();
    group_.vertices.push_back(vertex);
    if (auto& sharpness = group_.surfaces.sharpness; !sharpness.empty()) sharpness.resize(group_.vertices.size(), 0);
}

std::uint8_t GroupReader::readDerivatives() {
    std::uint8_t count = 0;
    for (; in_.atInteger() && count < 5; ++count) group_.extras.push_back(readVectorIndex());
    if (count != 2 && count != 3 && count != 5) in_.fail("two, three or five derivatives");
    return count;
}

void GroupReader::readTexture() {
    group_.extras.push_back(readVectorIndex());
    const bool hasBasis = in_.atInteger();
    group_.extras.push_back(hasBasis ? readVectorIndex() : -1);
    group_.extras.push_back(hasBasis ? readVectorIndex() : -1);
}

/// For subdivision surfaces. A dart is where a crease ends in a smooth vertex, as it does without the word.
void GroupReader::readSharpness() {
    if (in_.accept("dart")) return;
    if (!in_.accept("cusp") && !in_.accept("conic") && !in_.accept("corner")) return;
    auto& sharpness = group_.surfaces.sharpness;
    sharpness.resize(group_.vertices.size(), 0);
    sharpness.push_back(in_.accept("level") ? std::clamp(in_.readFloat(), 0.0F, kSharpForever) : kSharpForever);
}

bool GroupReader::readGeometry() {
    if (in_.accept("c") || in_.accept("cp")) return readPolygon(true), true;
    if (in_.accept("p")) return readPolygon(false), true;
    if (in_.accept("strip")) return readStrip(), true;
    if (in_.accept("fan")) return readFan(), true;
    if (!isApproximation(in_)) return false;
    for (; isApproximation(in_) && !in_.at("approximate"); in_.advance())
        scene_.problems.tell(in_.place(), "approximate", in_.current().text);
    in_.expect("approximate");
    readApproximation(scene_, group_.approximation);
    return true;
}

/// Label or material of a polygon. A material stays for the polygons that follow.
void GroupReader::readHeading() {
    if (tagged_) {
        label_ = static_cast<std::uint32_t>(in_.readInteger());
        return;
    }
    if (in_.accept("null")) {  // as echoes have it where a material is no longer there
        materialName_ = {};
        material_ = miNULLTAG;
    }
    if (!in_.atName()) return;
    if (in_.current().text != materialName_) {
        materialName_ = in_.current().text;
        // After an error the one before stays.
        if (const miTag tag = scene_.require(materialName_, {miSCENE_MATERIAL, miSCENE_FUNCTION}, "a material"))
            material_ = tag;
    }
    in_.advance();
}

std::uint32_t GroupReader::readCorners() {
    const auto first = static_cast<std::uint32_t>(group_.corners.size());
    while (in_.atInteger()) group_.corners.push_back(readIndex(group_.vertices.size(), "vertex"));
    if (group_.corners.size() - first < 3) in_.fail("at least three vertices of a polygon");
    return first;
}

void GroupReader::addPolygon(std::uint32_t first, bool convex) {
    const auto count = static_cast<std::uint32_t>(group_.corners.size()) - first;
    group_.polygons.push_back({first, count, material_, label_, convex});
}

void GroupReader::readPolygon(bool convex) {
    readHeading();
    const std::uint32_t first = readCorners();
    while (in_.accept("hole")) {
        convex = false;
        group_.corners.push_back(-1);
        readCorners();
    }
    addPolygon(first, convex);
}

void GroupReader::addTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
    const auto first = static_cast<std::uint32_t>(group_.corners.size());
    const int corners[] = {group_.corners[a], group_.corners[b], group_.corners[c]};
    group_.corners.insert(group_.corners.end(), std::begin(corners), std::end(corners));
    addPolygon(first, true);
}

/// Every other triangle of a strip runs backwards through it, so that all face the same side.
void GroupReader::readStrip() {
    readHeading();
    const std::uint32_t first = readCorners();
    const auto end = static_cast<std::uint32_t>(group_.corners.size());
    for (std::uint32_t k = first; k + 2 < end; ++k) {
        const std::uint32_t odd = (k - first) & 1;
        addTriangle(k + odd, k + 1 - odd, k + 2);
    }
}

void GroupReader::readFan() {
    readHeading();
    const std::uint32_t first = readCorners();
    const auto end = static_cast<std::uint32_t>(group_.corners.size());
    for (std::uint32_t k = first + 1; k + 1 < end; ++k) addTriangle(first, k, k + 1);
}

}  // namespace

namespace {

/// Approximations of what is not there.
void warnOfUnknownNames(SceneContext& scene, const Place& place, const PolygonGroupSource& group) {
    const SurfaceGroup& surfaces = group.surfaces;
    const auto has = [](const auto& list, const std::string& name) {
        return std::any_of(list.begin(), list.end(), [&](const auto& each) { return each.name == name; });
    };
    for (const ApproximationRule& rule : group.approximation)
        for (const std::string& name : rule.names)
            if (!has(surfaces.surfaces, name) && !has(surfaces.subdivisions, name) && !has(surfaces.curves, name))
                scene.problems.warning(
                    place,
                    fmt::format("an approximation of this group names \"{}\", which is no surface or curve in it",
                                name));
}

}  // namespace

void readPolygonGroup(SceneContext& scene, bool tagged, const std::vector<BasisSource>& bases,
                      PolygonGroupSource& group) {
    const Place place = scene.in.place();
    GroupReader(scene, tagged, bases, group).read();
    warnOfUnknownNames(scene, place, group);
    warnOfBrokenVectors(scene, place, group);
}

void warnOfBrokenVectors(SceneContext& scene, const Place& place, const PolygonGroupSource& group) {
    const auto broken = std::count_if(group.vectors.begin(), group.vectors.end(), [](const miVector& v) {
        return !std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z);
    });
    if (broken > 0)
        scene.problems.warning(place, fmt::format("{} vectors of this group are not finite numbers", broken));
}

}  // namespace lumorender
