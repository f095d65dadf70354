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
    GroupReader(SceneContext& scene, bool tagged, PolygonGroupSource& group)
        : scene_(scene), in_(scene.in), tagged_(tagged), group_(group) {}

    bool read();

private:
    /// Past a word that is there and has no effect, as is told.
    bool acceptIdle(std::string_view word) {
        if (!in_.at(word)) return false;
        scene_.problems.tell(in_.place(), "group", word);
        in_.advance();
        return true;
    }
    void readVectors();
    void readVertex();
    std::uint8_t readDerivatives();
    void readTexture();
    void readSharpness();
    bool readGeometry();
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
};

bool isGeometryOfOtherKind(const Cursor& in) {
    static constexpr std::string_view kWords[] = {"curve", "surface", "space", "connect", "subdivision", "ccmesh"};
    return std::any_of(std::begin(kWords), std::end(kWords), [&](std::string_view word) { return in.at(word); });
}

bool isApproximation(const Cursor& in) {
    static constexpr std::string_view kWords[] = {"approximate", "visible", "trace", "shadow", "caustic", "globillum"};
    return std::any_of(std::begin(kWords), std::end(kWords), [&](std::string_view word) { return in.at(word); });
}

bool GroupReader::read() {
    const bool isNamed = in_.atString() || (in_.current().kind == TokenKind::Symbol && !in_.at("merge") &&
                                            !in_.at("end") && !in_.at("v"));
    if (isNamed) in_.advance();
    if (acceptIdle("merge")) in_.readFloat();
    readVectors();
    while (in_.accept("v")) readVertex();
    while (!in_.acceptEnd("group")) {
        if (readGeometry()) continue;
        if (!isGeometryOfOtherKind(in_)) in_.fail("a vertex, a polygon or \"end group\"");
        scene_.problems.tell(in_.place(), "group", in_.current().text);
        skipToEnd(scene_, "group");
        return false;
    }
    return true;
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

/// Matters to subdivision only.
void GroupReader::readSharpness() {
    if (!acceptIdle("cusp") && !acceptIdle("conic") && !acceptIdle("corner") && !acceptIdle("dart")) return;
    if (in_.accept("level")) in_.readFloat();
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
    if (!in_.atName()) return;
    if (in_.current().text != materialName_) {
        materialName_ = in_.current().text;
        material_ = scene_.require(materialName_, {miSCENE_MATERIAL, miSCENE_FUNCTION}, "a material");
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

bool readPolygonGroup(SceneContext& scene, bool tagged, PolygonGroupSource& group) {
    const Place place = scene.in.place();
    const bool usable = GroupReader(scene, tagged, group).read();
    if (usable) warnOfBrokenVectors(scene, place, group);
    return usable;
}

void warnOfBrokenVectors(SceneContext& scene, const Place& place, const PolygonGroupSource& group) {
    const auto broken = std::count_if(group.vectors.begin(), group.vectors.end(), [](const miVector& v) {
        return !std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z);
    });
    if (broken > 0)
        scene.problems.warning(place, fmt::format("{} vectors of this group are not finite numbers", broken));
}

}  // namespace lumorender
