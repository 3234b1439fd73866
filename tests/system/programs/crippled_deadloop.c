/* A dead-loop library with only the symbols that it is asked to have. */
#include <stdint.h>

extern const int crippled_library;
const int crippled_library = 1;

#ifdef WITH_CALLBACK
uint32_t QARL_RegDeadloopMonCallback(void *callback);
uint32_t QARL_RegDeadloopMonCallback(void *callback) {
    return callback == 0;
}
#endif

#ifdef WITH_OPERS
extern const uint32_t QARL_DmOpers[4];
const uint32_t QARL_DmOpers[4] = {1, 2, 3, 4};
#endif

#ifdef WITH_CHECK
uint32_t QARL_CheckAndRepairDeadloop(void);
uint32_t QARL_CheckAndRepairDeadloop(void) {
    return 0;
}
#endif
