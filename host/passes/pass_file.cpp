#include "passes/pass_file.h"

#include "saving/bytes.h"
#include "support/files.h"
#include "support/messages.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <system_error>

namespace lumorender {

namespace {

constexpr std::array<char, 8> kMagic = {'P', 'A', 'S', 'S', 'S', 'M', 'P', 'L'};
constexpr std::uint32_t kVersion = 1, kByteOrder = 0x01020304;
constexpr std::size_t kMostHead = 1 << 20;

struct Beginning {
    std::array<char, 8> magic = kMagic;
    std::uint32_t version = kVersion;
    std::uint32_t byteOrder = kByteOrder;
    std::uint64_t headBytes = 0;
};
static_assert(sizeof(Beginning) == 24);

std::vector<std::byte> bytesOf(const PassHead& head) {
    ByteWriter out;
    out.put(head.window);
    out.put(head.samples);
    out.put(head.view.camera);
    out.put(head.view.pattern);
    out.put(static_cast<std::uint64_t>(head.columns.size()));
    for (const PassColumn& column : head.columns) {
        out.put(column.name);
        out.put(static_cast<std::uint32_t>(column.isPicture));
        out.put(column.words);
    }
    return std::move(out.bytes);
}

/// Throws Failure where the bytes are none.
PassHead headFrom(std::span<const std::byte> bytes) {
    constexpr int kMostPixels = 1 << 20;
    constexpr std::uint32_t kMostSamples = 1 << 16, kMostWords = 4;
    ByteReader in(bytes);
    PassHead head;
    in.get(head.window);
    in.get(head.samples);
    in.get(head.view.camera);
    in.get(head.view.pattern);
    head.columns.resize(in.count(2 * sizeof(std::uint32_t)));
    bool fits = head.samples >= 1 && head.samples <= kMostSamples;
    for (PassColumn& column : head.columns) {
        in.get(column.name);
        column.isPicture = in.take<std::uint32_t>() != 0;
        in.get(column.words);
        fits = fits && column.words >= 1 && column.words <= kMostWords;
    }
    const DataWindow& window = head.window;
    const auto isInside = [](int first, int size, int full) {
        return first >= 0 && size >= 1 && full >= 1 && full <= kMostPixels && size <= full && first <= full - size;
    };
    fits = fits && in.atEnd() && isInside(window.x0, window.width, window.fullWidth) &&
           isInside(window.y0, window.height, window.fullHeight);
    // More than any disk has room for.
    constexpr double kMostSize = 1e17;
    const double size = 1.0 * window.width * window.height * head.samples * static_cast<double>(head.sampleWords());
    if (!fits || size > kMostSize) throw Failure("its header makes no sense");
    return head;
}

[[noreturn]] void failBySystem() { throw Failure(std::generic_category().message(errno)); }

void readAt(int descriptor, std::uint64_t position, void* to, std::size_t size) {
    auto* bytes = static_cast<char*>(to);
    while (size > 0) {
        const ssize_t got = pread(descriptor, bytes, size, static_cast<off_t>(position));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) failBySystem();
        if (got == 0) throw Failure("it ends too early");
        bytes += got;
        position += static_cast<std::uint64_t>(got);
        size -= static_cast<std::size_t>(got);
    }
}

std::uint64_t wordsBefore(const PassHead& head, int x, int y) {
    const DataWindow& window = head.window;
    const auto pixel = static_cast<std::uint64_t>(y - window.y0) * static_cast<std::uint64_t>(window.width) +
                       static_cast<std::uint64_t>(x - window.x0);
    return pixel * head.samples * head.sampleWords();
}

std::uint64_t sizeOf(const PassHead& head) {
    return sizeof(std::uint32_t) * wordsBefore(head, head.window.x0, head.window.y0 + head.window.height);
}

}  // namespace

std::size_t PassHead::sampleWords() const {
    std::size_t words = 1;
    for (const PassColumn& column : columns) words += column.words;
    return words;
}

PassFile::PassFile(const std::filesystem::path& path) : path_(path) {
    if (const std::string obstacle = obstacleTo(path); !obstacle.empty()) throw Failure(obstacle);
    descriptor_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) failBySystem();
    try {
        struct stat status = {};
        if (fstat(descriptor_, &status) != 0) failBySystem();
        const auto size = static_cast<std::uint64_t>(status.st_size);
        Beginning beginning;
        if (size < sizeof beginning) throw Failure("it holds no samples of passes");
        readAt(descriptor_, 0, &beginning, sizeof beginning);
        if (beginning.magic != kMagic) throw Failure("it holds no samples of passes");
        if (beginning.byteOrder != kByteOrder) throw Failure("it comes from a machine with another byte order");
        if (beginning.version != kVersion)
            throw Failure(fmt::format("it has version {}, expected version {}", beginning.version, kVersion));
        if (beginning.headBytes > std::min<std::uint64_t>(size - sizeof beginning, kMostHead))
            throw Failure("its header makes no sense");
        std::vector<std::byte> bytes(beginning.headBytes);
        readAt(descriptor_, sizeof beginning, bytes.data(), bytes.size());
        head_ = headFrom(bytes);
        first_ = sizeof beginning + beginning.headBytes;
        if (size != first_ + sizeOf(head_))
            throw Failure(fmt::format("it has {} bytes, expected {} by its header", size, first_ + sizeOf(head_)));
    } catch (...) {
        close(descriptor_);
        throw;
    }
}

PassFile::~PassFile() { close(descriptor_); }

void PassFile::read(int x, int y, int count, std::vector<std::uint32_t>& words) const {
    words.resize(static_cast<std::size_t>(count) * head_.samples * head_.sampleWords());
    try {
        readAt(descriptor_, first_ + sizeof(std::uint32_t) * wordsBefore(head_, x, y), words.data(),
               sizeof(std::uint32_t) * words.size());
    } catch (const Failure& failure) {
        throw Failure(fmt::format("the pass file \"{}\" cannot be read: {}", path_.string(), failure.what()));
    }
}

PassWriter::PassWriter(const std::filesystem::path& path, const PassHead& head)
    : path_(path), head_(head), file_(path) {
    const std::vector<std::byte> bytes = bytesOf(head);
    Beginning beginning;
    beginning.headBytes = bytes.size();
    file_.write(&beginning, sizeof beginning);
    file_.write(bytes.data(), bytes.size());
    first_ = file_.position();
}

void PassWriter::write(int x, int y, const std::vector<std::uint32_t>& words) {
    const std::lock_guard lock(mutex_);
    file_.seek(first_ + sizeof(std::uint32_t) * wordsBefore(head_, x, y));
    file_.write(words.data(), sizeof(std::uint32_t) * words.size());
}

void PassWriter::keep() { file_.keep(); }

bool isPassFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::array<char, sizeof kMagic> magic = {};
    stream.read(magic.data(), magic.size());
    return stream.gcount() == 0 ? stream.eof() : magic == kMagic;
}

}  // namespace lumorender
