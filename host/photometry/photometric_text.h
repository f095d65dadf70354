// The text of a photometric file: its lines, and the numbers in them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// What is wrong with a photometric file. Line 0 means the file as a whole.
struct PhotometricError {
    int line = 0;
    std::string text;
};

class PhotometricText {
public:
    explicit PhotometricText(std::string_view text) : rest_(text) {}

    /// The next line without its end and the blanks around it. False behind the last one.
    bool nextLine(std::string_view& line);
    /// The same; the end of the file is an error.
    std::string_view line(std::string_view expected);
    void skipLines(int count, std::string_view expected);

    /// The next number, on whichever line; numbers are separated by blanks or commas.
    double number(std::string_view expected);
    double number(std::string_view expected, double low, double high);
    int count(std::string_view expected, int low, int high);
    /// The number at the beginning of the next line, in which a comma is a decimal point.
    double lineNumber(std::string_view expected, double low, double high);
    int lineCount(std::string_view expected, int low, int high);

    /// `count` ascending angles, read by `next(expected, low, high)`.
    template <class Next>
    std::vector<double> angles(int count, std::string_view expected, double low, double high, const Next& next) {
        std::vector<double> result;
        for (int i = 0; i < count; ++i) {
            result.push_back(next(expected, low, high));
            if (i > 0 && !(result[result.size() - 1] > result[result.size() - 2])) failAscending(result);
        }
        return result;
    }

    [[noreturn]] void fail(std::string_view found, std::string_view expected) const;

private:
    [[noreturn]] void failAscending(const std::vector<double>& angles) const;
    double checked(double value, std::string_view expected, double low, double high) const;
    int whole(double value, std::string_view expected) const;

    std::string_view rest_;
    std::string_view current_;  ///< what is left of the line that numbers are read from
    int line_ = 0;
};

}  // namespace lumorender
