#include "web/report.h"

#include "web/assets.h"
#include "web/model_json.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace chassis {

namespace {

// Enough for the whole of most runs.
constexpr ModelLimits kLimits = {Keep::kWhole, 1200, 1000, 4000};

std::runtime_error cannot_write(const std::string &path) {
    return std::runtime_error("--report: " + path + " cannot be written: " + std::strerror(errno));
}

// Where the page's text has `@NAME@`, a file or the data is put.
std::string part(std::string_view name, const Model &model, const std::string &scenario) {
    if (name == "DATA") {
        return report_json(model, scenario);
    }
    struct Part {
        std::string_view name;
        const char *file;
    };
    static constexpr std::array kParts = {Part{"STYLE", "style.css"}, Part{"CHART", "chart.js"},
                                          Part{"CURVES", "curves.js"}, Part{"REPORT", "report.js"}};
    const auto found = std::ranges::find(kParts, name, &Part::name);
    if (found == kParts.end()) {
        throw std::logic_error("the report has no part " + std::string(name));
    }
    return std::string(asset(found->file).text);
}

} // namespace

std::string report_text(const Model &model, const std::string &scenario) {
    const std::string_view page = asset("report.html").text;
    std::string text;
    std::size_t at = 0;
    for (std::size_t begin = page.find('@'); begin != std::string_view::npos; begin = page.find('@', at)) {
        const std::size_t end = page.find('@', begin + 1);
        text += page.substr(at, begin - at);
        text += part(page.substr(begin + 1, end - begin - 1), model, scenario);
        at = end + 1;
    }
    text += page.substr(at);
    return text;
}

ReportFile::ReportFile(Chassis &chassis, std::string scenario, const std::string &path)
    : log_(chassis.log), scenario_(std::move(scenario)), path_(path), stream_(path), model_(kLimits) {
    if (!stream_) {
        throw cannot_write(path);
    }
    for (const Board &board : chassis.boards.all()) {
        model_.add_board(board.slot, board.type, board.sensors);
    }
    subscription_ = log_.subscribe([this](const Event &event) { model_.take(event); });
}

ReportFile::~ReportFile() {
    log_.unsubscribe(subscription_);
}

void ReportFile::close() {
    if (stream_.is_open()) {
        stream_ << report_text(model_, scenario_);
        stream_.close();
        if (!stream_) {
            throw cannot_write(path_);
        }
    }
}

} // namespace chassis
