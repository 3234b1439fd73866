// Two answers, compared field by field with the names of the wire's description.
#ifndef CHASSIS_RECORD_COMPARE_H
#define CHASSIS_RECORD_COMPARE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace chassis {

struct FieldDifference {
    std::string field;
    std::string recorded; // "nothing" where it is absent
    std::string now;
};

// A field that is not compared, and why.
struct LeftOut {
    const char *message; // null: any
    const char *field;   // it begins so
    bool real_time_only; // in a capture of virtual time it is compared
    const char *what;
    const char *reason;
};

std::span<const LeftOut> fields_left_out();

// Whether nothing of the answer is ever compared.
bool is_left_out(std::span<const std::uint8_t> answer);

// `recorded` and `now`: datagrams. Their sequence numbers are taken to be the same. Nothing when they are equal.
std::vector<FieldDifference> compare_answers(std::span<const std::uint8_t> recorded,
                                             std::span<const std::uint8_t> now, bool real_time);

// "temperatures", or what is known of an unknown message.
std::string message_name(std::span<const std::uint8_t> datagram);

} // namespace chassis

#endif
