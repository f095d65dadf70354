#include "passes/pass_steps.h"

#include "mi/state.h"
#include "support/abort.h"
#include "support/quasi_random.h"
#include "support/threads.h"
#include "tracing/eye_samples.h"
#include "tracing/shader_calls.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <limits>

namespace lumorender {

namespace {

constexpr float kNothingSeen = std::numeric_limits<float>::infinity();

float distanceOf(float depth) { return depth > 0 ? depth : kNothingSeen; }

void append(std::vector<std::uint32_t>& words, const BufferSample& sample, const PassStep& step) {
    words.push_back(std::bit_cast<std::uint32_t>(sample.depth));
    for (std::size_t i = 0; i < step.slots.size(); ++i) {
        const SampleValue& value = sample.values[static_cast<std::size_t>(step.slots[i])];
        words.insert(words.end(), value.words, value.words + step.output->head().columns[i].words);
    }
}

}  // namespace

PassCall*& PassCall::running() {
    static thread_local PassCall* call = nullptr;
    return call;
}

std::uint32_t* PassCall::find(const BufferSample& sample, int buffer, std::size_t& words) const {
    constexpr int kDistance = -1;
    words = 1;
    auto& writable = const_cast<BufferSample&>(sample);
    if (buffer == kDistance) return reinterpret_cast<std::uint32_t*>(&writable.depth);
    const int slot = layout.slotOfNumber(buffer, step.kinds);
    if (std::find(step.slots.begin(), step.slots.end(), slot) == step.slots.end()) return nullptr;
    words = static_cast<std::size_t>(layout.slots[static_cast<std::size_t>(slot)].sampleWords());
    return writable.values[static_cast<std::size_t>(slot)].words;
}

PassWork::PassWork(const std::vector<PassStep>& steps, ThreadContext& context) : steps_(steps), context_(context) {
    std::size_t most = 0;
    for (const PassStep& step : steps) {
        rows_.emplace_back().inputs.resize(step.inputs.size());
        most = std::max(most, step.inputs.size());
    }
    read_.resize(most);
    for (BufferSample& sample : read_) sample.values.resize(context.scene->buffers->slots.size());
    inputs_.reserve(most + 1);
}

void PassWork::startRow(int x, int y, int width) {
    x_ = x;
    y_ = y;
    width_ = width;
    for (std::size_t s = 0; s < steps_.size(); ++s) {
        rows_[s].output.clear();
        for (std::size_t i = 0; i < steps_[s].inputs.size(); ++i) {
            const PassFile& file = *steps_[s].inputs[i].file;
            const DataWindow& has = file.head().window;
            Row& row = rows_[s].inputs[i];
            row.first = std::max(x, has.x0);
            row.count = std::min(x + width, has.x0 + has.width) - row.first;
            if (y < has.y0 || y >= has.y0 + has.height) row.count = 0;
            if (row.count > 0) file.read(row.first, y, row.count, row.words);
        }
    }
}

const std::uint32_t* PassWork::wordsIn(const Row& row, const PassHead& head, int x, int number) {
    if (x < row.first || x >= row.first + row.count) return nullptr;
    const auto sample = static_cast<std::size_t>(x - row.first) * head.samples + static_cast<std::size_t>(number);
    return &row.words[sample * head.sampleWords()];
}

float PassWork::nearestInFiles(int x, int number) const {
    float nearest = kNothingSeen;
    for (std::size_t s = 0; s < steps_.size(); ++s)
        for (std::size_t i = 0; i < steps_[s].inputs.size(); ++i) {
            const auto* words = wordsIn(rows_[s].inputs[i], steps_[s].inputs[i].file->head(), x, number);
            if (words) nearest = std::min(nearest, distanceOf(std::bit_cast<float>(*words)));
        }
    return nearest;
}

/// Where the file has no pixel its sample has seen nothing.
void PassWork::read(const PassInput& input, const Row& row, int x, int number, BufferSample& sample) const {
    sample.depth = 0;
    std::fill(sample.values.begin(), sample.values.end(), SampleValue{});
    const PassHead& head = input.file->head();
    const std::uint32_t* words = wordsIn(row, head, x, number);
    if (!words) return;
    sample.depth = std::bit_cast<float>(*words++);
    for (std::size_t column = 0; column < head.columns.size(); ++column) {
        if (const int slot = input.slots[column]; slot >= 0)
            std::copy_n(words, head.columns[column].words, sample.values[static_cast<std::size_t>(slot)].words);
        words += head.columns[column].words;
    }
}

void PassWork::apply(BufferSample& sample, int x, int number) {
    for (std::size_t s = 0; s < steps_.size(); ++s) {
        const PassStep& step = steps_[s];
        if (!step.inputs.empty()) merge(step, rows_[s], sample, x, number);
        if (step.output) append(rows_[s].output, sample, step);
    }
}

void PassWork::merge(const PassStep& step, const StepRows& rows, BufferSample& sample, int x, int number) {
    for (std::size_t i = 0; i < step.inputs.size(); ++i) read(step.inputs[i], rows.inputs[i], x, number, read_[i]);
    if (step.shader) return callMerger(step, step.inputs.size(), sample, x, number);
    const BufferSample* nearest = &sample;
    for (std::size_t i = 0; i < step.inputs.size(); ++i)
        if (distanceOf(read_[i].depth) < distanceOf(nearest->depth)) nearest = &read_[i];
    if (nearest == &sample) return;
    sample.depth = nearest->depth;
    for (const int slot : step.slots)
        sample.values[static_cast<std::size_t>(slot)] = nearest->values[static_cast<std::size_t>(slot)];
}

/// What a shader that fails has set does not count.
void PassWork::callMerger(const PassStep& step, std::size_t inputs, BufferSample& sample, int x, int number) {
    if (step.prepares) sample = read_.front();
    before_ = sample;
    inputs_.clear();
    if (!step.prepares) inputs_.push_back(&before_);
    for (std::size_t i = 0; i < inputs; ++i) inputs_.push_back(&read_[i]);
    resetRootState(context_);
    miState& state = context_.root->state;
    state.type = miRAY_OUTPUT;
    state.raster_x = static_cast<float>(x) + .5F;
    state.raster_y = static_cast<float>(y_) + .5F;
    seedEyeState(state, mixSeeds(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y_)),
                 static_cast<std::uint32_t>(number));
    PassCall call{*context_.scene->buffers, step, inputs_, sample};
    PassCall::running() = &call;
    miColor unused = {0, 0, 0, 0};
    const bool good = callShader(context_, &state, step.shader, miSHADER_OTHER, &unused);
    PassCall::running() = nullptr;
    if (!good) sample = before_;
}

void PassWork::endRow() {
    for (std::size_t s = 0; s < steps_.size(); ++s)
        if (steps_[s].output) steps_[s].output->write(x_, y_, rows_[s].output);
}

bool prepare(const RenderScene& scene, const std::vector<PassStep>& step, int threads) {
    PassWriter& output = *step.front().output;
    const PassHead& head = output.head();
    const DataWindow& window = head.window;
    std::atomic<int> next{window.y0};
    onThreads(threads, [&](int thread) {
        ThreadContext context(scene, static_cast<short>(thread));
        createRootState(context);
        context.values.resize(scene.buffers->words.size());
        PassWork work(step, context);
        BufferSample sample;
        sample.values.resize(scene.buffers->slots.size());
        for (int y = next++; y < window.y0 + window.height && !abortRequested(); y = next++) {
            work.startRow(window.x0, y, window.width);
            for (int x = window.x0; x < window.x0 + window.width; ++x)
                for (std::uint32_t i = 0; i < head.samples; ++i) work.apply(sample, x, static_cast<int>(i));
            work.endRow();
        }
    });
    if (abortRequested()) return false;
    output.keep();
    return true;
}

}  // namespace lumorender
