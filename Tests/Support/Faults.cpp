// Loaded into a program in front of the C library, to make its system calls fail, or the program end, one at a time:
//
//   TEST_FAULTS=CALL:N:ACTION   the Nth call of that kind ("*": every one; CALL "any": of all those that change
//                               something) does ACTION: "errno=5", "kill" before the call, "skip" (says that it wrote
//                               and does not), "delay=50" milliseconds first, "run" TEST_FAULTS_COMMAND in a shell
//                               first; several with ";" between them
//   TEST_FAULTS_CLOCK=SECONDS   the calendar's clock shows so many seconds since 1970 when the program starts
//   TEST_FAULTS_LOG=FILE        the names of all calls are added to FILE, one per line, and " fails" behind those that
//                               were made to
//
// Calls on the three standard streams are left alone.

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

struct Plan {
    char call[32] = {};
    long nth = 0; // 0 is every one
    char action[32] = {};
    bool any = false;
    std::atomic<long> calls = 0;
};

std::array<Plan, 4> plans;
int logFile = -1;
time_t clockOffset = 0; // what the calendar's clock is behind

// A plan from the text up to its end or the next semicolon, behind which it gives what is left.
const char* readPlan(Plan& plan, const char* text)
{
    const char* end = std::strchr(text, ';');
    const char* first = std::strchr(text, ':');
    const char* second = first != nullptr ? std::strchr(first + 1, ':') : nullptr;
    if (second != nullptr) {
        std::memcpy(plan.call, text, static_cast<std::size_t>(first - text));
        plan.nth = first[1] == '*' ? 0 : std::strtol(first + 1, nullptr, 10);
        const std::size_t length
            = end != nullptr ? static_cast<std::size_t>(end - second - 1) : std::strlen(second + 1);
        std::memcpy(plan.action, second + 1, length);
        plan.any = std::strcmp(plan.call, "any") == 0;
    }
    return end != nullptr ? end + 1 : nullptr;
}

void readClock(const char* text)
{
    timespec now {};
    if (text != nullptr && ::syscall(SYS_clock_gettime, CLOCK_REALTIME, &now) == 0) {
        clockOffset = now.tv_sec - static_cast<time_t>(std::strtoll(text, nullptr, 10));
    }
}

// Before main and before the other libraries start.
__attribute__((constructor)) void readPlans()
{
    const char* text = std::getenv("TEST_FAULTS");
    const char* log = std::getenv("TEST_FAULTS_LOG");
    if (log != nullptr) {
        logFile
            = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    }
    for (std::size_t index = 0; text != nullptr && index < plans.size(); index++) {
        text = readPlan(plans[index], text);
    }
    readClock(std::getenv("TEST_FAULTS_CLOCK"));
}

void note(const char* call, const char* more = "")
{
    if (logFile >= 0) {
        std::array<char, 40> line {};
        const std::size_t length = std::strlen(call);
        const std::size_t moreLength = std::strlen(more);
        std::memcpy(line.data(), call, length);
        std::memcpy(line.data() + length, more, moreLength);
        line[length + moreLength] = '\n';
        ::syscall(SYS_write, logFile, line.data(), length + moreLength + 1);
    }
}

void runCommand()
{
    const char* command = std::getenv("TEST_FAULTS_COMMAND");
    std::array<const char*, 4> arguments {"sh", "-c", command, nullptr};
    std::array<char*, 1> environment {};
    pid_t child = -1;
    if (::posix_spawn(&child, "/bin/sh", nullptr, nullptr, const_cast<char**>(arguments.data()), environment.data())
        == 0) {
        ::waitpid(child, nullptr, 0);
    }
}

enum class Turn : std::uint8_t { goOn, fail, skip };

