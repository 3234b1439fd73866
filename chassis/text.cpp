#include "text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>

namespace chassis {

namespace {

// Letters to insert, remove or change (Levenshtein).
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t changed = diagonal + (from[i] == to[j] ? 0U : 1U);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, changed});
        }
    }
    return row.back();
}

} // namespace

std::string hex_text(std::uint32_t number, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%0*X", digits, number);
    return text.data();
}

std::string address_text(std::uint32_t address) {
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 0xFF) + "." +
           std::to_string(address >> 8 & 0xFF) + "." + std::to_string(address & 0xFF);
}

// A stream would take a failed allocation for the end of the text; so in lines_of().
std::vector<std::string> words_of(std::string_view text) {
    constexpr std::string_view kSpace = " \t\n\v\f\r";
    std::vector<std::string> words;
    for (std::size_t start = text.find_first_not_of(kSpace); start != std::string_view::npos;) {
        const std::size_t end = std::min(text.find_first_of(kSpace, start), text.size());
        words.emplace_back(text.substr(start, end - start));
        start = text.find_first_not_of(kSpace, end);
    }
    return words;
}

std::vector<std::string> lines_of(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::string joined(const std::vector<std::string> &words, const char *separator) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

std::string shell_word(const std::string &word) {
    constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./-+:,@%=";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) {
        return word;
    }
    std::string text = "'";
    for (const char letter : word) {
        text += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return text + "'";
}

std::string nearest(std::string_view wrong, const std::vector<std::string> &names) {
    std::string best;
    std::size_t least = std::max<std::size_t>(2, wrong.size() / 2) + 1;
    for (const std::string &name : names) {
        const std::size_t here = distance(wrong, name);
        if (here < least) {
            least = here;
            best = name;
        }
    }
    return best;
}

} // namespace chassis
