#include "geometry/subdivision.h"

#include "support/geometry.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <map>
#include <unordered_map>

namespace lumorender {

namespace {

constexpr std::uint64_t kEmpty = ~std::uint64_t{0};
constexpr std::uint32_t kNone = ~std::uint32_t{0};

std::uint64_t mixed(std::uint64_t x) {
    x ^= x >> 32;
    x *= 0xd6e8feb86659fd93U;
    return x ^ (x >> 32);
}

/// The bits of a vector, in which -0 is 0.
using Bits = std::array<std::uint32_t, 3>;

Bits bitsOf(const miVector& v) {
    return {std::bit_cast<std::uint32_t>(v.x + 0.0F), std::bit_cast<std::uint32_t>(v.y + 0.0F),
            std::bit_cast<std::uint32_t>(v.z + 0.0F)};
}

struct BitsHash {
    std::size_t operator()(const Bits& b) const { return mixed(mixed(std::uint64_t{b[0]} << 32 | b[1]) + b[2]); }
};

/// Calls visit(list, entries per vertex) for everything that vertices have.
template <class Visit>
void visitLists(Mesh& mesh, Visit visit) {
    visit(mesh.positions, std::size_t{1});
    visit(mesh.normals, std::size_t{1});
    for (auto& step : mesh.laterPositions) visit(step, std::size_t{1});
    visit(mesh.textures, std::size_t{mesh.textureSpaces});
    visit(mesh.bumpX, std::size_t{mesh.textureSpaces});
    visit(mesh.bumpY, std::size_t{mesh.textureSpaces});
    visit(mesh.derivatives, std::size_t{miDERIVATIVES});
}

miVector faceNormal(const Mesh& mesh, std::size_t triangle) {
    const std::uint32_t* v = &mesh.indices[3 * triangle];
    const V3d a = wide(mesh.positions[v[0]]);
    return narrow(unit(cross(wide(mesh.positions[v[1]]) - a, wide(mesh.positions[v[2]]) - a)));
}

/// Close enough to be one face's, whatever rounding did to each triangle of it.
Bits roughDirection(const miVector& n) {
    const auto rounded = [](float v) {
        return std::bit_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(v * 4096)));
    };
    return {rounded(n.x), rounded(n.y), rounded(n.z)};
}

}  // namespace

PairTable::PairTable(std::size_t expected)
    : keys_(std::bit_ceil(std::max<std::size_t>(2 * expected, 16)), kEmpty), numbers_(keys_.size()) {}

std::pair<std::uint32_t, bool> PairTable::add(std::uint32_t a, std::uint32_t b) {
    const std::uint64_t key = std::uint64_t{std::min(a, b)} << 32 | std::max(a, b);
    const std::size_t mask = keys_.size() - 1;
    std::size_t at = mixed(key) & mask;
    while (keys_[at] != kEmpty && keys_[at] != key) at = (at + 1) & mask;
    if (keys_[at] == key) return {numbers_[at], false};
    keys_[at] = key;
    numbers_[at] = count_++;
    const std::uint32_t number = numbers_[at];
    if (2 * std::size_t{count_} > keys_.size()) grow();
    return {number, true};
}

void PairTable::grow() {
    std::vector<std::uint64_t> keys(2 * keys_.size(), kEmpty);
    std::vector<std::uint32_t> numbers(keys.size());
    for (std::size_t i = 0; i < keys_.size(); ++i) {
        if (keys_[i] == kEmpty) continue;
        std::size_t at = mixed(keys_[i]) & (keys.size() - 1);
        while (keys[at] != kEmpty) at = (at + 1) & (keys.size() - 1);
        keys[at] = keys_[i];
        numbers[at] = numbers_[i];
    }
    keys_ = std::move(keys);
    numbers_ = std::move(numbers);
}

Subdivision::Subdivision(Mesh& mesh) : mesh_(mesh) {
    separateFaces();
    findPlaces();
    findEdges();
}

std::uint32_t Subdivision::copyVertex(std::uint32_t vertex) {
    const auto copy = static_cast<std::uint32_t>(mesh_.vertices());
    visitLists(mesh_, [vertex](auto& list, std::size_t stride) {
        if (list.empty()) return;
        for (std::size_t i = 0; i < stride; ++i) {
            const miVector value = list[vertex * stride + i];
            list.push_back(value);
        }
    });
    return copy;
}

/// A vertex without a normal stays with the first face that has it; the other faces get copies.
void Subdivision::separateFaces() {
    const bool hasNormals = !mesh_.normals.empty();
    const std::size_t given = mesh_.vertices();
    std::vector<bool> isFlat(given, !hasNormals);
    for (std::size_t i = 0; hasNormals && i < given; ++i) isFlat[i] = isZero(mesh_.normals[i]);
    if (std::find(isFlat.begin(), isFlat.end(), true) == isFlat.end()) return;
    mesh_.normals.resize(given, miVector{0, 0, 0});

    std::map<std::pair<std::uint32_t, Bits>, std::uint32_t> copies;
    std::vector<bool> used(given, false);
    for (std::size_t t = 0; t < mesh_.triangles(); ++t) {
        const miVector normal = faceNormal(mesh_, t);
        for (std::size_t i = 3 * t; i < 3 * t + 3; ++i) {
            const std::uint32_t vertex = mesh_.indices[i];
            if (!isFlat[vertex]) continue;
            const auto [found, isNew] = copies.try_emplace({vertex, roughDirection(normal)}, vertex);
            if (isNew) {
                if (used[vertex]) found->second = copyVertex(vertex);
                used[vertex] = true;
                mesh_.normals[found->second] = normal;
            }
            mesh_.indices[i] = found->second;
        }
    }
}

