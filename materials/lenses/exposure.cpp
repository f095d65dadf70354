/* mia_exposure_simple, mia_exposure_photographic: from the light of the scene to what a screen can show. As lenses they
 * change every sample, as output shaders the pixels of the finished picture. */
#include "math/chromaticity.h"
#include "module/export.h"
#include "module/parameters.h"
#include "textures/picture.h"

namespace materials {

namespace {

struct SimpleExposure {
    miScalar pedestal, gain, knee, compression, gamma;
    miBoolean use_preview;
    miTag preview;
};

struct PhotographicExposure {
    miScalar cm2_factor;
    miColor whitepoint;
    miScalar film_iso, camera_shutter, f_number, vignetting, burn_highlights, crush_blacks, saturation, gamma;
    miInteger side_channel_mode;
    miTag side_channel;
    miBoolean use_preview;
    miTag preview;
};

/* The picture that is there already, where there is one, else what the ray sees. */
bool seen(miColor& result, miState* state, const Parameters& in, const miBoolean& usesPreview, const miTag& preview) {
    const miTag picture = in.isOn(usesPreview) ? in(preview) : miNULLTAG;
    miVector place = sampleOnScreen(state);
    if (picture != miNULLTAG && mi_lookup_color_texture(&result, state, picture, &place)) return true;
    return mi_trace_eye(&result, state, &state->org, &state->dir) != miFALSE;
}

template <class Curve>
miColor byChannel(const miColor& color, const Curve& curve) {
    return {finite(curve(color.r)), finite(curve(color.g)), finite(curve(color.b)), color.a};
}

/* For screens; 0 leaves values as they are. */
class Gamma {
public:
    Gamma(const Parameters& in, const miScalar& given) : exponent_(1) {
        const miScalar gamma = in.within(given, 0, 100);
        if (gamma > 0) exponent_ = 1 / std::max(gamma, .01f);
    }

    miScalar operator()(miScalar a) const { return a > 0 && exponent_ != 1 ? std::pow(a, exponent_) : a; }

private:
    miScalar exponent_;
};

/* What a shader does with a color is known before the first one. */
class SimpleCurve {
public:
    SimpleCurve(const Parameters& in, const SimpleExposure& p)
        : pedestal_(finite(in(p.pedestal))),
          gain_(finite(in(p.gain))),
          knee_(in.within(p.knee, 0, miHUGE_SCALAR)),
          compression_(in.within(p.compression, 0, 1e6f)),
          gamma_(in, p.gamma) {}

    miColor operator()(const miColor& color) const {
        return byChannel(color, [&](miScalar a) {
            miScalar value = (a + pedestal_) * gain_;
            /* Smooth at the knee; however bright, never more than knee + 1 / compression. */
            if (value > knee_) value = knee_ + (value - knee_) / (1 + compression_ * (value - knee_));
            return gamma_(value);
        });
    }

private:
    miScalar pedestal_, gain_, knee_, compression_;
    Gamma gamma_;
};

/*
 * Values by cd/m2: 1 for what saturates a film or sensor. Source: ISO 12232: 78 lx s / speed; the light on the film is .65
 * of the luminance by the square of the f-number. Without a film the factor alone.
 */
miScalar filmExposure(const Parameters& in, const PhotographicExposure& p) {
    const miScalar factor = in.within(p.cm2_factor, 0, miHUGE_SCALAR), speed = in.within(p.film_iso, 0, 1e9f);
    if (speed == 0) return factor;
    const miScalar shutter = in.within(p.camera_shutter, 1e-6f, 1e9f), number = in.within(p.f_number, 1e-3f, 1e6f);
    return factor * .65f * speed / (78 * shutter * number * number);
}

/* The cosine of the angle between the camera's axis and a direction in camera space. */
miScalar axisCosine(const miVector& dir) { return clamped(-unit(dir).z, 0, 1); }

/* Values below 1; the darker, the more. */
miScalar crushed(miScalar a, miScalar strength) {
    if (strength == 0 || !(a > 0) || a >= 1) return a;
    const miScalar dark = (1 - a) * (1 - a);
    return std::pow(a, 1 + strength * dark * dark);
}

/*
 * Source of the compression: Reinhard et al., "Photographic Tone Reproduction for Digital Images", SIGGRAPH 2002, where
 * `burn_highlights` is 1 by the square of the smallest luminance that becomes white.
 */
class Film {
public:
    Film(const Parameters& in, const PhotographicExposure& p)
        : white_(in.reflectance(p.whitepoint)),
          exposure_(filmExposure(in, p) * std::max(luminanceOf(white_), 1e-6f)),
          vignetting_(in.within(p.vignetting, 0, 100)),
          burn_(in.share(p.burn_highlights)),
          crush_(in.share(p.crush_blacks)),
          saturation_(in.within(p.saturation, 0, 10)),
          gamma_(in, p.gamma) {}

