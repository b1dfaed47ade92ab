// A library to preload, which lets one call of the system or the C library fail, fall short or be
// interrupted: the n-th call of one function of the program it is loaded into.
//
//   LD_PRELOAD=libzor_faults.so ZOR_FAULT=read:3:EIO zor_console ...
//
// ZOR_FAULT is function:call:fault, with a fault of
//
//   an error     EIO, ENOMEM, EMFILE, ENOSPC, EAGAIN, ECONNRESET, ECONNREFUSED: the call isn't made
//   EINTR        the same, as a signal would do
//   short        one byte is read or written, where the call has a length
//   after        the call and every later one fails with ENOMEM
//
// A fault that strikes makes the file ZOR_FAULT_MARK, so that whoever counts upwards knows where to
// stop. Only calls that the program or its C++ library makes by name are seen, not those inside the
// C library.

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Error {
    const char* name;
    int value;
};
constexpr Error kErrors[] = {
    {"EIO", EIO},       {"ENOMEM", ENOMEM},         {"EMFILE", EMFILE},
    {"ENOSPC", ENOSPC}, {"EAGAIN", EAGAIN},         {"EINTR", EINTR},
    {"EBADF", EBADF},   {"ECONNRESET", ECONNRESET}, {"ECONNREFUSED", ECONNREFUSED}};

enum class Fault { kNone, kError, kShort, kAfter };

// What ZOR_FAULT asks for; read once, by the loader's only thread.
struct Plan {
    char function[32] = "";
    long call = 0;
    Fault fault = Fault::kNone;
    int error = 0;
    const char* mark = nullptr;
};
Plan plan;
std::atomic<long> calls_of_planned{0};

void tellStruck() {
    constexpr mode_t kOwnerOnly = 0600;
    if (plan.mark) ::close(::open(plan.mark, O_WRONLY | O_CREAT | O_CLOEXEC, kOwnerOnly));
}

[[gnu::constructor]] void readPlan() {
    plan.mark = std::getenv("ZOR_FAULT_MARK");
    const char* text = std::getenv("ZOR_FAULT");
    char fault[32] = "";
    if (!text || std::sscanf(text, "%31[^:]:%ld:%31s", plan.function, &plan.call, fault) != 3)
        return;
    if (std::strcmp(fault, "short") == 0) plan.fault = Fault::kShort;
    if (std::strcmp(fault, "after") == 0) {
        plan.fault = Fault::kAfter;
        plan.error = ENOMEM;
    }
    for (const Error& error : kErrors) {
        if (std::strcmp(fault, error.name) != 0) continue;
        plan.fault = Fault::kError;
        plan.error = error.value;
    }
}

/// Counts a call of `function` and gives the fault that it has to show.
Fault strike(const char* function) {
    if (plan.fault == Fault::kNone || std::strcmp(function, plan.function) != 0)
        return Fault::kNone;
    const long call = ++calls_of_planned;
    const bool hit = plan.fault == Fault::kAfter ? call >= plan.call : call == plan.call;
    if (!hit) return Fault::kNone;
    if (call == plan.call) tellStruck();
    errno = plan.error;
    return plan.fault == Fault::kShort ? Fault::kShort : Fault::kError;
}

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// Each stands in front of the function of its name.
#define NEXT(name) static const auto real = next<decltype(::name)>(#name)

extern "C" {

ssize_t read(int fd, void* buffer, size_t length) {
    NEXT(read);
    const Fault fault = strike("read");
    if (fault == Fault::kError) return -1;
    return real(fd, buffer, fault == Fault::kShort && length > 0 ? 1 : length);
}

ssize_t send(int fd, const void* buffer, size_t length, int flags) {
    NEXT(send);
    const Fault fault = strike("send");
    if (fault == Fault::kError) return -1;
    return real(fd, buffer, fault == Fault::kShort && length > 0 ? 1 : length, flags);
}

int select(int count, fd_set* in, fd_set* out, fd_set* other, timeval* limit) {
    NEXT(select);
    return strike("select") == Fault::kError ? -1 : real(count, in, out, other, limit);
}

int socket(int family, int type, int protocol) {
    NEXT(socket);
    return strike("socket") == Fault::kError ? -1 : real(family, type, protocol);
}

int connect(int fd, const sockaddr* address, socklen_t length) {
    NEXT(connect);
    return strike("connect") == Fault::kError ? -1 : real(fd, address, length);
}

int accept(int fd, sockaddr* address, socklen_t* length) {
    NEXT(accept);
    return strike("accept") == Fault::kError ? -1 : real(fd, address, length);
}

FILE* fopen(const char* name, const char* mode) {
    NEXT(fopen);
    return strike("fopen") == Fault::kError ? nullptr : real(name, mode);
}

FILE* fdopen(int fd, const char* mode) noexcept {
    NEXT(fdopen);
    return strike("fdopen") == Fault::kError ? nullptr : real(fd, mode);
}

size_t fwrite(const void* data, size_t size, size_t count, FILE* out) {
    NEXT(fwrite);
    const Fault fault = strike("fwrite");
    if (fault == Fault::kError) return 0;
    if (fault == Fault::kShort && size * count > 1) {
        real(data, 1, 1, out);
        return 0;
    }
    return real(data, size, count, out);
}

int pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*entry)(void*),
                   void* argument) {
    NEXT(pthread_create);
    if (strike("pthread_create") == Fault::kError) return EAGAIN;
    return real(id, attributes, entry, argument);
}

int sem_init(sem_t* semaphore, int shared, unsigned value) noexcept {
    NEXT(sem_init);
    return strike("sem_init") == Fault::kError ? -1 : real(semaphore, shared, value);
}

int sem_wait(sem_t* semaphore) {
    NEXT(sem_wait);
    return strike("sem_wait") == Fault::kError ? -1 : real(semaphore);
}

// dlsym itself may ask for memory: malloc goes straight to the C library's own entry.
void* __libc_malloc(size_t size);  // NOLINT(bugprone-reserved-identifier): the C library's name
void* malloc(size_t size) {
    return strike("malloc") == Fault::kError ? nullptr : __libc_malloc(size);
}

}  // extern "C"
