// How the picture is written when all of its tiles are there: all that is needed for it besides the tiles.
#pragma once

#include "image/image.h"
#include "saving/bytes.h"
#include "saving/share.h"

#include <string>
#include <vector>

namespace lumorender {

struct PicturePlan {
    struct Layer {
        std::string name;
        miImg_type type = miIMG_TYPE_RGBA_FP;
        bool isShown = false;  ///< has pixels for screens
    };
    /// An image file. Its layers are numbers here.
    struct File {
        ImageFile file;
        std::vector<int> layers;
        std::vector<int> types;  ///< of the layers in this file
        std::vector<std::string> names;
    };

    Share share;
    int tileSize = 0;
    DataWindow window;
    std::vector<Layer> layers;
    int primary = 0;
    std::vector<File> files;
    std::filesystem::path folder;  ///< where relative names of the files began; their paths have it in front
    bool previews = false;
    bool hasOutputShaders = false;  ///< which only the scene has
    Metadata metadata;

    std::vector<std::byte> bytes() const;
    /// Throws Failure where the bytes are no plan, or one that no picture can have.
    static PicturePlan fromBytes(std::span<const std::byte> bytes);
};

}  // namespace lumorender
