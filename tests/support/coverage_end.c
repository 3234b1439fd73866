// Linked into every program and library of the coverage build. A process that ends by _exit(), by abort() or in
// another program would lose its counts, and gcov's own wrappers know the image that calls, not the libraries beside
// it.
#include <stdlib.h>
#include <unistd.h>

void __gcov_dump(void);
void __gcov_reset(void);

struct Image {
    void (*write)(void);
    struct Image *next;
};

// The program's; libraries join its list. Absent in a program that is not instrumented.
#ifdef ORVA_COVERAGE_PROGRAM
struct Image *orva_coverage_images;
#else
extern struct Image *orva_coverage_images __attribute__((weak));
#endif

// Reset, so that a process that goes on writes again.
static void write_own(void) {
    __gcov_dump();
    __gcov_reset();
}

static struct Image g_own = {write_own, NULL};

__attribute__((constructor)) static void join(void) {
    if (&orva_coverage_images != NULL) {
        g_own.next = orva_coverage_images;
        orva_coverage_images = &g_own;
    }
}

// A library may be closed before its process ends.
__attribute__((destructor)) static void leave(void) {
    if (&orva_coverage_images != NULL) {
        for (struct Image **link = &orva_coverage_images; *link != NULL; link = &(*link)->next) {
            if (*link == &g_own) {
                *link = g_own.next;
                return;
            }
        }
    }
}

static void write_all(void) {
    if (&orva_coverage_images != NULL) {
        for (const struct Image *image = orva_coverage_images; image != NULL; image = image->next) {
            image->write();
        }
    }
}

_Noreturn void __real__exit(int status);
_Noreturn void __wrap__exit(int status) {
    write_all();
    __real__exit(status);
}

_Noreturn void __wrap__Exit(int status) {
    __wrap__exit(status);
}

_Noreturn void __real_abort(void);
_Noreturn void __wrap_abort(void) {
    write_all();
    __real_abort();
}

int __real_execv(const char *path, char *const arguments[]);
int __wrap_execv(const char *path, char *const arguments[]) {
    write_all();
    return __real_execv(path, arguments);
}

int __real_execvp(const char *file, char *const arguments[]);
int __wrap_execvp(const char *file, char *const arguments[]) {
    write_all();
    return __real_execvp(file, arguments);
}
