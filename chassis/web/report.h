// The report of a run: one HTML file that needs nothing else.
#ifndef CHASSIS_WEB_REPORT_H
#define CHASSIS_WEB_REPORT_H

#include "manager/chassis.h"
#include "web/model.h"

#include <fstream>
#include <string>

namespace chassis {

class ReportFile {
public:
    // `scenario`: its text. Throws std::runtime_error when the report cannot be written.
    ReportFile(Chassis &chassis, std::string scenario, const std::string &path);
    ~ReportFile();
    ReportFile(const ReportFile &) = delete;
    ReportFile &operator=(const ReportFile &) = delete;

    // Writes the report. Throws std::runtime_error when it could not be written.
    void close();

private:
    EventLog &log_;
    std::string scenario_;
    std::string path_;
    std::ofstream stream_;
    Model model_;
    int subscription_;
};

// The report as text.
std::string report_text(const Model &model, const std::string &scenario);

} // namespace chassis

#endif
