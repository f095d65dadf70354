#include "surfaces/subdivision_patches.h"

#include "support/messages.h"

#include <opensubdiv/bfr/refinerSurfaceFactory.h>
#include <opensubdiv/bfr/surface.h>
#include <opensubdiv/far/topologyDescriptor.h>
#include <opensubdiv/far/topologyRefinerFactory.h>

#include <algorithm>
#include <map>
#include <unordered_map>

namespace lumorender {

namespace {

using LimitSurface = OpenSubdiv::Bfr::Surface<double>;

V3d vectorOf(const double* numbers) { return {numbers[0], numbers[1], numbers[2]}; }

void append(std::vector<double>& numbers, const miVector& v) {
    const V3d wider = wide(v);
    numbers.insert(numbers.end(), {wider.x, wider.y, wider.z});
}

/// Numbers of one face's surface at the points that its patches are made of.
struct FaceSurface {
    LimitSurface surface;
    std::vector<double> points;

    void prepare(const std::vector<double>& mesh, int size) {
        points.resize(static_cast<std::size_t>(surface.GetNumPatchPoints() * size));
        surface.PreparePatchPoints(mesh.data(), size, points.data(), size);
    }
};

/// A control mesh as the library wants it.
class ControlMesh {
public:
    ControlMesh(const SubdivisionSource& mesh, const PolygonGroupSource& group) : mesh_(mesh), group_(group) {
        for (const int corner : mesh.corners) {
            const VertexSource& vertex = vertexOf(corner);
            motions = std::min<std::size_t>(motions, vertex.motions);
            textures = std::min<std::size_t>(textures, vertex.textures);
        }
        for (const int corner : mesh.corners) {
            corners_.push_back(addPoint(corner));
            textureCorners_.push_back(addTexture(corner));
        }
        for (const ControlFace& face : mesh.faces) counts_.push_back(static_cast<int>(face.count));
        takeSharpness();
    }

    std::size_t motions = 255, textures = 255;
    std::vector<double> points, coordinates;  ///< by point of the mesh, and by texture vertex
    int pointSize() const { return static_cast<int>(3 + 3 * motions); }
    int textureSize() const { return static_cast<int>(3 * textures); }

    std::unique_ptr<OpenSubdiv::Far::TopologyRefiner> refiner(bool loop) const {
        using namespace OpenSubdiv;
        Far::TopologyDescriptor descriptor;
        descriptor.numVertices = static_cast<int>(points.size()) / pointSize();
        descriptor.numFaces = static_cast<int>(counts_.size());
        descriptor.numVertsPerFace = counts_.data();
        descriptor.vertIndicesPerFace = corners_.data();
        descriptor.numCreases = static_cast<int>(creaseWeights_.size());
        descriptor.creaseVertexIndexPairs = creases_.data();
        descriptor.creaseWeights = creaseWeights_.data();
        descriptor.numCorners = static_cast<int>(sharp_.size());
        descriptor.cornerVertexIndices = sharp_.data();
        descriptor.cornerWeights = sharpness_.data();
        Far::TopologyDescriptor::FVarChannel channel;
        channel.numValues = textures > 0 ? static_cast<int>(coordinates.size()) / textureSize() : 0;
        channel.valueIndices = textureCorners_.data();
        descriptor.numFVarChannels = textures > 0 ? 1 : 0;
        descriptor.fvarChannels = &channel;
        // Borders end at the control mesh, and textures stay as they are at their seams.
        Sdc::Options options;
        options.SetVtxBoundaryInterpolation(Sdc::Options::VTX_BOUNDARY_EDGE_AND_CORNER);
        options.SetFVarLinearInterpolation(Sdc::Options::FVAR_LINEAR_CORNERS_ONLY);
        using Factory = Far::TopologyRefinerFactory<Far::TopologyDescriptor>;
        Factory::Options factoryOptions(loop ? Sdc::SCHEME_LOOP : Sdc::SCHEME_CATMARK, options);
        return std::unique_ptr<Far::TopologyRefiner>(Factory::Create(descriptor, factoryOptions));
    }

private:
    const SubdivisionSource& mesh_;
    const PolygonGroupSource& group_;
    std::vector<int> counts_, corners_, textureCorners_;
    std::vector<int> creases_, sharp_;
    std::vector<float> creaseWeights_, sharpness_;
    std::unordered_map<int, int> pointOf_;  ///< by the position's number in the group
    std::map<std::vector<int>, int> textureOf_;

