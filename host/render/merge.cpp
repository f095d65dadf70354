#include "render/merge.h"

#include "render/frame_buffers.h"
#include "render/output.h"
#include "saving/work_file.h"
#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>
#include <map>
#include <optional>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

/// What stands in a part besides its tiles.
struct PartHead {
    fs::path file;
    std::optional<Identity> identity;
    std::optional<PicturePlan> plan;
    std::optional<std::uint64_t> points;
    bool isWhole = true;
    std::size_t tiles = 0;
};

PartHead readHead(const fs::path& file) {
    PartHead head;
    head.file = file;
    WorkFile(file, WorkFile::Access::Read).read([&](const WorkRecord& record) {
        switch (record.kind) {
            case RecordKind::Identity: head.identity = Identity::fromBytes(record.content); break;
            case RecordKind::Plan: head.plan = PicturePlan::fromBytes(record.content); break;
            case RecordKind::PointsReady: head.points = ByteReader(record.content).take<std::uint64_t>(); break;
            case RecordKind::Finished: head.isWhole = ByteReader(record.content).take<std::uint8_t>() != 0; break;
            case RecordKind::Tile: ++head.tiles; break;
            default: break;
        }
        return true;
    });
    if (!head.identity || !head.plan)
        throw Failure(fmt::format("\"{}\" holds no part of a picture yet", file.string()));
    return head;
}

/// One of the parts that hold tiles; throws where they are not the shares of one picture.
void checkTogether(const std::vector<PartHead>& parts) {
    const PartHead& first = parts.front();
    std::map<int, fs::path> shares;
    for (const PartHead& part : parts) {
        const std::string names = fmt::format("\"{}\" and \"{}\"", first.file.string(), part.file.string());
        if (const std::string problem = differences(*part.identity, *first.identity); !problem.empty())
            throw Failure(fmt::format("{} are parts of different pictures: {}", names, problem));
        const Share share = part.plan->share;
        if (share.count != first.plan->share.count)
            throw Failure(fmt::format("{} are of {} and of {} shares", names, first.plan->share.count, share.count));
        const auto [known, isNew] = shares.emplace(share.number, part.file);
        if (!isNew)
            throw Failure(fmt::format("\"{}\" and \"{}\" are the same share, {} of {}", known->second.string(),
                                      part.file.string(), share.number, share.count));
    }
    std::string missing;
    for (int number = 1; number <= first.plan->share.count; ++number)
        if (shares.count(number) == 0) missing += fmt::format("{}{}", missing.empty() ? "" : ", ", number);
    if (!missing.empty())
        throw Failure(fmt::format("of {} shares these are missing: {}", first.plan->share.count, missing));
}

/// What does not keep the picture from being written. @return false where it is not what one render makes
bool warnOfDifferences(const std::vector<PartHead>& parts) {
    const PartHead& first = parts.front();
    bool good = true;
    for (const PartHead& part : parts) {
        if (const std::string mild = differences(*part.identity, *first.identity, true); !mild.empty())
            warning("SAVE", "\"{}\": {} (\"{}\"); tiles may differ in the last bits", part.file.string(), mild,
                    first.file.string());
        if (part.points != first.points) {
            error("SAVE", "\"{}\" was made with other points of indirect light than \"{}\": tiles may not fit together",
                  part.file.string(), first.file.string());
            good = false;
        }
        if (!part.isWhole) {
            error("SAVE", "\"{}\": elements of the scene had to be left out", part.file.string());
            good = false;
        }
    }
    return good;
}

/// Puts the tiles of a part into the images. @return what they took
TileCost takeTiles(const PartHead& part, std::vector<LayerImage>& images) {
    const PicturePlan& plan = *part.plan;
    const std::vector<Tile> tiles = tilesOf(plan.window, plan.tileSize);
    std::vector<char> missing(tiles.size(), 0);
    for (const int tile : tilesOfShare(plan.window, plan.tileSize, plan.share))
        missing[static_cast<std::size_t>(tile)] = 1;
    TileCost cost;
    WorkFile(part.file, WorkFile::Access::Read).read([&](const WorkRecord& record) {
        if (record.kind != RecordKind::Tile) return true;
        if (record.number >= tiles.size()) throw Failure("it holds a tile that the picture does not have");
        const TileCost one = unpackTile(record.content, plan.window, tiles[record.number], images);
        if (std::exchange(missing[record.number], 0)) cost += one;
        return true;
    });
    if (const auto count = std::count(missing.begin(), missing.end(), 1); count > 0)
        throw Failure(fmt::format("\"{}\" is not finished: {} of its tiles are missing", part.file.string(), count));
    return cost;
}

