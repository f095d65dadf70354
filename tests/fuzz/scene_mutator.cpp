// Changes scenes so that most of them still are scenes: numbers, words and whole statements are exchanged, doubled and
// left out. What libFuzzer does by itself, byte by byte, comes in between.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

using Tokens = std::vector<std::string>;

/// Quoted texts, words and numbers, single characters, and the blanks between them.
Tokens tokensOf(std::string_view text) {
    const auto isWord = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.' || c == '-' || c == '+';
    };
    Tokens tokens;
    while (!text.empty()) {
        std::size_t length = 1;
        if (text[0] == '"')
            length = std::min(text.find('"', 1), text.size() - 1) + 1;
        else if (isWord(text[0]))
            while (length < text.size() && isWord(text[length])) ++length;
        tokens.emplace_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return tokens;
}

bool isNumber(const std::string& token) {
    return token.find_first_of("0123456789") < 2 && token.find_first_not_of("0123456789.-+eE") == std::string::npos;
}

constexpr std::array<const char*, 24> kNumbers = {
    "0",     "1",      "-1",         "2",           "3",          "7",     "16",    "255",
    "65535", "100000", "-100000",    ".5",          "1e-3",       "1e-12", "1e-38", "1e8",
    "1e19",  "3e38",   "2147483647", "-2147483648", "4294967295", "-0.0",  "1e30",  "-.5"};

class Mutation {
public:
    Mutation(Tokens& tokens, unsigned seed) : tokens_(tokens), random_(seed) {}

    void run() {
        for (std::size_t times = 1 + below(4); times > 0 && !tokens_.empty(); --times) change();
    }

private:
    Tokens& tokens_;
    std::minstd_rand random_;

    std::size_t below(std::size_t end) { return end > 0 ? random_() % end : 0; }

    /// The place of a token of the kind, some way behind a random place; the end where there is none.
    template <class Predicate>
    std::size_t find(const Predicate& wanted) {
        const auto from = tokens_.begin() + static_cast<std::ptrdiff_t>(below(tokens_.size()));
        return static_cast<std::size_t>(std::find_if(from, tokens_.end(), wanted) - tokens_.begin());
    }

    void change() {
        switch (below(6)) {
            case 0:
            case 1:
            case 2: return changeNumber();
            case 3: return exchangeTexts();
            case 4: return moveRange(true);
            default: return moveRange(false);
        }
    }

    void changeNumber() {
        const std::size_t at = find(isNumber);
        if (at < tokens_.size()) tokens_[at] = kNumbers[below(kNumbers.size())];
    }

    /// One name or word in the place of another.
    void exchangeTexts() {
        const auto isText = [](const std::string& t) {
            return t[0] == '"' || std::isalpha(static_cast<unsigned char>(t[0]));
        };
        const std::size_t a = find(isText), b = find(isText);
        if (a < tokens_.size() && b < tokens_.size()) tokens_[a] = std::string(tokens_[b]);
    }

    /// Some tokens are repeated at another place, or left out.
    void moveRange(bool repeats) {
        constexpr std::size_t kMost = 40;
        const std::size_t first = below(tokens_.size());
        const std::size_t count = std::min(1 + below(kMost), tokens_.size() - first);
        const auto begin = tokens_.begin() + static_cast<std::ptrdiff_t>(first);
        if (!repeats) {
            tokens_.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
            return;
        }
        const Tokens copy(begin, begin + static_cast<std::ptrdiff_t>(count));
        tokens_.insert(tokens_.begin() + static_cast<std::ptrdiff_t>(below(tokens_.size())), copy.begin(), copy.end());
    }
};

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
    if (seed % 8 == 0) return LLVMFuzzerMutate(data, size, maxSize);
    Tokens tokens = tokensOf({reinterpret_cast<const char*>(data), size});
    Mutation(tokens, seed).run();
    std::string text;
    for (const std::string& token : tokens) text += token;
    text.resize(std::min(text.size(), maxSize));
    std::copy(text.begin(), text.end(), data);
    return text.size();
}