Turn carryOut(const char* call, const char* action)
{
    if (std::strncmp(action, "errno=", 6) == 0) {
        note(call, " fails");
        errno = std::atoi(action + 6);
        return Turn::fail;
    }
    if (std::strncmp(action, "delay=", 6) == 0) {
        const long milliseconds = std::atol(action + 6);
        const timespec time {.tv_sec = milliseconds / 1000, .tv_nsec = milliseconds % 1000 * 1000000};
        ::nanosleep(&time, nullptr);
    } else if (std::strcmp(action, "run") == 0) {
        runCommand();
    } else if (std::strcmp(action, "kill") == 0) {
        ::syscall(SYS_kill, ::syscall(SYS_getpid), SIGKILL);
    } else if (std::strcmp(action, "skip") == 0) {
        return Turn::skip;
    }
    return Turn::goOn;
}

// What becomes of this call.
Turn turn(const char* call, bool changes)
{
    const int kept = errno;
    note(call);
    errno = kept;
    for (Plan& plan : plans) {
        if (plan.action[0] == '\0' || (plan.any ? !changes : std::strcmp(plan.call, call) != 0)) {
            continue;
        }
        const long number = ++plan.calls;
        if (plan.nth == 0 || number == plan.nth) {
            return carryOut(call, plan.action);
        }
    }
    return Turn::goOn;
}

