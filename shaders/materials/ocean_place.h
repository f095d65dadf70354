/* Where on the sea a point is, and how slopes there turn the surface's normal. */
#pragma once

#include "SDK/ocean/ocean_field.h"
#include "shaders/materials/ocean_parameters.h"

namespace lumo {

/* Waves run over x and z of object or world space, or over the first texture space. */
class OceanPlace {
public:
    /* Axes of the footprint are vectors of internal space; both zero for none. */
    OceanPlace(const OceanSettingsHelper& in, const miVector& along, const miVector& across)
        : state_(in.state()), space_(static_cast<OceanSpace>(in(&OceanShaderParameters::space))) {
        const miScalar metres = in.metres();
        if (space_ == kOceanTexture) {
            const miVector place = state_->tex_list ? state_->tex_list[0] : miVector{0, 0, 0};
            x = place.x * metres;
            z = place.y * metres;
            findGradients();
        } else {
            miVector place;
            pointIn(place, state_->point);
            x = place.x * metres;
            z = place.z * metres;
        }
        set(along, metres, footprint.alongX, footprint.alongZ);
        set(across, metres, footprint.acrossX, footprint.acrossZ);
    }

    /* The surface's normal, of unit length, as the slopes turn it. The surface's own leans where the geometry does;
     * `upright`: that of the plane of the waves is taken instead. */
    miVector turned(miVector normal, miScalar slopeX, miScalar slopeZ, bool upright) const {
        // Normals are turned to the ray; waves rise to the side that the surface has outside.
        const bool isTurned = state_->inv_normal != 0;
        if (isTurned) mi_vector_neg(&normal);
        miVector up = normal, slope = {slopeX, 0, slopeZ};
        if (space_ == kOceanTexture) {
            slope = {slopeX * u_.x + slopeZ * v_.x, slopeX * u_.y + slopeZ * v_.y, slopeX * u_.z + slopeZ * v_.z};
        } else {
            normalIn(up, normal);
            mi_vector_normalize(&up);
            if (upright) up = {0, up.y < 0 ? -1.0f : 1.0f, 0};
        }
        const miScalar rise = mi_vector_dot(&slope, &up);
        miVector result = {up.x * (1 + rise) - slope.x, up.y * (1 + rise) - slope.y, up.z * (1 + rise) - slope.z};
        if (space_ != kOceanTexture) normalFrom(result, result);
        mi_vector_normalize(&result);
        if (isTurned) mi_vector_neg(&result);
        return result;
    }

    /* A vector of internal space as one over the plane of the waves, of unit length if it can be. */
    void directionOnPlane(const miVector& v, miScalar& toX, miScalar& toZ) const {
        set(v, 1, toX, toZ);
        const miScalar length = std::sqrt(toX * toX + toZ * toZ);
        if (!(length > 0)) return;
        toX /= length;
        toZ /= length;
    }

    double x = 0, z = 0; /* m */
    OceanFootprint footprint;

private:
    void pointIn(miVector& to, const miVector& from) const {
        space_ == kOceanWorld ? mi_point_to_world(state_, &to, &from) : mi_point_to_object(state_, &to, &from);
    }
    void vectorIn(miVector& to, const miVector& from) const {
        space_ == kOceanWorld ? mi_vector_to_world(state_, &to, &from) : mi_vector_to_object(state_, &to, &from);
    }
    void normalIn(miVector& to, const miVector& from) const {
        space_ == kOceanWorld ? mi_normal_to_world(state_, &to, &from) : mi_normal_to_object(state_, &to, &from);
    }
    void normalFrom(miVector& to, const miVector& from) const {
        space_ == kOceanWorld ? mi_normal_from_world(state_, &to, &from) : mi_normal_from_object(state_, &to, &from);
    }

    /* How u and v grow over the surface: directions, and amounts per unit of internal space. */
    void findGradients() {
        if (!state_->derivs) return;
        const miVector &du = state_->derivs[0], &dv = state_->derivs[1];
        const miScalar uu = mi_vector_dot(&du, &du), uv = mi_vector_dot(&du, &dv), vv = mi_vector_dot(&dv, &dv);
        const miScalar determinant = uu * vv - uv * uv;
        if (!(determinant > 1e-12f * uu * vv)) return;
        u_ = unitOf(du, vv, dv, -uv, determinant, perU_);
        v_ = unitOf(du, -uv, dv, uu, determinant, perV_);
    }
    static miVector unitOf(const miVector& a, miScalar x, const miVector& b, miScalar y, miScalar over,
                           miScalar& length) {
        miVector v = {(a.x * x + b.x * y) / over, (a.y * x + b.y * y) / over, (a.z * x + b.z * y) / over};
        length = mi_vector_norm(&v);
        if (length > 0) mi_vector_div(&v, length);
        return v;
    }

    void set(const miVector& v, miScalar metres, miScalar& toX, miScalar& toZ) const {
        if (space_ == kOceanTexture) {
            toX = mi_vector_dot(&v, &u_) * perU_ * metres;
            toZ = mi_vector_dot(&v, &v_) * perV_ * metres;
            return;
        }
        miVector own;
        vectorIn(own, v);
        toX = own.x * metres;
        toZ = own.z * metres;
    }

    miState* const state_;
    const OceanSpace space_;
    miVector u_ = {0, 0, 0}, v_ = {0, 0, 0};
    miScalar perU_ = 0, perV_ = 0;
};

}  // namespace lumo
