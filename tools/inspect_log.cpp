// What the library left in logs, decoded: packets as messages, diagnostic records, the diagnostic manager.
#include "commands.h"
#include "log_scan.h"
#include "packet_view.h"
#include "text.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

bool is_empty(const LogContent &content) {
    return content.packets.empty() && content.records.empty() && content.managers.empty() && content.loose.empty();
}

std::string origin_text(const Origin &origin) {
    std::string text = "line " + std::to_string(origin.line);
    text += origin.source.empty() ? "" : ", " + printable(origin.source);
    text += origin.time.empty() ? "" : ", " + printable(origin.time);
    return paint(Paint::kDim, text + ": ");
}

Json entry_json(const std::string &path, const char *kind, const Origin &origin) {
    const auto or_null = [](const std::string &text) { return text.empty() ? Json(nullptr) : Json(text); };
    return {{"file", path},
            {"line", origin.line},
            {"kind", kind},
            {"time", or_null(origin.time)},
            {"source", or_null(origin.source)}};
}

// Decodes the entries of a log one after the other.
class LogReader {
public:
    LogReader(const LogQuery &query, const std::string &path, Document &document)
        : query_(query), path_(path), document_(document) {}

    // Shows everything, and says what is wrong with it; empty: nothing.
    std::string read(const LogContent &content) {
        std::multimap<std::size_t, std::function<void()>> entries; // by line
        for (const Packet &packet : content.packets) {
            entries.emplace(packet.origin.line, [&] { show(packet); });
        }
        for (const BoardRecord &record : content.records) {
            entries.emplace(record.origin.line, [&] { show(record); });
        }
        for (const ManagerDump &manager : content.managers) {
            entries.emplace(manager.origin.line, [&] { show(manager); });
        }
        for (const LooseBytes &loose : content.loose) {
            entries.emplace(loose.origin.line, [&] { show(loose); });
        }
        for (const auto &[line, entry] : entries) {
            entry();
        }
        std::string what;
        if (broken_ != 0) {
            what = count_of(broken_, "packet") + (broken_ == 1 ? " is" : " are") + " not whole";
        }
        if (refused_ != 0) {
            what += (what.empty() ? "" : ", ") + count_of(refused_, "message") +
                    (refused_ == 1 ? " breaks" : " break") + " a rule";
        }
        return what;
    }

private:
    void show(const Packet &packet) {
        const Dump dump = dump_of(packet);
        const auto view = dump.whole ? message_in(dump.runs.front().bytes, query_) : std::nullopt;
        broken_ += dump.whole ? 0 : 1;
        if (!document_.is_written()) {
            std::cout << origin_text(packet.origin);
            if (!view) {
                print_dump(dump, query_.bus);
                return;
            }
            std::cout << "packet " << hex_number(packet.number, 1) << ' ' << printable(packet.name) << " in "
                      << count_of(packet.pieces.size(), "piece") << '\n';
            print_view(*view, dump.runs.front().bytes);
            return;
        }
        Json json = entry_json(path_, "packet", packet.origin);
        json["direction"] = direction_of(packet.name);
        json.update(dump_json(dump, query_.bus));
        json["message"] = view ? message_json(*view, dump.runs.front().bytes) : Json(nullptr);
        refused_ += view && !view->faults.empty() ? 1 : 0;
        document_.add(json);
    }

    void show(const LooseBytes &loose) {
        const auto view = message_in(loose.bytes, query_);
        if (!document_.is_written()) {
            std::cout << origin_text(loose.origin) << count_of(loose.bytes.size(), "byte") << " after "
                      << (loose.name.empty() ? "nothing" : printable(loose.name)) << '\n';
            if (view) {
                print_view(*view, loose.bytes);
            } else {
                const Part whole{0, loose.bytes.size(), {}};
                print_annotated({&whole, 1}, loose.bytes);
            }
            return;
        }
        Json json = entry_json(path_, "bytes", loose.origin);
        json["name"] = loose.name;
        json["bytes"] = hex_bytes(loose.bytes);
        json["message"] = view ? message_json(*view, loose.bytes) : Json(nullptr);
        refused_ += view && !view->faults.empty() ? 1 : 0;
        document_.add(json);
    }

    void print_view(const MessageView &view, const Bytes &bytes) {
        print_message(view, bytes, query_.annotate);
        for (const Fault &fault : view.faults) {
            std::cout << "  " << paint(Paint::kBad, "fault") << ": "
                      << (fault.at ? "at byte " + std::to_string(*fault.at) + ": " : "") << fault.rule << " [field "
                      << fault.field << ", expected " << fault.expected << "]\n";
        }
        refused_ += view.faults.empty() ? 0 : 1;
    }

