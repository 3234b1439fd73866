// Who may ask the web server for what. A browser lets any page on the net send requests to this machine, so names
// other than the server's own are refused, and what changes something needs the token from the printed address.
#ifndef CHASSIS_WEB_GUARD_H
#define CHASSIS_WEB_GUARD_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace chassis {

struct WebAddress {
    std::string host = "127.0.0.1"; // without brackets
    std::uint16_t port = 0;         // 0: the kernel chooses

    bool operator==(const WebAddress &) const = default;
};

// "127.0.0.1:8080", "[::1]:0", "name:80", or nothing when it is none of these.
std::optional<WebAddress> web_address(std::string_view text);
// The same as text, with brackets where they are needed.
std::string web_address_text(const WebAddress &address);

// What a request says of itself; headers that came twice are there twice.
struct RequestFacts {
    std::string method;
    std::vector<std::string> hosts;
    std::vector<std::string> origins;
    std::vector<std::string> tokens;
    std::string content_type;
};

struct Refusal {
    int status = 0;
    const char *text = "";
};

class Guard {
public:
    // `address` with the port that is served; `machine`: the machine's own name.
    Guard(WebAddress address, std::string machine, std::string token);

    // Nothing when the request may be served.
    std::optional<Refusal> refusal(const RequestFacts &request) const;

private:
    bool is_own(std::string_view host) const;

    WebAddress address_;
    std::string machine_;
    std::string token_;
};

// 128 random bits, as text.
std::string make_token();

} // namespace chassis

#endif
