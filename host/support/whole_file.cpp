#include "support/whole_file.h"

#include "support/messages.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <system_error>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBufferSize = 1 << 20;
constexpr std::string_view kEnding = ".part";

std::string reasonOf(int code) { return std::generic_category().message(code); }

/// Folders that several machines share hold temporary files of all of them.
std::string machineName() {
    std::array<char, 65> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "unknown";
}

/// What the names of all temporary files of a target begin with on this machine. File systems end names at 255 bytes.
std::string temporaryPrefix(const fs::path& target) {
    constexpr std::size_t kLongest = 150;
    return fmt::format(".{}.{}-", target.filename().string().substr(0, kLongest), machineName());
}

/// The process that a temporary file of the target belongs to.
std::optional<pid_t> ownerOf(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix) || !name.ends_with(kEnding) || name.size() <= prefix.size() + kEnding.size())
        return std::nullopt;
    const std::string_view number = name.substr(prefix.size(), name.size() - prefix.size() - kEnding.size());
    pid_t owner = 0;
    const auto [end, problem] = std::from_chars(number.data(), number.data() + number.size(), owner);
    if (problem != std::errc() || end != number.data() + number.size() || owner <= 0) return std::nullopt;
    return owner;
}

/// What ended processes have left of this target. Nothing else in this process writes it, so that what has our own
/// number is of a former process that had it.
void removeLeftovers(const fs::path& folder, const std::string& prefix) {
    std::error_code ignored;
    for (fs::directory_iterator i(folder, ignored), end; i != end; i.increment(ignored)) {
        const auto owner = ownerOf(i->path().filename().string(), prefix);
        if (!owner) continue;
        const bool isAlive = *owner != getpid() && (kill(*owner, 0) == 0 || errno != ESRCH);
        if (!isAlive) fs::remove(i->path(), ignored);
    }
}

fs::path folderOf(const fs::path& target) { return target.has_parent_path() ? target.parent_path() : "."; }

/// The name of a new file is safe only when its folder is. Not every file system can do that.
void synchronizeFolder(const fs::path& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

/// Names of temporary files, where a signal handler finds them. A few are written at a time; what has no room here is
/// left behind by a program that is interrupted twice, as by one that is killed.
std::array<std::atomic<char*>, 16> unfinished{};
static_assert(std::atomic<char*>::is_always_lock_free, "signal handlers read them");

char* enlist(const fs::path& file) {
    char* const name = strdup(file.c_str());
    for (std::atomic<char*>& place : unfinished) {
        char* empty = nullptr;
        if (name && place.compare_exchange_strong(empty, name)) return name;
    }
    std::free(name);
    return nullptr;
}

/// A name that a signal handler has taken stays: the program ends.
void strike(char* name) {
    for (std::atomic<char*>& place : unfinished) {
        char* expected = name;
        if (name && place.compare_exchange_strong(expected, nullptr)) return std::free(name);
    }
}

}  // namespace

void removeUnfinishedFiles() noexcept {
    for (std::atomic<char*>& place : unfinished)
        if (const char* name = place.exchange(nullptr)) unlink(name);
}

fs::path resolvedPath(const fs::path& path) {
    std::error_code problem;
    const fs::path whole = fs::absolute(path, problem);
    if (problem) return path;
    const fs::path resolved = fs::weakly_canonical(whole, problem);
    return problem ? whole.lexically_normal() : resolved;
}

std::string problemOfTarget(const fs::path& target) {
    if (target.filename().empty()) return "the path names no file";
    std::error_code ignored;
    const fs::path resolved = resolvedPath(target), folder = folderOf(resolved);
    if (!fs::exists(folder, ignored)) return fmt::format("the folder \"{}\" does not exist", folder.string());
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        return fmt::format("the folder \"{}\" cannot be written: {}", folder.string(), reasonOf(errno));
    const fs::file_status status = fs::status(resolved, ignored);
    if (!fs::exists(status)) return {};
    if (fs::is_directory(status)) return "it is a folder";
    if (!fs::is_regular_file(status)) return "it is no plain file";
    return access(resolved.c_str(), W_OK) == 0 ? "" : "the file that is there is protected: " + reasonOf(errno);
}

