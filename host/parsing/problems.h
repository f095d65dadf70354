// What is wrong with a scene: collected, counted and told with file and line.
#pragma once

#include "parsing/source.h"

#include <map>
#include <set>
#include <stdexcept>
#include <string>

namespace lumorender {

/// Thrown where a statement cannot be understood any further. The element is given up, reading goes on behind it.
struct SyntaxError {
    Place place;
    std::string text;
};

/// Thrown where reading the file makes no sense any more.
struct StopReading {};

class Problems {
public:
    /// Reports an error. Throws StopReading when there were too many.
    /// Of a file that may be no scene nothing is shown: there the first error ends reading without its text.
    void error(const Place& place, const std::string& text);
    /// Reports an error that ends reading.
    [[noreturn]] void stop(const Place& place, const std::string& text);
    void warning(const Place& place, const std::string& text);
    /// Something the host cannot do (yet) or does not know. The first of its kind is told with its place, more of the
    /// same kind are counted.
    void unsupported(const Place& place, const std::string& kind);
    /// The same where something will be missing from the picture: an error message that does not keep the rest from being
    /// rendered.
    void leftOut(const Place& place, const std::string& kind);
    /// An error message that does not keep the scene from being rendered.
    void versionMismatch(const Place& place, const std::string& text);
    /// Tells, once for each, of a statement that the list of the language knows to have no effect. `next` is what
    /// follows the word, such as a value.
    void tell(const Place& place, std::string_view element, std::string_view word, std::string_view next = {});

    /// Information for those who ask for it, once.
    void note(const Place& place, const std::string& text);

    /// Errors do not end the reading, however many there are.
    bool lenient = false;

    int errors() const { return errors_; }
    /// Tells how often things came that were told of once only.
    void summarize();

private:
    static constexpr int kMostErrors = 20;

    int errors_ = 0;
    std::map<std::string, long> unsupported_;
    std::set<std::string> noted_;
};

}  // namespace lumorender
