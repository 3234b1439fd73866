// Names and link targets of an archive: what is accepted stays below the destination. Input: length of the name,
// name, target of a link.
#include "fuzz_input.h"
#include "miro/archive_names.h"

namespace {

std::vector<std::string> parts_of(const std::string &path) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

// Walks the target from the link's folder; false as soon as it is above the destination.
bool stays_below(const std::string &entry, const std::string &target) {
    auto depth = static_cast<std::ptrdiff_t>(parts_of(entry).size()) - 1;
    for (const std::string &part : parts_of(target)) {
        depth += part == ".." ? -1 : part.empty() || part == "." ? 0 : 1;
        if (depth < 0) {
            return false;
        }
    }
    return target.empty() || target[0] != '/';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const std::size_t nameLength = front.byte();
    const std::string name = front.text(nameLength);
    const std::string target = front.rest_text();
    std::string normal;
    const bool isAccepted = host::normal_entry_name(name, normal);
    const std::vector<std::string> parts = parts_of(name);
    const bool isAbsolute = !name.empty() && name[0] == '/';
    const bool goesUp = std::find(parts.begin(), parts.end(), "..") != parts.end();
    REQUIRE(!isAccepted || (!isAbsolute && !goesUp));
    if (!isAccepted) {
        return 0;
    }
    std::string again;
    REQUIRE(host::normal_entry_name(normal, again) && again == normal);
    if (!normal.empty()) {
        for (const std::string &part : parts_of(normal)) {
            REQUIRE(!part.empty() && part != "." && part != "..");
        }
        REQUIRE(!host::link_stays_inside(normal, target) || stays_below(normal, target));
    }
    return 0;
}
