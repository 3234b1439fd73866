// The web server of the chassis: whatever a connection sends, it gets one answer at most, of bounded length, and a
// command is carried out only with the token and in the server's own name. Input: whether the headers of a sound
// request are put behind the first line, then the bytes.
#include "fuzz_input.h"
#include "web/http_server.h"
#include "web/model_json.h"

#include <cctype>
#include <string_view>

namespace {

using namespace chassis;

constexpr const char *kToken = "0123456789abcdef0123456789abcdef";
constexpr const char *kHeaders = "\r\nHost: 127.0.0.1:8080\r\nContent-Type: application/json\r\n"
                                 "X-Orva-Token: 0123456789abcdef0123456789abcdef";
constexpr std::size_t kMostAnswerBytes = 300000;

bool is_answer(const std::string &answer) {
    const std::string_view line = std::string_view(answer).substr(0, 13);
    return line.substr(0, 9) == "HTTP/1.1 " && std::isdigit(static_cast<unsigned char>(line[9])) != 0 &&
           std::isdigit(static_cast<unsigned char>(line[10])) != 0 && line[12] == ' ';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const bool sound = (front.byte() & 1) != 0;
    std::string bytes = front.rest();
    if (sound) {
        bytes.insert(std::min(bytes.find("\r\n"), bytes.size()), kHeaders);
    }
    unsigned commands = 0;
    const Site site = {[](std::uint64_t &) { return std::string("{}"); },
                       [](std::int32_t slot) {
                           REQUIRE(slot >= 0 && slot <= 99);
                           return std::optional<std::string>("{}");
                       },
                       [](const ServerCounts &counts) {
                           REQUIRE(counts.requests == 1 && counts.refused == 0);
                           return std::string("\n");
                       },
                       [&](const std::string &body) {
                           ++commands;
                           const auto words = command_words(body);
                           return CommandReply{words ? 200 : 400, reply_json(words ? 0 : 2, body)};
                       },
                       [] {}};
    const std::string answer = serve_bytes(bytes, Guard({"127.0.0.1", 8080}, "bench3", kToken), site);
    REQUIRE(answer.size() <= kMostAnswerBytes);
    REQUIRE(answer.empty() || is_answer(answer));
    REQUIRE(commands <= 1 && (commands == 0 || bytes.find(kToken) != std::string::npos));
    return 0;
}
