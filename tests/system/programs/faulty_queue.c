/*
 * A msgsnd that loses the tenth message of a process and one in two thousand after it, or sends it twice, and says
 * that all went well: for programs that must notice. FAULTY_QUEUE says which.
 */
#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/msg.h>

enum { FIRST = 10, EVERY = 2000 };

int msgsnd(int queue, const void *message, size_t size, int flags) {
    static int (*next)(int, const void *, size_t, int);
    static unsigned count;
    const char *fault = getenv("FAULTY_QUEUE");
    if (next == NULL) {
        *(void **)&next = dlsym(RTLD_NEXT, "msgsnd");
    }
    const int meant = fault != NULL && ++count % EVERY == FIRST;
    if (meant && strcmp(fault, "lost") == 0) {
        return 0;
    }
    if (meant && strcmp(fault, "doubled") == 0 && next(queue, message, size, flags) != 0) {
        return -1;
    }
    return next(queue, message, size, flags);
}