template <class Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// NAME is the symbol, CALL the kind it counts as; the rest are the parameters and, in brackets, the arguments.
#define FAULTY_AS(RESULT, NAME, CALL, CHANGES, PARAMETERS, ARGUMENTS)                                                  \
    extern "C" RESULT NAME PARAMETERS                                                                                  \
    {                                                                                                                  \
        static auto* real = next<RESULT PARAMETERS>(#NAME);                                                            \
        switch (turn(CALL, CHANGES)) {                                                                                 \
        case Turn::fail:                                                                                               \
            return static_cast<RESULT>(-1);                                                                            \
        case Turn::skip:                                                                                               \
        case Turn::goOn:                                                                                               \
            break;                                                                                                     \
        }                                                                                                              \
        return real ARGUMENTS;                                                                                         \
    }
#define FAULTY(RESULT, NAME, CHANGES, PARAMETERS, ARGUMENTS)                                                           \
    FAULTY_AS(RESULT, NAME, #NAME, CHANGES, PARAMETERS, ARGUMENTS)

#define FAULTY_WRITE(NAME, CALL, PARAMETERS, ARGUMENTS)                                                                \
    extern "C" ssize_t NAME PARAMETERS                                                                                 \
    {                                                                                                                  \
        static auto* real = next<ssize_t PARAMETERS>(#NAME);                                                           \
        if (file > STDERR_FILENO) {                                                                                    \
            switch (turn(CALL, true)) {                                                                                \
            case Turn::fail:                                                                                           \
                return -1;                                                                                             \
            case Turn::skip:                                                                                           \
                return static_cast<ssize_t>(size);                                                                     \
            case Turn::goOn:                                                                                           \
                break;                                                                                                 \
            }                                                                                                          \
        }                                                                                                              \
        return real ARGUMENTS;                                                                                         \
    }

#define FAULTY_OPEN(NAME, CALL, BEFORE, ...)                                                                           \
    extern "C" int NAME BEFORE                                                                                         \
    {                                                                                                                  \
        static auto* real = reinterpret_cast<int (*)(...)>(::dlsym(RTLD_NEXT, #NAME));                                 \
        mode_t mode = 0;                                                                                               \
        if ((flags & (O_CREAT | __O_TMPFILE)) != 0) {                                                                  \
            va_list more;                                                                                              \
            va_start(more, flags);                                                                                     \
            mode = va_arg(more, mode_t);                                                                               \
            va_end(more);                                                                                              \
        }                                                                                                              \
        return turn(CALL, (flags & O_CREAT) != 0) == Turn::fail ? -1 : real(__VA_ARGS__, flags, mode);                 \
    }

FAULTY_OPEN(open, "open", (const char* path, int flags, ...), path)
FAULTY_OPEN(open64, "open", (const char* path, int flags, ...), path)
FAULTY_OPEN(openat, "openat", (int folder, const char* path, int flags, ...), folder, path)
FAULTY_OPEN(openat64, "openat", (int folder, const char* path, int flags, ...), folder, path)

FAULTY_WRITE(write, "write", (int file, const void* bytes, size_t size), (file, bytes, size))
FAULTY_WRITE(pwrite, "pwrite", (int file, const void* bytes, size_t size, off_t offset), (file, bytes, size, offset))
FAULTY_WRITE(copy_file_range,
             "copy_file_range",
             (int source, off64_t* from, int file, off64_t* to, size_t size, unsigned flags),
             (source, from, file, to, size, flags))
FAULTY_WRITE(sendfile, "sendfile", (int file, int source, off_t* from, size_t size), (file, source, from, size))
FAULTY_AS(ssize_t, read, "read", false, (int file, void* bytes, size_t size), (file, bytes, size))
FAULTY_AS(
    ssize_t, pread, "pread", false, (int file, void* bytes, size_t size, off_t offset), (file, bytes, size, offset))
FAULTY(off_t, lseek, false, (int file, off_t offset, int whence), (file, offset, whence))
FAULTY_AS(off64_t, lseek64, "lseek", false, (int file, off64_t offset, int whence), (file, offset, whence))
FAULTY(int, ftruncate, true, (int file, off_t length), (file, length))
FAULTY_AS(int, ftruncate64, "ftruncate", true, (int file, off64_t length), (file, length))
FAULTY(int, fallocate, true, (int file, int mode, off_t offset, off_t length), (file, mode, offset, length))
FAULTY_AS(int,
          fallocate64,
          "fallocate",
          true,
          (int file, int mode, off64_t offset, off64_t length),
          (file, mode, offset, length))
FAULTY(int, fsync, true, (int file), (file))
FAULTY(int, syncfs, true, (int file), (file))
FAULTY(
    int, sync_file_range, true, (int file, off64_t begin, off64_t length, unsigned flags), (file, begin, length, flags))
FAULTY(int, mkdir, true, (const char* path, mode_t mode), (path, mode))
FAULTY(int, mkdirat, true, (int folder, const char* path, mode_t mode), (folder, path, mode))
FAULTY(int, mkfifoat, true, (int folder, const char* path, mode_t mode), (folder, path, mode))
FAULTY(int, symlink, true, (const char* target, const char* path), (target, path))
FAULTY(int, symlinkat, true, (const char* target, int folder, const char* path), (target, folder, path))
FAULTY(int, linkat, true, (int a, const char* b, int c, const char* d, int flags), (a, b, c, d, flags))
FAULTY(int, rename, true, (const char* from, const char* to), (from, to))
FAULTY(int, renameat2, true, (int a, const char* from, int b, const char* to, unsigned flags), (a, from, b, to, flags))
FAULTY(int, unlink, true, (const char* path), (path))
FAULTY(int, rmdir, true, (const char* path), (path))
FAULTY(int, remove, true, (const char* path), (path))
FAULTY(int, fchmod, true, (int file, mode_t mode), (file, mode))
FAULTY(int, fchmodat, true, (int folder, const char* path, mode_t mode, int flags), (folder, path, mode, flags))
FAULTY(int, fchown, true, (int file, uid_t user, gid_t group), (file, user, group))
FAULTY(int, fchownat, true, (int f, const char* p, uid_t u, gid_t g, int flags), (f, p, u, g, flags))
FAULTY(int, futimens, true, (int file, const timespec times[2]), (file, times))
FAULTY(int, utimensat, true, (int f, const char* p, const timespec times[2], int flags), (f, p, times, flags))
FAULTY(int, fsetxattr, true, (int f, const char* n, const void* v, size_t s, int flags), (f, n, v, s, flags))
FAULTY(ssize_t, fgetxattr, false, (int f, const char* n, void* v, size_t s), (f, n, v, s))
FAULTY(ssize_t, flistxattr, false, (int f, char* list, size_t s), (f, list, s))
FAULTY(ssize_t, llistxattr, false, (const char* p, char* list, size_t s), (p, list, s))
FAULTY(int, lsetxattr, true, (const char* p, const char* n, const void* v, size_t s, int flags), (p, n, v, s, flags))
FAULTY(ssize_t, lgetxattr, false, (const char* p, const char* n, void* v, size_t s), (p, n, v, s))
FAULTY(int, fremovexattr, true, (int f, const char* n), (f, n))
FAULTY(int, lremovexattr, true, (const char* p, const char* n), (p, n))
FAULTY(int, access, false, (const char* path, int mode), (path, mode))
FAULTY(int, faccessat, false, (int folder, const char* path, int mode, int flags), (folder, path, mode, flags))
FAULTY_AS(int, stat, "stat", false, (const char* path, struct stat* facts), (path, facts))
FAULTY_AS(int, lstat, "lstat", false, (const char* path, struct stat* facts), (path, facts))
FAULTY_AS(int, fstat, "fstat", false, (int file, struct stat* facts), (file, facts))
FAULTY_AS(int, fstatat, "fstatat", false, (int f, const char* p, struct stat* s, int flags), (f, p, s, flags))
FAULTY_AS(int, stat64, "stat", false, (const char* path, struct stat64* facts), (path, facts))
FAULTY_AS(int, lstat64, "lstat", false, (const char* path, struct stat64* facts), (path, facts))
FAULTY_AS(int, fstat64, "fstat", false, (int file, struct stat64* facts), (file, facts))
FAULTY(int, statx, false, (int f, const char* p, int flags, unsigned m, struct statx* s), (f, p, flags, m, s))
FAULTY(int, statvfs, false, (const char* path, struct statvfs* facts), (path, facts))
FAULTY(int, fstatvfs, false, (int file, struct statvfs* facts), (file, facts))
FAULTY_AS(int, statfs64, "statfs", false, (const char* path, struct statfs64* facts), (path, facts))
FAULTY(ssize_t, readlink, false, (const char* path, char* buffer, size_t size), (path, buffer, size))
FAULTY(ssize_t, readlinkat, false, (int f, const char* p, char* buffer, size_t size), (f, p, buffer, size))

extern "C" dirent* readdir(DIR* stream)
{
    static auto* real = next<dirent*(DIR*)>("readdir");
    return turn("readdir", false) == Turn::fail ? nullptr : real(stream);
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument)
{
    static auto* real = next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    return turn("pthread_create", false) == Turn::fail ? errno : real(thread, attributes, body, argument);
}

// The descriptor is gone all the same.
extern "C" int close(int file)
{
    static auto* real = next<int(int)>("close");
    const bool fails = file > STDERR_FILENO && turn("close", false) == Turn::fail;
    const int kept = errno;
    const int result = real(file);
    if (fails) {
        errno = kept;
    }
    return fails ? -1 : result;
}

extern "C" int ioctl(int file, unsigned long request, ...)
{
    static auto* real = reinterpret_cast<int (*)(...)>(::dlsym(RTLD_NEXT, "ioctl"));
    va_list more;
    va_start(more, request);
    void* argument = va_arg(more, void*);
    va_end(more);
    const bool meant = file > STDERR_FILENO && turn("ioctl", true) == Turn::fail;
    return meant ? -1 : real(file, request, argument);
}

extern "C" long syscall(long number, ...)
{
    static auto* real = reinterpret_cast<long (*)(...)>(::dlsym(RTLD_NEXT, "syscall"));
    va_list more;
    va_start(more, number);
    std::array<long, 6> arguments {};
    for (long& argument : arguments) {
        argument = va_arg(more, long);
    }
    va_end(more);
    if (number == SYS_openat2 && turn("openat2", false) == Turn::fail) {
        return -1;
    }
    return real(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static auto* real = next<int(clockid_t, timespec*)>("clock_gettime");
    const int result = real(clock, time);
    if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) {
        time->tv_sec -= clockOffset;
    }
    return result;
}

extern "C" int gettimeofday(timeval* time, void* zone) noexcept
{
    static auto* real = next<int(timeval*, void*)>("gettimeofday");
    const int result = real(time, zone);
    time->tv_sec -= clockOffset;
    return result;
}

extern "C" time_t time(time_t* place) noexcept
{
    static auto* real = next<time_t(time_t*)>("time");
    const time_t now = real(nullptr) - clockOffset;
    if (place != nullptr) {
        *place = now;
    }
    return now;
}
