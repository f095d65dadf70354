#include "building/object_builder.h"

#include "building/misuse.h"
#include "elements/element_readers.h"

#include <algorithm>

namespace lumorender {

namespace {

constexpr std::size_t kMostTextures = 64, kMostMotions = 15, kMostUsers = 255;

}  // namespace

ObjectBuilder::ObjectBuilder(const miObject& beginning) : record(beginning) {}

void ObjectBuilder::setTransform(const miMatrix matrix) {
    std::copy_n(matrix, 16, source_.transform);
    source_.hasTransform = true;
}

void ObjectBuilder::beginGroup(double merge) {
    if (group_) refuse("a group is open already");
    group_.emplace();
    group_->surfaces.merge = merge > 0 ? static_cast<float>(merge) : 0;
}

void ObjectBuilder::endGroup() {
    if (!group_) refuse("no group is open");
    if (polygon_) refuse("a polygon is open");
    if (surfaces_.isOpen()) refuse("a curve or surface is open");
    closeVertex();
    source_.groups.push_back(std::move(*group_));
    group_.reset();
}

PolygonGroupSource& ObjectBuilder::group() {
    if (!group_) group_.emplace();
    return *group_;
}

void ObjectBuilder::addVector(const miVector& vector) { group().vectors.push_back(vector); }

int ObjectBuilder::vectorNumber(int vector, bool mayLack) const {
    if (mayLack && vector == -1) return vector;
    const std::size_t count = group_ ? group_->vectors.size() : 0;
    if (vector < 0 || static_cast<std::size_t>(vector) >= count)
        refuse("there is no vector {}, the group has {}", vector, count);
    return vector;
}

void ObjectBuilder::addVertex(int position) {
    const int number = vectorNumber(position);
    closeVertex();
    vertex_.emplace();
    vertex_->position = number;
}

ObjectBuilder::OpenVertex& ObjectBuilder::vertex() {
    if (!vertex_) refuse("no vertex was added before");
    return *vertex_;
}

void ObjectBuilder::setNormal(int vector) { vertex().normal = vectorNumber(vector, true); }

void ObjectBuilder::addTexture(int coordinate, int bumpX, int bumpY) {
    std::vector<int>& textures = vertex().textures;
    if (textures.size() >= 3 * kMostTextures) refuse("a vertex has at most {} texture coordinates", kMostTextures);
    const int numbers[] = {vectorNumber(coordinate), vectorNumber(bumpX, true), vectorNumber(bumpY, true)};
    textures.insert(textures.end(), std::begin(numbers), std::end(numbers));
}

void ObjectBuilder::setDerivatives(int first, int count, const int* vectors) {
    OpenVertex& open = vertex();
    for (int i = 0; i < count; ++i) vectorNumber(vectors[i]);
    std::copy_n(vectors, count, open.derivatives + first);
}

void ObjectBuilder::addMotion(int vector) {
    OpenVertex& open = vertex();
    if (open.motions.size() >= kMostMotions) refuse("a vertex has at most {} motion vectors", kMostMotions);
    open.motions.push_back(vectorNumber(vector));
}

void ObjectBuilder::addUser(int vector) {
    OpenVertex& open = vertex();
    if (open.users.size() >= kMostUsers) refuse("a vertex has at most {} user vectors", kMostUsers);
    open.users.push_back(vectorNumber(vector));
}

/// In the order in which the group has the parts of a vertex.
void ObjectBuilder::closeVertex() {
    if (!vertex_) return;
    const OpenVertex& open = *vertex_;
    std::vector<int>& extras = group().extras;
    VertexSource vertex;
    vertex.position = open.position;
    vertex.normal = open.normal;
    vertex.firstExtra = static_cast<std::uint32_t>(extras.size());
    const bool first = open.derivatives[0] >= 0, second = open.derivatives[2] >= 0;
    vertex.derivatives = static_cast<std::uint8_t>((first ? 2 : 0) + (second ? 3 : 0));
    for (int i = 0; i < 5; ++i)
        if (i < 2 ? first : second) extras.push_back(open.derivatives[i]);
    for (const auto* list : {&open.textures, &open.motions, &open.users})
        extras.insert(extras.end(), list->begin(), list->end());
    vertex.textures = static_cast<std::uint8_t>(open.textures.size() / 3);
    vertex.motions = static_cast<std::uint8_t>(open.motions.size());
    vertex.users = static_cast<std::uint8_t>(open.users.size());
    group().vertices.push_back(vertex);
    vertex_.reset();
}

void ObjectBuilder::beginPolygon(bool convex, miTag material) {
    if (polygon_) refuse("a polygon is open already");
    closeVertex();
    PolygonSource polygon;
    polygon.first = loopStart_ = static_cast<std::uint32_t>(group().corners.size());
    polygon.convex = convex;
    (record.mtl_is_label ? polygon.label : polygon.material) = material;
    if (!record.mtl_is_label) material_ = material;
    polygon_ = polygon;
}

void ObjectBuilder::addCorner(int vertex) {
    if (!polygon_) refuse("no polygon is open");
    const std::size_t count = group().vertices.size();
    if (vertex < 0 || static_cast<std::size_t>(vertex) >= count)
        refuse("there is no vertex {}, the group has {}", vertex, count);
    group().corners.push_back(vertex);
}

void ObjectBuilder::addHole() {
    if (!polygon_) refuse("no polygon is open");
    if (group().corners.size() - loopStart_ < 3) refuse("the loop before has fewer than 3 vertices");
    group().corners.push_back(-1);
    loopStart_ = static_cast<std::uint32_t>(group().corners.size());
    polygon_->convex = false;
}

/// One that is not whole is left out.
void ObjectBuilder::endPolygon() {
    if (!polygon_) refuse("no polygon is open");
    PolygonSource polygon = *polygon_;
    polygon_.reset();
    std::vector<int>& corners = group().corners;
    if (corners.size() - loopStart_ < 3) {
        corners.resize(polygon.first);
        refuse("the polygon, or its last hole, has fewer than 3 vertices");
    }
    polygon.count = static_cast<std::uint32_t>(corners.size()) - polygon.first;
    group().polygons.push_back(polygon);
}

SurfaceBuilder& ObjectBuilder::surfaces() {
    if (polygon_) refuse("a polygon is open");
    closeVertex();
    return surfaces_;
}

void ObjectBuilder::addApproximation(const ApproximationRule& rule) { source_.approximation.push_back(rule); }

void ObjectBuilder::requireHair(HairStep step, const char* what) const {
    if (hairStep_ != step) refuse("{}", what);
}

miHair_list* ObjectBuilder::beginHair() {
    requireHair(HairStep::None, "an object has one hair list");
    hairSettings_.radius = 1;
    hairSettings_.approx = hairSettings_.degree = 1;
    hairStep_ = HairStep::Info;
    return &hairSettings_;
}

void ObjectBuilder::addHairInfo(int place, char kind, int count) {
    requireHair(HairStep::Info, "it comes behind hair_begin, and before the scalars");
    if (place != 0 && place != 1) refuse("{} is neither 0, of hairs, nor 1, of vertices", place);
    if (count < 0 || count > 192) refuse("{} numbers are not from 0 to 192", count);
    HairExtras& extras = place == 0 ? hair_.perHair : hair_.perVertex;
    const int at = count > 0 ? extras.size : -1;
    switch (kind) {
        case 'n': extras.normal = at, extras.size += 3 * std::min(count, 1); break;
        case 'm': extras.motion = at, extras.size += 3 * (extras.motions = std::min(count, 15)); break;
        case 't': extras.texture = at, extras.size += extras.textures = count; break;
        case 'u': extras.user = at, extras.size += extras.users = count; break;
        case 'r': extras.radius = at, extras.size += std::min(count, 1); break;
        default: refuse("\"{}\" is none of n, m, t, u and r", kind);
    }
}

miScalar* ObjectBuilder::beginScalars(int count) {
    requireHair(HairStep::Info, "it comes behind hair_begin, once");
    if (count < 0) refuse("there are no {} scalars", count);
    hair_.scalars.assign(std::max<std::size_t>(static_cast<std::size_t>(count), 1), 0);
    hair_.scalars.resize(static_cast<std::size_t>(count));
    hairStep_ = HairStep::Scalars;
    return hair_.scalars.data();
}

void ObjectBuilder::endScalars(int used) {
    requireHair(HairStep::Scalars, "it comes behind hair_scalars_begin");
    if (used < 0 || static_cast<std::size_t>(used) > hair_.scalars.size())
        refuse("{} scalars are more than the {} that there is room for", used, hair_.scalars.size());
    hair_.scalars.resize(static_cast<std::size_t>(used));
    hairStep_ = HairStep::ScalarsEnded;
}

miGeoIndex* ObjectBuilder::beginHairs(int count) {
    requireHair(HairStep::ScalarsEnded, "it comes behind the scalars, once");
    if (count < 1) refuse("there are no {} offsets", count);
    offsets_.assign(static_cast<std::size_t>(count), 0);
    hairStep_ = HairStep::Hairs;
    return offsets_.data();
}

void ObjectBuilder::endHairs() {
    requireHair(HairStep::Hairs, "it comes behind hair_hairs_begin");
    hairStep_ = HairStep::HairsEnded;
}

/// The settings may be changed up to here, so that only now it shows whether everything fits together.
void ObjectBuilder::endHair() {
    requireHair(HairStep::HairsEnded, "it comes behind hair_hairs_end");
    hairStep_ = HairStep::Done;
    if (hairSettings_.degree < 1 || hairSettings_.degree > 3)
        refuse("the degree {} is not 1 to 3", hairSettings_.degree);
    hair_.material = hairSettings_.material;
    hair_.radius = hairSettings_.radius;
    hair_.degree = static_cast<int>(hairSettings_.degree);
    hair_.approximation = static_cast<int>(std::min(hairSettings_.approx, 1U << 16));
    for (const std::uint32_t offset : offsets_) {
        const std::string problem = problemOfOffset(hair_, offset);
        if (!problem.empty()) refuse("{}", problem);
        hair_.offsets.push_back(offset);
    }
    if (hair_.offsets.back() != hair_.scalars.size())
        refuse("the last hair ends at {}, the scalars at {}", hair_.offsets.back(), hair_.scalars.size());
    source_.hair = std::move(hair_);
}

std::unique_ptr<ObjectSource> ObjectBuilder::finish(const std::string& where) {
    if (polygon_) refuse("a polygon is open");
    if (hairStep_ != HairStep::None && hairStep_ != HairStep::Done) refuse("a hair list is open");
    if (group_) endGroup();
    if (source_.hair && !source_.groups.empty()) refuse("an object has polygons or hair, not both");
    source_.where = where;
    source_.tagged = record.mtl_is_label != 0;
    return std::make_unique<ObjectSource>(std::move(source_));
}

}  // namespace lumorender