/// A part is data from anywhere, as a scene is: what it names is written where a scene may write, and beside the parts.
OutputRules rulesFor(const std::vector<PartHead>& parts, const RenderSettings& settings) {
    OutputRules rules{settings.fileDirectory, resolvedPath(parts.front().file).parent_path(), settings.allowPaths, {}};
    for (const PartHead& part : parts) rules.ownFiles.insert(resolvedPath(part.file));
    return rules;
}

/// The path in another output folder.
fs::path movedTo(const fs::path& folder, const fs::path& path, const fs::path& folderBefore) {
    if (folder.empty()) return path;
    const fs::path name = folderBefore.empty() ? path : path.lexically_relative(folderBefore);
    return name.empty() || name.is_absolute() ? path : folder / name;
}

std::vector<PlannedFile> filesOf(const PartHead& part, const std::vector<LayerImage>& images,
                                 const RenderSettings& settings, const OutputRules& rules) {
    const PicturePlan& plan = *part.plan;
    std::vector<PlannedFile> files;
    for (const PicturePlan::File& stored : plan.files) {
        PlannedFile& planned = files.emplace_back();
        planned.file = stored.file;
        planned.file.path = movedTo(settings.fileDirectory, stored.file.path, plan.folder);
        planned.where = part.file.string();
        for (std::size_t i = 0; i < stored.layers.size(); ++i) {
            FileLayer& layer = planned.file.layers.emplace_back(&images[static_cast<std::size_t>(stored.layers[i])],
                                                                static_cast<miImg_type>(stored.types[i]));
            layer.name = stored.names[i];
        }
    }
    const auto frame = plan.metadata.find("frame");
    const int* number = frame == plan.metadata.end() ? nullptr : std::get_if<int>(&frame->second);
    renameFirst(files, {settings.fileName, settings.fileType, number ? *number : 0, false, rules});
    if (plan.previews || settings.previews) addPreviews(files, images, plan.primary);
    return files;
}

bool merge(const std::vector<fs::path>& names, const RenderSettings& settings) {
    std::vector<PartHead> parts;
    for (const fs::path& name : names) {
        PartHead head = readHead(name);
        // Share 0 has no tiles: a pattern of names matches it, too.
        if (!head.plan->share.isPointsOnly()) parts.push_back(std::move(head));
    }
    if (parts.empty()) throw Failure("the parts hold no tiles");
    checkTogether(parts);
    bool good = warnOfDifferences(parts);

    const PicturePlan& plan = *parts.front().plan;
    std::vector<LayerImage> images = makeImages(plan.layers, plan.window);
    const OutputRules rules = rulesFor(parts, settings);
    const std::vector<PlannedFile> files = filesOf(parts.front(), images, settings, rules);
    if (!checkFiles(files, rules, plan.window)) return false;
    double seconds = 0;
    std::uint64_t dropped = 0;
    for (const PartHead& part : parts) {
        const TileCost cost = takeTiles(part, images);
        seconds += cost.seconds;
        dropped += cost.droppedSamples;
    }
    if (plan.hasOutputShaders) {
        error("SAVE", "the scene has output shaders, and they do not work on a picture that is merged; -output off");
        good = false;
    }
    if (dropped > 0) warning("RC", "{} color samples were not finite and were left out", dropped);
    Metadata metadata = plan.metadata;
    metadata["renderSeconds"] = static_cast<float>(seconds);
    return writeFiles(files, rules, plan.window, metadata) && good;
}

}  // namespace

bool mergeParts(const std::vector<fs::path>& parts, const RenderSettings& settings) {
    try {
        return merge(parts, settings);
    } catch (const std::exception& failure) {
        error("SAVE", "cannot merge: {}", failure.what());
        return false;
    }
}

}  // namespace lumorender
