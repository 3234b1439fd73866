#include "web/http_server.h"

#include "web/assets.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <httplib.h>
#include <list>
#include <mutex>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace chassis {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Instant = std::chrono::steady_clock::time_point;

constexpr std::size_t kMostConnections = 256;
constexpr std::size_t kMostPages = 224;          // of these, so that there is room for a command
constexpr std::size_t kMostRequestBytes = 32768; // line, headers and body
constexpr std::size_t kMostBodyBytes = 4096;
constexpr int kSendBuffer = 128 * 1024; // what the kernel keeps for a client that does not read
constexpr seconds kRequestPatience{10}; // for a whole request
constexpr seconds kWritePatience{10};   // for one message
constexpr seconds kIdle{5};             // then a page gets a sign of life
constexpr milliseconds kFarewell{500};
constexpr seconds kWatchedFor{60}; // after the last scrape

constexpr const char *kPolicy = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
                                "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

struct Path {
    const char *path;
    const char *asset;
};

constexpr std::array kPaths = {
    Path{"/", "index.html"},         Path{"/style.css", "style.css"}, Path{"/page.js", "page.js"},
    Path{"/curves.js", "curves.js"}, Path{"/chart.js", "chart.js"},   Path{"/icon.svg", "icon.svg"},
};

Instant now() {
    return std::chrono::steady_clock::now();
}

// Waits until the socket is ready for `events`; false when the time is over or the other side has gone.
bool wait_for(int fd, short events, Instant deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - now()).count();
        pollfd source = {fd, events, 0};
        const int ready = left > 0 ? poll(&source, 1, static_cast<int>(left)) : 0;
        if (ready >= 0 || errno != EINTR) {
            return ready > 0 && (source.revents & events) != 0;
        }
    }
}

// The bytes of a connection. A request has to be whole within its time and its length; a message that cannot be
// written within its time ends the connection.
class SocketStream : public httplib::Stream {
public:
    explicit SocketStream(int fd) : fd_(fd), deadline_(now() + kRequestPatience) {}

    using httplib::Stream::write;

    bool is_readable() const override {
        return position_ < end_ || wait_for(fd_, POLLIN, deadline_);
    }
    bool is_writable() const override {
        pollfd source = {fd_, POLLRDHUP, 0};
        return !timed_out_ && poll(&source, 1, 0) == 0;
    }
    ssize_t read(char *bytes, std::size_t size) override {
        if (position_ == end_ && !fill()) {
            return -1;
        }
        const std::size_t count = std::min(size, end_ - position_);
        std::copy_n(buffer_.data() + position_, count, bytes);
        position_ += count;
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char *bytes, std::size_t size) override {
        const Instant deadline = now() + kWritePatience;
        std::size_t sent = 0;
        while (sent < size) {
            const ssize_t count = send(fd_, bytes + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count > 0) {
                sent += static_cast<std::size_t>(count);
            } else if ((errno != EAGAIN && errno != EINTR) || !wait_for(fd_, POLLOUT, deadline)) {
                timed_out_ = now() >= deadline;
                return -1;
            }
        }
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string &, int &) const override {}
    void get_local_ip_and_port(std::string &, int &) const override {}
    socket_t socket() const override {
        return fd_;
    }
    // The other side did not read.
    bool timed_out() const {
        return timed_out_;
    }

private:
    bool fill() {
        if (taken_ >= kMostRequestBytes || !wait_for(fd_, POLLIN, deadline_)) {
            return false;
        }
        const ssize_t count = recv(fd_, buffer_.data(), std::min(buffer_.size(), kMostRequestBytes - taken_), 0);
        position_ = 0;
        end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
        taken_ += end_;
        return end_ > 0;
    }

    int fd_;
    Instant deadline_;
    std::array<char, 4096> buffer_{};
    std::size_t position_ = 0;
    std::size_t end_ = 0;
    std::size_t taken_ = 0;
    bool timed_out_ = false;
};

// The same without a network.
class MemoryStream : public httplib::Stream {
public:
    explicit MemoryStream(std::string_view input) : input_(input) {}

    using httplib::Stream::write;

