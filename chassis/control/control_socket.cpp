#include "control/control_socket.h"

#include "run_folder.h"
#include "text.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <system_error>

namespace chassis {

namespace {

constexpr const char *kSocketName = "control";
constexpr std::size_t kMaxMessageBytes = 65536;

// Relative, since a socket's path is short. The folder is the working folder, or the one above.
sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

Descriptor unix_socket() {
    return Descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
}

void set_patience(int fd, time_t seconds) {
    const timeval patience{seconds, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
}

std::string receive_text(int fd) {
    std::string text(kMaxMessageBytes, '\0');
    const ssize_t count = recv(fd, text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
}

Descriptor connect_to(const std::filesystem::path &folder) {
    std::error_code error;
    std::filesystem::current_path(folder, error);
    Descriptor connection = unix_socket();
    const sockaddr_un address = address_of(kSocketName);
    if (error || connect(connection.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        return Descriptor();
    }
    return connection;
}

// The chassis that run below the temporary folder.
std::vector<std::filesystem::path> running() {
    std::vector<std::filesystem::path> found;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(temporary_root(), error)) {
        const bool ours = entry.path().filename().string().rfind("orva-chassis.", 0) == 0;
        if (ours && connect_to(entry.path()).get() >= 0) {
            found.push_back(entry.path());
        }
    }
    return found;
}

std::filesystem::path chosen_folder(const std::string &run_dir) {
    if (!run_dir.empty()) {
        return std::filesystem::absolute(run_dir);
    }
    const auto found = running();
    if (found.empty()) {
        throw std::runtime_error("no chassis runs; start one, or name its folder with --run-dir");
    }
    if (found.size() > 1) {
        throw std::runtime_error("several chassis run; name the folder of one with --run-dir");
    }
    return found.front();
}

// Commands that wait say how long.
time_t patience_for(const Words &words) {
    std::size_t used = 0;
    const Command *command = find_command(words, used);
    double seconds = 30;
    for (std::size_t i = used; command != nullptr && i < words.size(); ++i) {
        seconds += command->arguments[i - used].type == ArgumentType::kSeconds ? std::stod(words[i]) : 0;
    }
    return static_cast<time_t>(seconds);
}

} // namespace

Control::Control(Chassis &chassis) : chassis_(chassis), socket_(unix_socket()) {
    const sockaddr_un address = address_of(std::string("../") + kSocketName);
    if (bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(socket_.get(), SOMAXCONN) != 0) {
        throw std::system_error(errno, std::generic_category(), "the control socket");
    }
    chassis_.loop.watch(socket_.get(), [this] { serve(); });
}

Control::~Control() {
    chassis_.loop.unwatch(socket_.get());
}

void Control::serve() {
    const Descriptor connection(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    set_patience(connection.get(), 1);
    std::array<pollfd, 1> request_comes = {{{connection.get(), POLLIN, 0}}};
    poll_outside(request_comes, std::chrono::seconds(1)); // the virtual time of a command is foreseeable
    const std::string request = receive_text(connection.get());
    if (request.empty()) {
        return; // someone who only looked whether a chassis runs
    }
    const CommandResult result = execute(chassis_, lines_of(request));
    const std::string reply = std::to_string(result.status) + "\n" + result.text;
    (void)!send(connection.get(), reply.data(), reply.size(), MSG_NOSIGNAL);
}

int give_command(const CommandOptions &options) {
    try {
        const auto folder = chosen_folder(options.run_dir);
        const Descriptor connection = connect_to(folder);
        if (connection.get() < 0) {
            throw std::runtime_error("no chassis runs in " + folder.string());
        }
        std::string request;
        for (const std::string &word : options.words) {
            request += word + "\n";
        }
        set_patience(connection.get(), patience_for(options.words));
        (void)!send(connection.get(), request.data(), request.size(), MSG_NOSIGNAL);
        const std::string reply = receive_text(connection.get());
        const std::size_t end = reply.find('\n');
        if (end == std::string::npos) {
            throw std::runtime_error("the chassis does not answer");
        }
        const int status = std::stoi(reply);
        (status == 0 ? std::cout : std::cerr << "orva-chassis: ") << reply.substr(end + 1) << std::flush;
        return status;
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: " << error.what() << '\n';
        return 1;
    }
}

} // namespace chassis