    /* Light falls off to the corners by the fourth power of the cosine. */
    miColor operator()(const miColor& seen, miScalar cosine) const {
        const miScalar exposure = vignetting_ == 0 ? exposure_ : exposure_ * std::pow(cosine, 4 * vignetting_);
        const miColor light = positive(quotient(finite(seen), white_) * exposure);
        miColor result = byChannel(light, [&](miScalar a) { return crushed(a * (1 + a * burn_) / (1 + a), crush_); });
        result = positive(mix(gray(luminanceOf(result)), result, saturation_));
        result = byChannel(result, gamma_);
        result.a = seen.a;
        return result;
    }

private:
    miColor white_;
    miScalar exposure_, vignetting_, burn_, crush_, saturation_;
    Gamma gamma_;
};

/* The finished picture, each pixel by `develop(color, cosine)`. */
template <class Develop>
bool developPicture(miState* state, const Develop& develop) {
    miImg_image* picture = mi_output_image_open(state, miRC_IMAGE_RGBA);
    if (!picture) return false;
    const miCamera& camera = *state->camera;
    const miScalar size = camera.aperture / static_cast<miScalar>(picture->width), shape = camera.aspect;
    const miScalar tall = camera.aperture / (shape * static_cast<miScalar>(picture->height));
    for (int y = 0; y < picture->height && !mi_par_aborted(); ++y)
        for (int x = 0; x < picture->width; ++x) {
            const miVector dir = {
                (static_cast<miScalar>(x) + .5f - camera.x_offset) * size - .5f * camera.aperture,
                (static_cast<miScalar>(y) + .5f - camera.y_offset) * tall - .5f * camera.aperture / shape,
                -camera.focal};
            miColor color = kNothing;
            mi_img_get_color(picture, &color, x, y);
            color = develop(color, camera.orthographic ? 1 : axisCosine(dir));
            mi_img_put_color(picture, &color, x, y);
        }
    mi_output_image_close(state, miRC_IMAGE_RGBA);
    return true;
}

bool simpleExposure(miColor& result, miState* state, SimpleExposure& p) {
    if (state->type == miRAY_OUTPUT) {
        const SimpleCurve curve(Parameters(state), p);
        return developPicture(state, [&](const miColor& color, miScalar) { return curve(color); });
    }
    const bool isSeen = seen(result, state, Parameters(state), p.use_preview, p.preview);
    result = SimpleCurve(Parameters(state), p)(result);
    return isSeen;
}

/* Named buffers have the numbers that the camera's list gives them; a number is one itself. */
int bufferNumber(miTag name) {
    if (name == miNULLTAG) return -1;
    const auto* text = static_cast<const char*>(mi_db_access(name));
    int number = text && *text >= '0' && *text <= '9' ? 0 : -1;
    for (const char* at = text; number >= 0 && *at; ++at)
        number = *at >= '0' && *at <= '9' && number < 1000 ? 10 * number + (*at - '0') : -1;
    mi_db_unpin(name);
    return number;
}

bool photographicExposure(miColor& result, miState* state, PhotographicExposure& p) {
    if (state->type == miRAY_OUTPUT) return developPicture(state, Film(Parameters(state), p));
    const bool isSeen = seen(result, state, Parameters(state), p.use_preview, p.preview);
    const Parameters in(state);
    miVector dir;
    mi_vector_to_camera(state, &dir, &state->dir);
    const miColor light = result, picture = Film(in, p)(light, axisCosine(dir));
    result = picture;
    const int mode = in(p.side_channel_mode);
    if (mode != 1 && mode != 2) return isSeen;
    miColor aside = mode == 1 ? light : picture;
    if (mode == 2) result = light;
    const int buffer = bufferNumber(in(p.side_channel));
    if (buffer >= 0) mi_fb_put(state, buffer, &aside);
    return isSeen;
}

}  // namespace

MATERIALS_SHADER(mia_exposure_simple, miColor, SimpleExposure, simpleExposure)
MATERIALS_SHADER(mia_exposure_photographic, miColor, PhotographicExposure, photographicExposure)

}  // namespace materials
