/* The headers compile as C++98. */
#include "mi_shader_if.h"
#include "geoshader.h"
#include "shader.h"
#include "mi/photon_functions.h"

int lightsOf(miState* state, const miTag* lights, int count);

int lightsOf(miState* state, const miTag* lights, int count) {
    mi::shader::Access_fb buffers(state->camera->buffertag);
    int samples = buffers.is_valid() ? 0 : 1;
    for (mi::shader::LightIterator light(state, lights, count); !light->at_end(); ++light)
        while (light->sample()) ++samples;
    return samples;
}