    void show(const BoardRecord &record) {
        const auto dropped = dropped_of(record);
        if (!document_.is_written()) {
            std::cout << origin_text(record.origin) << paint(Paint::kName, record.kind) << ", chassis "
                      << (record.chassis ? std::to_string(*record.chassis) : "-") << ", slot " << record.slot
                      << (record.id ? ", id " + hex_number(*record.id, 8) : "") << ": " << printable(record.text)
                      << '\n';
            if (dropped) {
                std::cout << "  " << dropped->dropped << " records of diagnostic id " << dropped->diag_id << ", key "
                          << dropped->key_id << ", were dropped in an hour\n";
            }
            return;
        }
        Json json = entry_json(path_, record.kind.c_str(), record.origin);
        json["chassis"] = record.chassis ? Json(*record.chassis) : Json(nullptr);
        json["slot"] = record.slot;
        json["id"] = record.id ? Json(*record.id) : Json(nullptr);
        json["text"] = record.text;
        json["dropped"] = nullptr;
        if (dropped) {
            json["dropped"] = {{"diagId", dropped->diag_id},
                               {"count", dropped->dropped},
                               {"keyId", dropped->key_id},
                               {"format", dropped->format}};
        }
        document_.add(json);
    }

    void show(const ManagerDump &manager) {
        if (!document_.is_written()) {
            print(manager);
            return;
        }
        Json json = entry_json(path_, "manager", manager.origin);
        json.update({{"on", manager.is_on != 0},
                     {"idsCovered", manager.nodes_covered},
                     {"bucket", manager.zone},
                     {"errors", manager.errors},
                     {"errorLine", manager.error_line},
                     {"seconds", manager.seconds},
                     {"whole", manager.whole},
                     {"nodes", Json::array()}});
        for (const ManagerNode &node : manager.nodes) {
            Json keys = Json::array();
            for (const ManagerKey &key : node.keys) {
                keys.push_back({{"keyId", key.key_id},
                                {"passed", key.passed},
                                {"dropped", key.dropped},
                                {"buckets", key.zones}});
            }
            json["nodes"].push_back({{"file", node.file},
                                     {"line", node.line},
                                     {"diagId", node.diag_id},
                                     {"text", node.text},
                                     {"keys", std::move(keys)}});
        }
        document_.add(json);
    }

    static void print(const ManagerDump &manager) {
        std::cout << origin_text(manager.origin) << paint(Paint::kName, "diagnostic manager")
                  << (manager.is_on != 0 ? ", on, " : ", off, ") << manager.nodes_covered << " ids, bucket "
                  << manager.zone << ", " << manager.seconds << " s, " << count_of(manager.errors, "error");
        std::cout << (manager.errors != 0 ? ", the last one at line " + std::to_string(manager.error_line) : "")
                  << (manager.whole ? "\n" : ", not whole\n");
        for (const ManagerNode &node : manager.nodes) {
            std::cout << "  id " << node.diag_id << ", " << printable(node.file) << ':' << node.line << ": "
                      << printable(node.text) << '\n';
            for (const ManagerKey &key : node.keys) {
                std::cout << "    key " << key.key_id << ": " << key.passed << " let through in the last hour, "
                          << key.dropped << " dropped\n";
            }
        }
    }

    const LogQuery &query_;
    const std::string &path_;
    Document &document_;
    std::size_t broken_ = 0;  // packets
    std::size_t refused_ = 0; // messages
};

} // namespace

const char *direction_of(std::string_view name) {
    if (name.starts_with("to ")) {
        return "to";
    }
    return name.starts_with("from ") ? "from" : "unknown";
}

std::optional<MessageView> message_in(const Bytes &bytes, const LogQuery &query) {
    MessageForm form = query.form;
    if (form.framing == Framing::kDetect && bytes.size() >= form.at &&
        is_datagram(std::span(bytes).subspan(form.at))) {
        form.framing = Framing::kDatagram;
        form.family = nullptr;
    } else if (form.family == nullptr && query.bus == Bus::kUdp) {
        const orva::wire::Route *const route = route_of_udp(bytes);
        form.family = route != nullptr ? route->message : nullptr;
        form.framing = Framing::kFrame;
        form.at = orva::wire::kTransportBytes;
    }
    if (form.family == nullptr && form.framing != Framing::kDatagram) {
        return std::nullopt;
    }
    return take_apart_message(bytes, form);
}

int inspect_logs(const Files &files, const LogQuery &query, bool json) {
    Document document("log", json);
    int status = kDone;
    bool is_found = false;
    for (const std::string &path : files.paths) {
        const Input log = read_input(path, kLogLimit);
        status = std::max(status, log.status);
        if (log.status != kDone) {
            continue;
        }
        const LogContent content = scan_log({reinterpret_cast<const char *>(log.bytes.data()), log.bytes.size()});
        if (is_empty(content)) {
            continue; // of several logs some have nothing
        }
        is_found = true;
        if (!json) {
            print_title(files.shown(path));
        }
        const std::string what = LogReader(query, path, document).read(content);
        if (!what.empty()) {
            status = std::max(status, fail((files.shown(path).empty() ? "" : printable(path) + ": ") + what));
        }
    }
    if (!is_found && status == kDone) {
        status = fail("no dump and no diagnostic record found");
    }
    document.end();
    return status;
}

} // namespace inspect