    bool is_readable() const override {
        return !input_.empty();
    }
    bool is_writable() const override {
        return true;
    }
    ssize_t read(char *bytes, std::size_t size) override {
        const std::size_t count = std::min(size, input_.size());
        std::copy_n(input_.data(), count, bytes);
        input_.remove_prefix(count);
        return count > 0 ? static_cast<ssize_t>(count) : -1;
    }
    ssize_t write(const char *bytes, std::size_t size) override {
        output_.append(bytes, size);
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string &, int &) const override {}
    void get_local_ip_and_port(std::string &, int &) const override {}
    socket_t socket() const override {
        return -1;
    }
    const std::string &output() const {
        return output_;
    }

private:
    std::string_view input_;
    std::string output_;
};

// Set while the thread that accepts serves a connection itself, since there are too many.
thread_local bool t_refuse = false;

// A thread for each connection, up to a limit.
class ConnectionThreads : public httplib::TaskQueue {
public:
    void enqueue(std::function<void()> serve) override {
        std::erase_if(threads_, [](Worker &worker) {
            const bool done = worker.done;
            if (done) {
                worker.thread.join();
            }
            return done;
        });
        if (threads_.size() < kMostConnections && start(serve)) {
            return;
        }
        t_refuse = true;
        serve();
        t_refuse = false;
    }
    void shutdown() override {
        for (Worker &worker : threads_) {
            worker.thread.join();
        }
        threads_.clear();
    }

private:
    struct Worker {
        std::thread thread;
        std::atomic<bool> done{false};
    };

    bool start(const std::function<void()> &serve) {
        Worker &worker = threads_.emplace_back();
        try {
            worker.thread = std::thread([&worker, serve] {
                serve();
                worker.done = true;
            });
            return true;
        } catch (const std::system_error &) { // the machine has no more threads
            threads_.pop_back();
            return false;
        }
    }

    std::list<Worker> threads_;
};

std::vector<std::string> headers_of(const httplib::Request &request, const char *name) {
    std::vector<std::string> values;
    for (std::size_t i = 0; i < request.get_header_value_count(name); ++i) {
        values.push_back(request.get_header_value(name, i));
    }
    return values;
}

void answer(httplib::Response &response, int status, const std::string &text, const std::string &type) {
    response.status = status;
    response.set_content(text, type);
}

void refuse(httplib::Response &response, const Refusal &refusal) {
    answer(response, refusal.status, std::string(refusal.text) + "\n", "text/plain; charset=utf-8");
    if (refusal.status == 405) {
        response.set_header("Allow", "GET, HEAD, POST");
    }
}

// A slot of a board: 0 to 30.
std::optional<std::int32_t> slot_of(const std::string &text) {
    const bool digits =
        !text.empty() && text.size() <= 2 && text.find_first_not_of("0123456789") == std::string::npos;
    return digits ? std::optional(std::stoi(text)) : std::nullopt;
}

std::string event_text(const char *name, const std::string &json) {
    return std::string("event: ") + name + "\ndata: " + json + "\n\n";
}

constexpr Refusal kNotFound = {404, "there is no such page"};
constexpr Refusal kTooMany = {503, "too many clients"};

} // namespace

// The handling of one request, and the connections around it.
class HttpServer::Service : public httplib::Server {
public:
    Service(const Site &site, Feed &feed, std::optional<Guard> guard = std::nullopt)
        : site_(site), feed_(feed), guard_(std::move(guard)) {
        new_task_queue = [] { return new ConnectionThreads; };
        set_payload_max_length(kMostBodyBytes);
        set_default_headers({{"Content-Security-Policy", kPolicy},
                             {"X-Content-Type-Options", "nosniff"},
                             {"X-Frame-Options", "DENY"},
                             {"Referrer-Policy", "no-referrer"},
                             {"Cross-Origin-Resource-Policy", "same-origin"},
                             {"Cross-Origin-Opener-Policy", "same-origin"},
                             {"Cache-Control", "no-store"}});
        set_pre_routing_handler([this](const auto &request, auto &response) { return route(request, response); });
        Post("/command", [this](const auto &request, auto &response) { command(request, response); });
        set_exception_handler([](const auto &, auto &response, const std::exception_ptr &) {
            refuse(response, {500, "the server has failed"});
        });
    }

