/*
 * Loaded ahead of a program (LD_PRELOAD): makes its n-th allocation or its n-th system call fail.
 *
 *   ORVA_FAULT_KIND   alloc or call
 *   ORVA_FAULT_NTH    1, 2, ...; 0 only counts
 *   ORVA_FAULT_STATE  a file of sizeof(struct state) zero bytes, shared by the program and its children, that
 * receives the count, and the name of the call that failed
 *
 * An allocation that libarchive makes for itself does not fail: that library uses an entry's copy without a look at
 * whether there was memory for it, and no caller can help that.
 *
 * Calls that take something away (unlink, rmdir, munmap, kill, waitpid, IPC_RMID) never fail: after their failure
 * something is left whatever the program does. `close` closes and then reports a failure, as the kernel does.
 */
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

struct state {
    _Atomic uint64_t count;
    char failed[56];
};

static struct state *g_state;
static uint64_t g_nth;
static int g_allocations;

static void start(void) {
    const char *const kind = getenv("ORVA_FAULT_KIND");
    const char *const nth = getenv("ORVA_FAULT_NTH");
    const char *const path = getenv("ORVA_FAULT_STATE");
    if (kind == NULL || nth == NULL || path == NULL) {
        return;
    }
    const long fd = syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC, 0);
    if (fd < 0) {
        return;
    }
    const long at = syscall(SYS_mmap, NULL, sizeof *g_state, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    syscall(SYS_close, fd);
    if (at == -1) {
        return;
    }
    g_nth = strtoull(nth, NULL, 10);
    g_allocations = strcmp(kind, "alloc") == 0;
    g_state = (struct state *)at;
}

/*
 * The count begins with the program's main function: what fails before it, in constructors of packages, no program
 * can report.
 */
static int (*g_main)(int, char **, char **);

static int counted_main(int count, char **arguments, char **environment) {
    start();
    return g_main(count, arguments, environment);
}

int __libc_start_main(int (*program)(int, char **, char **), int count, char **arguments, void (*init)(void),
                      void (*fini)(void), void (*linkerFini)(void), void *stackEnd);
int __libc_start_main(int (*program)(int, char **, char **), int count, char **arguments, void (*init)(void),
                      void (*fini)(void), void (*linkerFini)(void), void *stackEnd) {
    __typeof__(&__libc_start_main) function = (__typeof__(function))0;
    *(void **)&function = dlsym(RTLD_NEXT, "__libc_start_main");
    g_main = program;
    return function(counted_main, count, arguments, init, fini, linkerFini, stackEnd);
}

/* Whether an allocation's caller is libarchive. */
static int is_excused(const void *caller) {
    Dl_info library;
    return dladdr(caller, &library) != 0 && strstr(library.dli_fname, "libarchive") != NULL;
}

/* Whether this call is the n-th of its kind. */
static int hit(int isAllocation, const char *name, int error, const void *caller) {
    if (g_state == NULL || isAllocation != g_allocations || atomic_fetch_add(&g_state->count, 1) + 1 != g_nth) {
        return 0;
    }
    if (caller != NULL && is_excused(caller)) {
        return 0;
    }
    strncpy(g_state->failed, name, sizeof g_state->failed - 1);
    errno = error;
    return 1;
}

/* ---- Allocations. The C library's own names for them need no look-up. */

#define HIT(name) (hit(1, name, ENOMEM, __builtin_return_address(0)))

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);

void *malloc(size_t size) {
    return HIT("malloc") ? NULL : __libc_malloc(size);
}

void *calloc(size_t count, size_t size) {
    return HIT("calloc") ? NULL : __libc_calloc(count, size);
}

void *realloc(void *block, size_t size) {
    return HIT("realloc") ? NULL : __libc_realloc(block, size);
}

void *aligned_alloc(size_t alignment, size_t size) {
    return HIT("aligned_alloc") ? NULL : __libc_memalign(alignment, size);
}

int posix_memalign(void **block, size_t alignment, size_t size) {
    if (HIT("posix_memalign")) {
        return ENOMEM;
    }
    *block = __libc_memalign(alignment, size);
    return *block == NULL ? ENOMEM : 0;
}

/* ---- System calls, by the functions that make them. */

static void *real(const char *name) {
    void *const address = dlsym(RTLD_NEXT, name);
    if (address == NULL) {
        abort();
    }
    return address;
}

