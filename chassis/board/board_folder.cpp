#include "board/board_folder.h"

#include "descriptor.h"
#include "text.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/msg.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace chassis {

namespace {

constexpr const char *kKeyFile = "orva_agent";
constexpr std::uint32_t kMainBoardType = 0x10011;
constexpr std::uint32_t kFrameType = 0x10002;
constexpr std::array<std::uint32_t, 6> kBoardTypes = {0x18001, 0x18004, 0x18010, 0x12018, 0x18020, 0x12121};

std::string description_text(const SlotType &own, std::span<const SlotType> all) {
    const std::string number = std::to_string(own.slot);
    std::string text =
        "# Written by orva-chassis for the board in slot " + number + ".\n\n[board]\nslot = " + number +
        "\ntype = " + hex_text(own.type, 1) + "\n\n[chassis]\ntype = " + hex_text(kFrameType, 1) +
        "\n\n[environment]\nproduct_service_type = \"100\"\n" +
        "product_family_type = 3\nchassisid = 1\ncpu_id = 0\nslotid = " + number + "\nACT_MPU = \"172.16.0.250\"\n";
    for (const SlotType &other : all) {
        if (other.slot != own.slot) {
            text += "\n[[other_board]]\nslot = " + std::to_string(other.slot) +
                    "\ntype = " + hex_text(other.type, 1) + "\n";
        }
    }
    return text + "\n[[elabel]]\nindex = 0\nlines = [\"BoardType=CHASSIS-BOARD\", \"BarCode=CB000000" + number +
           "\", \"Item=CB-" + number + "\"]\n";
}

} // namespace

std::uint32_t default_type(std::uint32_t slot) {
    return slot == 0 ? kMainBoardType : kBoardTypes[(slot - 1) % kBoardTypes.size()];
}

std::filesystem::path board_folder(const std::filesystem::path &run_folder, std::uint32_t slot) {
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "slot%02u", slot);
    return run_folder / name.data();
}

std::filesystem::path backup_folder(const std::filesystem::path &run_folder) {
    return run_folder / "backup";
}

void make_board_folder(const std::filesystem::path &folder, const SlotType &own, std::span<const SlotType> all) {
    std::filesystem::create_directories(folder);
    std::ofstream stream(description_file(folder));
    stream << description_text(own, all);
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + description_file(folder).string());
    }
}

std::filesystem::path description_file(const std::filesystem::path &folder) {
    return folder / "board.toml";
}

std::filesystem::path hardware_file(const std::filesystem::path &folder) {
    return folder / "hardware.toml";
}

std::filesystem::path log_folder(const std::filesystem::path &folder) {
    return folder / "log";
}

std::filesystem::path diagnostic_log(const std::filesystem::path &folder) {
    return log_folder(folder) / "diagnostic.log";
}

std::filesystem::path process_log(const std::filesystem::path &folder) {
    return log_folder(folder) / "process.log";
}

std::filesystem::path system_log(const std::filesystem::path &folder) {
    return log_folder(folder) / "system.log";
}

std::filesystem::path interface_manager_log(const std::filesystem::path &folder) {
    return log_folder(folder) / "interface_manager.log";
}

std::filesystem::path refusal_file(const std::filesystem::path &folder) {
    return folder / "private_mount_refused";
}

std::filesystem::path dead_loop_log(const std::filesystem::path &folder) {
    return log_folder(folder) / "dead_loop.log";
}

std::filesystem::path fan_log(const std::filesystem::path &folder) {
    return folder / "private/opt/keldv8/tmp/CmuLogzip/fan.log";
}

key_t queue_key(const std::filesystem::path &folder, std::uint32_t slot) {
    const auto file = folder / kKeyFile;
    return access(file.c_str(), F_OK) == 0 ? ftok(file.c_str(), static_cast<int>(slot)) : -1;
}

// A key holds only the low 16 bits of the file's inode number, so two files can share one. Colliding
// files stay open, which forces a fresh inode for the next one.
void make_key_file(std::uint32_t slot) {
    constexpr int kTries = 16;
    std::vector<Descriptor> rejected;
    std::filesystem::remove(kKeyFile); // of the process that this one follows
    for (int i = 0; i < kTries; ++i) {
        Descriptor file(open(kKeyFile, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600));
        if (file.get() < 0) {
            throw std::system_error(errno, std::generic_category(), "orva_agent");
        }
        if (msgget(queue_key(".", slot), 0) < 0 && errno == ENOENT) {
            return;
        }
        rejected.push_back(std::move(file));
        std::filesystem::remove(kKeyFile);
    }
    throw std::runtime_error("every queue key is taken");
}

} // namespace chassis
