// The page of a chassis that runs: the model that follows its log, the server, and what the two exchange.
#ifndef CHASSIS_WEB_WEB_H
#define CHASSIS_WEB_WEB_H

#include "manager/chassis.h"
#include "web/guard.h"

#include <memory>
#include <string>

namespace chassis {

class Web {
public:
    // Serves from now on, until its end. Throws std::runtime_error when the address cannot be used.
    Web(Chassis &chassis, const WebAddress &address);
    ~Web();
    Web(const Web &) = delete;
    Web &operator=(const Web &) = delete;

    // The address of the page, with the token that its controls need.
    std::string url() const;
    // The boards are gone: commands are refused from now on.
    void end_commands();

private:
    class Room;
    std::unique_ptr<Room> room_;
};

} // namespace chassis

#endif
