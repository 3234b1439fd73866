// Writes the datagrams that the management process sends or receives to a capture. Times are since power-on, ends
// have the addresses of capture_format.h. In virtual time traces are left out, which hold times of the processor: two
// virtual runs of one scenario and seed write the same file. Notes say which chassis it is, for a replay.
#ifndef CHASSIS_RECORD_RECORDER_H
#define CHASSIS_RECORD_RECORDER_H

#include "capture_writer.h"
#include "manager/chassis.h"

#include <string>

namespace chassis {

class Recorder {
public:
    // Before power-on. Throws std::runtime_error when the file cannot be written.
    Recorder(Chassis &chassis, const std::string &path);
    ~Recorder();
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;

    // Writes what is left. Throws std::runtime_error when something could not be written.
    void close() {
        writer_.close();
    }

private:
    void see(const Event &event);
    void write_packet(const Event &packet);
    void write_note(Time time, const std::string &text);

    Chassis &chassis_;
    capture::Writer writer_;
    int subscription_;
};

} // namespace chassis

#endif
