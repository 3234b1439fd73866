// Takes all memory of the library's partition, and gives it back.
#ifndef CHASSIS_BOARD_MEMORY_HOARD_H
#define CHASSIS_BOARD_MEMORY_HOARD_H

#include <vector>

namespace chassis {

class MemoryHoard {
public:
    // Nothing at all is left then.
    void use_up();
    void free();

private:
    std::vector<void *> blocks_;
};

} // namespace chassis

#endif