#define CALL(result, name, parameters, arguments, failure, error)                                                    \
    result name parameters {                                                                                         \
        static _Atomic(void *) address;                                                                              \
        if (atomic_load(&address) == NULL) {                                                                         \
            atomic_store(&address, real(#name));                                                                     \
        }                                                                                                            \
        if (hit(0, #name, error, NULL)) {                                                                            \
            return failure;                                                                                          \
        }                                                                                                            \
        result(*function) parameters = __extension__(result(*) parameters) atomic_load(&address);                    \
        return function arguments;                                                                                   \
    }

CALL(ssize_t, read, (int fd, void *buffer, size_t size), (fd, buffer, size), -1, EIO)
CALL(ssize_t, write, (int fd, const void *buffer, size_t size), (fd, buffer, size), -1, ENOSPC)
CALL(ssize_t, writev, (int fd, const struct iovec *parts, int count), (fd, parts, count), -1, ENOSPC)
CALL(ssize_t, pread, (int fd, void *buffer, size_t size, off_t offset), (fd, buffer, size, offset), -1, EIO)
CALL(off_t, lseek, (int fd, off_t offset, int origin), (fd, offset, origin), -1, EIO)
CALL(int, fsync, (int fd), (fd), -1, EIO)
CALL(int, ftruncate, (int fd, off_t size), (fd, size), -1, EIO)
CALL(int, rename, (const char *from, const char *to), (from, to), -1, EIO)
CALL(int, link, (const char *from, const char *to), (from, to), -1, EIO)
CALL(int, symlink, (const char *target, const char *path), (target, path), -1, EIO)
CALL(int, mkdir, (const char *path, mode_t mode), (path, mode), -1, ENOSPC)
CALL(int, mkdirat, (int folder, const char *path, mode_t mode), (folder, path, mode), -1, ENOSPC)
CALL(char *, mkdtemp, (char *pattern), (pattern), NULL, EACCES)
CALL(int, mkstemp, (char *pattern), (pattern), -1, EMFILE)
CALL(int, chmod, (const char *path, mode_t mode), (path, mode), -1, EPERM)
CALL(int, fchmod, (int fd, mode_t mode), (fd, mode), -1, EPERM)
CALL(int, chdir, (const char *path), (path), -1, EACCES)
CALL(int, stat, (const char *path, struct stat *status), (path, status), -1, EACCES)
CALL(int, lstat, (const char *path, struct stat *status), (path, status), -1, EACCES)
CALL(int, fstat, (int fd, struct stat *status), (fd, status), -1, EIO)
CALL(int, access, (const char *path, int mode), (path, mode), -1, EACCES)
CALL(ssize_t, readlink, (const char *path, char *text, size_t size), (path, text, size), -1, EACCES)
CALL(char *, realpath, (const char *path, char *resolved), (path, resolved), NULL, EACCES)
CALL(char *, getcwd, (char *buffer, size_t size), (buffer, size), NULL, ERANGE)
CALL(DIR *, opendir, (const char *path), (path), NULL, EMFILE)
CALL(FILE *, fopen, (const char *path, const char *mode), (path, mode), NULL, EMFILE)
CALL(FILE *, fdopen, (int fd, const char *mode), (fd, mode), NULL, ENOMEM)
CALL(int, fflush, (FILE * file), (file), EOF, ENOSPC)
CALL(int, dup, (int fd), (fd), -1, EMFILE)
CALL(int, dup2, (int from, int to), (from, to), -1, EMFILE)
CALL(int, pipe, (int fds[2]), (fds), -1, EMFILE)
CALL(int, pipe2, (int fds[2], int flags), (fds, flags), -1, EMFILE)
CALL(int, eventfd, (unsigned value, int flags), (value, flags), -1, EMFILE)
CALL(int, timerfd_create, (int clock, int flags), (clock, flags), -1, EMFILE)
CALL(int, timerfd_settime, (int fd, int flags, const struct itimerspec *next, struct itimerspec *before),
     (fd, flags, next, before), -1, EINVAL)
CALL(int, signalfd, (int fd, const sigset_t *mask, int flags), (fd, mask, flags), -1, EMFILE)
CALL(int, socket, (int domain, int type, int protocol), (domain, type, protocol), -1, EMFILE)
CALL(int, socketpair, (int domain, int type, int protocol, int fds[2]), (domain, type, protocol, fds), -1, EMFILE)
CALL(int, bind, (int fd, __CONST_SOCKADDR_ARG address_, socklen_t size), (fd, address_, size), -1, EADDRINUSE)
CALL(int, listen, (int fd, int backlog), (fd, backlog), -1, EADDRINUSE)
CALL(int, connect, (int fd, __CONST_SOCKADDR_ARG address_, socklen_t size), (fd, address_, size), -1, ECONNREFUSED)
CALL(int, getsockname, (int fd, __SOCKADDR_ARG address_, socklen_t *size), (fd, address_, size), -1, ENOBUFS)
CALL(int, setsockopt, (int fd, int level, int option, const void *value, socklen_t size),
     (fd, level, option, value, size), -1, ENOBUFS)
CALL(ssize_t, send, (int fd, const void *buffer, size_t size, int flags), (fd, buffer, size, flags), -1, ENOBUFS)
CALL(ssize_t, sendto, (int fd, const void *buffer, size_t size, int flags, __CONST_SOCKADDR_ARG to, socklen_t toSize),
     (fd, buffer, size, flags, to, toSize), -1, ENOBUFS)
CALL(ssize_t, recv, (int fd, void *buffer, size_t size, int flags), (fd, buffer, size, flags), -1, ENOMEM)
CALL(ssize_t, recvfrom, (int fd, void *buffer, size_t size, int flags, __SOCKADDR_ARG from, socklen_t *fromSize),
     (fd, buffer, size, flags, from, fromSize), -1, ENOMEM)
CALL(int, msgget, (key_t key, int flags), (key, flags), -1, ENOSPC)
CALL(int, msgsnd, (int id, const void *message, size_t size, int flags), (id, message, size, flags), -1, ENOMEM)
CALL(ssize_t, msgrcv, (int id, void *message, size_t size, long type, int flags), (id, message, size, type, flags),
     -1, EACCES)
CALL(key_t, ftok, (const char *path, int project), (path, project), -1, ENOENT)
CALL(void *, mmap, (void *at, size_t size, int protection, int flags, int fd, off_t offset),
     (at, size, protection, flags, fd, offset), MAP_FAILED, ENOMEM)
CALL(void *, mmap64, (void *at, size_t size, int protection, int flags, int fd, off64_t offset),
     (at, size, protection, flags, fd, offset), MAP_FAILED, ENOMEM)
CALL(off64_t, lseek64, (int fd, off64_t offset, int origin), (fd, offset, origin), -1, EIO)
CALL(int, pthread_create,
     (pthread_t * thread, const pthread_attr_t *attribute, void *(*entry)(void *), void *argument),
     (thread, attribute, entry, argument), EAGAIN, EAGAIN)
CALL(pid_t, fork, (void), (), -1, EAGAIN)
CALL(int, unshare, (int flags), (flags), -1, EPERM)

/* A stream that failed says so to ferror. */
#define STREAM(name, pointer, error)                                                                                 \
    size_t name(pointer buffer, size_t size, size_t count, FILE *file) {                                             \
        size_t (*const function)(pointer, size_t, size_t, FILE *) =                                                  \
            __extension__(size_t(*)(pointer, size_t, size_t, FILE *)) real(#name);                                   \
        if (hit(0, #name, error, NULL)) {                                                                            \
            file->_flags |= _IO_ERR_SEEN;                                                                            \
            return 0;                                                                                                \
        }                                                                                                            \
        return function(buffer, size, count, file);                                                                  \
    }

STREAM(fread, void *, EIO)
STREAM(fwrite, const void *, ENOSPC)

int close(int fd) {
    const int result = (int)syscall(SYS_close, fd);
    return hit(0, "close", EIO, NULL) ? -1 : result;
}

int fclose(FILE *file) {
    int (*const function)(FILE *) = __extension__(int (*)(FILE *)) real("fclose");
    const int result = function(file);
    return hit(0, "fclose", ENOSPC, NULL) ? EOF : result;
}

#define OPEN(name, parameters, last, arguments)                                                                      \
    int name parameters {                                                                                            \
        va_list rest;                                                                                                \
        va_start(rest, last);                                                                                        \
        const unsigned mode = va_arg(rest, unsigned);                                                                \
        va_end(rest);                                                                                                \
        if (hit(0, #name, EMFILE, NULL)) {                                                                           \
            return -1;                                                                                               \
        }                                                                                                            \
        return (int)syscall arguments;                                                                               \
    }

OPEN(open, (const char *path, int flags, ...), flags, (SYS_openat, AT_FDCWD, path, flags, mode))
OPEN(open64, (const char *path, int flags, ...), flags, (SYS_openat, AT_FDCWD, path, flags | O_LARGEFILE, mode))
OPEN(openat, (int folder, const char *path, int flags, ...), flags, (SYS_openat, folder, path, flags, mode))
OPEN(openat64, (int folder, const char *path, int flags, ...), flags,
     (SYS_openat, folder, path, flags | O_LARGEFILE, mode))

/* The C++ library opens files and the C library's own headers redirect to these. */
CALL(FILE *, fopen64, (const char *path, const char *mode), (path, mode), NULL, EMFILE)
CALL(int, stat64, (const char *path, struct stat64 *status), (path, status), -1, EACCES)
CALL(int, lstat64, (const char *path, struct stat64 *status), (path, status), -1, EACCES)
CALL(int, fstat64, (int fd, struct stat64 *status), (fd, status), -1, EIO)
