// In place of libFuzzer: hands every file of some folders to the function, once, and then for some seconds changed ones.
// Usage: fuzz_x [-seconds N] [-seed N] folder ...
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* count, char*** arguments);
extern "C" [[gnu::weak]] std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                                             unsigned seed);

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::size_t kLongest = 20000;

std::minstd_rand generator;

unsigned below(std::size_t end) { return static_cast<unsigned>(generator() % end); }

void call(const Bytes& bytes) { LLVMFuzzerTestOneInput(bytes.data(), bytes.size()); }

/// The last one stays in a file, so that it is there after a crash.
void callChanged(const Bytes& original, const char* file) {
    Bytes bytes = original;
    bytes.resize(std::max(kLongest, original.size()));
    std::size_t size = original.size();
    for (unsigned times = 1 + below(4); times > 0; --times)
        size = LLVMFuzzerCustomMutator(bytes.data(), size, bytes.size(), below(1U << 30));
    bytes.resize(size);
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
    call(bytes);
}

}  // namespace

/// What the mutator asks for now and then: some bytes are other ones.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t) {
    for (unsigned times = below(8); times > 0 && size > 0; --times)
        data[below(size)] = static_cast<std::uint8_t>(below(256));
    return size;
}

int main(int count, char** arguments) {
    std::vector<Bytes> seeds;
    double seconds = 0;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "-seconds" && i + 1 < count)
            seconds = std::stod(arguments[++i]);
        else if (argument == "-seed" && i + 1 < count)
            generator.seed(static_cast<unsigned>(std::stoul(arguments[++i])));
        else
            for (const auto& entry : std::filesystem::directory_iterator(argument)) {
                if (!entry.is_regular_file()) continue;
                std::ifstream file(entry.path(), std::ios::binary);
                seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
            }
    }
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&count, &arguments);
    for (const Bytes& seed : seeds) call(seed);
    const std::string last = std::filesystem::path(arguments[0]).filename().string() + ".last";
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    long calls = 0;
    for (; LLVMFuzzerCustomMutator && !seeds.empty() && elapsed() < seconds; ++calls)
        callChanged(seeds[below(seeds.size())], last.c_str());
    if (calls > 0) std::printf("%ld changed scenes, %.1f in a second\n", calls, static_cast<double>(calls) / elapsed());
    std::filesystem::remove(last);
    return seeds.empty() ? 1 : 0;
}
