/* Loops over lights and their samples, for shaders in C++. */
#pragma once

#include "functions.h"
#include "state.h"
#include "types.h"

namespace mi {
namespace shader_v3 {

/*
 * The lights that light a surface, one after the other, and the samples of each:
 *
 *     for (mi::shader::LightIterator light(state); !light->at_end(); ++light) {
 *         miColor sum = {0, 0, 0, 0};
 *         while (light->sample())
 *             ... light->get_contribution(&color), light->get_dot_nl(), light->get_direction() ...
 *         if (light->get_number_of_samples())
 *             ... sum / light->get_number_of_samples() ...
 *     }
 *
 * It is made of mi_sample_light, so the same rules apply: samples that nothing comes from are counted but not seen, and
 * what is changed in the state while it runs changes the light.
 */
class LightIterator {
public:
    /* The lights of the instance that is being shaded. */
    explicit LightIterator(miState* state) { begin(state, 0, 0); }

    /* Light instances of the shader's own; those of the instance where there are none. The list is not copied. */
    LightIterator(miState* state, const miTag* lights, int count) { begin(state, lights, count); }

    LightIterator* operator->() { return this; }
    const LightIterator* operator->() const { return this; }

    bool at_end() const { return left_ <= 0; }

    LightIterator& operator++() {
        ++light_;
        --left_;
        samples_ = 0;
        return *this;
    }

    /* The next sample of the current light; false when there are no more. */
    bool sample() { return !at_end() && mi_sample_light(&color_, &dir_, &dot_nl_, state_, *light_, &samples_); }

    miTag get_light_tag() const { return at_end() ? 0 : *light_; }
    /* How many samples the current light has taken so far. */
    int get_number_of_samples() const { return samples_; }

    /* Of the latest sample. The direction leads towards the light. */
    void get_contribution(miColor* color) const { *color = color_; }
    miVector get_direction() const { return dir_; }
    miScalar get_dot_nl() const { return dot_nl_; }

private:
    void begin(miState* state, const miTag* lights, int count) {
        state_ = state;
        light_ = lights;
        left_ = count;
        samples_ = 0;
        color_.r = color_.g = color_.b = color_.a = 0;
        dir_.x = dir_.y = dir_.z = 0;
        dot_nl_ = 0;
        if (!lights || count <= 0) take_instance_lights();
    }
    void take_instance_lights() {
        miTag* lights = 0;
        left_ = 0;
        mi_instance_lightlist(&left_, &lights, state_);
        light_ = lights;
    }

    miState* state_;
    const miTag* light_;
    int left_;
    int samples_;
    miColor color_;
    miVector dir_;
    miScalar dot_nl_;
};

}  // namespace shader_v3
}  // namespace mi
