#include "photons/photon_map.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

constexpr std::size_t kLeaf = 8;         // photons that are looked at one by one
constexpr float kLeastCosine = 0.7071F;  // between normals of one surface

float at(const miVector& v, unsigned axis) { return axis == 0 ? v.x : axis == 1 ? v.y : v.z; }

float squaredDistance(const miVector& a, const miVector& b) {
    const miVector way = a - b;
    return dot(way, way);
}

/// The direction in which the range is longest.
std::uint8_t longestAxis(std::span<const Photon> range) {
    miVector low = range[0].position, high = low;
    for (const Photon& photon : range) {
        const miVector& p = photon.position;
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
    const miVector size = high - low;
    if (size.x >= size.y && size.x >= size.z) return 0;
    return size.y >= size.z ? 1 : 2;
}

struct Near {
    float distance2;
    std::size_t photon;
    bool operator<(const Near& other) const {
        return distance2 != other.distance2 ? distance2 < other.distance2 : photon < other.photon;
    }
};

bool arrivesOn(const Photon& photon, const miVector& normal) {
    return dot(photon.direction.unpacked(), normal) < 0 && dot(photon.normal.unpacked(), normal) > kLeastCosine;
}

/// Light per area of a surface that is bent, by what comes to the flat one. Light that grazes this is held down.
float leanOf(const Photon& photon, const PhotonQuery& query) {
    if (isZero(query.bent)) return 1;
    constexpr float kLeast = 0.1F;
    const miVector from = -photon.direction.unpacked();
    return std::max(dot(from, query.bent), 0.0F) / std::max(dot(from, query.normal), kLeast);
}

void add(std::array<double, 3>& sum, const Photon& photon, float weight) {
    for (std::size_t i = 0; i < 3; ++i) sum[i] += static_cast<double>(weight * photon.energy[i]);
}

}  // namespace

float PhotonFilter::weight(float share2) const {
    switch (shape) {
        case Shape::Box: return 1;
        case Shape::Cone: return 1 - std::sqrt(share2) / std::max(constant, 1.0F);
        case Shape::Gauss: break;
    }
    return std::exp(-2 * share2 / (constant * constant));
}

float PhotonFilter::mean() const {
    switch (shape) {
        case Shape::Box: return 1;
        case Shape::Cone: return 1 - 2 / (3 * std::max(constant, 1.0F));
        case Shape::Gauss: break;
    }
    const float exponent = 2 / (constant * constant);
    return -std::expm1(-exponent) / exponent;
}

/// Photons around a place: the nearest ones, or all of them.
class PhotonMap::Search {
public:
    Search(const PhotonMap& map, const PhotonQuery& query, Arena& arena)
        : map_(map), query_(query), arena_(arena), mark_(arena.mark()), limit2_(query.radius * query.radius) {
        // One more than count: the farthest one tells how large the place is that the others lie in.
        if (query.count > 0 && query.count < map.photons_.size()) capacity_ = query.count + 1;
        nearest_ = arena.allocateArray<Near>(capacity_);
        map.visit(0, map.photons_.size(), *this);
    }
    ~Search() { arena_.release(mark_); }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    const miVector& position() const { return query_.position; }
    float limit2() const { return limit2_; }

    void take(std::size_t number) {
        const Photon& photon = map_.photons_[number];
        const float distance2 = squaredDistance(photon.position, query_.position);
        if (!(distance2 <= limit2_)) return;
        if (!isZero(query_.normal) && !arrivesOn(photon, query_.normal)) return;
        if (capacity_ == 0) return add(total_, photon, weightOf(photon, distance2 / limit2_));
        const Near found{distance2, number};
        if (count_ < capacity_) {
            nearest_[count_++] = found;
            if (count_ == capacity_) std::make_heap(nearest_, nearest_ + count_);
        } else if (found < nearest_[0]) {
            std::pop_heap(nearest_, nearest_ + count_);
            nearest_[count_ - 1] = found;
            std::push_heap(nearest_, nearest_ + count_);
        }
        if (count_ == capacity_) limit2_ = nearest_[0].distance2;
    }

    /// Weighted flux; `radius2` gets the square of how far the photons reach.
    std::array<double, 3> sum(float& radius2) const {
        radius2 = limit2_;
        const bool isFull = capacity_ > 0 && count_ == capacity_;
        std::sort(nearest_, nearest_ + count_);
        const std::size_t count = isFull ? count_ - 1 : count_;
        std::array<double, 3> total = total_;
        for (std::size_t i = 0; i < count; ++i) {
            const Photon& photon = map_.photons_[nearest_[i].photon];
            add(total, photon, weightOf(photon, nearest_[i].distance2 / radius2));
        }
        return total;
    }

private:
    float weightOf(const Photon& photon, float share2) const {
        return query_.filter.weight(share2) * leanOf(photon, query_);
    }

    const PhotonMap& map_;
    const PhotonQuery& query_;
    Arena& arena_;
    const Arena::Mark mark_;
    float limit2_;
    std::size_t capacity_ = 0, count_ = 0;  ///< capacity 0: all within the radius
    std::array<double, 3> total_ = {0, 0, 0};
    Near* nearest_ = nullptr;
};

PhotonMap::PhotonMap(std::vector<Photon> photons) : photons_(std::move(photons)) { build(0, photons_.size()); }

PhotonMap PhotonMap::ofOrdered(std::vector<Photon> photons) {
    PhotonMap map;
    map.photons_ = std::move(photons);
    return map;
}

void PhotonMap::build(std::size_t first, std::size_t end) {
    if (end - first <= kLeaf) return;
    const std::uint8_t axis = longestAxis({photons_.data() + first, end - first});
    const std::size_t middle = first + (end - first) / 2;
    const auto place = [&](std::size_t i) { return photons_.begin() + static_cast<std::ptrdiff_t>(i); };
    std::nth_element(place(first), place(middle), place(end),
                     [axis](const Photon& a, const Photon& b) { return at(a.position, axis) < at(b.position, axis); });
    photons_[middle].axis = axis;
    build(first, middle);
    build(middle + 1, end);
}

void PhotonMap::visit(std::size_t first, std::size_t end, Search& search) const {
    if (end - first <= kLeaf) {
        for (std::size_t i = first; i < end; ++i) search.take(i);
        return;
    }
    const std::size_t middle = first + (end - first) / 2;
    const Photon& photon = photons_[middle];
    const float side = at(search.position(), photon.axis) - at(photon.position, photon.axis);
    side < 0 ? visit(first, middle, search) : visit(middle + 1, end, search);
    search.take(middle);
    if (side * side > search.limit2()) return;
    side < 0 ? visit(middle + 1, end, search) : visit(first, middle, search);
}

std::array<double, 3> PhotonMap::irradiance(const PhotonQuery& query, Arena& arena) const {
    float radius2 = 0;
    std::array<double, 3> sum = Search(*this, query, arena).sum(radius2);
    if (!(radius2 > 0)) return {0, 0, 0};
    const double area = M_PI * static_cast<double>(radius2) * static_cast<double>(query.filter.mean());
    for (double& channel : sum) channel /= area;
    return sum;
}

std::array<double, 3> PhotonMap::density(const PhotonQuery& query, Arena& arena) const {
    float radius2 = 0;
    std::array<double, 3> sum = Search(*this, query, arena).sum(radius2);
    if (!(radius2 > 0)) return {0, 0, 0};
    const double volume = 4 * M_PI / 3 * std::pow(static_cast<double>(radius2), 1.5);
    for (double& channel : sum) channel /= volume;
    return sum;
}

}  // namespace lumorender
