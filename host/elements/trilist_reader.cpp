#include "elements/element_readers.h"

#include <fmt/format.h>

#include <bit>
#include <cstring>
#include <vector>

namespace lumorender {

namespace {

constexpr int kMostVertices = 1 << 28;

std::uint32_t bigEndianWord(const char* bytes) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return __builtin_bswap32(word);
}

/// What the numbers of a vertex are, in their order.
struct VertexFormat {
    bool position = false, normal = false;
    int derivatives = 0;  ///< vectors: 2, 3 or 5
    int motions = 0, bumps = 0;
    std::vector<int> textures, users;  ///< components each

    /// Of the older form.
    std::size_t vectors() const {
        return static_cast<std::size_t>(position + normal + derivatives + motions + bumps) + textures.size() +
               users.size();
    }
    std::size_t size() const {
        int vectors = position + normal + derivatives + motions + bumps;
        int components = 0;
        for (const int dimension : textures) components += dimension;
        for (const int dimension : users) components += dimension;
        return static_cast<std::size_t>(3 * vectors + components);
    }
};

class TrilistReader {
public:
    TrilistReader(SceneContext& scene, bool tagged, PolygonGroupSource& group)
        : scene_(scene), in_(scene.in), tagged_(tagged), group_(group) {}

    void read();

private:
    void readOlderForm();
    std::size_t readCount();
    void readVectors(std::size_t count);
    void readVertexTuples(std::size_t count);
    void checkVector(int index, const Place& place) const;
    void addVertexTuple(const std::vector<int>& tuple);
    void readFormat();
    void readSizes(std::vector<int>& dimensions);
    void readDimensions(std::vector<int>& dimensions);
    void readVertices(std::size_t count);
    void addVertex(const float* values);
    int addVector(const float*& values, int components = 3);
    void readTriangles(std::size_t count);
    void readTriangle();
    void readBinaryTriangles(std::size_t count);
    void addTriangle(const std::uint32_t (&corners)[3], const Place& place);
    void skipRest();

