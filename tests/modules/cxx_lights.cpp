/* Matt surfaces with highlights in C++: the light of each light, by the iterator. */
#include "shader.h"
#include "mi_shader_if.h"

extern "C" {

struct cxx_lights_parameters {
    miColor diffuse;
    miColor specular;
    miScalar exponent;
    int i_lights;
    int n_lights;
    miTag lights[1];
};

DLLEXPORT int cxx_lights_version() { return 1; }

DLLEXPORT miBoolean cxx_lights(miColor* result, miState* state, cxx_lights_parameters* paras) {
    const miColor* diffuse = mi_eval_color(&paras->diffuse);
    const miColor* specular = mi_eval_color(&paras->specular);
    const miScalar exponent = *mi_eval_scalar(&paras->exponent);
    const int first = *mi_eval_integer(&paras->i_lights), count = *mi_eval_integer(&paras->n_lights);
    const miTag* lights = count > 0 ? mi_eval_tag(paras->lights) + first : nullptr;

    miColorSet(result, 0, 0, 0, 1);
    for (mi::shader::LightIterator light(state, lights, count); !light->at_end(); ++light) {
        miColor sum = {0, 0, 0, 0};
        while (light->sample()) {
            miColor color;
            light->get_contribution(&color);
            const miVector dir = light->get_direction();
            const miScalar shine = exponent > 0 ? mi_phong_specular(exponent, state, &dir) : 0;
            sum.r += light->get_dot_nl() * diffuse->r * color.r + shine * specular->r * color.r;
            sum.g += light->get_dot_nl() * diffuse->g * color.g + shine * specular->g * color.g;
            sum.b += light->get_dot_nl() * diffuse->b * color.b + shine * specular->b * color.b;
        }
        if (const int samples = light->get_number_of_samples()) {
            result->r += sum.r / static_cast<miScalar>(samples);
            result->g += sum.g / static_cast<miScalar>(samples);
            result->b += sum.b / static_cast<miScalar>(samples);
        }
    }
    return miTRUE;
}

}  // extern "C"