    const VertexSource& vertexOf(int number) const { return group_.vertices[static_cast<std::size_t>(number)]; }
    const miVector& vectorAt(int number) const { return group_.vectors[static_cast<std::size_t>(number)]; }

    int addPoint(int corner) {
        const VertexSource& vertex = vertexOf(corner);
        const auto [found, isNew] = pointOf_.try_emplace(vertex.position, static_cast<int>(pointOf_.size()));
        if (!isNew) return found->second;
        append(points, vectorAt(vertex.position));
        const std::size_t first = vertex.firstExtra + vertex.derivatives + std::size_t{3} * vertex.textures;
        for (std::size_t i = 0; i < motions; ++i) append(points, vectorAt(group_.extras[first + i]));
        return found->second;
    }

    /// The same vectors at the same point are one texture vertex.
    int addTexture(int corner) {
        const VertexSource& vertex = vertexOf(corner);
        const std::size_t first = vertex.firstExtra + vertex.derivatives;
        std::vector<int> key{vertex.position};
        for (std::size_t i = 0; i < textures; ++i) key.push_back(group_.extras[first + 3 * i]);
        const auto [found, isNew] = textureOf_.try_emplace(key, static_cast<int>(textureOf_.size()));
        for (std::size_t i = 1; isNew && i < key.size(); ++i) append(coordinates, vectorAt(key[i]));
        return found->second;
    }

    void takeSharpness() {
        const auto& given = group_.surfaces.sharpness;
        for (std::size_t i = 0; i < given.size(); ++i) {
            const auto point = pointOf_.find(group_.vertices[i].position);
            if (!(given[i] > 0) || point == pointOf_.end()) continue;
            sharp_.push_back(point->second);
            sharpness_.push_back(given[i]);
        }
        for (const CreaseSource& crease : mesh_.creases) {
            const auto from = pointOf_.find(vertexOf(crease.from).position);
            const auto to = pointOf_.find(vertexOf(crease.to).position);
            if (from == pointOf_.end() || to == pointOf_.end()) continue;
            creases_.insert(creases_.end(), {from->second, to->second});
            creaseWeights_.push_back(crease.sharpness);
        }
    }
};

}  // namespace

struct SubdivisionPatches::Limit {
    int pointSize = 3, textureSize = 0;
    std::vector<FaceSurface> points, textures;

