// Registers the dead-loop hook and runs one check-and-repair pass, with whatever libraries the loader finds, and
// tells what became known of them.
#include <cstdio>

#include "orva_deadloop.h"

int main() {
    ORVA_RegWendoDeadloop();
    ORVA_CheckAndRepairDeadloop();
    std::printf("qarl %s %s, wendo %s %s\n", g_orvaQarlDeadLoop.handle != nullptr ? "open" : "missing",
                g_orvaQarlDeadLoop.entry != nullptr ? "found" : "none",
                g_orvaWendoDeadLoop.handle != nullptr ? "open" : "missing",
                g_orvaWendoDeadLoop.entry != nullptr ? "found" : "none");
}
