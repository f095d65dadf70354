// Calls that build free-form curves and surfaces.
#include "interface/api_call.h"

#include "geoshader.h"

using namespace lumorender;

namespace {

/// A call on the surfaces of the group that is open.
template <class Call>
miBoolean onSurfaces(const char* function, const Call& call) {
    return building(function, [&](BuildSession& s) { call(s, s.object().surfaces(), s.object().group()); });
}

BasisSource::Kind kindOf(miBasis_type type) {
    switch (type) {
        case miBASIS_BEZIER: return BasisSource::Kind::Bezier;
        case miBASIS_BSPLINE: return BasisSource::Kind::BSpline;
        case miBASIS_CARDINAL: return BasisSource::Kind::Cardinal;
        case miBASIS_TAYLOR: return BasisSource::Kind::Taylor;
        case miBASIS_MATRIX: return BasisSource::Kind::Matrix;
    }
    refuse("there is no basis of the type {}", static_cast<int>(type));
}

LoopSource::Kind kindOf(miCurve_type type) {
    switch (type) {
        case miCURVE_TRIM: return LoopSource::Kind::Trim;
        case miCURVE_HOLE: return LoopSource::Kind::Hole;
        case miCURVE_SPECIAL: return LoopSource::Kind::Special;
    }
    refuse("there is no loop of the type {}", static_cast<int>(type));
}

miBoolean beginSurface(const char* function, char* name, const std::function<miTag(BuildSession&)>& material) {
    const std::string taken = takeName(name);
    return onSurfaces(function, [&](BuildSession& s, SurfaceBuilder& surfaces, const PolygonGroupSource&) {
        const bool tagged = s.object().record.mtl_is_label != 0;
        const miTag given = material(s);
        surfaces.beginSurface(taken, tagged ? miNULLTAG : given, tagged ? given : 0, s.who());
    });
}

}  // namespace

extern "C" {

miBoolean mi_api_basis_list_clear(void) {
    return building("mi_api_basis_list_clear", [](BuildSession& s) { s.object().bases().clearBases(); });
}

miBoolean mi_api_basis_add(char* name, miBoolean rational, miBasis_type type, int degree, int step, miDlist* matrix) {
    BasisSource basis;
    basis.name = takeName(name);
    return building("mi_api_basis_add", [&](BuildSession& s) {
        basis.kind = kindOf(type);
        basis.rational = rational != miFALSE;
        basis.degree = type == miBASIS_CARDINAL ? 3 : degree;
        basis.step = step;
        if (matrix) basis.matrix = s.scalarsOf(matrix);
        s.object().bases().addBasis(basis);
    });
}

miBoolean mi_api_curve_begin(char* name, char* basis, miBoolean rational) {
    const std::string taken = takeName(name), itsBasis = takeName(basis);
    return onSurfaces("mi_api_curve_begin", [&](BuildSession&, SurfaceBuilder& surfaces, const PolygonGroupSource&) {
        surfaces.beginCurve(taken, itsBasis, rational != miFALSE);
    });
}

miBoolean mi_api_curve_end(miDlist* parameters) {
    return onSurfaces("mi_api_curve_end", [&](BuildSession& s, SurfaceBuilder& surfaces, PolygonGroupSource& group) {
        surfaces.endCurve(group, s.scalarsOf(parameters));
    });
}

miBoolean mi_api_vertex_ref_add(int vertex, double weight) {
    return onSurfaces("mi_api_vertex_ref_add",
                      [&](BuildSession&, SurfaceBuilder& surfaces, const PolygonGroupSource& group) {
                          surfaces.addPoint(group, vertex, weight);
                      });
}

miBoolean mi_api_surface_begin(char* name, char* material) {
    const bool isGiven = material != nullptr;
    const std::string taken = takeName(material);
    return beginSurface("mi_api_surface_begin", name, [&](BuildSession& s) {
        const miTag tag = isGiven ? s.find(taken) : miNULLTAG;
        if (isGiven && !tag) refuse("there is no material \"{}\"", taken);
        return tag;
    });
}

miBoolean mi_api_surface_begin_tag(char* name, miTag material_or_label) {
    return beginSurface("mi_api_surface_begin_tag", name, [&](BuildSession&) { return material_or_label; });
}

miBoolean mi_api_surface_params(miBoolean is_v, char* basis, miScalar low, miScalar high, miDlist* parameters,
                                miBoolean rational) {
    const std::string taken = takeName(basis);
    return onSurfaces(
        "mi_api_surface_params", [&](BuildSession& s, SurfaceBuilder& surfaces, const PolygonGroupSource&) {
            surfaces.setDirection(is_v != miFALSE, taken, low, high, s.scalarsOf(parameters), rational != miFALSE);
        });
}

miBoolean mi_api_surface_derivative(int order) {
    return onSurfaces("mi_api_surface_derivative", [&](BuildSession&, SurfaceBuilder& surfaces,
                                                       const PolygonGroupSource&) { surfaces.addDerivative(order); });
}

miBoolean mi_api_surface_texture_begin(miBoolean is_volume) {
    return onSurfaces("mi_api_surface_texture_begin",
                      [&](BuildSession&, SurfaceBuilder& surfaces, const PolygonGroupSource&) {
                          surfaces.beginOverlay(OverlaySource::Kind::Texture, is_volume != miFALSE);
                      });
}

miBoolean mi_api_surface_motion_begin(void) {
    return onSurfaces("mi_api_surface_motion_begin",
                      [&](BuildSession&, SurfaceBuilder& surfaces, const PolygonGroupSource&) {
                          surfaces.beginOverlay(OverlaySource::Kind::Motion, false);
                      });
}

miBoolean mi_api_surface_curve_seg(miBoolean new_loop, miCurve_type type, char* curve, miScalar low, miScalar high) {
    const std::string taken = takeName(curve);
    return onSurfaces("mi_api_surface_curve_seg",
                      [&](BuildSession&, SurfaceBuilder& surfaces, const PolygonGroupSource& group) {
                          surfaces.addPiece(group, kindOf(type), new_loop != miFALSE, taken, low, high);
                      });
}

miBoolean mi_api_surface_end(void) {
    return onSurfaces("mi_api_surface_end", [&](BuildSession&, SurfaceBuilder& surfaces, PolygonGroupSource& group) {
        surfaces.endSurface(group);
    });
}

miBoolean mi_api_surface_approx(miApprox* approximation) {
    return building("mi_api_surface_approx", [&](BuildSession& s) {
        ApproximationRule rule = ruleOf(*approximation);
        rule.kind = ApproximationKind::Surface;
        s.object().addApproximation(rule);
    });
}

}  // extern "C"
