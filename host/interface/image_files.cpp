// Images in files, for shaders.
#include "image/block_image.h"
#include "image/file_formats.h"
#include "image/texture.h"
#include "interface/host.h"
#include "render/running_output.h"
#include "support/limits.h"
#include "support/messages.h"
#include "support/whole_file.h"

#include "shader.h"

#include <filesystem>

using namespace lumorender;

namespace {

namespace fs = std::filesystem;

constexpr int kLargestSide = 1 << 16;
constexpr const char* kFormats[miIMG_FORMAT_COUNT] = {"", "exr", "tif", "png", "jpg", "hdr", "pic", "tga", "ct", "st"};

/// Null, after a message, where nothing is rendered.
const RunningOutput* outputFor(const char* function) {
    const RunningOutput* output = RunningOutput::current();
    if (!output) warning("API", "{}: shaders use images in files only while a scene is rendered", function);
    return output;
}

bool failed(const char* function, const std::string& name, const std::string& reason) {
    error("API", "{}: \"{}\": {}", function, name, reason);
    return false;
}

std::string nameOf(const miImg_file& file) { return std::string(hostDatabase().string(file.name)); }

bool isType(miImg_type type) { return type >= 0 && type < miIMG_TYPE_COUNT; }

/// Why an image of this kind cannot be; empty where it can.
std::string problemOf(int width, int height, miImg_type type) {
    if (!isType(type)) return fmt::format("{} is no type of images", static_cast<int>(type));
    if (width < 1 || height < 1 || width > kLargestSide || height > kLargestSide)
        return fmt::format("{} x {} is no size of an image, expected 1 to {}", width, height, kLargestSide);
    if (BlockImage::sizeFor(width, height, type) > limits().fileBytes)
        return fmt::format("{} x {} pixels are more than an image may have (-file_limit)", width, height);
    return {};
}

ImageFile fileFor(const miImg_file& file, const RunningOutput& output) {
    ImageFile image;
    image.path = output.rules.located(nameOf(file));
    if (file.format > 0 && file.format < miIMG_FORMAT_COUNT) image.format = kFormats[file.format];
    image.colors = output.colors;
    return image;
}

std::string problemOfWriting(const miImg_file& file, const ImageFile& image, const OutputRules& rules) {
    if (const std::string problem = problemOfFormat(image); !problem.empty()) return problem;
    const FileFormat& format = *formatOf(image);
    if (const std::string objection = objectionToPicture(image.path, format, NamedBy::Scene, rules); !objection.empty())
        return objection;
    if (const std::string problem = problemOfTarget(image.path); !problem.empty()) return problem;
    if (const std::string problem = problemOfType(format, file.type); !problem.empty()) return problem;
    return problemOfSize(format, file.width, file.height);
}

/// What a render has written counts before a file elsewhere.
std::unique_ptr<Texture> opened(const miImg_file& file, const RunningOutput& output, std::string& reason) {
    const std::string name = nameOf(file);
    const fs::path written = output.rules.located(name);
    std::error_code ignored;
    return openTexture(fs::exists(written, ignored) ? written.string() : name, output.colors.gamma, reason);
}

/// The keeper of an image that mi_img_image_create has made for such a file, or null.
BlockImage* blockOf(const miImg_file& file, miImg_image* image) {
    auto* block = image ? dynamic_cast<BlockImage*>(static_cast<ShaderImage*>(image->host)) : nullptr;
    return block && block->width == file.width && block->height == file.height && block->type == file.type ? block
                                                                                                           : nullptr;
}

bool readPixels(const Texture& texture, BlockImage& image) {
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            miColor color = {0, 0, 0, 0};
            const float u = (static_cast<float>(x) + .5F) / static_cast<float>(image.width);
            const float v = (static_cast<float>(y) + .5F) / static_cast<float>(image.height);
            if (!texture.lookup(color, u, v, false)) return false;
            if (image.channels() == 4) {
                image.setColor(color, x, y);
            } else if (image.channels() == 3) {
                image.setVector({color.r, color.g, color.b}, x, y);
            } else {
                texture.components() == 1 ? image.setScalar(color.r, x, y) : image.setColor(color, x, y);
            }
        }
    return true;
}

LayerImage layerOf(BlockImage& image) {
    LayerImage layer;
    layer.type = image.type;
    layer.width = image.width;
    layer.height = image.height;
    if (image.isLabels())
        layer.labels.assign(image.labels(), image.labels() + image.values());
    else
        layer.pixels.assign(image.pixels(), image.pixels() + image.values());
    return layer;
}

