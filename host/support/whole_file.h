// Files that take their names when they are whole, and not before.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// A file that is being written: under a temporary name beside its target, `.NAME.HOST-PID.part`, until keep() gives it
/// the target's name. Without keep() nothing is left of it, and what stood under the name stays as it was; so it does
/// when the program is killed, and the next one that writes the target on this machine removes what was left behind.
/// A program that ends itself calls removeUnfinishedFiles().
///
/// Every function throws Failure with the system's reason. After a first failure all further ones fail for the same
/// reason: some libraries swallow what a stream throws while they close their files. One thread at a time.
class WholeFile {
public:
    /// A link is followed: the file that it leads to is replaced. Its folder must exist, and what is there already must
    /// be a plain file that may be written.
    explicit WholeFile(const std::filesystem::path& target);
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /// Writes at the current position.
    void write(const void* bytes, std::size_t count);
    void write(std::string_view bytes) { write(bytes.data(), bytes.size()); }
    std::uint64_t position() const { return flushed_ + buffer_.size(); }
    void seek(std::uint64_t position);

    /// Everything is on the disk when this returns, under the target's name.
    void keep();

private:
    void flush();
    void check(bool good);

    std::filesystem::path target_, temporary_;
    char* listed_ = nullptr;  ///< the temporary name, as removeUnfinishedFiles() knows it
    int descriptor_ = -1;
    int failure_ = 0;            ///< errno of the first failure
    std::uint64_t flushed_ = 0;  ///< where the buffer begins in the file
    std::vector<char> buffer_;
};

/// Removes the temporary files of all objects, which must not be used any more: the program is about to end. May be
/// called from a signal handler.
void removeUnfinishedFiles() noexcept;

/// Why `target` cannot be written, as far as that can be told without writing; empty where nothing is known to be wrong.
std::string problemOfTarget(const std::filesystem::path& target);

/// Where a path leads: absolute, without links as far as it exists. Throws nothing; a path that cannot be resolved
/// stays as it is.
std::filesystem::path resolvedPath(const std::filesystem::path& path);

/// A file in memory with a name, for libraries that write to names only and do not tell when a disk is full. It is
/// gone with the object.
class MemoryFile {
public:
    /// Throws Failure where the process may not write files of so many bytes, which it will not take more of: the limit
    /// holds for files in memory, too, and would cut them off.
    explicit MemoryFile(std::uint64_t mostBytes);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string name() const;
    /// Everything that was written to the name.
    void copyTo(WholeFile& file) const;

private:
    int descriptor_ = -1;
};

}  // namespace lumorender
