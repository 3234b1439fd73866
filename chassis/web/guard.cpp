#include "web/guard.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <random>
#include <utility>

namespace chassis {

namespace {

constexpr std::size_t kLongestName = 253;

bool is_ipv4(const std::string &host) {
    in_addr address{};
    return inet_pton(AF_INET, host.c_str(), &address) == 1;
}

bool is_ipv6(const std::string &host) {
    in6_addr address{};
    return inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

bool is_name(const std::string &host) {
    return !host.empty() && host.size() <= kLongestName && std::ranges::all_of(host, [](char each) {
        return std::isalnum(static_cast<unsigned char>(each)) != 0 || each == '-' || each == '.';
    });
}

bool is_wildcard(const std::string &host) {
    return host == "0.0.0.0" || host == "::";
}

bool is_loopback(const std::string &host) {
    return host == "localhost" || host == "::1" || (is_ipv4(host) && host.rfind("127.", 0) == 0);
}

std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(), [](char each) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
    });
    return text;
}

std::optional<std::uint16_t> port_number(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool whole = error == std::errc() && end == text.data() + text.size() && !text.empty();
    return whole ? std::optional(port) : std::nullopt;
}

// Takes as long for every text of the same length.
bool same_secret(const std::string &given, const std::string &secret) {
    unsigned difference = given.size() == secret.size() ? 0 : 1;
    for (std::size_t i = 0; i < std::min(given.size(), secret.size()); ++i) {
        difference |=
            static_cast<unsigned>(static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(secret[i]));
    }
    return difference == 0;
}

} // namespace

std::optional<WebAddress> web_address(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    const auto port = port_number(text.substr(colon + 1));
    std::string host = lower(std::string(text.substr(0, colon)));
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (bracketed) {
        host = host.substr(1, host.size() - 2);
    }
    const bool sound = bracketed ? is_ipv6(host) : is_name(host);
    return port && sound ? std::optional(WebAddress{host, *port}) : std::nullopt;
}

std::string web_address_text(const WebAddress &address) {
    const bool brackets = address.host.find(':') != std::string::npos;
    return (brackets ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

Guard::Guard(WebAddress address, std::string machine, std::string token)
    : address_(std::move(address)), machine_(lower(std::move(machine))), token_(std::move(token)) {}

// An address is always the server's own, since whoever got here by it has not been led astray by a name.
bool Guard::is_own(std::string_view host) const {
    constexpr std::uint16_t kDefaultPort = 80;
    auto named = web_address(host);
    if (!named) {
        named = web_address(std::string(host) + ":" + std::to_string(kDefaultPort));
    }
    if (!named || named->port != address_.port) {
        return false;
    }
    if (named->host == address_.host) {
        return true;
    }
    if (is_wildcard(address_.host)) {
        return named->host == "localhost" || named->host == machine_ || is_ipv4(named->host) || is_ipv6(named->host);
    }
    return is_loopback(address_.host) && is_loopback(named->host);
}

std::optional<Refusal> Guard::refusal(const RequestFacts &request) const {
    constexpr std::string_view kScheme = "http://";
    if (request.hosts.size() != 1) {
        return Refusal{400, "exactly one Host header is needed"};
    }
    if (!is_own(request.hosts.front())) {
        return Refusal{421, "this host is not served here"};
    }
    for (const std::string &origin : request.origins) {
        if (origin.rfind(kScheme, 0) != 0 || !is_own(std::string_view(origin).substr(kScheme.size()))) {
            return Refusal{403, "pages of other origins are refused"};
        }
    }
    if (request.method == "GET" || request.method == "HEAD") {
        return std::nullopt;
    }
    if (request.method != "POST") {
        return Refusal{405, "GET, HEAD and POST are served"};
    }
    if (request.tokens.size() != 1 || !same_secret(request.tokens.front(), token_)) {
        return Refusal{403, "the token from the printed address is needed"};
    }
    if (request.content_type != "application/json") {
        return Refusal{415, "a command is application/json"};
    }
    return std::nullopt;
}

std::string make_token() {
    constexpr std::array kDigits = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    constexpr std::size_t kLength = 32;
    std::random_device source;
    std::uniform_int_distribution<std::size_t> digit(0, kDigits.size() - 1);
    std::string token;
    while (token.size() < kLength) {
        token += kDigits[digit(source)];
    }
    return token;
}

} // namespace chassis