WholeFile::WholeFile(const fs::path& target) : target_(resolvedPath(target)) {
    if (const std::string problem = problemOfTarget(target); !problem.empty()) throw Failure(problem);
    const std::string prefix = temporaryPrefix(target_);
    removeLeftovers(folderOf(target_), prefix);
    temporary_ = target_;
    temporary_.replace_filename(fmt::format("{}{}{}", prefix, getpid(), kEnding));
    listed_ = enlist(temporary_);
    descriptor_ = open(temporary_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    if (descriptor_ < 0) {
        const int reason = errno;
        strike(listed_);
        throw Failure(reasonOf(reason));
    }
    // Who may read the old file may read the new one.
    struct stat old;
    if (stat(target_.c_str(), &old) == 0) fchmod(descriptor_, old.st_mode & 0777);
    buffer_.reserve(kBufferSize);
}

WholeFile::~WholeFile() {
    if (descriptor_ >= 0) {
        close(descriptor_);
        unlink(temporary_.c_str());
    }
    strike(listed_);
}

void WholeFile::check(bool good) {
    if (!good && failure_ == 0) failure_ = errno ? errno : EIO;
    if (failure_ != 0) throw Failure(reasonOf(failure_));
}

void WholeFile::write(const void* bytes, std::size_t count) {
    const char* from = static_cast<const char*>(bytes);
    while (count > 0) {
        if (buffer_.size() == kBufferSize) flush();
        const std::size_t some = std::min(count, kBufferSize - buffer_.size());
        buffer_.insert(buffer_.end(), from, from + some);
        from += some;
        count -= some;
    }
}

void WholeFile::flush() {
    std::size_t done = 0;
    while (failure_ == 0 && done < buffer_.size()) {
        const ssize_t some =
            pwrite(descriptor_, &buffer_[done], buffer_.size() - done, static_cast<off_t>(flushed_ + done));
        if (some < 0 && errno == EINTR) continue;
        check(some > 0);
        done += static_cast<std::size_t>(some);
    }
    check(true);
    flushed_ += done;
    buffer_.clear();
}

void WholeFile::seek(std::uint64_t position) {
    flush();
    flushed_ = position;
}

void WholeFile::keep() {
    flush();
    // Some file systems tell only here that the disk is full; some cannot be asked.
    check(fsync(descriptor_) == 0 || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS);
    const int closing = std::exchange(descriptor_, -1);
    const bool good = close(closing) == 0 && rename(temporary_.c_str(), target_.c_str()) == 0;
    if (!good) {
        const int reason = errno;
        unlink(temporary_.c_str());
        errno = reason;
    }
    check(good);
    synchronizeFolder(folderOf(target_));
}

MemoryFile::MemoryFile(std::uint64_t mostBytes) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < mostBytes)
        throw Failure(fmt::format("it may take {} bytes, and files are limited to {} bytes here (ulimit -f)", mostBytes,
                                  limit.rlim_cur));
    descriptor_ = memfd_create("picture", MFD_CLOEXEC);
    if (descriptor_ < 0) throw Failure("no file in memory: " + reasonOf(errno));
}

MemoryFile::~MemoryFile() { close(descriptor_); }

std::string MemoryFile::name() const { return fmt::format("/proc/self/fd/{}", descriptor_); }

void MemoryFile::copyTo(WholeFile& file) const {
    std::vector<char> part(kBufferSize);
    for (off_t at = 0;;) {
        const ssize_t count = pread(descriptor_, part.data(), part.size(), at);
        if (count < 0) throw Failure("reading a file in memory: " + reasonOf(errno));
        if (count == 0) return;
        file.write(part.data(), static_cast<std::size_t>(count));
        at += count;
    }
}

}  // namespace lumorender
