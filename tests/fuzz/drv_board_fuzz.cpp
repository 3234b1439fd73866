// The board description: whatever the bytes, loading answers with success or a message, and a board that was accepted
// answers every query within the buffers it is given.
#include "drv_basic.h"
#include "drv_basic/drv_basic_host.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void query_board() {
    char small[8];
    char large[4096];
    std::uint32_t word = 0;
    for (const std::uint32_t size : {1U, 8U}) {
        const std::uint32_t result = drv_env_get("chassisid", small, size);
        require(result != 0 || std::memchr(small, 0, size) != nullptr);
    }
    const std::uint32_t slot_result = drv_board_get_self_logic_slotid(&word);
    require(slot_result != 0 || word <= 30);
    for (std::uint32_t slot = 0; slot <= 31; ++slot) {
        drv_board_get_type(slot, &word);
        const std::uint32_t result = drv_elabel_read(slot, 0, large, sizeof large);
        require(result != 0 || std::memchr(large, 0, sizeof large) != nullptr);
    }
    drv_board_get_type(DRV_SELF_BOARD, &word);
    drv_backplane_get_type(&word);
    drv_elabel_read(DRV_SELF_BOARD, 0, small, sizeof small);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const char kEmpty = 0;
    const char *text = size != 0 ? reinterpret_cast<const char *>(data) : &kEmpty;
    const std::uint32_t result = DRV_HostLoadBoardText("fuzz", text, size);
    char message[256];
    require(DRV_HostDescriptionError(message, sizeof message) == 0);
    require((result == 0) == (message[0] == '\0'));
    if (result == 0) {
        query_board();
    }
    return 0;
}
