// What threads find while they share numbered work, and how it comes into the order of the work.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace lumorender {

/// What one thread finds: for each number of the work a run of entries, in the order in which they were found.
template <class Found>
struct FoundRuns {
    using Entry = Found;
    struct Run {
        std::uint64_t number;
        std::size_t first, count;
    };
    std::vector<Entry> entries;
    std::vector<Run> runs;

    /// The entries from `first` on are those of the number.
    void endRun(std::uint64_t number, std::size_t first) {
        if (entries.size() > first) runs.push_back({number, first, entries.size() - first});
    }
    void clear() {
        entries.clear();
        runs.clear();
    }
};

/// A run of any thread; it lasts as long as what the thread found.
template <class Entry>
struct OrderedRun {
    std::uint64_t number;
    std::span<const Entry> entries;
};

/// All runs of all workers that are there, by their numbers: who found what makes no difference. A worker is a pointer
/// to something with `found()`, which is a FoundRuns.
template <class Entry, class Workers>
std::vector<OrderedRun<Entry>> runsInOrder(const Workers& workers) {
    std::vector<OrderedRun<Entry>> all;
    for (const auto& worker : workers) {
        if (!worker) continue;
        const FoundRuns<Entry>& found = worker->found();
        for (const auto& run : found.runs)
            all.push_back({run.number, std::span<const Entry>(found.entries).subspan(run.first, run.count)});
    }
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.number < b.number; });
    return all;
}

}  // namespace lumorender
