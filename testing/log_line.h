// Records whose source line is that of the call: the line becomes "l=N", everything else is compared whole.
#ifndef ORVA_LOG_LINE_H
#define ORVA_LOG_LINE_H

#include <string>
#include <vector>

#include "platform_double.h"

namespace orva_test {

// "l=0" stays as it is: a call has a line.
inline std::string without_line(const std::string &record) {
    const std::size_t at = record.find(" l=");
    const std::size_t first = at + 3;
    if (at == std::string::npos || first >= record.size() || record[first] < '1' || record[first] > '9') {
        return record;
    }
    std::string result(record, 0, first);
    result.push_back('N');
    const std::size_t end = record.find_first_not_of("0123456789", first);
    return end == std::string::npos ? result : result.append(record, end);
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
