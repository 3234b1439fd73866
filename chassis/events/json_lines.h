// The event file: one JSON object a line, in the order of the log.
#ifndef CHASSIS_EVENTS_JSON_LINES_H
#define CHASSIS_EVENTS_JSON_LINES_H

#include "events/log.h"

#include <fstream>
#include <string>

namespace chassis {

// {"n":1,"t":0.000,"event":"run","slot":1,...} without a line end. Times of the processor (traces) are left out.
std::string json_line(const Event &event);

// Writes the file for as long as it lives.
class EventFile {
public:
    // Throws std::runtime_error when the file cannot be written.
    EventFile(EventLog &log, const std::string &path);
    ~EventFile();
    EventFile(const EventFile &) = delete;
    EventFile &operator=(const EventFile &) = delete;

    // Writes what is left. Throws std::runtime_error when something could not be written.
    void close();

private:
    EventLog &log_;
    std::string path_;
    std::ofstream stream_;
    int subscription_;
};

} // namespace chassis

#endif
