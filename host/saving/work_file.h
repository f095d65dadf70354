// Files of finished work: checkpoints and the parts of a picture. A header, then records, each with its length and a
// checksum. Records are only ever appended, so that a process that is killed leaves all of them but the one that it was
// writing.
#pragma once

#include "saving/record_writer.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace lumorender {

/// An open file of finished work. Writing locks it, so that two renders do not write to one.
class WorkFile {
public:
    enum class Access { Read, Write };

    /// Opens the file; for writing, one that is not there is made. Throws Failure where it cannot be opened, is in use by
    /// another process, or is no file of this format and version.
    WorkFile(const std::filesystem::path& path, Access access);
    ~WorkFile();
    WorkFile(const WorkFile&) = delete;
    WorkFile& operator=(const WorkFile&) = delete;

    const std::filesystem::path& path() const { return path_; }

    /// Whole records from the first one on; what stands behind the last whole one was not finished and is dropped.
    /// `visit` returns false to read no further, and may throw Failure where a record makes no sense.
    void read(const std::function<bool(const WorkRecord&)>& visit);

    /// Bytes behind the last whole record when the file was last read.
    std::uintmax_t torn() const { return size_ - end_; }

    /// Removes all records but the first `kept`. Appending ends. Throws Failure where that cannot be done.
    void keepFirst(int kept);

    /// Records may be appended from now on, behind the last whole one that was read. Throws Failure where the disk takes
    /// nothing.
    void startAppending();

    /// Hands the record to a thread that writes it; returns at once unless very much waits already. From any thread.
    /// A disk that takes no more is told once, and the render goes on.
    void append(RecordKind kind, std::uint32_t number, std::vector<std::byte> content);

    /// Waits until everything is written.
    /// @return what could not be, by kind and number
    std::vector<RecordName> flush();

    /// Deletes the file.
    void remove();

private:
    void readHeader();
    std::optional<WorkRecord> recordAt(std::uintmax_t at) const;
    void cutBehindEnd();

    std::filesystem::path path_;
    int descriptor_ = -1;
    std::uintmax_t size_ = 0, end_ = 0;
    std::unique_ptr<RecordWriter> writer_;
};

}  // namespace lumorender
