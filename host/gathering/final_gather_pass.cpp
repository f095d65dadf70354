#include "gathering/final_gather_pass.h"

#include "gathering/final_gather_file.h"
#include "gathering/found_points.h"
#include "gathering/point_grids.h"
#include "support/abort.h"
#include "support/messages.h"

#include <chrono>

namespace lumorender {

namespace {

void readFiles(const GatherFiles& files, FinalGather& gather) {
    const bool frozen = files.rebuild == GatherFiles::Rebuild::Freeze;
    for (const auto& name : files.names) {
        std::string problem;
        const auto points = readGatherFile(name, problem);
        if (points)
            gather.points.add(*points);
        else if (!problem.empty())
            warning("RC", "final gather file \"{}\" {}; its points are made anew", name.string(), problem);
        else if (frozen)
            warning("RC", "final gather file \"{}\" is not there, expected one to use as it is", name.string());
    }
}

/// A former run of the same render may have written the files since it read them.
void takeGivenPoints(const GatherFiles& files, const SavedPoints& saved, FinalGather& gather) {
    if (saved.given) {
        if (const auto points = unpackPoints(*saved.given)) gather.points.add(*points);
        return;
    }
    if (files.rebuild != GatherFiles::Rebuild::On) readFiles(files, gather);
    if (saved.keeps()) saved.keepGiven(packPoints(gather.points.all()));
}

}  // namespace

bool prepareFinalGather(const RenderScene& scene, FinalGather& gather, const DataWindow& window,
                        const GatherFiles& files, const SavedPoints& saved, int threads) {
    using Rebuild = GatherFiles::Rebuild;
    const auto start = std::chrono::steady_clock::now();
    takeGivenPoints(files, saved, gather);
    const std::size_t kept = gather.points.all().size();
    if (kept > 0) info("RC", "final gathering: {} points from files", kept);
    const bool frozen = files.rebuild == Rebuild::Freeze && kept > 0;
    constexpr double kFinestBeforePixels = 1.5;
    const PointStage stage{miSTAGE_FINALGATHER, "final gathering", &ThreadContext::newLight, gather.reach.spacing(),
                           gather.sharesInPixels() ? kFinestBeforePixels : 1};
    if (stage.spacing > 0 && !frozen) collectPoints(scene, stage, gather.points, window, saved, threads);
    const std::size_t count = gather.points.all().size();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    info("RC", "final gathering: ready in {:.2f} s", seconds);
    if (files.names.empty() || !files.isWritten || files.rebuild == Rebuild::Freeze || count == kept ||
        abortRequested())
        return true;
    return writeGatherFile(files.names.front(), gather.points.all());
}

}  // namespace lumorender
