#include "geometry/hair.h"

#include "support/messages.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

/// Bezier points of degree 3 from those of degree 1 and 2 (degree elevation), and of 3 as they are.
constexpr float kThird = 1.0F / 3;
constexpr float kElevated[3][4][4] = {
    {{1, 0, 0, 0}, {2 * kThird, kThird, 0, 0}, {kThird, 2 * kThird, 0, 0}, {0, 1, 0, 0}},
    {{1, 0, 0, 0}, {kThird, 2 * kThird, 0, 0}, {0, 2 * kThird, kThird, 0}, {0, 0, 1, 0}},
    {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}},
};

miVector vectorAt(const float* values) { return {values[0], values[1], values[2]}; }

class HairBuilder {
public:
    HairBuilder(const ObjectSource& source, const std::string& name)
        : object_(source), source_(*source.hair), name_(name) {}

    std::unique_ptr<Hair> build() {
        takeTransform();
        hair_->source = &source_;
        const bool ribbon = source_.perHair.normal >= 0 || source_.perVertex.normal >= 0;
        hair_->curved = ribbon || source_.degree > 1;
        hair_->points.resize(1 +
                             static_cast<std::size_t>(std::max(source_.perHair.motions, source_.perVertex.motions)));
        reserve(ribbon);
        hair_->firstPieces.push_back(0);
        std::size_t leftOut = 0;
        for (std::size_t i = 0; i < source_.hairs(); ++i) {
            if (readVertices(i, ribbon)) {
                addHair(ribbon);
                if (leftOut > 0) hair_->numbers.push_back(static_cast<std::uint32_t>(i));
            } else if (leftOut++ == 0) {
                for (std::size_t k = 0; k < i; ++k) hair_->numbers.push_back(static_cast<std::uint32_t>(k));
            }
        }
        if (leftOut > 0)
            warning("GEOM", "object \"{}\": {} hair(s) without finite positions, length and width left out", name_,
                    leftOut);
        return hair_->starts.empty() ? nullptr : std::move(hair_);
    }

private:
    const ObjectSource& object_;
    const HairSource& source_;
    const std::string& name_;
    std::unique_ptr<Hair> hair_ = std::make_unique<Hair>();
    bool baked_ = false;
    M44d matrix_, inverse_;
    float scale_ = 1;
    std::vector<std::vector<CurvePoint>> vertices_;  ///< of the hair at hand, by step
    std::vector<miVector> normals_;

    void takeTransform() {
        if (!object_.hasTransform) return;
        matrix_ = affineMatrix(object_.transform);
        baked_ = invert(matrix_, inverse_);
        if (!baked_) return warning("GEOM", "object \"{}\": transform is singular, replaced by the identity", name_);
        scale_ = static_cast<float>(meanScale(matrix_));
    }

    /// One normal more than is used: the kernels read 16 bytes where it has 12.
    void reserve(bool ribbon) {
        std::size_t vertices = 0;
        for (std::size_t i = 0; i < source_.hairs(); ++i) vertices += source_.vertices(i);
        const std::size_t pieces = (vertices - source_.hairs()) / static_cast<std::size_t>(source_.degree);
        const std::size_t points = pieces * hair_->stride() + source_.hairs();
        for (auto& step : hair_->points) step.reserve(points);
        if (ribbon) hair_->normals.reserve(points + 1);
        hair_->starts.reserve(pieces);
        hair_->firstPieces.reserve(source_.hairs() + 1);
        vertices_.resize(hair_->points.size());
    }

    miVector asPoint(const miVector& p) const { return baked_ ? narrow(transformPoint(wide(p), matrix_)) : p; }
    miVector asVector(const miVector& v) const { return baked_ ? narrow(transformVector(wide(v), matrix_)) : v; }
    miVector asNormal(const miVector& n) const { return unit(baked_ ? narrow(transformNormal(wide(n), inverse_)) : n); }

    float radiusOf(const float* hair, const float* vertexExtras) const {
        if (source_.perVertex.radius >= 0) return vertexExtras[source_.perVertex.radius];
        return source_.perHair.radius >= 0 ? hair[source_.perHair.radius] : source_.radius;
    }

