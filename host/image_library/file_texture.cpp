// Texture files through OpenImageIO's texture system, which caches tiles and makes mip levels for files without.
#include "image_library/functions.h"

#include "image/texture_coordinates.h"
#include "support/files.h"
#include "support/limits.h"
#include "support/messages.h"

#include <OpenImageIO/imageio.h>
#include <OpenImageIO/texture.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

namespace lumorender {
namespace {

constexpr int kTileSize = 64;
constexpr float kCacheMegabytes = 2048;
constexpr int kOpenFiles = 256;

/// The process's one texture system. Never destroyed: textures may outlive the end of main.
OIIO::TextureSystem& textureSystem() {
    static OIIO::TextureSystem* const system = [] {
        auto* created = OIIO::TextureSystem::create(false);
        created->attribute("automip", 1);
        created->attribute("autotile", kTileSize);
        created->attribute("max_memory_MB", kCacheMegabytes);
        created->attribute("max_open_files", kOpenFiles);
        created->attribute("unassociatedalpha", 1);
        return created;
    }();
    return *system;
}

/// The texture system's records of the calling thread, found once per thread.
OIIO::TextureSystem::Perthread* threadRecords() {
    thread_local OIIO::TextureSystem::Perthread* const records = textureSystem().get_perthread_info();
    return records;
}

OIIO::TextureOpt pointOptions(OIIO::TextureOpt::InterpMode mode) {
    OIIO::TextureOpt options;
    options.swrap = options.twrap = OIIO::TextureOpt::WrapPeriodic;
    options.mipmode = OIIO::TextureOpt::MipModeNoMIP;
    options.interpmode = mode;
    return options;
}

OIIO::TextureOpt footprintOptions(OIIO::TextureOpt::InterpMode mode) {
    OIIO::TextureOpt options = pointOptions(mode);
    options.mipmode = OIIO::TextureOpt::MipModeAniso;
    options.anisotropic = 16;
    return options;
}

/// Gray and alpha, or red green blue alpha; a fourth channel that is no alpha (depth, say) is left alone.
int usedChannels(const OIIO::ImageSpec& spec) {
    if (spec.nchannels >= 4) return spec.alpha_channel == 3 ? 4 : 3;
    if (spec.nchannels == 2) return spec.alpha_channel == 1 ? 2 : 1;
    return spec.nchannels;
}

/// What the library says about the last failure of this thread; it repeats itself in further lines.
std::string libraryReason() {
    const std::string text = textureSystem().geterror();
    return text.substr(0, text.find('\n'));
}

class FileTexture final : public Texture {
public:
    FileTexture(OIIO::TextureSystem::TextureHandle* handle, std::string file, const OIIO::ImageSpec& spec, float gamma)
        : handle_(handle),
          file_(std::move(file)),
          width_(spec.full_width),
          height_(spec.full_height),
          components_(usedChannels(spec)),
          bits_(static_cast<int>(8 * spec.format.size())),
          gamma_(spec.format.is_floating_point() ? 1 : gamma),
          nearest_(pointOptions(OIIO::TextureOpt::InterpClosest)),
          bilinear_(pointOptions(OIIO::TextureOpt::InterpBilinear)),
          footprint_(footprintOptions(OIIO::TextureOpt::InterpBilinear)),
          nearestFootprint_(footprintOptions(OIIO::TextureOpt::InterpClosest)) {}

    bool lookup(miColor& result, float u, float v, bool filtered) const override {
        u = repeated(u), v = repeated(v);
        if (filtered) return read(result, bilinear_, u, v, {});
        // From the pixel's center, so that turning v over cannot move a point on an edge to the other side of it.
        return read(result, nearest_, centerOfPixel(u, width_), centerOfPixel(v, height_), {});
    }

    bool lookup(miColor& result, float u, float v, const Footprint& footprint) const override {
        return read(result, footprint.interpolates ? footprint_ : nearestFootprint_, repeated(u), repeated(v),
                    {usableDerivative(footprint.dudx), usableDerivative(footprint.dvdx),
                     usableDerivative(footprint.dudy), usableDerivative(footprint.dvdy)});
    }

