// Appends records to a file on a thread of its own: the threads that render do not wait for disks.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace lumorender {

/// What a record holds. The numbers stand in files.
enum class RecordKind : std::uint32_t {
    Identity = 1,     ///< what decides the picture
    Plan = 2,         ///< how the picture is written
    GivenPoints = 3,  ///< points of indirect light that came from files
    PointBlock = 4,   ///< points that were made at some places of a grid
    PointsReady = 5,  ///< the digest of all points
    Tile = 6,
    Finished = 7  ///< the share is whole, or the picture is written
};

using RecordName = std::pair<RecordKind, std::uint32_t>;

struct WorkRecord {
    RecordKind kind = RecordKind::Identity;
    std::uint32_t number = 0;  ///< of its kind: which tile, which block
    std::vector<std::byte> content;
};

/// What stands in the file before a record's content.
struct RecordHeader {
    std::uint32_t kind = 0, number = 0;
    std::uint64_t size = 0;
    std::uint64_t checksum = 0;  ///< of the content and of all the above
};
static_assert(sizeof(RecordHeader) == 24);

RecordHeader headerOf(const WorkRecord& record);

class RecordWriter {
public:
    /// Writes to the end of the file, which stays the caller's. `name` is for messages.
    RecordWriter(int descriptor, std::uint64_t end, std::string name);
    ~RecordWriter();
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    /// Waits only where more than kMostWaiting bytes are to be written already.
    void append(WorkRecord record);
    /// Waits until all is written and on the disk. @return the records that could not be written, once
    std::vector<RecordName> flush();

private:
    static constexpr std::size_t kMostWaiting = std::size_t{64} << 20;

    void run();
    void write(const WorkRecord& record);
    void tell(int code);
    void synchronise();

    const int descriptor_;
    std::uint64_t end_;
    const std::string name_;
    bool told_ = false;
    std::mutex mutex_;  // for all below
    std::condition_variable more_, done_;
    std::deque<WorkRecord> waiting_;
    std::size_t waitingBytes_ = 0;
    bool busy_ = false, ending_ = false;
    std::vector<RecordName> lost_;
    std::thread thread_;  // the last member: it uses all others
};

}  // namespace lumorender