    SceneContext& scene_;
    Cursor& in_;
    bool tagged_;
    PolygonGroupSource& group_;
    VertexFormat format_;
    bool isOlder_ = false;
    miTag material_ = 0;
    std::uint32_t label_ = 0;
};

void TrilistReader::read() {
    if (in_.accept("vector")) return readOlderForm();
    in_.expect("vertex");
    const auto vertices = static_cast<std::size_t>(in_.readInteger(0, kMostVertices));
    readFormat();
    in_.expect("triangle");
    const auto triangles = static_cast<std::size_t>(in_.readInteger(0, kMostVertices));
    // Border triangles and extra words per triangle serve tessellation.
    for (const std::string_view word : {"border", "data"}) {
        if (!in_.at(word)) continue;
        scene_.problems.tell(in_.place(), "trilist", word);
        in_.advance();
        in_.readFloats(word == "border" ? 1 : 2);
    }
    readVertices(vertices);
    readTriangles(triangles);
    skipRest();
}

/// All vectors first, then vertices as numbers of these, then triangles as numbers of vertices.
void TrilistReader::readOlderForm() {
    isOlder_ = true;
    const std::size_t vectors = readCount();
    in_.expect("vertex");
    const std::size_t vertices = readCount();
    readFormat();
    in_.expect("triangle");
    const std::size_t triangles = readCount();
    readVectors(vectors);
    readVertexTuples(vertices);
    readTriangles(triangles);
    skipRest();
}

/// With or without brackets.
std::size_t TrilistReader::readCount() {
    const bool inBrackets = in_.accept('[');
    const auto count = static_cast<std::size_t>(in_.readInteger(0, kMostVertices));
    if (inBrackets) in_.expect(']');
    return count;
}

void TrilistReader::readVectors(std::size_t count) {
    if (in_.accept("scalar") || in_.accept("binary")) {
        if (in_.current().kind != TokenKind::Backquote) in_.fail("a back quote");
        const std::string_view bytes = in_.takeRaw(count * 3 * sizeof(float));
        for (std::size_t k = 0; k < count; ++k) {
            const auto component = [&](std::size_t i) {
                return std::bit_cast<float>(bigEndianWord(bytes.data() + 4 * (3 * k + i)));
            };
            group_.vectors.push_back({component(0), component(1), component(2)});
        }
        return;
    }
    in_.expect('[');
    for (std::size_t k = 0; k < count; ++k) group_.vectors.push_back(in_.readVector());
    in_.expect(']');
}

void TrilistReader::readVertexTuples(std::size_t count) {
    const std::size_t size = format_.vectors();
    std::vector<int> tuple(size);
    if (in_.accept("integer")) {
        if (in_.current().kind != TokenKind::Backquote) in_.fail("a back quote");
        const Place place = in_.place();
        const std::string_view bytes = in_.takeRaw(count * size * sizeof(std::uint32_t));
        for (std::size_t at = 0; at < bytes.size();) {
            for (int& index : tuple) {
                index = static_cast<int>(bigEndianWord(bytes.data() + at));
                checkVector(index, place);
                at += sizeof index;
            }
            addVertexTuple(tuple);
        }
        return;
    }
    in_.expect('[');
    for (std::size_t k = 0; k < count; ++k) {
        for (int& index : tuple) {
            const Place place = in_.place();
            index = in_.readInteger();
            checkVector(index, place);
        }
        addVertexTuple(tuple);
    }
    in_.expect(']');
}

void TrilistReader::checkVector(int index, const Place& place) const {
    if (index < 0 || static_cast<std::size_t>(index) >= group_.vectors.size())
        throw SyntaxError{place,
                          fmt::format("found vector number {}, expected less than {}", index, group_.vectors.size())};
}

/// The vectors' numbers in the order of the keywords.
void TrilistReader::addVertexTuple(const std::vector<int>& tuple) {
    const int* next = tuple.data();
    const auto append = [&](std::size_t count) {
        group_.extras.insert(group_.extras.end(), next, next + count);
        next += count;
    };
    VertexSource vertex;
    vertex.position = *next++;
    if (format_.normal) vertex.normal = *next++;
    vertex.firstExtra = static_cast<std::uint32_t>(group_.extras.size());
    vertex.derivatives = static_cast<std::uint8_t>(format_.derivatives);
    append(vertex.derivatives);
    const int* const motions = next;
    const int* const bumps = motions + format_.motions;
    next = bumps + format_.bumps;
    vertex.textures = static_cast<std::uint8_t>(format_.textures.size());
    for (int k = 0; k < vertex.textures; ++k) {
        append(1);
        const bool hasBasis = 2 * k + 1 < format_.bumps;
        group_.extras.push_back(hasBasis ? bumps[2 * k] : -1);
        group_.extras.push_back(hasBasis ? bumps[2 * k + 1] : -1);
    }
    group_.extras.insert(group_.extras.end(), motions, bumps);
    vertex.motions = static_cast<std::uint8_t>(format_.motions);
    vertex.users = static_cast<std::uint8_t>(format_.users.size());
    append(vertex.users);
    group_.vertices.push_back(vertex);
}

void TrilistReader::readFormat() {
    format_.position = in_.accept("p");
    format_.normal = in_.accept("n");
    if (in_.accept("d")) format_.derivatives = 2;
    if (in_.accept("d2")) format_.derivatives += 3;
    if (in_.accept("m")) format_.motions = in_.atInteger() ? in_.readInteger(0, 15) : 1;
    if (in_.accept("b")) format_.bumps = 2 * (in_.atInteger() ? in_.readInteger(0, 64) : 1);
    if (in_.accept("t")) readSizes(format_.textures);
    if (in_.accept("u")) readSizes(format_.users);
    if (!format_.position) in_.fail("p: vertices with positions");
}

/// The older form counts vectors.
void TrilistReader::readSizes(std::vector<int>& dimensions) {
    if (!isOlder_) return readDimensions(dimensions);
    dimensions.assign(static_cast<std::size_t>(in_.atInteger() ? in_.readInteger(1, 64) : 1), 3);
}

void TrilistReader::readDimensions(std::vector<int>& dimensions) {
    while (in_.atInteger() && dimensions.size() < 64) dimensions.push_back(in_.readInteger(1, 64));
    if (dimensions.empty()) in_.fail("how many components there are");
}

/// Values in the order of the keywords, as text between brackets or as big-endian words.
void TrilistReader::readVertices(std::size_t count) {
    std::vector<float> values(format_.size());
    if (in_.accept('[')) {
        for (std::size_t k = 0; k < count; ++k) {
            in_.readFloats(values.data(), static_cast<int>(values.size()));
            addVertex(values.data());
        }
        return in_.expect(']');
    }
    if (!in_.accept("scalar")) in_.expect("binary");
    if (in_.current().kind != TokenKind::Backquote) in_.fail("a back quote");
    const std::string_view bytes = in_.takeRaw(count * values.size() * sizeof(float));
    for (std::size_t at = 0; at < bytes.size();) {
        for (float& value : values) {
            value = std::bit_cast<float>(bigEndianWord(bytes.data() + at));
            at += sizeof value;
        }
        addVertex(values.data());
    }
}

/// Moves `values` on. What has fewer than three components is filled up with zeros, what has more is cut.
int TrilistReader::addVector(const float*& values, int components) {
    miVector vector{values[0], components > 1 ? values[1] : 0, components > 2 ? values[2] : 0};
    values += components;
    group_.vectors.push_back(vector);
    return static_cast<int>(group_.vectors.size()) - 1;
}

/// Bump bases come before the texture coordinates that they belong to.
void TrilistReader::addVertex(const float* values) {
    VertexSource vertex;
    vertex.position = addVector(values);
    if (format_.normal) vertex.normal = addVector(values);
    vertex.firstExtra = static_cast<std::uint32_t>(group_.extras.size());
    vertex.derivatives = static_cast<std::uint8_t>(format_.derivatives);
    for (int k = 0; k < format_.derivatives; ++k) group_.extras.push_back(addVector(values));
    std::vector<int> motions, bumps;
    for (int k = 0; k < format_.motions; ++k) motions.push_back(addVector(values));
    for (int k = 0; k < format_.bumps; ++k) bumps.push_back(addVector(values));
    for (std::size_t k = 0; k < format_.textures.size(); ++k) {
        group_.extras.push_back(addVector(values, format_.textures[k]));
        group_.extras.push_back(2 * k + 1 < bumps.size() ? bumps[2 * k] : -1);
        group_.extras.push_back(2 * k + 1 < bumps.size() ? bumps[2 * k + 1] : -1);
    }
    group_.extras.insert(group_.extras.end(), motions.begin(), motions.end());
    for (const int dimension : format_.users) group_.extras.push_back(addVector(values, dimension));
    vertex.textures = static_cast<std::uint8_t>(format_.textures.size());
    vertex.motions = static_cast<std::uint8_t>(format_.motions);
    vertex.users = static_cast<std::uint8_t>(format_.users.size());
    group_.vertices.push_back(vertex);
}

void TrilistReader::readTriangles(std::size_t count) {
    if (in_.at("integer")) return readBinaryTriangles(count);
    in_.expect('[');
    for (std::size_t k = 0; k < count; ++k) readTriangle();
    in_.expect(']');
}

void TrilistReader::readTriangle() {
    if (tagged_) label_ = static_cast<std::uint32_t>(in_.readInteger());
    if (!tagged_ && in_.atName())
        if (const miTag named = scene_.readReference({miSCENE_MATERIAL, miSCENE_FUNCTION}, "a material"))
            material_ = named;
    const Place place = in_.place();
    std::uint32_t corners[3];
    for (std::uint32_t& corner : corners) corner = static_cast<std::uint32_t>(in_.readInteger());
    addTriangle(corners, place);
}

void TrilistReader::readBinaryTriangles(std::size_t count) {
    const auto takeWords = [this](std::size_t words) {
        if (in_.current().kind != TokenKind::Backquote) in_.fail("a back quote");
        return in_.takeRaw(words * sizeof(std::uint32_t));
    };
    in_.expect("integer");
    const Place place = in_.place();
    const std::string_view indices = takeWords(3 * count);
    const std::string_view labels = in_.accept("integer") ? takeWords(count) : std::string_view();
    for (std::size_t k = 0; k < count; ++k) {
        std::uint32_t corners[3];
        for (std::size_t i = 0; i < 3; ++i) corners[i] = bigEndianWord(indices.data() + 4 * (3 * k + i));
        if (!labels.empty()) label_ = bigEndianWord(labels.data() + 4 * k);
        addTriangle(corners, place);
    }
}

void TrilistReader::addTriangle(const std::uint32_t (&corners)[3], const Place& place) {
    const auto first = static_cast<std::uint32_t>(group_.corners.size());
    for (const std::uint32_t corner : corners) {
        if (corner >= group_.vertices.size())
            throw SyntaxError{
                place, fmt::format("found vertex number {}, expected less than {}", corner, group_.vertices.size())};
        group_.corners.push_back(static_cast<int>(corner));
    }
    group_.polygons.push_back({first, 3, material_, label_, true});
}

/// Borders, data per triangle and topology.
void TrilistReader::skipRest() {
    if (in_.at("topology")) scene_.problems.tell(in_.place(), "trilist", "topology");
    skipToEnd(scene_, "trilist");
    if (in_.accept("approximate")) readApproximation(scene_, group_.approximation);
}

}  // namespace

void readTrilist(SceneContext& scene, bool tagged, PolygonGroupSource& group) {
    const Place place = scene.in.place();
    TrilistReader(scene, tagged, group).read();
    warnOfBrokenVectors(scene, place, group);
}

}  // namespace lumorender
