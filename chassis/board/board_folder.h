// The folder that a board's process runs in: its description, its key file, its logs. Nothing of a run lies
// elsewhere.
#ifndef CHASSIS_BOARD_BOARD_FOLDER_H
#define CHASSIS_BOARD_BOARD_FOLDER_H

#include <cstdint>
#include <filesystem>
#include <span>
#include <sys/ipc.h>

namespace chassis {

// The type of the board in a slot when nothing else is said.
std::uint32_t default_type(std::uint32_t slot);

std::filesystem::path board_folder(const std::filesystem::path &run_folder, std::uint32_t slot);

// The backup management process has the main board's slot and a folder of its own.
std::filesystem::path backup_folder(const std::filesystem::path &run_folder);

// A slot of the chassis and the type of the board in it.
struct SlotType {
    std::uint32_t slot = 0;
    std::uint32_t type = 0;
};

// Makes the folder and writes the description of the board `own`, which knows of all boards.
void make_board_folder(const std::filesystem::path &folder, const SlotType &own, std::span<const SlotType> all);

std::filesystem::path description_file(const std::filesystem::path &folder);
// The simulated hardware: sensors and their curves.
std::filesystem::path hardware_file(const std::filesystem::path &folder);
std::filesystem::path log_folder(const std::filesystem::path &folder);
std::filesystem::path diagnostic_log(const std::filesystem::path &folder);
std::filesystem::path process_log(const std::filesystem::path &folder);
std::filesystem::path system_log(const std::filesystem::path &folder);
std::filesystem::path interface_manager_log(const std::filesystem::path &folder);
std::filesystem::path dead_loop_log(const std::filesystem::path &folder);
// As it is seen from outside the board's private mount.
std::filesystem::path fan_log(const std::filesystem::path &folder);

// Why the kernel refused the board a private mount; absent where it has one.
std::filesystem::path refusal_file(const std::filesystem::path &folder);

// The key of the board's queue, -1 while its key file does not exist.
key_t queue_key(const std::filesystem::path &folder, std::uint32_t slot);

// Makes the key file in the working folder so that no queue of another run has its key.
void make_key_file(std::uint32_t slot);

} // namespace chassis

#endif
