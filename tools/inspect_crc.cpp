// Checksums of a file, by the library's functions.
#include "commands.h"
#include "orva_comm.h"
#include "text.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

constexpr std::size_t kFileLimit = std::size_t{512} << 20;

int inspect_file(const Files &files, const std::string &path, Document &document) {
    const Input input = read_input(path, kFileLimit);
    if (input.status != kDone) {
        return input.status;
    }
    const Bytes &bytes = input.bytes;
    const auto length = static_cast<std::uint32_t>(bytes.size());
    std::uint16_t ccitt_false = 0xFFFF;
    std::uint16_t xmodem = 0;
    std::uint16_t shift_in = 0;
    ORVA_COMM_Crc16CheckSum(bytes.data(), length, &ccitt_false);
    ORVA_COMM_Crc16CheckSum(bytes.data(), length, &xmodem);
    ORVA_PWR_CheckCrc16Sum(bytes.data(), length, &shift_in);
    const std::uint16_t app = ORVA_LOAD_CalcAppCrc16Sum(bytes.data(), length);
    const std::uint32_t crc32 = ORVA_COMM_Crc32CheckSum(bytes.data(), length);
    if (document.is_written()) {
        document.add({{"file", path},
                      {"length", length},
                      {"crc16CcittFalse", ccitt_false},
                      {"crc16Xmodem", xmodem},
                      {"crc16ShiftIn", shift_in},
                      {"crc16App", app},
                      {"crc32", crc32}});
        return kDone;
    }
    print_title(files.shown(path));
    std::cout << count_of(length, "byte") << '\n'
              << "CRC-16/CCITT-FALSE        " << hex_number(ccitt_false, 4)
              << "  ORVA_COMM_Crc16CheckSum, start 0xffff\n"
              << "CRC-16/XMODEM             " << hex_number(xmodem, 4) << "  ORVA_COMM_Crc16CheckSum, start 0\n"
              << "CRC-16 shift-in register  " << hex_number(shift_in, 4)
              << "  ORVA_PWR_CheckCrc16Sum, start 0; 0 when the file ends in its CRC\n"
              << "CRC-16 of an application  " << hex_number(app, 4) << "  ORVA_LOAD_CalcAppCrc16Sum\n"
              << "CRC-32                    " << hex_number(crc32, 8) << "  ORVA_COMM_Crc32CheckSum\n";
    return kDone;
}

} // namespace

int inspect_crc(const Files &files, bool json) {
    ORVA_COMM_InitCrc16Table();
    ORVA_COMM_InitCrc32Table();
    Document document("crc", json);
    int status = kDone;
    for (const std::string &path : files.paths) {
        status = std::max(status, inspect_file(files, path, document));
    }
    document.end();
    return status;
}

} // namespace inspect
