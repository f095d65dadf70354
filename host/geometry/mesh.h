// Triangle meshes as the host keeps them: compact, in object space, one per object however often it is placed.
#pragma once

#include "database/elements.h"
#include "mi/types.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace lumorender {

/// What a triangle was made of, as far as the choice of its material goes.
struct MeshSurface {
    miTag material = 0;       ///< 0 = inherited
    std::uint32_t label = 0;  ///< of tagged objects
};

/// Attribute lists are empty where no vertex has the attribute; else they have an entry for every vertex, zero for
/// those without.
struct Mesh {
    // Each hit looks at these, so they stand together.
    std::vector<std::uint32_t> indices;  ///< three vertices per triangle
    std::vector<miVector> positions;     ///< at shutter open
    /// Where the vertices are at the end of each of the equal parts of the shutter interval; empty if nothing moves.
    std::vector<std::vector<miVector>> laterPositions;
    std::vector<miVector> normals;                 ///< unit length; zero = flat
    std::vector<miVector> textures;                ///< `textureSpaces` per vertex
    std::vector<std::uint32_t> surfaceOfTriangle;  ///< empty where there is one surface only
    std::uint32_t textureSpaces = 0;

    std::vector<miVector> bumpX;  ///< as textures, and as given
    std::vector<miVector> bumpY;
    std::vector<miVector> derivatives;  ///< 5 per vertex, as given
    std::vector<MeshSurface> surfaces;  ///< the different ones, at least one

    std::size_t triangles() const { return indices.size() / 3; }
    std::size_t vertices() const { return positions.size(); }
    bool moves() const { return !laterPositions.empty(); }
    bool hasDerivatives() const { return !derivatives.empty() || textureSpaces > 0; }
    std::uint32_t surface(std::uint32_t triangle) const {
        return surfaceOfTriangle.empty() ? 0 : surfaceOfTriangle[triangle];
    }
};

/// Triangulates all groups of an object, and those that its surfaces have become. What is broken (polygons without area, indices out of range, coordinates that
/// are not finite) is left out, with one message per kind that names the object by `name`.
/// @return null where nothing is left.
std::unique_ptr<Mesh> buildMesh(const ObjectSource& source, const std::string& name,
                                std::span<const PolygonGroupSource> surfaces = {});

/// About how many bytes the mesh will take, with what the ray tracing kernels make of it.
double meshBytes(const ObjectSource& source, std::span<const PolygonGroupSource> surfaces = {});

}  // namespace lumorender
