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
    std::cout << hex_number(code.number, 8) << "  ";
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
        std::cout << "  " << row->name << " (" << row->header << ')';
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

} // namespace

std::vector<std::uint32_t> every_code() {
    std::vector<std::uint32_t> codes;
    for (const CodeName &row : code_names()) {
        codes.push_back(row.code);
    }
    std::ranges::sort(codes);
    const auto repeated = std::ranges::unique(codes);
    codes.erase(repeated.begin(), repeated.end());
    return codes;
}

int inspect_codes(const std::vector<std::uint32_t> &codes, bool json) {
    Document document("code", json);
    int status = kDone;
    for (const std::uint32_t number : codes) {
        const Code code = take_apart(number);
        const bool known = !code.names.empty();
        status = known ? status : kRejected;
        if (json) {
            document.add(known ? json_of(code) : Json());
        } else {
            print(code);
        }
    }
    document.end();
    return status;
}

} // namespace inspect
