// The geometry of an object, put together by calls as the scene language has its parts.
#pragma once

#include "building/surface_builder.h"
#include "database/elements.h"
#include "mi/geometry_api.h"

#include <optional>
#include <vector>

namespace lumorender {

/// One object between its begin and its end. All calls throw Misuse where they are out of order or name what is not
/// there, and change nothing then.
class ObjectBuilder {
public:
    explicit ObjectBuilder(const miObject& beginning);

    miObject record;  ///< for whoever builds it

    void setTransform(const miMatrix matrix);

    /// A group begins by itself where vectors come without.
    void beginGroup(double merge = 0);
    void endGroup();
    void addVector(const miVector& vector);
    void addVertex(int position);
    void setNormal(int vector);
    void addTexture(int coordinate, int bumpX, int bumpY);
    void setDerivatives(int first, int count, const int* vectors);
    void addMotion(int vector);
    void addUser(int vector);

    /// The material, or the label of a tagged object.
    void beginPolygon(bool convex, miTag material);
    miTag formerMaterial() const { return material_; }
    void addCorner(int vertex);
    void addHole();
    void endPolygon();
    void addApproximation(const ApproximationRule& rule);

    /// Bases belong to the object; curves and surfaces to the group, whose vertices come first.
    SurfaceBuilder& bases() { return surfaces_; }
    SurfaceBuilder& surfaces();
    PolygonGroupSource& group();

    miHair_list* beginHair();
    void addHairInfo(int place, char kind, int count);
    miScalar* beginScalars(int count);
    void endScalars(int used);
    miGeoIndex* beginHairs(int count);
    void endHairs();
    void endHair();

    /// What was built. Throws Misuse where something was begun and not ended.
    std::unique_ptr<ObjectSource> finish(const std::string& where);

private:
    /// The vertex that was added last; its parts come in any order.
    struct OpenVertex {
        int position = 0, normal = -1;
        int derivatives[5] = {-1, -1, -1, -1, -1};
        std::vector<int> textures, motions, users;  ///< textures three each
    };
    enum class HairStep { None, Info, Scalars, ScalarsEnded, Hairs, HairsEnded, Done };

    OpenVertex& vertex();
    int vectorNumber(int vector, bool mayLack = false) const;
    void closeVertex();
    void requireHair(HairStep step, const char* what) const;

    ObjectSource source_;
    std::optional<PolygonGroupSource> group_;
    std::optional<OpenVertex> vertex_;
    std::optional<PolygonSource> polygon_;
    std::uint32_t loopStart_ = 0;
    miTag material_ = 0;
    SurfaceBuilder surfaces_;
    HairStep hairStep_ = HairStep::None;
    miHair_list hairSettings_ = {};
    HairSource hair_;
    std::vector<std::uint32_t> offsets_;
};

}  // namespace lumorender
