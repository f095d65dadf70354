// What is known of the file formats that can be written, in one table.
#pragma once

#include "image/image.h"

#include <string>
#include <string_view>

namespace lumorender {

struct FileFormat {
    enum class Writer { Nothing, Exr, Native, Pic, Library };

    std::string_view
        names;  ///< in scenes and as endings of file names, separated by blanks; the first is the usual one
    Writer writer;
    const char* plugin;  ///< of the library
    miImg_type natural;  ///< the data that it holds where the scene names none
    int depth;           ///< the most precise it has: 8, 16 or 32 (floats)
    bool halves;         ///< keeps half floats as such; else they become floats, or 16 bits where there are no floats
    bool gray;           ///< single values are allowed; else they become gray colors
    bool alpha;
    bool straight;                  ///< alpha is straight: colors are divided by it
    std::string_view compressions;  ///< by the scene's names, separated by blanks
    bool quality;                   ///< of lossy compression
    bool density;                   ///< keeps pixels per inch
    bool shape;                     ///< keeps the shape of pixels
    int largest;                    ///< pixels in width or height

    std::string_view name() const { return names.substr(0, names.find(' ')); }
};

/// The format of this name in small or capital letters, or null where there is none that can be written.
const FileFormat* findFormat(std::string_view name);

/// The format that a file is written in: the one that it names, else the one of its name's ending; or null.
const FileFormat* formatOf(const ImageFile& file);

/// Why no format is known for the file, with those that there are; empty where one is.
std::string problemOfFormat(const ImageFile& file);

/// The names of all formats, for messages.
std::string formatNames();

/// Whether the file's name ends as files of the format do. A number may stand behind the ending (`name.pic.12`).
bool endingFits(const std::filesystem::path& file, const FileFormat& format);

/// The name with a mark before its ending: "look.mark.pic", "look.mark.pic.12".
std::filesystem::path markedName(const std::filesystem::path& file, const std::string& mark);

/// Why the format cannot hold the data type, or an image of this size; empty where it can.
std::string problemOfType(const FileFormat& format, miImg_type type);
std::string problemOfSize(const FileFormat& format, int width, int height);

/// Bits per value that the file gets: 8, 16, or 32 for floats.
int depthInFile(const FileFormat& format, const PixelFormat& pixel);

/// Channels in the file: 1 for single values, 3 for colors and vectors, 4 with alpha.
int channelsInFile(const FileFormat& format, const PixelFormat& pixel);

/// Whether `word` is among words that are separated by blanks.
bool hasWord(std::string_view words, std::string_view word);

}  // namespace lumorender
