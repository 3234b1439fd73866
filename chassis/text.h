// Numbers as people read them.
#ifndef CHASSIS_TEXT_H
#define CHASSIS_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace chassis {

// "0x01DA0006": at least `digits` digits.
std::string hex_text(std::uint32_t number, int digits = 8);

// "172.16.3.250", of an address in host order.
std::string address_text(std::uint32_t address);

// The words of a command line; blanks separate them.
std::vector<std::string> words_of(std::string_view text);
std::vector<std::string> lines_of(std::string_view text);
std::string joined(const std::vector<std::string> &words, const char *separator = " ");

// The word as a shell reads it: in quotes where it needs them.
std::string shell_word(const std::string &word);

// The name that is most like `wrong`, or empty when none is.
std::string nearest(std::string_view wrong, const std::vector<std::string> &names);

} // namespace chassis

#endif
