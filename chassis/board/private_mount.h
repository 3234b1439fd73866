// The fixed paths of the system, /opt and /tmp, as folders of the board's own: a mount namespace in which they lie in
// the board's folder. Nothing is ever written to the machine's.
#ifndef CHASSIS_BOARD_PRIVATE_MOUNT_H
#define CHASSIS_BOARD_PRIVATE_MOUNT_H

#include <filesystem>
#include <string>

namespace chassis {

// To be called while the process has one thread. Empty on success, otherwise why the kernel refused; the process then
// still sees the machine's paths and must not write to them.
std::string enter_private_mount(const std::filesystem::path &folder, const std::filesystem::path &run_folder);

} // namespace chassis

#endif
