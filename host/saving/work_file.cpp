#include "saving/work_file.h"

#include "support/messages.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace lumorender {

namespace {

struct FileHeader {
    std::array<char, 8> magic = {'l', 'u', 'm', 'o', 'w', 'o', 'r', 'k'};
    std::uint32_t version = 2;
    std::uint32_t byteOrder = 0x01020304;
};
static_assert(sizeof(FileHeader) == 16);

std::string systemReason() { return std::generic_category().message(errno); }

bool readAll(int descriptor, void* bytes, std::size_t size, std::uintmax_t at) {
    char* next = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t count = pread(descriptor, next, size, static_cast<off_t>(at));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        next += count;
        at += static_cast<std::uintmax_t>(count);
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace

WorkFile::WorkFile(const std::filesystem::path& path, Access access) : path_(path) {
    const bool writes = access == Access::Write;
    // Without O_NONBLOCK a pipe of this name would be waited for.
    descriptor_ = open(path.c_str(), (writes ? O_RDWR | O_CREAT : O_RDONLY) | O_CLOEXEC | O_NONBLOCK, 0666);
    if (descriptor_ < 0) throw Failure(fmt::format("\"{}\" cannot be opened: {}", path.string(), systemReason()));
    try {
        struct stat status;
        if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))
            throw Failure(fmt::format("\"{}\" is no regular file", path.string()));
        if (writes && flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
            throw Failure(fmt::format("\"{}\" is in use by another render", path.string()));
        size_ = static_cast<std::uintmax_t>(status.st_size);
        readHeader();
    } catch (...) {
        close(descriptor_);
        throw;
    }
}

WorkFile::~WorkFile() {
    writer_.reset();
    close(descriptor_);
}

/// A beginning of the header is all that a render has left that was killed at once.
void WorkFile::readHeader() {
    const FileHeader expected;
    FileHeader found = {};
    const std::size_t there = std::min<std::uintmax_t>(size_, sizeof found);
    if (!readAll(descriptor_, &found, there, 0))
        throw Failure(fmt::format("\"{}\" cannot be read: {}", path_.string(), systemReason()));
    if (std::memcmp(&found, &expected, std::min(there, sizeof found.magic)) != 0)
        throw Failure(fmt::format("\"{}\" is neither a checkpoint nor a part of a picture", path_.string()));
    if (there < sizeof found) return;
    if (found.byteOrder != expected.byteOrder)
        throw Failure(fmt::format("\"{}\" comes from a machine with another byte order", path_.string()));
    if (found.version != expected.version)
        throw Failure(fmt::format("\"{}\" has format version {}, expected version {}", path_.string(), found.version,
                                  expected.version));
    end_ = sizeof found;
}

std::optional<WorkRecord> WorkFile::recordAt(std::uintmax_t at) const {
    RecordHeader header;
    if (size_ - at < sizeof header || !readAll(descriptor_, &header, sizeof header, at)) return std::nullopt;
    if (header.size > size_ - at - sizeof header) return std::nullopt;
    WorkRecord record{static_cast<RecordKind>(header.kind), header.number, {}};
    record.content.resize(header.size);
    if (!readAll(descriptor_, record.content.data(), record.content.size(), at + sizeof header)) return std::nullopt;
    if (headerOf(record).checksum != header.checksum) return std::nullopt;
    return record;
}

void WorkFile::read(const std::function<bool(const WorkRecord&)>& visit) {
    if (end_ == 0) return;
    end_ = sizeof(FileHeader);
    while (const auto record = recordAt(end_)) {
        end_ += sizeof(RecordHeader) + record->content.size();
        try {
            if (!visit(*record)) return;
        } catch (const Failure& problem) {
            throw Failure(fmt::format("\"{}\" is damaged: {}", path_.string(), problem.what()));
        }
    }
}

void WorkFile::keepFirst(int kept) {
    writer_.reset();
    struct stat status;
    if (fstat(descriptor_, &status) == 0) size_ = static_cast<std::uintmax_t>(status.st_size);
    if (kept > 0)
        read([&](const WorkRecord&) { return --kept > 0; });
    else
        end_ = std::min<std::uintmax_t>(end_, sizeof(FileHeader));
    cutBehindEnd();
}

/// What stood behind the end must not be taken for records again.
void WorkFile::cutBehindEnd() {
    if (ftruncate(descriptor_, static_cast<off_t>(end_)) != 0)
        throw Failure(fmt::format("\"{}\" cannot be written: {}", path_.string(), systemReason()));
    size_ = end_;
}

void WorkFile::startAppending() {
    const FileHeader header;
    if (end_ == 0 && pwrite(descriptor_, &header, sizeof header, 0) != sizeof header)
        throw Failure(fmt::format("\"{}\" cannot be written: {}", path_.string(), systemReason()));
    end_ = std::max<std::uintmax_t>(end_, sizeof header);
    cutBehindEnd();
    writer_ = std::make_unique<RecordWriter>(descriptor_, end_, path_.string());
}

void WorkFile::append(RecordKind kind, std::uint32_t number, std::vector<std::byte> content) {
    writer_->append({kind, number, std::move(content)});
}

std::vector<RecordName> WorkFile::flush() { return writer_ ? writer_->flush() : std::vector<RecordName>{}; }

void WorkFile::remove() {
    writer_.reset();
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

}  // namespace lumorender
