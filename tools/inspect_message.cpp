// Agent messages as a table, as annotated bytes or as JSON.
#include "commands.h"
#include "text.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

const char *framing_name(Framing framing) {
    switch (framing) {
    case Framing::kFrame:
        return "frame";
    case Framing::kDatagram:
        return "datagram";
    default:
        return "body";
    }
}

const char *order_name(Order order) {
    return order == Order::kHost ? "host" : "net";
}

Json route_json(const orva::wire::Route *route) {
    return route == nullptr ? Json(nullptr)
                            : Json{{"netFn", route->net_fn}, {"command", route->command}, {"name", route->name}};
}

} // namespace

Json message_json(const MessageView &view, std::span<const std::uint8_t> bytes) {
    return {{"family", view.family != nullptr ? Json(view.family->family) : Json(nullptr)},
            {"order", order_name(view.order)},
            {"framing", framing_name(view.framing)},
            {"length", bytes.size()},
            {"route", route_json(view.route)},
            {"parts", parts_json(view.parts, bytes)},
            {"document", document_of(view)},
            {"notes", view.notes},
            {"faults", faults_json(view.faults)}};
}

void print_message(const MessageView &view, std::span<const std::uint8_t> bytes, bool annotated) {
    std::cout << paint(Paint::kGood, view.family != nullptr ? view.family->family : "unknown message") << ", "
              << framing_name(view.framing)
              << (view.order == Order::kHost ? " in host byte order, " : " in network byte order, ")
              << count_of(bytes.size(), "byte");
    if (view.route != nullptr) {
        std::cout << ": " << view.route->name;
    } else if (view.family != nullptr) {
        std::cout << ": " << view.family->text;
    }
    std::cout << '\n';
    if (annotated) {
        print_annotated(view.parts, bytes);
    } else {
        print_table(view.parts, bytes);
    }
    for (const std::string &note : view.notes) {
        std::cout << "  note: " << note << '\n';
    }
}

namespace {

int inspect_message(const Files &files, const std::string &path, const MessageForm &form, Shown shown,
                    Document &document) {
    const Input input = read_bytes(path, files.form, kInputLimit);
    if (input.status != kDone) {
        return input.status;
    }
    const Bytes &bytes = input.bytes;
    MessageView view = take_apart_message(bytes, form);
    if (view.family == nullptr && view.framing != Framing::kDatagram) {
        view.faults.push_back({form.at, "family", "only a datagram of the chassis says which message it carries",
                               "--family, or a datagram"});
    }
    if (shown == Shown::kJson) {
        Json json = {{"file", path}};
        json.update(message_json(view, bytes));
        document.add(json);
    } else {
        print_title(files.shown(path));
        print_message(view, bytes, shown == Shown::kAnnotated);
    }
    return report(view.faults, bytes, files.shown(path));
}

} // namespace

int inspect_messages(const Files &files, const MessageForm &form, Shown shown) {
    Document document("message", shown == Shown::kJson);
    int status = kDone;
    for (const std::string &path : files.paths) {
        status = std::max(status, inspect_message(files, path, form, shown, document));
    }
    document.end();
    return status;
}

} // namespace inspect
