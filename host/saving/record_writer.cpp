#include "saving/record_writer.h"

#include "saving/digest.h"
#include "support/messages.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

namespace lumorender {

namespace {

/// How much work a loss of power may cost; killed processes lose nothing that was written.
constexpr auto kBetweenSyncs = std::chrono::seconds(10);

/// Zero, or why not all was written.
int writeAll(int descriptor, std::uint64_t at, const void* bytes, std::size_t size) {
    const char* next = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t written = pwrite(descriptor, next, size, static_cast<off_t>(at));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        if (written == 0) return EIO;
        next += written;
        at += static_cast<std::uint64_t>(written);
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

}  // namespace

RecordHeader headerOf(const WorkRecord& record) {
    RecordHeader header{static_cast<std::uint32_t>(record.kind), record.number, record.content.size(), 0};
    const auto bytes = std::as_bytes(std::span(&header, 1));
    header.checksum = digestOf(record.content, digestOf(bytes.first(offsetof(RecordHeader, checksum))));
    return header;
}

RecordWriter::RecordWriter(int descriptor, std::uint64_t end, std::string name)
    : descriptor_(descriptor), end_(end), name_(std::move(name)), thread_([this] { run(); }) {}

RecordWriter::~RecordWriter() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    more_.notify_one();
    thread_.join();
}

void RecordWriter::append(WorkRecord record) {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [&] { return waitingBytes_ < kMostWaiting; });
    waitingBytes_ += record.content.size();
    waiting_.push_back(std::move(record));
    more_.notify_one();
}

std::vector<RecordName> RecordWriter::flush() {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [&] { return waiting_.empty() && !busy_; });
    synchronise();
    return std::exchange(lost_, {});
}

void RecordWriter::run() {
    auto synchronised = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    for (;;) {
        more_.wait(lock, [&] { return !waiting_.empty() || ending_; });
        if (waiting_.empty()) return;
        const WorkRecord record = std::move(waiting_.front());
        waiting_.pop_front();
        waitingBytes_ -= record.content.size();
        busy_ = true;
        lock.unlock();
        write(record);
        if (const auto now = std::chrono::steady_clock::now(); now - synchronised > kBetweenSyncs) {
            synchronise();
            synchronised = now;
        }
        lock.lock();
        busy_ = false;
        done_.notify_all();
    }
}

void RecordWriter::write(const WorkRecord& record) {
    const RecordHeader header = headerOf(record);
    int problem = writeAll(descriptor_, end_ + sizeof header, record.content.data(), record.content.size());
    if (problem == 0) problem = writeAll(descriptor_, end_, &header, sizeof header);
    if (problem == 0) {
        end_ += sizeof header + record.content.size();
        return;
    }
    // The next record goes to the same place: there may be room for it.
    if (ftruncate(descriptor_, static_cast<off_t>(end_)) != 0) problem = errno;
    tell(problem);
    const std::lock_guard lock(mutex_);
    lost_.emplace_back(record.kind, record.number);
}

void RecordWriter::tell(int code) {
    if (std::exchange(told_, true)) return;
    warning("SAVE", "\"{}\" cannot be written: {}; the render goes on, but some of its work is not saved", name_,
            std::generic_category().message(code));
}

void RecordWriter::synchronise() {
    if (fdatasync(descriptor_) != 0 && errno != EINVAL) tell(errno);
}

}  // namespace lumorender