void Subdivision::findPlaces() {
    std::unordered_map<Bits, std::uint32_t, BitsHash> numbers;
    numbers.reserve(mesh_.vertices());
    placeOf_.reserve(mesh_.vertices());
    for (const miVector& position : mesh_.positions)
        placeOf_.push_back(
            numbers.try_emplace(bitsOf(position), static_cast<std::uint32_t>(numbers.size())).first->second);
    places_ = static_cast<std::uint32_t>(numbers.size());
}

void Subdivision::findEdges() {
    edges_.clear();
    edgeOf_.resize(mesh_.indices.size());
    PairTable table(mesh_.indices.size() / 2);
    for (std::uint32_t t = 0; t < mesh_.triangles(); ++t)
        for (std::uint32_t corner = 0; corner < 3; ++corner) {
            const std::uint32_t* v = &mesh_.indices[std::size_t{3} * t];
            const auto [number, isNew] = table.add(placeOf_[v[corner]], placeOf_[v[(corner + 1) % 3]]);
            if (isNew) edges_.push_back({t, corner, kNone, 0});
            edgeOf_[std::size_t{3} * t + corner] = number;
        }
}

std::pair<std::uint32_t, std::uint32_t> Subdivision::verticesOf(const Edge& edge) const {
    const std::uint32_t* v = &mesh_.indices[std::size_t{3} * edge.triangle];
    const std::uint32_t a = v[edge.corner], b = v[(edge.corner + 1) % 3];
    return placeOf_[a] < placeOf_[b] ? std::pair{a, b} : std::pair{b, a};
}

std::size_t Subdivision::trianglesAfterwards() const {
    std::size_t count = mesh_.triangles();
    for (const std::uint32_t edge : edgeOf_) count += edges_[edge].need > 1 ? 1 : 0;
    return count;
}

void Subdivision::addMiddle(std::uint32_t a, std::uint32_t b, std::uint32_t place) {
    visitLists(mesh_, [a, b](auto& list, std::size_t stride) {
        if (list.empty()) return;
        for (std::size_t i = 0; i < stride; ++i) {
            const miVector &from = list[a * stride + i], &to = list[b * stride + i];
            // Neither sums of large numbers nor the order of the ends matter.
            list.push_back({from.x * 0.5F + to.x * 0.5F, from.y * 0.5F + to.y * 0.5F, from.z * 0.5F + to.z * 0.5F});
        }
    });
    miVector& normal = mesh_.normals.back();
    if (const miVector direction = unit(normal); isFinite(direction)) normal = direction;
    placeOf_.push_back(place);
}

void Subdivision::divide() {
    const std::size_t triangles = mesh_.triangles(), after = trianglesAfterwards();
    const auto firstVertex = static_cast<std::uint32_t>(mesh_.vertices());
    std::vector<std::uint32_t> indices, surfaces;
    indices.reserve(3 * after);
    const bool hasSurfaces = !mesh_.surfaceOfTriangle.empty();
    if (hasSurfaces) surfaces.reserve(after);

    PairTable middles(after - triangles);
    for (std::size_t t = 0; t < triangles; ++t) {
        std::array<std::uint32_t, 3> v, m;
        std::copy_n(&mesh_.indices[3 * t], 3, v.begin());
        for (std::size_t i = 0; i < 3; ++i) {
            Edge& edge = edges_[edgeOf_[3 * t + i]];
            m[i] = kNone;
            if (!(edge.need > 1)) continue;
            if (edge.middle == kNone) edge.middle = places_++;
            const std::uint32_t a = v[i], b = v[(i + 1) % 3];
            const auto [number, isNew] = middles.add(a, b);
            if (isNew) addMiddle(a, b, edge.middle);
            m[i] = firstVertex + number;
        }
        const std::size_t before = indices.size();
        const auto add = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c) {
            indices.insert(indices.end(), {a, b, c});
        };
        const auto divided = std::count_if(m.begin(), m.end(), [](std::uint32_t i) { return i != kNone; });
        if (divided == 3) {
            for (std::size_t i = 0; i < 3; ++i) add(v[i], m[i], m[(i + 2) % 3]);
            add(m[0], m[1], m[2]);
        } else if (divided == 0) {
            add(v[0], v[1], v[2]);
        } else {
            // Turned so that the edges from corner 0, and of two from corner 1, are the divided ones.
            const std::size_t first = m[0] != kNone && (divided == 1 || m[1] != kNone)   ? 0
                                      : m[1] != kNone && (divided == 1 || m[2] != kNone) ? 1
                                                                                         : 2;
            std::rotate(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(first), v.end());
            std::rotate(m.begin(), m.begin() + static_cast<std::ptrdiff_t>(first), m.end());
            if (divided == 1) {
                add(v[0], m[0], v[2]);
                add(m[0], v[1], v[2]);
            } else {
                const auto apart = [&](std::uint32_t a, std::uint32_t b) {
                    return length(wide(mesh_.positions[a]) - wide(mesh_.positions[b]));
                };
                add(m[0], v[1], m[1]);
                if (apart(v[0], m[1]) < apart(m[0], v[2])) {
                    add(v[0], m[0], m[1]);
                    add(v[0], m[1], v[2]);
                } else {
                    add(v[0], m[0], v[2]);
                    add(m[0], m[1], v[2]);
                }
            }
        }
        if (hasSurfaces) surfaces.resize(surfaces.size() + (indices.size() - before) / 3, mesh_.surfaceOfTriangle[t]);
    }
    mesh_.indices = std::move(indices);
    mesh_.surfaceOfTriangle = std::move(surfaces);
    findEdges();
}

}  // namespace lumorender