    void serve(const WebAddress &wanted, const std::string &token) {
        address_ = wanted;
        const int port = bind(wanted);
        // The library's own list of waiting connections is short.
        if (port <= 0 || ::listen(svr_sock_, SOMAXCONN) != 0) {
            throw std::runtime_error("--web: " + web_address_text(wanted) + " cannot be served");
        }
        fcntl(svr_sock_, F_SETFD, FD_CLOEXEC);
        address_.port = static_cast<std::uint16_t>(port);
        std::array<char, 256> machine{};
        gethostname(machine.data(), machine.size() - 1);
        guard_.emplace(address_, machine.data(), token);
        acceptor_ = std::thread([this] {
            site_.enter(); // the connections' threads come from this one
            listen_after_bind();
            accepted_ = true;
        });
    }

    void end() {
        while (!is_running() && !accepted_) {
            std::this_thread::sleep_for(milliseconds(1));
        }
        // Pages are told the end and go by themselves; who does not is sent away.
        for (milliseconds waited{0}; waited < kFarewell && pages_ > 0; waited += milliseconds(10)) {
            std::this_thread::sleep_for(milliseconds(10));
        }
        stop();
        {
            const std::scoped_lock lock(mutex_);
            ending_ = true;
            for (const int fd : open_) {
                ::shutdown(fd, SHUT_RDWR);
            }
        }
        acceptor_.join();
    }

    std::string serve_bytes(std::string_view bytes) {
        MemoryStream stream(bytes);
        svr_sock_ = 0; // without a socket it would be ending
        serve_request(stream);
        svr_sock_ = INVALID_SOCKET;
        return stream.output();
    }

    const WebAddress &address() const {
        return address_;
    }
    ServerCounts counts() const {
        return {pages_, requests_, refused_, dropped_};
    }
    bool watched() const {
        return pages_ > 0 || now().time_since_epoch() < Instant::duration(scraped_) + kWatchedFor;
    }

private:
    int bind(const WebAddress &wanted) {
        if (wanted.port == 0) {
            return bind_to_any_port(wanted.host);
        }
        return bind_to_port(wanted.host, wanted.port) ? wanted.port : -1;
    }

