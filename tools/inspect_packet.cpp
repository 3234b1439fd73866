// Packet dumps as text or JSON.
#include "commands.h"
#include "packet_view.h"
#include "text.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

int inspect_dumps(const Files &files, const std::string &path, std::optional<Bus> bus, Document &document) {
    const Input log = read_input(path, kLogLimit);
    if (log.status != kDone) {
        return log.status;
    }
    const std::vector<Packet> packets =
        find_packets({reinterpret_cast<const char *>(log.bytes.data()), log.bytes.size()});
    std::size_t broken = 0;
    if (!document.is_written()) {
        print_title(files.shown(path));
    }
    for (const Packet &packet : packets) {
        const Dump dump = dump_of(packet);
        broken += dump.whole ? 0 : 1;
        if (document.is_written()) {
            Json json = {{"file", path}};
            json.update(dump_json(dump, bus));
            document.add(json);
        } else {
            print_dump(dump, bus);
        }
    }
    const std::string name = files.shown(path).empty() ? "" : printable(path) + ": ";
    if (packets.empty()) {
        return fail(name + "no packet dump found");
    }
    return broken == 0 ? kDone
                       : fail(name + count_of(broken, "packet") + (broken == 1 ? " is" : " are") + " not whole");
}

} // namespace

int inspect_packets(const Files &files, std::optional<Bus> bus, bool json) {
    Document document("packet", json);
    int status = kDone;
    for (const std::string &path : files.paths) {
        status = std::max(status, inspect_dumps(files, path, bus, document));
    }
    document.end();
    return status;
}

} // namespace inspect
