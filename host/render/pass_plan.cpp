#include "render/pass_plan.h"

#include "mi/camera.h"
#include "mi/options.h"
#include "render/sampling.h"
#include "saving/digest.h"
#include "support/messages.h"
#include "support/whole_file.h"
#include "tracing/camera.h"

#include <algorithm>
#include <numeric>

namespace lumorender {

namespace {

using enum PassStatement::Kind;

PassColumn columnOf(const BufferLayout& layout, int slot) {
    const BufferSlot& buffer = layout.slots[static_cast<std::size_t>(slot)];
    return {buffer.description.name, slot == layout.primary, static_cast<std::uint32_t>(buffer.sampleWords())};
}

std::string shownColumns(const PassHead& head) {
    std::string names;
    for (const PassColumn& column : head.columns)
        names += fmt::format("{}\"{}\"", names.empty() ? "" : ", ", column.shownName());
    return names;
}

int samplesOf(const miOptions& options) { return PixelSampler(options.max_samples, 0, false).count(); }

/// Where the camera stands and how it projects, without what may differ: its clipping planes and its window.
PassView viewOf(const RenderScene& scene) {
    const miCamera& camera = *scene.camera;
    const miOptions& options = *scene.options;
    PassView view;
    const double* place = scene.projection->placement().worldToLocal.getValue();
    view.camera.assign(place, place + 16);
    for (const float number : {camera.focal, camera.aperture, camera.aspect, camera.x_offset, camera.y_offset})
        view.camera.push_back(number);
    view.camera.push_back(camera.orthographic ? 1 : 0);
    view.pattern = {options.jitter, options.shutter_delay, options.shutter};
    return view;
}

}  // namespace

const std::vector<PassStatement>& passesOf(const RenderScene& scene) {
    static const std::vector<PassStatement> kNone;
    const auto* list = scene.options->no_pass ? nullptr : scene.database->detail<PassList>(scene.camera->pass);
    return list ? list->passes : kNone;
}

std::vector<OutputKind> kindsOfPasses(const RenderScene& scene) {
    std::vector<OutputKind> kinds;
    for (const PassStatement& pass : passesOf(scene))
        for (const OutputKind& kind : kindsOf(pass.types)) kinds.push_back(kind);
    return kinds;
}

PassPlan::PassPlan(const RenderScene& scene, const DataWindow& window, const OutputRules& rules)
    : scene_(&scene), window_(window), rules_(rules), passes_(passesOf(scene)) {}

bool PassPlan::changesFiles() const {
    return std::any_of(passes_.begin(), passes_.end(), [](const PassStatement& pass) { return !pass.write.empty(); });
}

void PassPlan::addTo(Identity& identity) const {
    for (const PassStatement& pass : passes_)
        for (const std::string& name : pass.reads) {
            const std::filesystem::path path = rules_.located(name);
            identity.addDigest(fmt::format("pass file \"{}\"", path.filename().string()), fileDigest(path));
        }
    if (scene_ && scene_->camera->pass_mask) identity.add("passes", "mask what is hidden");
}

bool PassPlan::comesFirst(std::size_t number) const {
    return std::any_of(passes_.begin() + static_cast<std::ptrdiff_t>(number), passes_.end(),
                       [](const PassStatement& pass) { return pass.kind == Merge; });
}

/// A file that an earlier statement prepares, or that is written before this one is prepared.
bool PassPlan::isMadeBefore(std::size_t number, const std::string& name) const {
    for (std::size_t i = 0; i < number; ++i) {
        const PassStatement& pass = passes_[i];
        const bool isReady = pass.kind == Prepare || (passes_[number].kind == Prepare && !comesFirst(number));
        if (pass.kind != Delete && isReady && pass.write == name) return true;
    }
    return false;
}

std::string PassPlan::problemOf(std::size_t number) const {
    const PassStatement& pass = passes_[number];
    try {
        const std::vector<int> slots = slotsOf(pass);
        for (const std::string& name : pass.reads)
            if (!isMadeBefore(number, name)) openInput(pass, name, slots);
    } catch (const Failure& failure) {
        return failure.what();
    }
    if (pass.write.empty()) return {};
    const std::filesystem::path path = rules_.located(pass.write);
    std::string problem = objectionToPass(path, rules_);
    if (problem.empty() && pass.kind != Delete) problem = problemOfTarget(path);
    for (std::size_t i = 0; i < number && problem.empty(); ++i)
        if (pass.kind != Delete && passes_[i].kind != Delete && passes_[i].write == pass.write)
            problem = fmt::format("another pass is written to it ({})", passes_[i].where);
    return problem.empty() ? problem : fmt::format("\"{}\": {}", path.string(), problem);
}

bool PassPlan::check() const {
    bool good = true;
    for (std::size_t i = 0; i < passes_.size(); ++i) {
        const std::string problem = problemOf(i);
        if (!problem.empty()) error("RC", "{}: pass: {}", passes_[i].where, problem);
        good = good && problem.empty();
    }
    return good;
}

std::vector<int> PassPlan::slotsOf(const PassStatement& pass) const {
    const BufferLayout& layout = *scene_->buffers;
    std::vector<int> slots(layout.slots.size());
    std::iota(slots.begin(), slots.end(), 0);
    if (pass.types.empty()) return slots;
    slots.clear();
    for (const std::string& type : pass.types) {
        const auto named = std::find_if(layout.slots.begin(), layout.slots.end(), [&](const BufferSlot& slot) {
            return slot.shaderIndex >= 0 && slot.description.name == type;
        });
        const OutputKind kind = kindOfType(type);
        int slot = -1;
        if (named != layout.slots.end())
            slot = static_cast<int>(named - layout.slots.begin());
        else if (kind.number >= 0 || kind.type != miIMG_TYPE_COUNT)
            slot = layout.slotOf(kind);
        if (slot < 0)
            throw Failure(
                fmt::format("found \"{}\", expected a type like rgba or z, or the name of a frame buffer", type));
        if (std::find(slots.begin(), slots.end(), slot) == slots.end()) slots.push_back(slot);
    }
    return slots;
}

void PassPlan::requireFit(const PassHead& head) const {
    if (head.window.fullWidth != window_.fullWidth || head.window.fullHeight != window_.fullHeight)
        throw Failure(fmt::format("it is of a picture of {} x {} pixels, expected {} x {}", head.window.fullWidth,
                                  head.window.fullHeight, window_.fullWidth, window_.fullHeight));
    if (static_cast<int>(head.samples) != samplesOf(*scene_->options))
        throw Failure(
            fmt::format("it has {} samples in a pixel, expected {}", head.samples, samplesOf(*scene_->options)));
}

PassInput PassPlan::openInput(const PassStatement& pass, const std::string& name, const std::vector<int>& slots) const {
    const std::filesystem::path path = rules_.located(name);
    try {
        PassInput input{std::make_shared<PassFile>(path), {}};
        const PassHead& head = input.file->head();
        if (pass.kind == Merge) requireFit(head);
        input.slots.assign(head.columns.size(), -1);
        for (const int slot : slots) {
            const PassColumn wanted = columnOf(*scene_->buffers, slot);
            const auto found = std::find_if(head.columns.begin(), head.columns.end(),
                                            [&](const PassColumn& column) { return column.isSameAs(wanted); });
            if (found == head.columns.end() || found->words != wanted.words)
                throw Failure(fmt::format("it has no samples of \"{}\"{}; it has {}", wanted.shownName(),
                                          found == head.columns.end() ? "" : " of this type", shownColumns(head)));
            input.slots[static_cast<std::size_t>(found - head.columns.begin())] = slot;
        }
        return input;
    } catch (const Failure& failure) {
        throw Failure(fmt::format("\"{}\" cannot be read: {}", path.string(), failure.what()));
    }
}

void PassPlan::warnOfOtherView(const PassStatement& pass, const PassFile& file) const {
    const PassView now = viewOf(*scene_);
    const PassView& then = file.head().view;
    const auto isNear = [](double a, double b) { return std::abs(a - b) <= 1e-6 * (1 + std::abs(a)); };
    const bool isSameCamera = now.camera.size() == then.camera.size() &&
                              std::equal(now.camera.begin(), now.camera.end(), then.camera.begin(), isNear);
    if (!isSameCamera)
        warning("RC", "{}: pass: \"{}\" was seen by another camera, or from another place", pass.where,
                file.path().string());
    if (now.pattern != then.pattern)
        warning("RC", "{}: pass: \"{}\" has its samples at other places or times (jitter, shutter)", pass.where,
                file.path().string());
}

PassHead PassPlan::headOfRender() const {
    PassHead head;
    head.window = window_;
    head.samples = static_cast<std::uint32_t>(samplesOf(*scene_->options));
    head.view = viewOf(*scene_);
    return head;
}

PassStep PassPlan::openStep(const PassStatement& pass) const {
    PassStep step;
    step.prepares = pass.kind == Prepare;
    step.slots = slotsOf(pass);
    step.kinds = kindsOf(pass.types);
    step.shader = pass.shader;
    for (const std::string& name : pass.reads) {
        step.inputs.push_back(openInput(pass, name, step.slots));
        if (pass.kind == Merge) warnOfOtherView(pass, *step.inputs.back().file);
    }
    if (pass.write.empty()) return step;
    PassHead head = step.prepares ? step.inputs.front().file->head() : headOfRender();
    head.columns.clear();
    for (const int slot : step.slots) head.columns.push_back(columnOf(*scene_->buffers, slot));
    const std::filesystem::path path = rules_.located(pass.write);
    try {
        step.output = std::make_shared<PassWriter>(path, head);
    } catch (const Failure& failure) {
        throw Failure(fmt::format("\"{}\" cannot be written: {}", path.string(), failure.what()));
    }
    return step;
}

bool PassPlan::makeFile(const PassStatement& pass, int threads) const {
    const std::vector<PassStep> step{openStep(pass)};
    if (!prepare(*scene_, step, threads)) return false;
    tellWritten("RC", step.front().output->path().string());
    return true;
}

bool PassPlan::open(int threads) {
    for (std::size_t i = 0; i < passes_.size(); ++i) {
        const PassStatement& pass = passes_[i];
        try {
            if (pass.kind == Prepare && comesFirst(i) && !makeFile(pass, threads)) return false;
            if (pass.kind == Write || pass.kind == Merge) steps_.push_back(openStep(pass));
        } catch (const Failure& failure) {
            throw Failure(fmt::format("{}: pass: {}", pass.where, failure.what()));
        }
    }
    return true;
}

bool PassPlan::remove(const PassStatement& pass) const {
    const std::filesystem::path path = rules_.located(pass.write);
    std::error_code problem;
    if (!std::filesystem::remove(path, problem) && !problem)
        info("RC", "{}: pass: there is no \"{}\" to remove", pass.where, path.string());
    if (problem) error("RC", "{}: pass: \"{}\" cannot be removed: {}", pass.where, path.string(), problem.message());
    return !problem;
}

bool PassPlan::finish(bool complete, int threads) {
    const std::vector<PassStep> steps = std::move(steps_);
    steps_.clear();
    if (!complete) {
        if (changesFiles()) warning("RC", "the render was stopped; no passes are written");
        return true;
    }
    bool good = true;
    for (const PassStep& step : steps) {
        if (!step.output) continue;
        try {
            step.output->keep();
            tellWritten("RC", step.output->path().string());
        } catch (const Failure& failure) {
            error("RC", "pass: \"{}\" cannot be written: {}", step.output->path().string(), failure.what());
            good = false;
        }
    }
    for (std::size_t i = 0; i < passes_.size() && good; ++i) {
        const PassStatement& pass = passes_[i];
        try {
            if (pass.kind == Prepare && !comesFirst(i)) good = makeFile(pass, threads);
            if (pass.kind == Delete) good = remove(pass);
        } catch (const Failure& failure) {
            error("RC", "{}: pass: {}", pass.where, failure.what());
            good = false;
        }
    }
    return good;
}

}  // namespace lumorender
