// Result codes: site, reason, and the names that the public headers give them.
#include "code_table.h"
#include "commands.h"
#include "text.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

struct Code {
    std::uint32_t number;
    std::uint32_t site;
    std::uint32_t reason;
    const ReasonName *reason_name;       // null without a site: 0, 1 and numbers of the system have none
    std::vector<const CodeName *> names; // several areas may use one number
};

Code take_apart(std::uint32_t number) {
    Code code{number, number >> 16, number & 0xFFFF, nullptr, {}};
    code.reason_name = code.site != 0 ? find_reason(code.reason) : nullptr;
    for (const CodeName &row : code_names()) {
        if (row.code == number) {
            code.names.push_back(&row);
        }
    }
    return code;
}

// A stream would take a failed allocation for the end of the text.
std::vector<std::string> words_of(std::string_view text) {
    std::vector<std::string> words;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        if (end > 0) {
            words.emplace_back(text.substr(0, end));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

Json json_of(const Code &code) {
    Json json = {{"code", code.number},   {"hex", hex_number(code.number, 8)},
                 {"site", code.site},     {"reason", code.reason},
                 {"reasonName", nullptr}, {"reasonText", nullptr},
                 {"names", Json::array()}};
    if (code.reason_name != nullptr) {
        json["reasonName"] = code.reason_name->name;
        json["reasonText"] = code.reason_name->text;
    }
    for (const CodeName *row : code.names) {
        json["names"].push_back(
            {{"name", row->name}, {"header", row->header}, {"functions", words_of(row->functions)}});
    }
    return json;
}

void print(const Code &code) {
    std::cout << paint(Paint::kValue, hex_number(code.number, 8)) << "  ";
    if (code.site == 0) {
        std::cout << "no site";
    } else {
        std::cout << "site " << hex_number(code.site, 2) << ", reason " << hex_number(code.reason, 2) << ' '
                  << (code.reason_name != nullptr ? code.reason_name->name : "(unknown)");
        if (code.reason_name != nullptr) {
            std::cout << ": " << code.reason_name->text;
        }
    }
    std::cout << '\n';
    for (const CodeName *row : code.names) {
        std::cout << "  " << paint(Paint::kName, row->name) << " (" << row->header << ')';
        const char *before = ", returned by ";
        for (const std::string &function : words_of(row->functions)) {
            std::cout << before << function;
            before = ", ";
        }
        std::cout << '\n';
    }
    if (code.names.empty()) {
        std::cout << "  no name of the library\n";
    }
}

std::vector<std::uint32_t> every_code() {
    std::vector<std::uint32_t> codes;
    for (const CodeName &row : code_names()) {
        codes.push_back(row.code);
    }
    return codes;
}

void sort_once(std::vector<std::uint32_t> &codes) {
    std::ranges::sort(codes);
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
}

// The codes of a name, or those that a function of this name returns; letters' case does not matter.
std::vector<std::uint32_t> codes_of(const std::string &name) {
    const auto is_it = [&name](const std::string &other) { return strcasecmp(name.c_str(), other.c_str()) == 0; };
    std::vector<std::uint32_t> codes;
    for (const CodeName &row : code_names()) {
        if (is_it(row.name) || std::ranges::any_of(words_of(row.functions), is_it)) {
            codes.push_back(row.code);
        }
    }
    sort_once(codes);
    return codes;
}

std::string unknown_name(const std::string &word) {
    std::vector<std::string> names;
    for (const CodeName &row : code_names()) {
        names.emplace_back(row.name);
    }
    const bool is_hex = std::ranges::all_of(word, [](char character) { return digit_value(character) >= 0; });
    return "no code and no function that returns one is called \"" + printable(word) + '"' +
           (is_hex ? "; hexadecimal numbers begin with 0x" : did_you_mean(word, names));
}

// Codes one after the other, as text or in a document.
class Codes {
public:
    explicit Codes(bool json) : document_("code", json) {}

    void look_up(const std::string &word) {
        if (const auto number = number_of(word)) {
            show(*number);
            return;
        }
        const std::vector<std::uint32_t> codes = codes_of(word);
        for (const std::uint32_t number : codes) {
            show(number);
        }
        if (codes.empty()) {
            document_.add(nullptr);
            status_ = fail(unknown_name(word));
        }
    }

    void show(std::uint32_t number) {
        const Code code = take_apart(number);
        const bool known = !code.names.empty();
        status_ = known ? status_ : kRejected;
        if (document_.is_written()) {
            document_.add(known ? json_of(code) : Json());
        } else {
            print(code);
        }
    }

    int end() {
        document_.end();
        return status_;
    }

private:
    Document document_;
    int status_ = kDone;
};

} // namespace

std::vector<std::string> code_words() {
    std::vector<std::string> words;
    for (const CodeName &row : code_names()) {
        words.emplace_back(row.name);
    }
    return words;
}

int inspect_codes(const std::vector<std::string> &words, bool json) {
    Codes codes(json);
    for (const std::string &word : words) {
        codes.look_up(word);
    }
    std::vector<std::uint32_t> every = words.empty() ? every_code() : std::vector<std::uint32_t>();
    sort_once(every);
    for (const std::uint32_t number : every) {
        codes.show(number);
    }
    return codes.end();
}

} // namespace inspect
