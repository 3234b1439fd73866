// The files of the page, which are part of the program.
#ifndef CHASSIS_WEB_ASSETS_H
#define CHASSIS_WEB_ASSETS_H

#include <string>
#include <string_view>

namespace chassis {

struct Asset {
    const char *name; // "index.html", "style.css" ...
    const char *type;
    std::string_view text;
};

const Asset &asset(std::string_view name);

} // namespace chassis

#endif
