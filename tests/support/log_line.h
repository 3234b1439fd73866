// Records whose source line is that of the call: the line becomes "l=N", everything else is compared whole.
#ifndef ORVA_LOG_LINE_H
#define ORVA_LOG_LINE_H

#include <regex>
#include <string>
#include <vector>

#include "platform_double.h"

namespace orva_test {

// "l=0" stays as it is: a call has a line.
inline std::string without_line(const std::string &record) {
    static const std::regex line("\\bl=[1-9][0-9]*");
    return std::regex_replace(record, line, "l=N");
}

inline std::vector<std::string> take_logs_without_lines() {
    std::vector<std::string> records = take_logs();
    for (std::string &record : records) {
        record = without_line(record);
    }
    return records;
}

} // namespace orva_test

#endif
