// Reads the control meshes of subdivision surfaces.
#include "elements/element_readers.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

class MeshReader {
public:
    explicit MeshReader(GroupInReading& group) : group_(group), scene_(group.scene), in_(group.scene.in) {
        mesh_.where = in_.place().text();
    }

    /// `"name" faces creases [end subdivision surface]`
    void readSurface() {
        mesh_.name = in_.readName("the name of the surface");
        readBody();
        if (in_.at("end") && in_.followingWord() == "subdivision") {
            in_.advance();
            in_.advance();
            in_.accept("surface");
        }
        store();
    }

    /// `["name"] polygon N vertex M faces creases end ccmesh`
    void readCatmullClark() {
        mesh_.catmullClark = true;
        if (in_.atString() || (in_.atName() && !in_.at("polygon"))) mesh_.name = in_.readName("the name of the mesh");
        in_.expect("polygon");
        const Place place = in_.place();
        const auto faces = static_cast<std::size_t>(in_.readInteger(0, kMost));
        in_.expect("vertex");
        in_.readInteger(0, kMost);
        readBody();
        if (mesh_.faces.size() != faces)
            throw SyntaxError{place, fmt::format("found {} polygons, expected {}", mesh_.faces.size(), faces)};
        if (!in_.acceptEnd("ccmesh")) in_.fail("a polygon, a crease or \"end ccmesh\"");
        store();
    }

private:
    static constexpr int kMost = 1 << 28;

    GroupInReading& group_;
    SceneContext& scene_;
    Cursor& in_;
    SubdivisionSource mesh_;

    void readBody() {
        for (;;) {
            if (in_.accept("p") || in_.accept("c") || in_.accept("cp"))
                readFace();
            else if (in_.accept("crease"))
                readCrease();
            else if (in_.accept("derivative"))
                readDerivatives();
            else
                return;
        }
    }

    void readDerivatives() {
        mesh_.derivatives = true;
        while (in_.atInteger()) in_.readInteger(1, 2);
    }

    void readFace() {
        ControlFace face;
        const Place place = in_.place();
        face.label = group_.readHeading();
        face.material = group_.material;
        face.first = static_cast<std::uint32_t>(mesh_.corners.size());
        while (in_.atInteger()) mesh_.corners.push_back(group_.readVertex());
        face.count = static_cast<std::uint32_t>(mesh_.corners.size()) - face.first;
        if (face.count < 3) in_.fail("at least three vertices of a polygon");
        checkCorners(face, place);
        mesh_.faces.push_back(face);
        if (!in_.at('{')) return;
        scene_.problems.leftOut(in_.place(), "subdivision surface: details of single faces are not supported");
        in_.skipGroup();
    }

    /// By the places of vertices: two with one place are one corner of the surface.
    void checkCorners(const ControlFace& face, const Place& place) const {
        std::vector<int> places;
        for (std::uint32_t i = 0; i < face.count; ++i)
            places.push_back(group_.group.vertices[static_cast<std::size_t>(mesh_.corners[face.first + i])].position);
        std::sort(places.begin(), places.end());
        if (std::adjacent_find(places.begin(), places.end()) != places.end())
            throw SyntaxError{place, "found a polygon that has a corner twice, expected different ones"};
    }

    /// A line of edges.
    void readCrease() {
        std::vector<int> line;
        while (in_.atInteger()) line.push_back(group_.readVertex());
        if (line.size() < 2) in_.fail("at least two vertices of a crease");
        float sharpness = kSharpForever;
        if (in_.accept("level")) {
            const Place place = in_.place();
            sharpness = in_.readFloat();
            if (!(sharpness >= 0))
                throw SyntaxError{place, fmt::format("found level {}, expected one from 0 on", sharpness)};
        }
        for (std::size_t i = 0; i + 1 < line.size(); ++i)
            mesh_.creases.push_back({line[i], line[i + 1], std::min(sharpness, kSharpForever)});
    }

    void store() { group_.group.surfaces.subdivisions.push_back(std::move(mesh_)); }
};

}  // namespace

void readSubdivisionSurface(GroupInReading& group) { MeshReader(group).readSurface(); }

void readCatmullClarkMesh(GroupInReading& group) { MeshReader(group).readCatmullClark(); }

}  // namespace lumorender
