// The C library calls that unit tests can count, make fail or replace. Each passes through to the C library unless a
// fault is armed or a replacement is set, e.g.
//   libc().msgrcv = [](int, void *buffer, size_t, long, int) -> ssize_t { ... };
// The link line wraps exactly the calls of wrapped_calls.txt.
#ifndef ORVA_LIBC_DOUBLE_H
#define ORVA_LIBC_DOUBLE_H

#include <cstdio>
#include <ctime>
#include <functional>
#include <pthread.h>
#include <sys/auxv.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>

// X(result type, name, parameters, arguments)
#define ORVA_LIBC_CALLS(X)                                                                                           \
    X(int, msgget, (key_t key, int flags), (key, flags))                                                             \
    X(int, msgsnd, (int id, const void *message, size_t size, int flags), (id, message, size, flags))                \
    X(ssize_t, msgrcv, (int id, void *message, size_t size, long type, int flags), (id, message, size, type, flags)) \
    X(int, msgctl, (int id, int command, struct msqid_ds *descriptor), (id, command, descriptor))                    \
    X(key_t, ftok, (const char *path, int project), (path, project))                                                 \
    X(char *, getcwd, (char *buffer, size_t size), (buffer, size))                                                   \
    X(int, select, (int count, fd_set *in, fd_set *out, fd_set *except, struct timeval *timeout),                    \
      (count, in, out, except, timeout))                                                                             \
    X(int, gettimeofday, (struct timeval * time, void *zone), (time, zone))                                          \
    X(int, clock_gettime, (clockid_t clock, struct timespec * time), (clock, time))                                  \
    X(time_t, time, (time_t * seconds), (seconds))                                                                   \
    X(int, nanosleep, (const struct timespec *pause, struct timespec *left), (pause, left))                          \
    X(int, usleep, (useconds_t us), (us))                                                                            \
    X(struct tm *, localtime_r, (const time_t *seconds, struct tm *parts), (seconds, parts))                         \
    X(int, pthread_mutexattr_init, (pthread_mutexattr_t * attribute), (attribute))                                   \
    X(int, pthread_mutexattr_settype, (pthread_mutexattr_t * attribute, int type), (attribute, type))                \
    X(int, pthread_mutexattr_destroy, (pthread_mutexattr_t * attribute), (attribute))                                \
    X(int, pthread_mutex_init, (pthread_mutex_t * mutex, const pthread_mutexattr_t *attribute), (mutex, attribute))  \
    X(int, pthread_mutex_destroy, (pthread_mutex_t * mutex), (mutex))                                                \
    X(int, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))                                                   \
    X(int, pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))                                                 \
    X(void *, dlopen, (const char *name, int mode), (name, mode))                                                    \
    X(void *, dlsym, (void *handle, const char *symbol), (handle, symbol))                                           \
    X(int, dlclose, (void *handle), (handle))                                                                        \
    X(char *, dlerror, (), ())                                                                                       \
    X(FILE *, fopen, (const char *path, const char *mode), (path, mode))                                             \
    X(int, fclose, (FILE * file), (file))                                                                            \
    X(size_t, fread, (void *buffer, size_t size, size_t count, FILE *file), (buffer, size, count, file))             \
    X(size_t, fwrite, (const void *buffer, size_t size, size_t count, FILE *file), (buffer, size, count, file))      \
    X(int, fseek, (FILE * file, long offset, int origin), (file, offset, origin))                                    \
    X(long, ftell, (FILE * file), (file))                                                                            \
    X(int, fputs, (const char *text, FILE *file), (text, file))                                                      \
    X(int, fputc, (int character, FILE *file), (character, file))                                                    \
    X(ssize_t, getline, (char **line, size_t *size, FILE *file), (line, size, file))                                 \
    X(char *, realpath, (const char *path, char *resolved), (path, resolved))                                        \
    X(int, access, (const char *path, int mode), (path, mode))                                                       \
    X(int, mkdir, (const char *path, mode_t mode), (path, mode))                                                     \
    X(int, chmod, (const char *path, mode_t mode), (path, mode))                                                     \
    X(mode_t, umask, (mode_t mask), (mask))                                                                          \
    X(int, stat, (const char *path, struct stat *status), (path, status))                                            \
    X(int, lstat, (const char *path, struct stat *status), (path, status))                                           \
    X(int, remove, (const char *path), (path))                                                                       \
    X(int, capget, (void *header, void *data), (header, data))                                                       \
    X(int, capset, (void *header, const void *data), (header, data))                                                 \
    X(pid_t, getpid, (), ())                                                                                         \
    X(unsigned long, getauxval, (unsigned long type), (type))

// The calls with optional arguments, given here in the form in which the library uses them.
#define ORVA_LIBC_VARIADIC_CALLS(X)                                                                                  \
    X(int, open, (const char *path, int flags, mode_t mode), (path, flags, mode))                                    \
    X(int, fcntl, (int fd, int command, long argument), (fd, command, argument))                                     \
    X(int, ioctl, (int fd, unsigned long request, void *argument), (fd, request, argument))                          \
    X(int, fprintf, (FILE * file, const char *text), (file, text)) /* `text` is the formatted result */

namespace orva_test {

struct LibcHooks {
#define X(result, name, parameters, arguments) std::function<result parameters> name;
    ORVA_LIBC_CALLS(X)
    ORVA_LIBC_VARIADIC_CALLS(X)
#undef X
};

LibcHooks &libc();

} // namespace orva_test

#endif
