// Free-form and subdivision surfaces of objects.
#include "echo/element_writers.h"

#include <algorithm>

namespace lumorender {

namespace {

using Kind = BasisSource::Kind;

bool isSameBasis(const BasisSource& a, const BasisSource& b) {
    return a.name == b.name && a.kind == b.kind && a.rational == b.rational && a.degree == b.degree &&
           a.step == b.step && a.matrix == b.matrix;
}

void writeBasis(ElementText& out, const BasisSource& basis) {
    out.statement("basis", Quoted{basis.name});
    if (basis.rational) out.add("rational");
    switch (basis.kind) {
        case Kind::Bezier: out.add("bezier"); break;
        case Kind::BSpline: out.add("bspline"); break;
        case Kind::Taylor: out.add("taylor"); break;
        case Kind::Cardinal: return out.add("cardinal");
        case Kind::Matrix: out.add("matrix"); break;
    }
    out.add(basis.degree);
    if (basis.kind != Kind::Matrix) return;
    out.add(basis.step);
    for (const float number : basis.matrix) out.add(number);
}

/// The surfaces of one group. Bases stand before the group: where it uses another one of a name than the groups before,
/// it is defined again.
class SurfaceWriter {
public:
    SurfaceWriter(ElementText& out, const SurfaceGroup& surfaces, bool tagged)
        : out_(out), surfaces_(surfaces), tagged_(tagged) {}

    void write() {
        for (const CurveSource& curve : surfaces_.curves) writeCurve(curve);
        for (const SurfaceSource& surface : surfaces_.surfaces) writeSurface(surface);
        for (const ConnectionSource& connection : surfaces_.connections) {
            out_.statement("connect");
            for (int i = 0; i < 2; ++i) {
                out_.add(Quoted{surfaces_.surfaces[static_cast<std::size_t>(connection.surfaces[i])].name});
                writePiece(connection.pieces[i]);
            }
        }
        for (const SubdivisionSource& mesh : surfaces_.subdivisions) writeMesh(mesh);
    }

private:
    ElementText& out_;
    const SurfaceGroup& surfaces_;
    const bool tagged_;
    miTag material_ = miNULLTAG;

    void writeHeading(miTag material, std::uint32_t label) {
        if (tagged_) return out_.add(label);
        if (material != material_) out_.add(Name{material});
        material_ = material;
    }

    void writeDirection(const DirectionSource& direction, bool hasRange) {
        out_.line();
        if (direction.rational) out_.add("rational");
        out_.add(Quoted{direction.basis.name});
        if (hasRange) {
            out_.add(direction.low);
            out_.add(direction.high);
        }
        for (const float parameter : direction.parameters) out_.add(parameter);
    }

    void writePoints(const std::vector<ControlPoint>& points) {
        out_.line();
        for (const ControlPoint& point : points) {
            out_.add(point.vertex);
            if (point.weight == 1) continue;
            out_.add("w");
            out_.add(point.weight);
        }
    }

    void writeNumbers(const char* word, const std::vector<int>& numbers) {
        if (numbers.empty()) return;
        out_.statement(word);
        for (const int number : numbers) out_.add(number);
    }

    void writeCurve(const CurveSource& curve) {
        out_.statement(curve.inSpace ? "space curve" : "curve", Quoted{curve.name});
        writeDirection(curve.direction, false);
        writePoints(curve.points);
        writeNumbers("special", curve.specials);
    }

    void writePiece(const CurvePiece& piece) {
        out_.add(Quoted{surfaces_.curves[static_cast<std::size_t>(piece.curve)].name});
        out_.add(piece.low);
        out_.add(piece.high);
    }

    void writeSurface(const SurfaceSource& surface) {
        out_.statement("surface", Quoted{surface.name});
        writeHeading(surface.material, surface.label);
        writeDirection(surface.u, true);
        writeDirection(surface.v, true);
        writePoints(surface.points);
        if (surface.firstDerivatives || surface.secondDerivatives) out_.statement("derivative");
        if (surface.firstDerivatives) out_.add(1);
        if (surface.secondDerivatives) out_.add(2);
        for (const OverlaySource& overlay : surface.overlays) {
            out_.line();
            if (overlay.volume) out_.add("volume");
            out_.add(overlay.kind == OverlaySource::Kind::Motion ? "motion" : "texture");
            writeDirection(overlay.u, true);
            writeDirection(overlay.v, true);
            writePoints(overlay.points);
        }
        for (const LoopSource& loop : surface.loops) {
            out_.statement(loop.kind == LoopSource::Kind::Trim   ? "trim"
                           : loop.kind == LoopSource::Kind::Hole ? "hole"
                                                                 : "special");
            for (const CurvePiece& piece : loop.pieces) writePiece(piece);
        }
        writeNumbers("special", surface.specials);
    }

    void writeMesh(const SubdivisionSource& mesh) {
        out_.statement(mesh.catmullClark ? "ccmesh" : "subdivision surface");
        if (!mesh.name.empty() || !mesh.catmullClark) out_.add(Quoted{mesh.name});
        if (mesh.catmullClark) {
            out_.add("polygon");
            out_.add(static_cast<miUint>(mesh.faces.size()));
            out_.add("vertex");
            out_.add(static_cast<miUint>(mesh.corners.size()));
        }
        if (mesh.derivatives) out_.statement("derivative");
        for (const ControlFace& face : mesh.faces) {
            out_.statement("p");
            writeHeading(face.material, face.label);
            for (std::uint32_t i = 0; i < face.count; ++i) out_.add(mesh.corners[face.first + i]);
        }
        for (const CreaseSource& crease : mesh.creases) {
            out_.statement("crease", crease.from, crease.to);
            if (crease.sharpness == kSharpForever) continue;
            out_.add("level");
            out_.add(crease.sharpness);
        }
        out_.statement(mesh.catmullClark ? "end ccmesh" : "end subdivision surface");
    }
};

}  // namespace

void writeBases(ElementText& out, const SurfaceGroup& surfaces, std::vector<BasisSource>& known) {
    const auto define = [&](const DirectionSource& direction) {
        const auto found = std::find_if(known.begin(), known.end(),
                                        [&](const BasisSource& basis) { return basis.name == direction.basis.name; });
        if (found != known.end() && isSameBasis(*found, direction.basis)) return;
        if (found != known.end())
            *found = direction.basis;
        else
            known.push_back(direction.basis);
        writeBasis(out, direction.basis);
    };
    for (const CurveSource& curve : surfaces.curves) define(curve.direction);
    for (const SurfaceSource& surface : surfaces.surfaces) {
        define(surface.u);
        define(surface.v);
        for (const OverlaySource& overlay : surface.overlays) {
            define(overlay.u);
            define(overlay.v);
        }
    }
}

void writeSurfaces(ElementText& out, const SurfaceGroup& surfaces, bool tagged) {
    SurfaceWriter(out, surfaces, tagged).write();
}

}  // namespace lumorender