    /// Vertices without motion move with their hair.
    miVector motionOf(const float* hair, const float* vertexExtras, int step) const {
        if (source_.perVertex.motion >= 0)
            return step < source_.perVertex.motions ? vectorAt(vertexExtras + source_.perVertex.motion + 3 * step)
                                                    : miVector{0, 0, 0};
        return step < source_.perHair.motions ? vectorAt(hair + source_.perHair.motion + 3 * step) : miVector{0, 0, 0};
    }

    bool readVertices(std::size_t number, bool ribbon) {
        for (auto& step : vertices_) step.clear();
        normals_.clear();
        const float* hair = source_.hair(number);
        const std::size_t count = source_.vertices(number);
        for (std::size_t k = 0; k < count; ++k) {
            const float* vertex = source_.vertex(number, k);
            const float* extras = vertex + 3;
            const float radius = std::max(radiusOf(hair, extras), 0.0F) * scale_;
            miVector p = asPoint(vectorAt(vertex));
            for (std::size_t step = 0; step < vertices_.size(); ++step) {
                if (step > 0) p = p + asVector(motionOf(hair, extras, static_cast<int>(step) - 1));
                if (!isFinite(p) || !std::isfinite(radius)) return false;
                vertices_[step].push_back({p.x, p.y, p.z, radius});
            }
            if (!ribbon) continue;
            const bool own = source_.perVertex.normal >= 0;
            normals_.push_back(
                asNormal(vectorAt(own ? extras + source_.perVertex.normal : hair + source_.perHair.normal)));
            if (!isFinite(normals_.back())) return false;
        }
        return hasSize();
    }

    bool hasSize() const {
        bool isLong = false, isWide = false;
        for (const CurvePoint& p : vertices_[0]) {
            const CurvePoint& first = vertices_[0][0];
            isLong = isLong || p.x != first.x || p.y != first.y || p.z != first.z;
            isWide = isWide || p.radius > 0;
        }
        return isLong && isWide;
    }

    void addHair(bool ribbon) {
        const auto degree = static_cast<std::size_t>(source_.degree);
        const std::size_t pieces = (vertices_[0].size() - 1) / degree, stride = hair_->stride();
        const auto first = static_cast<std::uint32_t>(hair_->points[0].size());
        for (std::size_t i = 0; i < pieces; ++i)
            hair_->starts.push_back(first + static_cast<std::uint32_t>(i * stride));
        for (std::size_t step = 0; step < vertices_.size(); ++step) addPoints(vertices_[step], hair_->points[step]);
        if (ribbon) addNormals();
        hair_->firstPieces.push_back(static_cast<std::uint32_t>(hair_->starts.size()));
    }

    void addPoints(const std::vector<CurvePoint>& vertices, std::vector<CurvePoint>& points) const {
        if (!hair_->curved) {
            points.insert(points.end(), vertices.begin(), vertices.end());
            return;
        }
        addElevated(vertices, points, CurvePoint{0, 0, 0, 0});
    }

    void addNormals() const { addElevated(normals_, hair_->normals, miVector{0, 0, 0}); }

    template <class Value>
    void addElevated(const std::vector<Value>& from, std::vector<Value>& to, const Value& zero) const {
        const auto degree = static_cast<std::size_t>(source_.degree);
        for (std::size_t first = 0; first + degree < from.size(); first += degree) {
            for (std::size_t i = first == 0 ? 0 : 1; i < 4; ++i) {
                Value sum = zero;
                for (std::size_t k = 0; k <= degree; ++k) sum = sum + from[first + k] * kElevated[degree - 1][i][k];
                to.push_back(sum);
            }
        }
    }
};

}  // namespace

std::size_t Hair::bytes() const {
    std::size_t size = 0;
    for (const auto& step : points) size += step.size() * sizeof(CurvePoint);
    size += normals.size() * sizeof(miVector) + (starts.size() + firstPieces.size() + numbers.size()) * 4;
    return size + source->scalars.size() * sizeof(float) + source->offsets.size() * 4;
}

std::unique_ptr<Hair> buildHair(const ObjectSource& source, const std::string& name) {
    return HairBuilder(source, name).build();
}

}  // namespace lumorender
