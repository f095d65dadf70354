// Files of passes: all samples of a picture, with the distance of what they saw and their values for frame buffers. They
// are this host's own, and hold numbers as the machine has them.
#pragma once

#include "image/image.h"
#include "support/whole_file.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

namespace lumorender {

/// A frame buffer's part of each sample.
struct PassColumn {
    std::string name;  ///< of the buffer
    bool isPicture = false;
    std::uint32_t words = 0;  ///< of 32 bits

    bool isSameAs(const PassColumn& other) const {
        return isPicture == other.isPicture && (isPicture || name == other.name);
    }
    std::string shownName() const { return isPicture ? "rgba" : name; }
};

/// What a camera sees, and when, as one line of numbers.
struct PassView {
    std::vector<double> camera;  ///< its place and its projection
    std::vector<float> pattern;  ///< where samples lie in pixels and in time
};

struct PassHead {
    DataWindow window;          ///< pixels whose samples there are
    std::uint32_t samples = 1;  ///< of each pixel
    PassView view;
    std::vector<PassColumn> columns;

    /// Words of one sample: its distance along the camera's axis as a float, 0 where it saw nothing, then the columns.
    std::size_t sampleWords() const;
};

/// Reads from any thread.
class PassFile {
public:
    /// Throws Failure with what is wrong: it is not there, none, cut short, of another version.
    explicit PassFile(const std::filesystem::path& path);
    ~PassFile();
    PassFile(const PassFile&) = delete;
    PassFile& operator=(const PassFile&) = delete;

    const PassHead& head() const { return head_; }
    const std::filesystem::path& path() const { return path_; }

    /// The samples of `count` pixels beside each other, from one that lies in the window as all of them do.
    void read(int x, int y, int count, std::vector<std::uint32_t>& words) const;

private:
    std::filesystem::path path_;
    int descriptor_ = -1;
    std::uint64_t first_ = 0;  ///< where samples begin
    PassHead head_;
};

/// Writes from any thread. The file takes its name when all samples of the window were written.
class PassWriter {
public:
    /// Throws Failure.
    PassWriter(const std::filesystem::path& path, const PassHead& head);

    const PassHead& head() const { return head_; }
    const std::filesystem::path& path() const { return path_; }

    void write(int x, int y, const std::vector<std::uint32_t>& words);
    void keep();

private:
    std::filesystem::path path_;
    PassHead head_;
    std::mutex mutex_;
    WholeFile file_;
    std::uint64_t first_ = 0;
};

/// Whether the file begins as those of passes do, or is empty.
bool isPassFile(const std::filesystem::path& path);

}  // namespace lumorender
