// The last line of a run: what was written, where, and how it went.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace lumorender {

/// Takes the time from its making on.
class ClosingLine {
public:
    void print() const;

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// "/a/b/c.exr, c.png": whole paths, without a folder that was the last one's; only the first of many.
std::string listOfFiles(const std::vector<std::string>& files);

/// "1:02:03" or "2:03".
std::string wholeDurationText(double seconds);

/// "1:02:03" or "2:03" from a minute on, else "2.03 s".
std::string durationText(double seconds);

}  // namespace lumorender
