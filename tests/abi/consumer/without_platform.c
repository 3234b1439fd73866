/* Links the library and no platform. */
#include "orva_comm.h"

int main(void) {
    return ORVA_CreateMemPt() == ORVA_OK ? 0 : 1;
}
