#include "noted_capture.h"

#include <algorithm>

namespace inspect {

namespace {

constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;
constexpr std::uint32_t kInterface = 1;
constexpr std::uint32_t kEnhancedPacket = 6;
constexpr std::uint16_t kComment = 1; // options, each of its block
constexpr std::uint16_t kInterfaceName = 2;
constexpr std::uint16_t kPacketFlags = 2;
constexpr std::uint16_t kApplication = 4;

// The body of a block, little-endian on every machine.
class Body {
public:
    Body &word(std::uint32_t value) {
        return half(static_cast<std::uint16_t>(value)).half(static_cast<std::uint16_t>(value >> 16));
    }

    Body &half(std::uint16_t value) {
        bytes_ += static_cast<char>(value & 0xFF);
        bytes_ += static_cast<char>(value >> 8);
        return *this;
    }

    // Padded to words.
    Body &bytes(std::string_view text) {
        bytes_ += text;
        bytes_.append((4 - text.size() % 4) % 4, '\0');
        return *this;
    }

    Body &option(std::uint16_t code, std::string_view text) {
        text = text.substr(0, UINT16_MAX);
        return half(code).half(static_cast<std::uint16_t>(text.size())).bytes(text);
    }

    Body &end_of_options() {
        return word(0);
    }

    void write(std::ostream &out, std::uint32_t type) const {
        const auto length = static_cast<std::uint32_t>(bytes_.size() + 12);
        Body block;
        block.word(type).word(length).bytes(bytes_).word(length);
        out << block.bytes_;
    }

private:
    std::string bytes_;
};

} // namespace

NotedCapture::NotedCapture(std::ostream &out) : out_(out) {
    Body body;
    body.word(0x1A2B3C4D).half(1).half(0).word(UINT32_MAX).word(UINT32_MAX); // byte order, version, unknown length
    body.option(kApplication, "orva-inspect").end_of_options();
    body.write(out_, kSectionHeader);
}

std::uint32_t NotedCapture::interface_of(const NotedPacket &packet) {
    const auto known = std::ranges::find(interfaces_, packet.bus);
    const auto number = static_cast<std::uint32_t>(known - interfaces_.begin());
    if (known == interfaces_.end()) {
        interfaces_.push_back(packet.bus);
        Body body;
        body.half(packet.link_type).half(0).word(0);
        body.option(kInterfaceName, packet.bus).end_of_options();
        body.write(out_, kInterface);
    }
    return number;
}

void NotedCapture::add(const NotedPacket &packet) {
    const std::uint32_t number = interface_of(packet);
    const auto length = static_cast<std::uint32_t>(packet.bytes.size());
    const auto flags = static_cast<std::uint32_t>(packet.flow);
    const char flag_bytes[4] = {static_cast<char>(flags), 0, 0, 0};
    Body body;
    body.word(number).word(static_cast<std::uint32_t>(packet.time_us >> 32));
    body.word(static_cast<std::uint32_t>(packet.time_us)).word(length).word(length);
    body.bytes({reinterpret_cast<const char *>(packet.bytes.data()), packet.bytes.size()});
    body.option(kPacketFlags, {flag_bytes, sizeof flag_bytes}).option(kComment, packet.comment).end_of_options();
    body.write(out_, kEnhancedPacket);
}

} // namespace inspect
