#include "saving/saved_render.h"

#include "support/messages.h"

#include <algorithm>
#include <system_error>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

struct FileState {
    std::string name;
    std::uint64_t size = 0;
    std::int64_t changed = 0;
    bool operator==(const FileState&) const = default;
};

FileState stateOf(const fs::path& file) {
    std::error_code missing;
    return {file.string(), fs::file_size(file, missing), fs::last_write_time(file, missing).time_since_epoch().count()};
}

/// What a finished render leaves: whether its scene was whole, and its files as it wrote them.
std::vector<std::byte> packEnd(bool sceneIsWhole, const std::vector<fs::path>& files) {
    ByteWriter out;
    out.put(static_cast<std::uint8_t>(sceneIsWhole));
    out.put(static_cast<std::uint64_t>(files.size()));
    for (const fs::path& file : files) {
        const FileState state = stateOf(file);
        out.put(state.name);
        out.put(state.size);
        out.put(state.changed);
    }
    return std::move(out.bytes);
}

/// @return whether the files are as they were then
bool unpackEnd(std::span<const std::byte> bytes, bool& sceneIsWhole) {
    ByteReader in(bytes);
    sceneIsWhole = in.take<std::uint8_t>() != 0;
    bool unchanged = true;
    for (auto left = in.count(3 * sizeof(std::uint64_t)); left > 0; --left) {
        FileState before;
        in.get(before.name);
        in.get(before.size);
        in.get(before.changed);
        unchanged = unchanged && stateOf(before.name) == before;
    }
    return unchanged;
}

}  // namespace

fs::path partName(const fs::path& picture, const Share& share) {
    fs::path name = picture;
    return name.replace_extension(fmt::format("{}-of-{}.part", share.number, share.count));
}

bool SavedRender::openCheckpoint(const fs::path& file, const Identity& identity, const PicturePlan& plan,
                                 std::vector<LayerImage>& images) {
    file_ = std::make_unique<WorkFile>(file, WorkFile::Access::Write);
    if (const std::string problem = problemOf(identity, plan); !problem.empty())
        throw Failure(
            fmt::format("checkpoint \"{}\" belongs to another picture: {}; without it, or with another name, "
                        "the picture is made anew",
                        file.string(), problem));
    return open(identity, plan, images);
}

bool SavedRender::openPart(const fs::path& file, const Identity& identity, const PicturePlan& plan,
                           std::vector<LayerImage>& images) {
    file_ = std::make_unique<WorkFile>(file, WorkFile::Access::Write);
    if (const std::string problem = problemOf(identity, plan); !problem.empty()) {
        warning("SAVE", "\"{}\" was a part of another picture and is made anew: {}", file.string(), problem);
        file_->keepFirst(0);
    }
    return open(identity, plan, images);
}

/// What tells the file's picture from this one; empty where it is this one, or nothing yet.
std::string SavedRender::problemOf(const Identity& identity, const PicturePlan& plan) {
    std::string problem;
    file_->read([&](const WorkRecord& record) {
        if (record.kind == RecordKind::Identity) {
            const Identity before = Identity::fromBytes(record.content);
            problem = differences(identity, before);
            if (const std::string mild = differences(identity, before, true); problem.empty() && !mild.empty())
                warning("SAVE", "\"{}\": {}; what was rendered before may differ in the last bits",
                        file_->path().string(), mild);
        } else if (record.kind == RecordKind::Plan && problem.empty()) {
            const Share before = PicturePlan::fromBytes(record.content).share;
            if (before != plan.share)
                problem = fmt::format("it holds share {} of {}, expected {} of {}", before.number, before.count,
                                      plan.share.number, plan.share.count);
        }
        return record.kind == RecordKind::Identity;
    });
    return problem;
}

bool SavedRender::open(const Identity& identity, const PicturePlan& plan, std::vector<LayerImage>& images) {
    plan_ = plan;
    tiles_ = tilesOf(plan.window, plan.tileSize);
    has_.assign(tiles_.size(), 0);
    int records = 0;
    file_->read([&](const WorkRecord& record) {
        ++records;
        restore(record, images);
        return true;
    });
    const auto count = std::count(has_.begin(), has_.end(), 1);
    if (file_->torn() > 0 && records > 0)
        info("SAVE", "\"{}\": its last {} bytes were not finished and are dropped", file_->path().string(),
             file_->torn());
    if (records > 1)
        info("SAVE", "\"{}\": goes on from {} of {} tiles", file_->path().string(), count,
             tilesOfShare(plan.window, plan.tileSize, plan.share).size());

    file_->startAppending();
    if (records == 0) file_->append(RecordKind::Identity, 0, identity.bytes());
    points.onRecord = [this](RecordKind kind, std::uint32_t number, SavedPoints::Bytes bytes) {
        file_->append(kind, number, std::move(bytes));
    };
    return finished_;
}