    bool process_and_close_socket(socket_t fd) override {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
        bool served = false;
        if (t_refuse) {
            constexpr std::string_view kAnswer = "HTTP/1.1 503 Service Unavailable\r\nRetry-After: 5\r\n"
                                                 "Content-Length: 0\r\nConnection: close\r\n\r\n";
            ++refused_;
            (void)!send(fd, kAnswer.data(), kAnswer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        } else if (add_open(fd)) {
            served = serve_connection(fd);
            remove_open(fd);
        }
        ::shutdown(fd, SHUT_RDWR);
        close(fd);
        return served;
    }

    bool serve_connection(int fd) {
        SocketStream stream(fd);
        bool served = false;
        try {
            served = serve_request(stream);
        } catch (const std::exception &) {
            // a request that cannot be handled ends its connection
        }
        dropped_ += stream.timed_out() ? 1U : 0U;
        return served;
    }

    // One request a connection: nothing that a refused request left unread can become another one.
    bool serve_request(httplib::Stream &stream) {
        bool closed = false;
        return process_request(stream, true, closed, [](httplib::Request &request) {
            // Ranges and compression multiply the work that a request makes.
            request.ranges.clear();
            request.headers.erase("Range");
            request.headers.erase("Accept-Encoding");
            request.headers.erase("Content-Encoding");
        });
    }

    bool add_open(int fd) {
        const std::scoped_lock lock(mutex_);
        if (!ending_) {
            open_.insert(fd);
        }
        return !ending_;
    }
    void remove_open(int fd) {
        const std::scoped_lock lock(mutex_);
        open_.erase(fd);
    }

    HandlerResponse route(const httplib::Request &request, httplib::Response &response) {
        ++requests_;
        const RequestFacts facts = {request.method, headers_of(request, "Host"), headers_of(request, "Origin"),
                                    headers_of(request, "X-Orva-Token"), request.get_header_value("Content-Type")};
        if (const auto refusal = guard_->refusal(facts)) {
            ++refused_;
            refuse(response, *refusal);
            return HandlerResponse::Handled;
        }
        if (request.method == "POST") {
            return HandlerResponse::Unhandled;
        }
        get(request, response);
        return HandlerResponse::Handled;
    }

    void get(const httplib::Request &request, httplib::Response &response) {
        const auto found = std::ranges::find_if(kPaths, [&](const Path &row) { return request.path == row.path; });
        if (found != kPaths.end()) {
            const Asset &page = asset(found->asset);
            response.status = 200;
            response.set_content(page.text.data(), page.text.size(), page.type);
        } else if (request.path == "/live") {
            live(request, response);
        } else if (request.path == "/history") {
            const auto slot = slot_of(request.get_param_value("slot"));
            const auto json = slot ? site_.history(*slot) : std::nullopt;
            json ? answer(response, 200, *json, "application/json") : refuse(response, kNotFound);
        } else if (request.path == "/metrics") {
            scraped_ = now().time_since_epoch().count();
            answer(response, 200, site_.metrics(counts()), "text/plain; version=0.0.4; charset=utf-8");
        } else {
            refuse(response, kNotFound);
        }
    }

    void command(const httplib::Request &request, httplib::Response &response) {
        const CommandReply reply = site_.command(request.body);
        answer(response, reply.http_status, reply.json, "application/json");
    }

    // A page: the state, then what changes, for as long as it reads.
    void live(const httplib::Request &request, httplib::Response &response) {
        constexpr const char *kType = "text/event-stream";
        if (request.method == "HEAD") {
            answer(response, 200, "", kType);
            return;
        }
        if (++pages_ > kMostPages) {
            --pages_;
            ++refused_;
            refuse(response, kTooMany);
            return;
        }
        response.status = 200;
        auto seen = std::make_shared<std::optional<std::uint64_t>>();
        response.set_chunked_content_provider(
            kType, [this, seen](std::size_t, httplib::DataSink &sink) { return send_next(*seen, sink); },
            [this](bool) { --pages_; });
    }

    bool send_next(std::optional<std::uint64_t> &seen, httplib::DataSink &sink) {
        const auto write = [&](const std::string &text) { return sink.write(text.data(), text.size()); };
        if (!seen) {
            const std::string snapshot = site_.snapshot(seen.emplace());
            return write("retry: 1000\n\n" + event_text("snapshot", snapshot));
        }
        Feed::Text text;
        switch (feed_.next(*seen, kIdle, text)) {
        case Feed::Outcome::kMessage:
            return write(event_text("change", *text));
        case Feed::Outcome::kNothing:
            return write(": alive\n\n");
        case Feed::Outcome::kTooSlow:
            ++dropped_;
            return false;
        case Feed::Outcome::kClosed:
            sink.done();
            return true;
        }
        return false;
    }

    const Site &site_;
    Feed &feed_;
    std::optional<Guard> guard_;
    WebAddress address_;
    std::thread acceptor_;
    std::atomic<bool> accepted_{false};
    std::mutex mutex_;
    std::set<int> open_;
    bool ending_ = false;
    std::atomic<std::uint64_t> pages_{0};
    std::atomic<std::uint64_t> requests_{0};
    std::atomic<std::uint64_t> refused_{0};
    std::atomic<std::uint64_t> dropped_{0};
    std::atomic<Instant::rep> scraped_{Instant::rep{} - Instant::duration(std::chrono::hours(1)).count()};
};

HttpServer::HttpServer(const WebAddress &address, const std::string &token, const Site &site, Feed &feed)
    : service_(std::make_unique<Service>(site, feed)) {
    service_->serve(address, token);
}

HttpServer::~HttpServer() {
    service_->end();
}

const WebAddress &HttpServer::address() const {
    return service_->address();
}

ServerCounts HttpServer::counts() const {
    return service_->counts();
}

bool HttpServer::watched() const {
    return service_->watched();
}

std::string serve_bytes(std::string_view request, const Guard &guard, const Site &site) {
    Feed nothing(1);
    nothing.close();
    return HttpServer::Service(site, nothing, guard).serve_bytes(request);
}

} // namespace chassis
