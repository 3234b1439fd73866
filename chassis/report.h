// What a run shows: its steps, and whether everything that it asked was seen.
#ifndef CHASSIS_REPORT_H
#define CHASSIS_REPORT_H

#include <cstdint>
#include <string>

namespace chassis {

class Report {
public:
    // A headline.
    void step(const std::string &text);
    // A line below it.
    void line(const std::string &text);
    // A line that says whether something asked was seen.
    void check(const std::string &text, bool seen);
    // A check of a number: shows what was expected where it was not seen.
    void check_count(const std::string &text, std::uint64_t expected, std::uint64_t seen);
    // Something that this machine does not allow; counts neither way.
    void skip(const std::string &text);

    std::uint32_t seen() const {
        return seen_;
    }
    std::uint32_t asked() const {
        return asked_;
    }
    bool all_seen() const {
        return seen_ == asked_;
    }

private:
    std::uint32_t asked_ = 0;
    std::uint32_t seen_ = 0;
};

// "0x01DA0006": at least `digits` digits.
std::string hex_text(std::uint32_t number, int digits = 8);

// "172.16.3.250", of an address in host order.
std::string address_text(std::uint32_t address);

} // namespace chassis

#endif