bool create(miImg_file& file, const char* name) {
    const RunningOutput* output = outputFor("mi_img_create");
    if (!output) return false;
    std::string problem = problemOf(file.width, file.height, file.type);
    file.name = hostDatabase().addString(name);
    if (problem.empty()) problem = problemOfWriting(file, fileFor(file, *output), output->rules);
    return problem.empty() || failed("mi_img_create", name, problem);
}

bool open(miImg_file& file, const char* name) {
    const RunningOutput* output = outputFor("mi_img_open");
    if (!output) return false;
    if (!isType(file.type) || pixelFormat(file.type).integer)
        return failed("mi_img_open", name, "images are read as colors, single values or vectors");
    file.name = hostDatabase().addString(name);
    std::string reason;
    const auto texture = opened(file, *output, reason);
    if (!texture) return failed("mi_img_open", name, reason);
    file.width = texture->width();
    file.height = texture->height();
    const std::string problem = problemOf(file.width, file.height, file.type);
    return problem.empty() || failed("mi_img_open", name, problem);
}

bool readImage(const miImg_file& file, miImg_image* image) {
    const RunningOutput* output = outputFor("mi_img_image_read");
    BlockImage* block = blockOf(file, image);
    if (!output) return false;
    if (!block) return failed("mi_img_image_read", nameOf(file), "the image was not made for this file");
    std::string reason;
    const auto texture = opened(file, *output, reason);
    if (!texture || texture->width() != file.width || texture->height() != file.height)
        return failed("mi_img_image_read", nameOf(file), texture ? "the file has changed" : reason);
    return readPixels(*texture, *block);
}

bool writeImage(const miImg_file& file, miImg_image* image) {
    const RunningOutput* output = outputFor("mi_img_image_write");
    BlockImage* block = blockOf(file, image);
    if (!output) return false;
    if (!block) return failed("mi_img_image_write", nameOf(file), "the image was not made for this file");
    ImageFile target = fileFor(file, *output);
    std::string problem = problemOfWriting(file, target, output->rules);
    if (problem.empty()) {
        const LayerImage layer = layerOf(*block);
        target.layers.emplace_back(&layer);
        problem = writeImageFile(target, {0, 0, file.width, file.height, file.width, file.height}, {});
    }
    return problem.empty() || failed("mi_img_image_write", nameOf(file), problem);
}

/// No exception goes into shaders.
template <class Function>
miBoolean answerOf(const char* name, const Function& function) noexcept {
    try {
        return function() ? miTRUE : miFALSE;
    } catch (const std::exception& failure) {
        error("API", "{}: {}", name, failure.what());
        return miFALSE;
    }
}

}  // namespace

extern "C" {

miBoolean mi_img_create(miImg_file* file, const char* name, miImg_type type, miImg_format format, int width,
                        int height) {
    *file = {width, height, type, format, miNULLTAG};
    return answerOf("mi_img_create", [&] { return name && create(*file, name); });
}

miBoolean mi_img_open(miImg_file* file, const char* name, miImg_type type) {
    *file = {0, 0, type, miIMG_FORMAT_BY_NAME, miNULLTAG};
    return answerOf("mi_img_open", [&] { return name && open(*file, name); });
}

miBoolean mi_img_close(miImg_file* file) {
    const miBoolean was = file->name ? miTRUE : miFALSE;
    *file = {};
    return was;
}

miImg_image* mi_img_image_create(miImg_file* file) {
    const RunningOutput* output = outputFor("mi_img_image_create");
    if (!output || !file->name || !problemOf(file->width, file->height, file->type).empty()) return nullptr;
    const std::size_t size = BlockImage::sizeFor(file->width, file->height, file->type);
    void* block = mi_mem_int_allocate_sizet(__FILE__, __LINE__, size);
    return block ? BlockImage::make(block, file->width, file->height, file->type, output->colors) : nullptr;
}

miBoolean mi_img_image_read(miImg_file* file, miImg_image* image) {
    return answerOf("mi_img_image_read", [&] { return readImage(*file, image); });
}

miBoolean mi_img_image_write(miImg_file* file, miImg_image* image) {
    return answerOf("mi_img_image_write", [&] { return writeImage(*file, image); });
}

}  // extern "C"
