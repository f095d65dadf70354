// The work of a render as it is kept while it goes on: in a checkpoint, or in the file of a share.
#pragma once

#include "saving/identity.h"
#include "saving/picture_plan.h"
#include "saving/saved_points.h"
#include "saving/tile_record.h"
#include "saving/work_file.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace lumorender {

/// What the command line asks to be kept.
struct SavingSettings {
    std::filesystem::path checkpoint;  ///< empty = none
    bool keepsCheckpoint = false;      ///< also when the picture is written
    std::optional<Share> share;        ///< the render makes a part of the picture
    std::function<Identity()> inputs;  ///< what decides the picture outside of the render: program, scene, modules ...
    std::function<void()> onWritten;   ///< the checkpoint is not needed any more to make the picture
};

/// `NAME.3-of-16.part` beside the picture.
std::filesystem::path partName(const std::filesystem::path& picture, const Share& share);

/// Keeps what is finished, and knows what a former run has finished. One that was not opened keeps nothing.
class SavedRender {
public:
    /// Opens a checkpoint and brings back what it holds, tiles into the images. Throws Failure where it belongs to
    /// another picture or is none; then it stays as it is.
    /// @return true where a former run has done everything, and the files that it wrote are there
    bool openCheckpoint(const std::filesystem::path& file, const Identity& identity, const PicturePlan& plan,
                        std::vector<LayerImage>& images);
    /// The same for a part, which is made anew where it belongs to another picture.
    bool openPart(const std::filesystem::path& file, const Identity& identity, const PicturePlan& plan,
                  std::vector<LayerImage>& images);
    /// Takes the points of share 0, if there is one.
    void takePoints(const std::filesystem::path& file, const Identity& identity);

    bool keeps() const { return file_ != nullptr; }
    const std::filesystem::path& path() const { return file_->path(); }

    /// Keeps how the picture is to be written, before the first tile.
    void keepPlan(const PicturePlan& plan);

    SavedPoints points;

    /// Notes which points of indirect light all tiles see.
    void keepPointsDigest(std::uint64_t digest);

    bool hasTile(int tile) const { return keeps() && has_[static_cast<std::size_t>(tile)]; }
    /// What the tiles of former runs took together.
    const TileCost& costBefore() const { return costBefore_; }
    /// Keeps a tile that is finished in the images. From any thread.
    void keepTile(int tile, const std::vector<LayerImage>& images, const TileCost& cost);

    /// Everything is done. Saves once more what could not be saved before.
    /// @return false when something is not on the disk
    bool finish(bool sceneIsWhole, const std::vector<LayerImage>& images);

    /// Waits until all that was kept is on the disk.
    void flush();

    /// The picture is written to these files: of the checkpoint only that is kept.
    void noteWritten(bool sceneIsWhole, const std::vector<std::filesystem::path>& files);

    /// Of the run that has done everything: nothing of the scene had to be left out.
    bool wasWhole() const { return wasWhole_; }

private:
    bool open(const Identity& identity, const PicturePlan& plan, std::vector<LayerImage>& images);
    std::string problemOf(const Identity& identity, const PicturePlan& plan);
    void restore(const WorkRecord& record, std::vector<LayerImage>& images);

    std::unique_ptr<WorkFile> file_;
    PicturePlan plan_;
    std::vector<std::byte> planBefore_;  ///< as it stands in the file
    std::vector<Tile> tiles_;
    std::vector<char> has_;  ///< by tile; each is written by the thread that renders the tile
    std::optional<std::uint64_t> pointsDigest_;
    TileCost costBefore_;
    bool finished_ = false, wasWhole_ = true;
};

}  // namespace lumorender
