// Writes the datagrams that the management process sends or receives to a capture. Times are since power-on, ends
// have the addresses of capture_format.h. In virtual time traces are left out, which hold times of the processor: two
// virtual runs of one scenario and seed write the same file.
#ifndef CHASSIS_RECORD_RECORDER_H
#define CHASSIS_RECORD_RECORDER_H

#include "capture_writer.h"
#include "events/log.h"

#include <string>

namespace chassis {

class Recorder {
public:
    // Throws std::runtime_error when the file cannot be written.
    Recorder(EventLog &log, const Clock &clock, const std::string &path);
    ~Recorder();
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;

    // Writes what is left. Throws std::runtime_error when something could not be written.
    void close() {
        writer_.close();
    }

private:
    void write(const Event &packet);

    EventLog &log_;
    const Clock &clock_;
    capture::Writer writer_;
    int subscription_;
};

} // namespace chassis

#endif
