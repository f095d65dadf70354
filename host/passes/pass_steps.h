// What passes do with samples, one after another, before these become pixels.
#pragma once

#include "passes/pass_file.h"
#include "render/frame_buffers.h"
#include "tracing/context.h"

#include <memory>
#include <vector>

namespace lumorender {

/// A file whose samples come to those of the render.
struct PassInput {
    std::shared_ptr<const PassFile> file;
    /// For each column of the file the frame buffer that takes it, by its slot; -1 = none.
    std::vector<int> slots;
};

/// One statement, with its files open.
struct PassStep {
    bool prepares = false;          ///< it begins with the samples of its one input, and not with those of the render
    std::vector<int> slots;         ///< frame buffers that it is about
    std::vector<OutputKind> kinds;  ///< ... as far as it names them by types
    std::vector<PassInput> inputs;
    miTag shader = 0;                    ///< which makes the sample; without one the nearest is taken
    std::shared_ptr<PassWriter> output;  ///< takes the result; may be null
};

/// A sample while a pass shader works on it. Belongs to the thread that calls the shader.
struct PassCall {
    const BufferLayout& layout;
    const PassStep& step;
    const std::vector<const BufferSample*>& inputs;
    BufferSample& result;

    /// That of the running thread's pass shader, or null.
    static PassCall*& running();

    /// Where a sample keeps what shaders know by this number, and its 32-bit words; null where there is none. -1 is the
    /// distance, others are as output shaders number them.
    std::uint32_t* find(const BufferSample& sample, int buffer, std::size_t& words) const;
};

/// A thread's part in the steps. Pixels come row by row, each with its samples in their order.
class PassWork {
public:
    PassWork(const std::vector<PassStep>& steps, ThreadContext& context);

    bool isNeeded() const { return !steps_.empty(); }

    /// Pixels x to x + width - 1. Throws Failure where a file cannot be read.
    void startRow(int x, int y, int width);
    /// How far away the nearest is that the files have seen in a sample of the row.
    float nearestInFiles(int x, int sample) const;
    /// Merges the sample at this place and writes it. `number` is its number in its pixel.
    void apply(BufferSample& sample, int x, int number);
    /// Throws Failure where a file cannot be written.
    void endRow();

private:
    /// Of one input, the row's pixels that it has.
    struct Row {
        int first = 0, count = 0;
        std::vector<std::uint32_t> words;
    };
    struct StepRows {
        std::vector<Row> inputs;
        std::vector<std::uint32_t> output;
    };

    static const std::uint32_t* wordsIn(const Row& row, const PassHead& head, int x, int number);
    void read(const PassInput& input, const Row& row, int x, int number, BufferSample& sample) const;
    void merge(const PassStep& step, const StepRows& rows, BufferSample& sample, int x, int number);
    void callMerger(const PassStep& step, std::size_t inputs, BufferSample& sample, int x, int number);

    const std::vector<PassStep>& steps_;
    ThreadContext& context_;
    std::vector<StepRows> rows_;
    std::vector<BufferSample> read_;           ///< of the running step
    BufferSample before_;                      ///< what came to it
    std::vector<const BufferSample*> inputs_;  ///< in the shader's order
    int x_ = 0, y_ = 0, width_ = 0;
};

/// Runs a step that prepares a file, and keeps what it writes.
/// @return false where a stop was requested. Throws Failure.
bool prepare(const RenderScene& scene, const std::vector<PassStep>& step, int threads);

}  // namespace lumorender
