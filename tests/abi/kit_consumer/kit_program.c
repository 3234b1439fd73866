/* Uses the test kit from C: every function of orva_testing.h, checked by its effect. */
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/msg.h>
#include <time.h>

#include "drv_basic.h"
#include "miro.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "orva_testing.h"

#define CHECK(condition)                                                                                             \
    do {                                                                                                             \
        if (!(condition)) {                                                                                          \
            fprintf(stderr, "line %d: %s\n", __LINE__, #condition);                                                  \
            exit(1);                                                                                                 \
        }                                                                                                            \
    } while (0)

static char g_failure[128];

static void keep_failure(const char *text) {
    snprintf(g_failure, sizeof g_failure, "%s", text);
}

static void faults_and_records(void) {
    uint32_t queue = 0;
    orva_testing_use_queues();
    orva_testing_fail("MIRO_MemAlloc_F", 1, 0, ENOMEM);
    CHECK(ORVA_QueueCreate(1, &queue) == ORVA_ERR_QUEUE_CLEAR_MEMORY);
    CHECK(ORVA_QueueCreate(1, &queue) == ORVA_OK);
    CHECK(orva_testing_calls_of("MIRO_MemAlloc_F") > 1);
    CHECK(orva_testing_live_blocks() == 0);
    orva_testing_fail_always("msgget", -1, EACCES);
    CHECK(ORVA_QueueCreate(2, &queue) == ORVA_ERR_QUEUE_TRY_GET);
    CHECK(ORVA_QueueCreate(2, &queue) == ORVA_ERR_QUEUE_TRY_GET);
    CHECK(orva_testing_record_count(ORVA_TESTING_LOGS) > 0);
    CHECK(orva_testing_record(ORVA_TESTING_LOGS, 1000000) == NULL);
    orva_testing_forget_records();
    CHECK(orva_testing_record_count(ORVA_TESTING_LOGS) == 0);
}

static void queues(void) {
    uint32_t queue = 0;
    long type = 0;
    char text[4] = "";
    orva_testing_use_queues();
    CHECK(ORVA_QueueCreate(1, &queue) == ORVA_OK);
    CHECK(orva_testing_queue_put((int)queue, ORVA_QUEUE_MESSAGE_TYPE, "in", 3) == 0);
    CHECK(orva_testing_queue_put((int)queue + 1, ORVA_QUEUE_MESSAGE_TYPE, "in", 3) == -1);
    CHECK(ORVA_QueueAsyRead(queue, text, sizeof text, ORVA_QUEUE_MESSAGE_TYPE) == 3 && strcmp(text, "in") == 0);
    CHECK(ORVA_QueueAsyWrite(queue, "out", 4) == ORVA_OK);
    CHECK(orva_testing_queue_take((int)queue, &type, text, 2) == 4);
    CHECK(type == ORVA_QUEUE_MESSAGE_TYPE && memcmp(text, "ou", 2) == 0);
    CHECK(orva_testing_queue_take((int)queue, NULL, text, sizeof text) == -1);
}

static void board(void) {
    uint32_t value = 0;
    char label[8] = "";
    CHECK(ORVA_DRVADP_GetSelfSlotID(&value) != ORVA_OK);
    orva_testing_set_board(ORVA_TESTING_SLOT, 6);
    orva_testing_set_board(ORVA_TESTING_BOARD_TYPE, 0x18010);
    orva_testing_set_board(ORVA_TESTING_BACKPLANE_TYPE, -1);
    orva_testing_set_environment("key", "value");
    orva_testing_set_elabel("label");
    CHECK(ORVA_DRVADP_GetSelfSlotID(&value) == ORVA_OK && value == 6);
    CHECK(drv_board_get_type(6, &value) == 0 && value == 0x18010);
    CHECK(drv_backplane_get_type(&value) == 1);
    CHECK(drv_env_get("key", label, sizeof label) == 0 && strcmp(label, "value") == 0);
    CHECK(strcmp(orva_testing_record(ORVA_TESTING_CALLS, orva_testing_record_count(ORVA_TESTING_CALLS) - 1),
                 "drv_env_get(\"key\", 0x8)") == 0);
    CHECK(drv_elabel_read(6, 0, label, sizeof label) == 0 && strcmp(label, "label") == 0);
    orva_testing_set_environment("key", NULL);
    orva_testing_set_elabel(NULL);
    CHECK(drv_env_get("key", label, sizeof label) == 1 && drv_elabel_read(6, 0, label, sizeof label) == 1);
}

static void clock_and_libraries(void) {
    static char object;
    MIRO_SYSTIME systime;
    orva_testing_clock_stop(86400);
    CHECK(time(NULL) == 86400);
    ORVA_SafeSleep(1500);
    orva_testing_clock_step(500);
    CHECK(time(NULL) == 86402);
    CHECK(MIRO_SystimeGet(&systime) == 0 && systime.year == 1970 && systime.day == 2 && systime.second == 2);
    orva_testing_add_symbol("libmade_up.so", NULL, NULL);
    orva_testing_add_symbol("libmade_up.so", "object", &object);
    CHECK(dlopen("libother.so", RTLD_NOW) == NULL && strstr(dlerror(), "libother.so") != NULL);
    void *const library = dlopen("libmade_up.so", RTLD_NOW);
    CHECK(library != NULL && dlsym(library, "object") == &object && dlsym(library, "other") == NULL);
    CHECK(dlclose(library) == 0);
}

static void failures(void) {
    orva_testing_on_failure(keep_failure);
    CHECK(orva_testing_calls_of("no_such_call") == 0);
    CHECK(strcmp(g_failure, "no controlled call is named no_such_call") == 0);
    CHECK(MIRO_MemFree_F(1, g_failure, "kit_program.c", 7) != 0);
    CHECK(strcmp(g_failure, "free of a block that is not allocated, kit_program.c:7") == 0);
    char *const block = MIRO_MemAlloc_F(1, 1, 4, "kit_program.c", 8);
    CHECK(orva_testing_live_blocks() == 1);
    block[4] = 0;
    CHECK(MIRO_MemFree_F(1, block, "kit_program.c", 9) == 0);
    CHECK(strcmp(g_failure, "written past a block of 4 bytes, freed at kit_program.c:9") == 0);
}

int main(void) {
    static void (*const cases[])(void) = {faults_and_records, queues, board, clock_and_libraries, failures};
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        orva_testing_reset();
        cases[i]();
    }
    puts("the kit holds from C");
    return 0;
}