    int width() const override { return width_; }
    int height() const override { return height_; }
    int components() const override { return components_; }
    int bits() const override { return bits_; }

    /// Reads from the first tile, because a file can be damaged behind a good header. Returns what is wrong, if
    /// anything.
    std::string damage() const {
        float values[4];
        return sample(values, nearest_, 0.5f / static_cast<float>(width_), 0.5f / static_cast<float>(height_), {})
                   ? std::string()
                   : libraryReason();
    }

private:
    /// The library counts t from the upper edge, and writes into its options.
    bool sample(float* values, OIIO::TextureOpt options, float u, float v, const Footprint& d) const {
        return textureSystem().texture(handle_, threadRecords(), options, u, 1 - v, d.dudx, -d.dvdx, d.dudy, -d.dvdy,
                                       components_, values);
    }

    bool read(miColor& result, const OIIO::TextureOpt& options, float u, float v, const Footprint& footprint) const {
        float values[4] = {0, 0, 0, 0};
        if (!sample(values, options, u, v, footprint)) {
            result = {0, 0, 0, 0};
            tellFailure();
            return false;
        }
        result = colorOf(values, components_);
        linearise(result, gamma_);
        return true;
    }

    void tellFailure() const {
        const std::string reason = libraryReason();
        if (!told_.exchange(true)) error("IMG", "texture '{}' cannot be read: {}", file_, reason);
    }

    OIIO::TextureSystem::TextureHandle* handle_;
    std::string file_;
    int width_, height_, components_, bits_;
    float gamma_;
    OIIO::TextureOpt nearest_, bilinear_, footprint_, nearestFootprint_;
    mutable std::atomic<bool> told_{false};
};

/// Why a path cannot be a texture, in plainer words than the library's; empty where nothing speaks against it.
std::string obstacle(const std::string& file) {
    if (std::string problem = obstacleTo(file); !problem.empty()) return problem;
    std::error_code ignored;
    return std::filesystem::file_size(file, ignored) == 0 ? "the file is empty" : "";
}

/// Why an image is not unpacked; empty where nothing speaks against it. The file itself may be small.
std::string obstacle(const OIIO::ImageSpec& spec) {
    if (spec.width < 1 || spec.height < 1 || spec.full_width < 1 || spec.full_height < 1) return "it has no pixels";
    const double bytes = static_cast<double>(spec.width) * spec.height * std::max(spec.depth, 1) *
                         static_cast<double>(spec.pixel_bytes());
    if (bytes <= static_cast<double>(limits().fileBytes)) return {};
    constexpr double kMegabyte = 1 << 20;
    return fmt::format(
        "its {} x {} pixels take {:.0f} MB, more than the {:.0f} MB that an image may have (-file_limit)", spec.width,
        spec.height, bytes / kMegabyte, static_cast<double>(limits().fileBytes) / kMegabyte);
}

std::unique_ptr<FileTexture> openChecked(const std::string& file, float gamma, std::string& reason) {
    OIIO::TextureSystem& system = textureSystem();
    const OIIO::ustring name(file);
    system.invalidate(name, false);
    auto* handle = system.get_texture_handle(name, threadRecords());
    const OIIO::ImageSpec* spec = handle ? system.imagespec(handle, threadRecords()) : nullptr;
    if (!spec || spec->nchannels < 1) {
        reason = libraryReason();
        if (reason.empty()) reason = "it is no image";
        return nullptr;
    }
    reason = obstacle(*spec);
    if (!reason.empty()) return nullptr;
    auto texture = std::make_unique<FileTexture>(handle, file, *spec, gamma);
    reason = texture->damage();
    return texture;
}

}  // namespace

std::unique_ptr<Texture> openTextureFile(const std::string& file, float gamma, std::string& error) {
    std::unique_ptr<Texture> texture;
    std::string reason = obstacle(file);
    if (reason.empty()) texture = openChecked(file, gamma, reason);
    if (reason.empty()) return texture;
    error = fmt::format("cannot read texture '{}': {}", file, reason);
    return nullptr;
}

}  // namespace lumorender
