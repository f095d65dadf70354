#include "render/output_shaders.h"

#include "database/elements.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "support/abort.h"
#include "support/messages.h"
#include "tracing/context.h"
#include "tracing/eye_samples.h"
#include "tracing/shader_calls.h"

#include <algorithm>

namespace lumorender {

OutputShaders::OutputShaders(const RenderScene& scene, const ShaderTable& shaders) {
    if (scene.options->no_output) return;
    std::vector<const PhenomenonInstance*> phenomena;
    for (const PhenomenonInstance* phenomenon : shaders.phenomena())
        if (phenomenon->output.shaders) phenomena.push_back(phenomenon);
    std::stable_sort(phenomena.begin(), phenomena.end(),
                     [](const auto* a, const auto* b) { return a->output.priority < b->output.priority; });
    for (const auto* phenomenon : phenomena)
        if (phenomenon->output.priority < 0) add(phenomenon->output.shaders, phenomenon->outputTypes);
    first_ = steps_.size();
    const auto* instance = scene.database->as<miInstance>(scene.cameraInstance, miSCENE_INSTANCE);
    if (const auto* camera = scene.database->detail<CameraDetail>(instance->item))
        for (const OutputShader& step : camera->outputShaders) add(step.shader, step.types);
    own_ = steps_.size() - first_;
    for (const auto* phenomenon : phenomena)
        if (phenomenon->output.priority >= 0) add(phenomenon->output.shaders, phenomenon->outputTypes);
}

void OutputShaders::add(miTag shader, const std::vector<std::string>& types) {
    steps_.push_back({shader, kindsOf(types), std::find(types.begin(), types.end(), "contour") != types.end()});
}

bool OutputShaders::anyDraws() const {
    return std::any_of(steps_.begin(), steps_.end(), [](const OutputStep& step) { return step.draws; });
}

bool OutputShaders::drawContours(const RenderScene& scene) const {
    return anyDraws() && scene.contours.store && scene.contours.contrast;
}

void OutputShaders::checkContours(const RenderScene& scene, const std::string& where) const {
    const auto& [store, contrast] = scene.contours;
    if (anyDraws() && !(store && contrast))
        warning("RC", "{}: an output shader asks for contours, and the options have no contour {}", where,
                store ? "contrast" : "store");
    if (!anyDraws() && store && contrast && !scene.options->no_output)
        warning("RC", "{}: no output shader has \"contour\" among its types: contours are not drawn", where);
}

std::size_t OutputShaders::stepsBefore(std::size_t shadersOfCamera) const {
    return shadersOfCamera < own_ ? first_ + shadersOfCamera : steps_.size();
}

bool OutputShaders::run(std::size_t step, ThreadContext& context, OutputPictures& pictures) const {
    resetRootState(context);
    context.root->state.type = miRAY_OUTPUT;
    pictures.setKinds(steps_[step].kinds);
    OutputPictures::running() = &pictures;
    miColor result = {0, 0, 0, 0};
    callShader(context, &context.root->state, steps_[step].shader, miSHADER_OUTPUT, &result);
    OutputPictures::running() = nullptr;
    return !abortRequested();
}

std::vector<OutputKind> kindsOfPhenomena(const RenderScene& scene) {
    std::vector<OutputKind> kinds;
    for (miTag tag = 1; tag < scene.database->end(); ++tag)
        if (const auto* phenomenon = scene.database->detail<PhenomenonInstance>(tag))
            for (const OutputKind& kind : kindsOf(phenomenon->outputTypes)) kinds.push_back(kind);
    return kinds;
}

}  // namespace lumorender