    /// Where in a face a place of its patch is.
    void coordinates(const Patch& patch, const PatchPlace& place, double (&uv)[2]) const {
        uv[0] = place.u;
        uv[1] = place.v;
        if (patch.corner < 0) return;
        const double local[2] = {place.u, place.v};
        points[patch.face].surface.GetParameterization().ConvertNormalizedSubFaceToCoord(patch.corner, local, uv);
    }
};

SubdivisionPatches::SubdivisionPatches(const SubdivisionSource& mesh, const PolygonGroupSource& group)
    : limit_(std::make_unique<Limit>()) {
    using namespace OpenSubdiv;
    const ControlMesh control(mesh, group);
    const auto isTriangle = [](const ControlFace& face) { return face.count == 3; };
    isLoop_ = !mesh.catmullClark && std::all_of(mesh.faces.begin(), mesh.faces.end(), isTriangle);
    const auto refiner = control.refiner(isLoop_);
    if (!refiner) throw Failure("its faces do not make a surface");
    textures_ = control.textures;
    motions_ = control.motions;
    derivatives_ = mesh.derivatives;
    limit_->pointSize = control.pointSize();
    limit_->textureSize = control.textureSize();

    // Irregular places are exact at corners, and as good as single precision elsewhere.
    Bfr::SurfaceFactory::Options options;
    options.SetApproxLevelSmooth(5).SetApproxLevelSharp(static_cast<int>(kSharpForever));
    const Bfr::RefinerSurfaceFactory<> factory(*refiner, options);
    limit_->points.resize(mesh.faces.size());
    if (textures_ > 0) limit_->textures.resize(mesh.faces.size());
    for (std::uint32_t face = 0; face < mesh.faces.size(); ++face) {
        FaceSurface& surface = limit_->points[face];
        const auto number = static_cast<int>(face);
        if (!factory.InitVertexSurface(number, &surface.surface)) continue;
        surface.prepare(control.points, limit_->pointSize);
        if (textures_ > 0 && factory.InitFaceVaryingSurface(number, &limit_->textures[face].surface, 0))
            limit_->textures[face].prepare(control.coordinates, limit_->textureSize);
        const bool hasParts = surface.surface.GetParameterization().HasSubFaces();
        hasParts_ = hasParts_ || hasParts;
        if (!hasParts) patches_.push_back({face, -1});
        for (int corner = 0; hasParts && corner < static_cast<int>(mesh.faces[face].count); ++corner)
            patches_.push_back({face, corner});
    }
}

SubdivisionPatches::~SubdivisionPatches() = default;

V3d SubdivisionPatches::normalNear(PatchPlace place) const {
    const double center = isLoop_ ? 1.0 / 3 : 0.5;
    const FaceSurface& face = limit_->points[patches_[place.patch].face];
    std::vector<double> numbers(static_cast<std::size_t>(3 * limit_->pointSize));
    double* const p = numbers.data();
    for (const double inward : {1e-4, 1e-2}) {
        double uv[2];
        limit_->coordinates(patches_[place.patch],
                            {place.patch, place.u + (center - place.u) * inward, place.v + (center - place.v) * inward},
                            uv);
        face.surface.Evaluate(uv, face.points.data(), limit_->pointSize, p, p + limit_->pointSize,
                              p + 2 * limit_->pointSize);
        const V3d normal = normalOf(vectorOf(p + limit_->pointSize), vectorOf(p + 2 * limit_->pointSize));
        if (!isZero(normal)) return normal;
    }
    return V3d(0);
}

PatchPoint SubdivisionPatches::at(const PatchPlace& place) const {
    double p[48], du[48], dv[48], uv[2];  // 15 motion vectors at most
    const Patch& patch = patches_[place.patch];
    const FaceSurface& face = limit_->points[patch.face];
    limit_->coordinates(patch, place, uv);
    face.surface.Evaluate(uv, face.points.data(), limit_->pointSize, p, du, dv);
    PatchPoint point;
    point.position = vectorOf(p);
    point.normal = normalOf(vectorOf(du), vectorOf(dv));
    if (isZero(point.normal)) point.normal = normalNear(place);
    return point;
}

void SubdivisionPatches::detail(const PatchPlace& place, PatchDetail& detail) const {
    const Patch& patch = patches_[place.patch];
    const FaceSurface& face = limit_->points[patch.face];
    double values[6][48], uv[2];
    limit_->coordinates(patch, place, uv);
    face.surface.Evaluate(uv, face.points.data(), limit_->pointSize, values[0], values[1], values[2], values[3],
                          values[5], values[4]);
    for (std::size_t i = 0; i < miDERIVATIVES; ++i) detail.derivatives[i] = vectorOf(values[i + 1]);
    detail.motions.clear();
    for (std::size_t i = 0; i < motions_; ++i) detail.motions.push_back(vectorOf(values[0] + 3 + 3 * i));
    detail.textures.assign(textures_, V3d(0));
    if (textures_ == 0 || !limit_->textures[patch.face].surface.IsValid()) return;
    const FaceSurface& textures = limit_->textures[patch.face];
    double coordinates[3 * 64];
    textures.surface.Evaluate(uv, textures.points.data(), limit_->textureSize, coordinates);
    for (std::size_t i = 0; i < textures_; ++i) detail.textures[i] = vectorOf(coordinates + 3 * i);
}

}  // namespace lumorender
