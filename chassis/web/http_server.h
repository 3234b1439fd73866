// The web server: connections, limits, headers, and which path gives what. Knows nothing of a chassis.
#ifndef CHASSIS_WEB_HTTP_SERVER_H
#define CHASSIS_WEB_HTTP_SERVER_H

#include "web/feed.h"
#include "web/guard.h"
#include "web/metrics.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace chassis {

struct CommandReply {
    int http_status = 200;
    std::string json;
};

// What is served. Every function is called on threads of the server, several at a time.
struct Site {
    // A new reader of the feed: what it begins with; `seen` gets the number of the feed's message before.
    std::function<std::string(std::uint64_t &seen)> snapshot;
    std::function<std::optional<std::string>(std::int32_t slot)> history;
    std::function<std::string(const ServerCounts &)> metrics;
    std::function<CommandReply(const std::string &body)> command;
    std::function<void()> enter; // called first on the thread that all others come from
};

class HttpServer {
public:
    // Serves at once. Throws std::runtime_error when the address cannot be used. `site` and `feed` outlive it; the
    // feed is closed before the server's end.
    HttpServer(const WebAddress &address, const std::string &token, const Site &site, Feed &feed);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    // With the port that is served.
    const WebAddress &address() const;
    ServerCounts counts() const;
    // A page is open, or the metrics were asked for within the last minute.
    bool watched() const;

    class Service;

private:
    std::unique_ptr<Service> service_;
};

// Serves one connection of bytes, whole and without a network: for tests of the handling. Returns what is answered.
std::string serve_bytes(std::string_view request, const Guard &guard, const Site &site);

} // namespace chassis

#endif