void SavedRender::restore(const WorkRecord& record, std::vector<LayerImage>& images) {
    switch (record.kind) {
        case RecordKind::Plan: planBefore_ = record.content; break;
        case RecordKind::GivenPoints: points.given = record.content; break;
        case RecordKind::PointBlock: points.restore(record.number, record.content); break;
        case RecordKind::PointsReady: pointsDigest_ = ByteReader(record.content).take<std::uint64_t>(); break;
        case RecordKind::Finished: finished_ = unpackEnd(record.content, wasWhole_); break;
        case RecordKind::Tile: {
            if (record.number >= tiles_.size()) throw Failure("it holds a tile that the picture does not have");
            const TileCost cost = unpackTile(record.content, plan_.window, tiles_[record.number], images);
            if (has_[record.number]) break;
            has_[record.number] = 1;
            costBefore_ += cost;
            break;
        }
        default: break;
    }
}

void SavedRender::takePoints(const fs::path& file, const Identity& identity) {
    std::error_code ignored;
    if (!fs::exists(file, ignored)) return;
    WorkFile from(file, WorkFile::Access::Read);
    std::string problem;
    bool finished = false;
    from.read([&](const WorkRecord& record) {
        if (record.kind == RecordKind::Identity) problem = differences(identity, Identity::fromBytes(record.content));
        if (record.kind == RecordKind::PointBlock) points.restore(record.number, record.content);
        if (record.kind == RecordKind::GivenPoints && !points.given) points.given = record.content;
        finished = finished || record.kind == RecordKind::Finished;
        return problem.empty();
    });
    if (!problem.empty())
        warning("SAVE", "the points of \"{}\" are of another picture and are not used: {}", file.string(), problem);
    else if (!finished)
        warning("SAVE", "\"{}\" is not finished: the points that it lacks are made here", file.string());
    else
        info("SAVE", "points of indirect light come from \"{}\"", file.string());
}

void SavedRender::keepPlan(const PicturePlan& plan) {
    if (!keeps()) return;
    auto bytes = plan.bytes();
    if (bytes != planBefore_) file_->append(RecordKind::Plan, 0, std::move(bytes));
}

void SavedRender::keepPointsDigest(std::uint64_t digest) {
    if (!keeps()) return;
    if (pointsDigest_ && *pointsDigest_ != digest)
        warning("SAVE",
                "\"{}\": the points of indirect light came out otherwise than before; tiles may not fit together",
                file_->path().string());
    if (pointsDigest_ == digest) return;
    ByteWriter out;
    out.put(digest);
    file_->append(RecordKind::PointsReady, 0, std::move(out.bytes));
}

void SavedRender::keepTile(int tile, const std::vector<LayerImage>& images, const TileCost& cost) {
    if (!keeps()) return;
    const auto number = static_cast<std::size_t>(tile);
    file_->append(RecordKind::Tile, static_cast<std::uint32_t>(tile),
                  packTile(images, plan_.window, tiles_[number], cost));
    has_[number] = 1;
}

bool SavedRender::finish(bool sceneIsWhole, const std::vector<LayerImage>& images) {
    if (!keeps()) return true;
    bool good = true;
    for (const auto& [kind, number] : file_->flush()) {
        if (kind == RecordKind::Tile)
            keepTile(static_cast<int>(number), images, {});
        else
            good = false;
    }
    // A small record may find room where tiles did not: it must not say that they are there.
    if (!file_->flush().empty() || !good) return false;
    file_->append(RecordKind::Finished, 0, packEnd(sceneIsWhole, {}));
    return file_->flush().empty();
}

void SavedRender::flush() {
    if (keeps()) file_->flush();
}

void SavedRender::noteWritten(bool sceneIsWhole, const std::vector<fs::path>& files) {
    if (!keeps()) return;
    file_->flush();
    try {
        file_->keepFirst(1);
        file_->startAppending();
        file_->append(RecordKind::Finished, 0, packEnd(sceneIsWhole, files));
        file_->flush();
    } catch (const Failure& problem) {
        warning("SAVE", "{}; the picture is written, and would be once more", problem.what());
    }
}

}  // namespace lumorender
