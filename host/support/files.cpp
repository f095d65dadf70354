#include "support/files.h"

#include "support/abort.h"
#include "support/limits.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace lumorender {

namespace {

std::string systemReason(int code) {
    if (code == ENOENT) return "it does not exist";
    return "it cannot be opened: " + std::generic_category().message(code);
}

/// A file that is open for reading. What it is, is asked of the open file, so that nothing else can take its place.
class OpenFile {
public:
    /// Pipes and devices do not make us wait: opening does not block.
    explicit OpenFile(const std::filesystem::path& file)
        : descriptor_(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY)), problem_(errno) {}
    ~OpenFile() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    std::string obstacle(std::uint64_t& size) const {
        struct stat status = {};
        if (descriptor_ < 0) return systemReason(problem_);
        if (::fstat(descriptor_, &status) != 0) return systemReason(errno);
        if (S_ISDIR(status.st_mode)) return "it is a folder";
        if (!S_ISREG(status.st_mode)) return "it is not a regular file but a pipe or device";
        size = static_cast<std::uint64_t>(status.st_size);
        if (size <= limits().fileBytes) return {};
        constexpr double kMegabyte = 1 << 20;
        return fmt::format("it has {:.0f} MB, more than the {:.0f} MB that a file may have (-file_limit)",
                           static_cast<double>(size) / kMegabyte, static_cast<double>(limits().fileBytes) / kMegabyte);
    }

    /// Files that tell no size (those below /proc) are read as far as their size says: not at all.
    std::string read(std::string& content, std::size_t size) const {
        constexpr std::size_t kPiece = std::size_t{16} << 20;  // a wish to stop is seen in between
        content.resize(size);
        std::size_t done = 0;
        while (done < size) {
            if (abortRequested()) return "reading was stopped";
            const ssize_t got = ::read(descriptor_, content.data() + done, std::min(size - done, kPiece));
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return "it cannot be read: " + std::generic_category().message(errno);
            if (got == 0) break;
            done += static_cast<std::size_t>(got);
        }
        content.resize(done);
        return {};
    }

private:
    int descriptor_;
    int problem_;
};

}  // namespace

std::string obstacleTo(const std::filesystem::path& file) {
    std::uint64_t size = 0;
    return OpenFile(file).obstacle(size);
}

std::string endingOf(const std::filesystem::path& file) {
    std::error_code ignored;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(file, ignored);
    std::string ending = (resolved.empty() ? file : resolved).extension().string();
    for (char& c : ending)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return ending;
}

std::string readFile(const std::filesystem::path& file, std::string& content) {
    const OpenFile open(file);
    std::uint64_t size = 0;
    if (std::string problem = open.obstacle(size); !problem.empty()) return problem;
    return open.read(content, size);
}

}  // namespace lumorender
