#include "image/file_formats.h"

#include "support/messages.h"

#include <algorithm>
#include <cctype>

namespace lumorender {

namespace {

using Writer = FileFormat::Writer;

constexpr int kShort = 65535, kLong = 1 << 30;

// clang-format off
constexpr FileFormat kFormats[] = {
    // names      writer           plugin   natural type      depth half   gray   alpha  straight compressions
    //                                                                                   quality density shape largest
    {"exr",       Writer::Exr,     "",      miIMG_TYPE_RGBA_H,  32, true,  true,  true,  false, "none rle zips zip piz pxr24 b44 b44a dwaa dwab",
                                                                                         true,  true,  true,  kLong},
    {"png",       Writer::Library, "png",   miIMG_TYPE_RGBA,    16, false, true,  true,  true,  "",  false, true,  true,  kLong},
    {"tif tiff",  Writer::Library, "tiff",  miIMG_TYPE_RGBA,    32, false, true,  true,  false, "none lzw zip packbits rle",
                                                                                         false, true,  true,  kLong},
    {"tga",       Writer::Library, "targa", miIMG_TYPE_RGBA,     8, false, true,  true,  true,  "none rle", false, false, true, kShort},
    {"jpg jpeg",  Writer::Library, "jpeg",  miIMG_TYPE_RGB,      8, false, true,  false, false, "",  true,  true,  true,  65500},
    {"hdr",       Writer::Library, "hdr",   miIMG_TYPE_RGBE,    32, false, false, false, false, "",  false, false, false, kLong},
    {"bmp",       Writer::Library, "bmp",   miIMG_TYPE_RGB,      8, false, false, true,  false, "",  false, false, false, kShort},
    {"ppm pnm",   Writer::Library, "pnm",   miIMG_TYPE_RGB,     16, false, false, false, false, "",  false, false, false, kLong},
    {"pgm",       Writer::Library, "pnm",   miIMG_TYPE_S,       16, false, true,  false, false, "",  false, false, false, kLong},
    {"iff",       Writer::Library, "iff",   miIMG_TYPE_RGBA,     8, false, false, true,  false, "none rle", false, false, false, kShort},
    {"rla",       Writer::Library, "rla",   miIMG_TYPE_RGBA,    32, false, true,  true,  false, "",  false, false, true,  32767},
    {"rgb sgi",   Writer::Library, "sgi",   miIMG_TYPE_RGBA,    16, false, true,  true,  false, "",  false, false, false, kShort},
    {"dpx",       Writer::Library, "dpx",   miIMG_TYPE_RGBA,    16, false, false, true,  false, "",  false, false, true,  kLong},
    {"webp",      Writer::Library, "webp",  miIMG_TYPE_RGBA,     8, false, false, true,  true,  "",  true,  false, false, 16383},
    {"pic",       Writer::Pic,     "",      miIMG_TYPE_RGBA,     8, false, false, true,  false, "",  false, false, true,  kShort},
    {"ct",        Writer::Native,  "",      miIMG_TYPE_RGBA,    32, false, false, true,  false, "",  false, false, false, kShort},
    {"st",        Writer::Native,  "",      miIMG_TYPE_A,       32, false, true,  false, false, "",  false, false, false, kShort},
    {"zt",        Writer::Native,  "",      miIMG_TYPE_Z,       32, false, true,  false, false, "",  false, false, false, kShort},
    {"nt",        Writer::Native,  "",      miIMG_TYPE_N,       32, false, false, false, false, "",  false, false, false, kShort},
    {"mt",        Writer::Native,  "",      miIMG_TYPE_M,       32, false, false, false, false, "",  false, false, false, kShort},
    {"tt",        Writer::Native,  "",      miIMG_TYPE_TAG,     32, false, true,  false, false, "",  false, false, false, kShort},
    {"bit",       Writer::Native,  "",      miIMG_TYPE_BIT,      8, false, true,  false, false, "",  false, false, false, kShort},
    {"null",      Writer::Nothing, "",      miIMG_TYPE_RGBA,    32, true,  true,  true,  false, "",  true,  true,  true,  kLong},
};
// clang-format on

std::string inSmallLetters(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

bool isNumber(const std::string& ending) {
    return ending.size() > 1 &&
           std::all_of(ending.begin() + 1, ending.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

/// The ending of a file name, without its point and what numbers stand behind it.
std::string endingOf(std::filesystem::path file) {
    while (isNumber(file.extension().string())) file = file.stem();
    const std::string ending = file.extension().string();
    return ending.empty() ? ending : inSmallLetters(ending.substr(1));
}

/// Values per pixel of the renderer's own formats besides "ct" and "tt".
int nativeChannels(std::string_view name) { return name == "nt" || name == "mt" ? 3 : 1; }

bool nativeHolds(std::string_view name, const PixelFormat& pixel) {
    if (name == "tt" || pixel.integer) return name == "tt" && pixel.integer;
    return name == "ct" ? pixel.color && pixel.channels >= 3 : pixel.channels == nativeChannels(name);
}

}  // namespace

bool hasWord(std::string_view words, std::string_view word) {
    for (std::size_t at = 0; at < words.size();) {
        const std::size_t end = std::min(words.find(' ', at), words.size());
        if (words.substr(at, end - at) == word) return true;
        at = end + 1;
    }
    return false;
}

const FileFormat* findFormat(std::string_view name) {
    const std::string wanted = inSmallLetters(name);
    const auto* end = std::end(kFormats);
    const auto* found =
        std::find_if(std::begin(kFormats), end, [&](const FileFormat& f) { return hasWord(f.names, wanted); });
    return found == end ? nullptr : found;
}

const FileFormat* formatOf(const ImageFile& file) {
    return findFormat(file.format.empty() ? endingOf(file.path) : file.format);
}

std::string formatNames() {
    std::string names;
    for (const FileFormat& format : kFormats) names += (names.empty() ? "" : ", ") + std::string(format.name());
    return names;
}

bool endingFits(const std::filesystem::path& file, const FileFormat& format) {
    return hasWord(format.names, endingOf(file));
}

std::filesystem::path markedName(const std::filesystem::path& file, const std::string& mark) {
    std::filesystem::path stem = file.filename();
    std::string ending;
    for (bool again = true; again; stem = stem.stem()) {
        again = isNumber(stem.extension().string());
        ending = stem.extension().string() + ending;
    }
    return std::filesystem::path(file).replace_filename(stem.string() + "." + mark + ending);
}

std::string problemOfType(const FileFormat& format, miImg_type type) {
    const PixelFormat pixel = pixelFormat(type);
    const bool holds = format.writer == Writer::Native ? nativeHolds(format.name(), pixel)
                       : format.writer == Writer::Pic  ? pixel.color
                                                       : true;
    if (!holds) return fmt::format("the format {} cannot hold the data type {}", format.name(), imageTypeName(type));
    const bool labels = format.writer != Writer::Library || format.plugin == std::string_view("tiff");
    if (pixel.integer && !labels) return fmt::format("{} files cannot hold labels; exr, tif and tt can", format.name());
    return {};
}

std::string problemOfSize(const FileFormat& format, int width, int height) {
    if (std::max(width, height) <= format.largest) return {};
    return fmt::format("the format {} ends at {} pixels", format.name(), format.largest);
}

int depthInFile(const FileFormat& format, const PixelFormat& pixel) {
    if (format.natural == miIMG_TYPE_RGBE) return 32;
    return std::min(format.depth, pixel.bitDepth);
}

int channelsInFile(const FileFormat& format, const PixelFormat& pixel) {
    if (pixel.channels == 1 && format.gray) return 1;
    return pixel.channels == 4 && format.alpha ? 4 : 3;
}

miImg_type naturalImageType(const std::string& fileFormat) {
    const FileFormat* format = findFormat(fileFormat);
    return format ? format->natural : miIMG_TYPE_COUNT;
}

}  // namespace lumorender
