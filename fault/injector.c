/* A preloaded library (LD_PRELOAD) between a program and the C library. It makes one call fail, or
 * all calls from that one on. The environment chooses the call:
 *
 *     QZ_FAULT="write 17 once 28"     the 17th write fails, with errno 28
 *     QZ_FAULT="alloc 3 on 12"        the 3rd allocation and all later ones fail
 *     QZ_FAULT="read 2 once 0"        the 2nd read returns half of the requested bytes
 *     QZ_FAULT_TRACE=1                prints the call stack of the call on standard error
 *
 * Calls of the library's pool allocator are counted as allocations themselves, because that
 * allocator takes memory from the system seldom and in large pieces. The injector allocates
 * nothing. */
#define _GNU_SOURCE
#include "injector.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>
#include <unwind.h>

/* ---- counting and choosing ------------------------------------------------------------------- */

/* clang-format off */
#define KINDS(_)                                                                                 \
    _(alloc) _(mmap) _(protect) _(thread) _(open) _(list) _(read) _(write) _(stat) _(lock)       \
    _(rename) _(remove) _(mkdir) _(mode) _(size) _(seek) _(sync) _(close) _(shm) _(wait)         \
    _(signal) _(key) _(load)
/* clang-format on */

#define ENUMERATOR(name) k_##name,
#define NAME(name) #name,
enum kind { KINDS(ENUMERATOR) kKinds };
static const char* const kNames[] = {KINDS(NAME)};

/* Shared from fault_begin on with forked children, whose calls also count. */
static _Alignas(4096) union {
    struct {
        atomic_int active;
        atomic_uint fired;
        atomic_ulong counts[kKinds];
        atomic_llong bytes, blocks, mapped;
    };
    char page[4096];
} state;

static struct {
    enum kind kind;
    unsigned long number;
    bool stays;
    int error;
    bool traced;
} chosen = {.kind = kKinds};

static _Thread_local __attribute__((tls_model("initial-exec"))) int aside;

static void trace(enum kind kind, unsigned long number) {
    void* frames[40];
    ++aside;
    dprintf(STDERR_FILENO, "fault: %s %lu\n", kNames[kind], number);
    const int count = backtrace(frames, 40);
    for (int i = 2; i < count; ++i) {
        Dl_info info;
        if (dladdr(frames[i], &info) != 0) {
            dprintf(STDERR_FILENO, "frame: %s %#tx\n", info.dli_fname,
                    (char*)frames[i] - (char*)info.dli_fbase);
        }
    }
    --aside;
}

#ifdef QZ_SANITIZED
/* Called for frames from the innermost on. The first frame outside this file and the C library
 * decides. */
static _Unwind_Reason_Code look_at_frame(struct _Unwind_Context* frame, void* is_sanitizer) {
    Dl_info here;
    Dl_info caller;
    if (dladdr((void*)look_at_frame, &here) == 0 ||
        dladdr((void*)_Unwind_GetIP(frame), &caller) == 0) {
        return _URC_END_OF_STACK;
    }
    if (caller.dli_fbase == here.dli_fbase || strstr(caller.dli_fname, "/libc.so") != NULL ||
        strstr(caller.dli_fname, "/ld-linux") != NULL) {
        return _URC_NO_REASON;
    }
    *(bool*)is_sanitizer = strstr(caller.dli_fname, "san.so") != NULL;
    return _URC_END_OF_STACK;
}

/* The sanitizers' runtimes end the process when one of their own calls fails, for example the C
 * library's function for the bounds of a new thread's stack, which allocates. */
static bool is_by_sanitizer(void) {
    bool is_sanitizer = false;
    ++aside;
    _Unwind_Backtrace(look_at_frame, &is_sanitizer);
    --aside;
    return is_sanitizer;
}
#else
static bool is_by_sanitizer(void) {
    return false;
}
#endif

/* Whether this call must fail; sets errno if so. */
static bool fails(enum kind kind) {
    if (atomic_load_explicit(&state.active, memory_order_relaxed) == 0 || aside != 0 ||
        is_by_sanitizer()) {
        return false;
    }
    const unsigned long number = 1 + atomic_fetch_add(&state.counts[kind], 1);
    if (kind != chosen.kind || (chosen.stays ? number < chosen.number : number != chosen.number)) {
        return false;
    }
    if (atomic_fetch_add(&state.fired, 1) == 0 && chosen.traced) {
        trace(kind, number);
    }
    errno = chosen.error;
    return true;
}

__attribute__((constructor)) static void choose(void) {
    void* frame;
    backtrace(&frame, 1); /* loads what it needs */
    chosen.traced = getenv("QZ_FAULT_TRACE") != NULL;
    char kind[16] = "";
    char mode[8] = "";
    const char* const text = getenv("QZ_FAULT");
    if (text != NULL &&
        sscanf(text, "%15s %lu %7s %d", kind, &chosen.number, mode, &chosen.error) == 4) {
        chosen.stays = strcmp(mode, "on") == 0;
        for (int i = 0; i < kKinds; ++i) {
            chosen.kind = strcmp(kind, kNames[i]) == 0 ? (enum kind)i : chosen.kind;
        }
    }
}

/* ---- the driver's side ----------------------------------------------------------------------- */

#define EXPORT __attribute__((visibility("default")))

/* The next definition of the replaced function. A library that was loaded later may have brought
 * the pools' allocator, which a plain look-up does not find. */
static void* next(const char* name) {
    ++aside;
    void* found = dlsym(RTLD_NEXT, name);
    if (found == NULL) {
        void* const library = dlopen("libtbbmalloc.so.2", RTLD_NOW | RTLD_NOLOAD);
        found = library != NULL ? dlsym(library, name) : NULL;
    }
    --aside;
    if (found == NULL) {
        dprintf(STDERR_FILENO, "fault: no %s\n", name);
        abort();
    }
    return found;
}

#define REAL(name)                             \
    static __typeof__(&name) real;             \
    if (real == NULL) {                        \
        real = (__typeof__(&name))next(#name); \
    }

EXPORT void fault_begin(void) {
    static bool shared;
    if (!shared) {
        static char copy[sizeof state];
        memcpy(copy, &state, sizeof state);
        ++aside;
        mmap(&state, sizeof state, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_FIXED,
             -1, 0);
        --aside;
        memcpy(&state, copy, sizeof state);
        shared = true;
    }
    atomic_store(&state.active, 1);
}

EXPORT void fault_end(void) {
    atomic_store(&state.active, 0);
}

EXPORT void fault_aside(int change) {
    aside += change;
}

EXPORT unsigned fault_fired(void) {
    return atomic_load(&state.fired);
}

EXPORT fault_usage fault_in_use(void) {
    return (fault_usage){atomic_load(&state.bytes), atomic_load(&state.blocks),
                         atomic_load(&state.mapped)};
}

EXPORT void fault_counts(void (*visit)(const char* kind, unsigned long count)) {
    for (int i = 0; i < kKinds; ++i) {
        visit(kNames[i], atomic_load(&state.counts[i]));
    }
}

/* ---- memory ---------------------------------------------------------------------------------- */

/* A forked child's memory is freed by the system, so it is not accounted. */
static bool is_child;

static void note_child(void) {
    is_child = true;
}

__attribute__((constructor)) static void watch_forks(void) {
    pthread_atfork(NULL, NULL, note_child);
}

static void account_mapped(long long bytes) {
    if (!is_child) {
        atomic_fetch_add_explicit(&state.mapped, bytes, memory_order_relaxed);
    }
}

/* The address sanitizer finds leaks by itself, and must not be asked for sizes while it starts. */
#ifdef QZ_SANITIZED
static void account(long long bytes, int blocks) {
    (void)bytes;
    (void)blocks;
}

static size_t size_of(void* block) {
    (void)block;
    return 0;
}
#else
static void account(long long bytes, int blocks) {
    if (!is_child) {
        atomic_fetch_add_explicit(&state.bytes, bytes, memory_order_relaxed);
        atomic_fetch_add_explicit(&state.blocks, blocks, memory_order_relaxed);
    }
}

static size_t size_of(void* block) {
    return malloc_usable_size(block);
}
#endif

static void* taken(void* block) {
    if (block != NULL) {
        account((long long)size_of(block), 1);
    }
    return block;
}

static void given(void* block) {
    if (block != NULL) {
        account(-(long long)size_of(block), -1);
    }
}

#define ALLOCATOR(_) _(malloc) _(calloc) _(realloc) _(aligned_alloc) _(memalign) _(posix_memalign)

#define POINTER(name) __typeof__(&name) name;
static struct { ALLOCATOR(POINTER) } allocator;

/* Looks up all functions at the first allocation: dlerror allocates, and a look-up during dlerror
 * would free the text that dlerror is about to write to. */
#define FIND(name) allocator.name = (__typeof__(&name))next(#name);
static void find_allocator(void) {
    if (allocator.malloc == NULL) {
        ALLOCATOR(FIND)
    }
}

EXPORT void* malloc(size_t size) {
    find_allocator();
    return fails(k_alloc) ? NULL : taken(allocator.malloc(size));
}

EXPORT void* calloc(size_t count, size_t size) {
    find_allocator();
    return fails(k_alloc) ? NULL : taken(allocator.calloc(count, size));
}

EXPORT void* realloc(void* block, size_t size) {
    find_allocator();
    if (fails(k_alloc)) {
        return NULL;
    }
    const size_t before = block != NULL ? size_of(block) : 0;
    void* const moved = allocator.realloc(block, size);
    if (moved != NULL || size == 0) {
        account(-(long long)before, block != NULL ? -1 : 0);
        taken(moved);
    }
    return moved;
}

EXPORT void* aligned_alloc(size_t alignment, size_t size) {
    find_allocator();
    return fails(k_alloc) ? NULL : taken(allocator.aligned_alloc(alignment, size));
}

EXPORT void* memalign(size_t alignment, size_t size) {
    find_allocator();
    return fails(k_alloc) ? NULL : taken(allocator.memalign(alignment, size));
}

EXPORT int posix_memalign(void** block, size_t alignment, size_t size) {
    find_allocator();
    if (fails(k_alloc)) {
        return ENOMEM;
    }
    const int error = allocator.posix_memalign(block, alignment, size);
    if (error == 0) {
        taken(*block);
    }
    return error;
}

EXPORT void free(void* block) {
    static bool looked_up;
    static __typeof__(&free) real;
    if (!looked_up) { /* a look-up may free memory of an earlier look-up */
        looked_up = true;
        real = (__typeof__(&free))next("free");
    }
    if (real == NULL) {
        return;
    }
    const int error = errno;
    given(block);
    real(block);
    errno = error;
}

/* rml::pool_realloc, pool_free and pool_msize; pools allocate with pool_realloc. */
void* _ZN3rml12pool_reallocEPNS_10MemoryPoolEPvm(void* pool, void* block, size_t size);
bool _ZN3rml9pool_freeEPNS_10MemoryPoolEPv(void* pool, void* block);
size_t _ZN3rml10pool_msizeEPNS_10MemoryPoolEPv(void* pool, void* block);

static long long pool_size(void* pool, void* block) {
    static __typeof__(&_ZN3rml10pool_msizeEPNS_10MemoryPoolEPv) real;
    if (real == NULL) {
        real = (__typeof__(real))next("_ZN3rml10pool_msizeEPNS_10MemoryPoolEPv");
    }
    return block != NULL ? (long long)real(pool, block) : 0;
}

EXPORT void* _ZN3rml12pool_reallocEPNS_10MemoryPoolEPvm(void* pool, void* block, size_t size) {
    REAL(_ZN3rml12pool_reallocEPNS_10MemoryPoolEPvm)
    const long long before = pool_size(pool, block);
    if ((block == NULL || (long long)size > before) && fails(k_alloc)) { /* shrinking never does */
        return NULL;
    }
    void* const moved = real(pool, block, size);
    if (moved != NULL) {
        account(pool_size(pool, moved) - before, block == NULL);
    }
    return moved;
}

EXPORT bool _ZN3rml9pool_freeEPNS_10MemoryPoolEPv(void* pool, void* block) {
    REAL(_ZN3rml9pool_freeEPNS_10MemoryPoolEPv)
    account(-pool_size(pool, block), block != NULL ? -1 : 0);
    return real(pool, block);
}

#ifdef QZ_SANITIZED /* the address sanitizer's operators do not go through malloc */
extern _Noreturn void _ZSt17__throw_bad_allocv(void);
#    define NEW(name, parameters, arguments, failure) \
        void* name parameters;                        \
        EXPORT void* name parameters {                \
            REAL(name)                                \
            if (fails(k_alloc)) {                     \
                failure;                              \
            }                                         \
            return real arguments;                    \
        }
NEW(_Znwm, (size_t size), (size), _ZSt17__throw_bad_allocv())
NEW(_Znam, (size_t size), (size), _ZSt17__throw_bad_allocv())
NEW(_ZnwmSt11align_val_t, (size_t size, size_t align), (size, align), _ZSt17__throw_bad_allocv())
NEW(_ZnwmRKSt9nothrow_t, (size_t size, const void* tag), (size, tag), return NULL)
NEW(_ZnamRKSt9nothrow_t, (size_t size, const void* tag), (size, tag), return NULL)
#endif

/* Whether the caller is the pools' allocator, whose reserves of memory are not accounted. */
static bool is_stock(const void* caller) {
    Dl_info info;
    return dladdr(caller, &info) != 0 && strstr(info.dli_fname, "libtbbmalloc") != NULL;
}

EXPORT void* mmap(void* at, size_t size, int access, int flags, int file, off_t offset) {
    REAL(mmap)
    if (fails(k_mmap)) {
        return MAP_FAILED;
    }
    void* const view = real(at, size, access, flags, file, offset);
    if (view != MAP_FAILED && (flags & MAP_FIXED) == 0 && !is_stock(__builtin_return_address(0))) {
        account_mapped((long long)size);
    }
    return view;
}

EXPORT int munmap(void* at, size_t size) {
    REAL(munmap)
    const int result = real(at, size);
    if (result == 0 && !is_stock(__builtin_return_address(0))) {
        account_mapped(-(long long)size);
    }
    return result;
}

/* ---- calls that fail by a result and errno ----------------------------------------------------
 */

#define CALL(kind, failure, type, name, parameters, arguments) \
    EXPORT type name parameters {                              \
        REAL(name)                                             \
        return fails(k_##kind) ? (failure) : real arguments;   \
    }

CALL(protect, -1, int, mprotect, (void* at, size_t size, int access), (at, size, access))
CALL(thread, chosen.error, int, pthread_create,
     (pthread_t * thread, const pthread_attr_t* how, void* (*start)(void*), void* argument),
     (thread, how, start, argument))
CALL(open, NULL, FILE*, fopen, (const char* path, const char* mode), (path, mode))
CALL(open, NULL, FILE*, fopen64, (const char* path, const char* mode), (path, mode))
CALL(open, NULL, DIR*, opendir, (const char* path), (path))
CALL(open, NULL, DIR*, fdopendir, (int file), (file))
CALL(list, NULL, struct dirent*, readdir, (DIR * directory), (directory))
CALL(stat, -1, int, stat, (const char* path, struct stat* status), (path, status))
CALL(stat, -1, int, lstat, (const char* path, struct stat* status), (path, status))
CALL(stat, -1, int, fstatat, (int file, const char* path, struct stat* status, int flags),
     (file, path, status, flags))
CALL(stat, -1, int, access, (const char* path, int mode), (path, mode))
CALL(stat, -1, int, faccessat, (int at, const char* path, int mode, int flags),
     (at, path, mode, flags))
CALL(stat, -1, ssize_t, readlinkat, (int at, const char* path, char* buffer, size_t size),
     (at, path, buffer, size))
CALL(stat, NULL, char*, realpath, (const char* path, char* resolved), (path, resolved))
CALL(stat, NULL, char*, getcwd, (char* buffer, size_t size), (buffer, size))
CALL(stat, -1, ssize_t, readlink, (const char* path, char* buffer, size_t size),
     (path, buffer, size))
CALL(lock, -1, int, flock, (int file, int operation), (file, operation))
CALL(rename, -1, int, rename, (const char* from, const char* to), (from, to))
CALL(rename, -1, int, link, (const char* from, const char* to), (from, to))
CALL(rename, -1, int, renameat, (int at, const char* from, int to_at, const char* to),
     (at, from, to_at, to))
CALL(remove, -1, int, unlink, (const char* path), (path))
CALL(remove, -1, int, unlinkat, (int at, const char* path, int flags), (at, path, flags))
CALL(remove, -1, int, rmdir, (const char* path), (path))
CALL(mkdir, -1, int, mkdir, (const char* path, mode_t mode), (path, mode))
CALL(mode, -1, int, fchmod, (int file, mode_t mode), (file, mode))
CALL(mode, -1, int, fchmodat, (int at, const char* path, mode_t mode, int flags),
     (at, path, mode, flags))
CALL(mode, -1, ssize_t, fgetxattr, (int file, const char* name, void* value, size_t size),
     (file, name, value, size))
CALL(mode, -1, int, fsetxattr,
     (int file, const char* name, const void* value, size_t size, int flags),
     (file, name, value, size, flags))
CALL(mode, -1, int, fremovexattr, (int file, const char* name), (file, name))
CALL(mode, -1, int, fchown, (int file, uid_t user, gid_t group), (file, user, group))
CALL(size, -1, int, ftruncate, (int file, off_t size), (file, size))
CALL(size, chosen.error, int, posix_fallocate, (int file, off_t from, off_t size),
     (file, from, size))
CALL(seek, -1, off_t, lseek, (int file, off_t offset, int from), (file, offset, from))
CALL(sync, -1, int, fsync, (int file), (file))
CALL(sync, -1, int, fdatasync, (int file), (file))
CALL(shm, -1, int, shm_open, (const char* name, int flags, mode_t mode), (name, flags, mode))
CALL(shm, -1, int, shm_unlink, (const char* name), (name))
CALL(wait, -1, int, sem_wait, (sem_t * semaphore), (semaphore))
CALL(wait, -1, int, sem_timedwait, (sem_t * semaphore, const struct timespec* end),
     (semaphore, end))
CALL(wait, -1, int, sem_clockwait, (sem_t * semaphore, clockid_t clock, const struct timespec* end),
     (semaphore, clock, end))
CALL(wait, -1, int, sigtimedwait,
     (const sigset_t* set, siginfo_t* info, const struct timespec* time), (set, info, time))
CALL(signal, -1, int, sigaction, (int number, const struct sigaction* now, struct sigaction* old),
     (number, now, old))
CALL(signal, -1, int, sigaltstack, (const stack_t* now, stack_t* old), (now, old))
CALL(signal, chosen.error, int, pthread_sigmask, (int how, const sigset_t* now, sigset_t* old),
     (how, now, old))
CALL(key, chosen.error, int, pthread_key_create, (pthread_key_t * key, void (*end)(void*)),
     (key, end))
CALL(load, NULL, void*, dlopen, (const char* path, int flags), (path, flags))

/* ---- calls that do something else as well ------------------------------------------------------
 */

/* If the error is 0, the call transfers only a part. */
#define TRANSFER(kind, name, parameters, whole, half) \
    EXPORT ssize_t name parameters {                  \
        REAL(name)                                    \
        if (!fails(k_##kind)) {                       \
            return real whole;                        \
        }                                             \
        return chosen.error != 0 ? -1 : real half;    \
    }

#define HALF(size) ((size) - (size) / 2)
TRANSFER(read, read, (int file, void* to, size_t size), (file, to, size), (file, to, HALF(size)))
TRANSFER(read, pread, (int file, void* to, size_t size, off_t at), (file, to, size, at),
         (file, to, HALF(size), at))
TRANSFER(write, write, (int file, const void* from, size_t size), (file, from, size),
         (file, from, HALF(size)))
TRANSFER(write, pwrite, (int file, const void* from, size_t size, off_t at), (file, from, size, at),
         (file, from, HALF(size), at))
TRANSFER(write, writev, (int file, const struct iovec* parts, int count), (file, parts, count),
         (file, parts, 1))

/* The sleep is interrupted at once, with all of its time left. */
#define SLEEP(name, parameters, arguments, failure) \
    EXPORT int name parameters {                    \
        REAL(name)                                  \
        if (!fails(k_wait)) {                       \
            return real arguments;                  \
        }                                           \
        if (rest != NULL) {                         \
            *rest = *time;                          \
        }                                           \
        return failure;                             \
    }
SLEEP(nanosleep, (const struct timespec* time, struct timespec* rest), (time, rest), -1)
SLEEP(clock_nanosleep,
      (clockid_t clock, int flags, const struct timespec* time, struct timespec* rest),
      (clock, flags, time, rest), chosen.error)

/* A descriptor is closed even if closing it reports an error. */
#define CLOSE(name, type, failure)          \
    EXPORT int name(type what) {            \
        REAL(name)                          \
        const bool failed = fails(k_close); \
        const int result = real(what);      \
        if (!failed) {                      \
            return result;                  \
        }                                   \
        errno = chosen.error;               \
        return failure;                     \
    }
CLOSE(close, int, -1)
CLOSE(closedir, DIR*, -1)
CLOSE(fclose, FILE*, EOF)

/* Never fails for a file in memory without a name: the system always knows its status, and the
 * library recognises its reserved descriptors by it. */
EXPORT int fstat(int file, struct stat* status) {
    REAL(fstat)
    const int result = real(file, status);
    const bool is_nameless = result == 0 && S_ISREG(status->st_mode) && status->st_nlink == 0;
    return !is_nameless && fails(k_stat) ? -1 : result;
}

/* Installed debugging information is ignored: it differs between machines, and reading that of the
 * C library takes thousands of allocations. */
static bool is_installed_debug_file(const char* path) {
    static const char kFolder[] = "/usr/lib/debug/";
    return strncmp(path, kFolder, sizeof kFolder - 1) == 0;
}

#define OPEN(name, parameters, arguments)                                                    \
    EXPORT int name parameters {                                                             \
        REAL(name)                                                                           \
        if (is_installed_debug_file(path)) {                                                 \
            errno = ENOENT;                                                                  \
            return -1;                                                                       \
        }                                                                                    \
        va_list rest;                                                                        \
        va_start(rest, flags);                                                               \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0; \
        va_end(rest);                                                                        \
        return fails(k_open) ? -1 : real arguments;                                          \
    }
OPEN(open, (const char* path, int flags, ...), (path, flags, mode))
OPEN(open64, (const char* path, int flags, ...), (path, flags, mode))
OPEN(openat, (int at, const char* path, int flags, ...), (at, path, flags, mode))

/* The names that fortified builds call. */
EXPORT int __open_2(const char* path, int flags) {
    return open(path, flags);
}
EXPORT int __openat_2(int at, const char* path, int flags) {
    return openat(at, path, flags);
}

/* Counts locks and duplicated descriptors; other commands are not counted. */
EXPORT int fcntl(int file, int command, ...) {
    REAL(fcntl)
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    const bool locks = command == F_SETLK || command == F_SETLKW || command == F_OFD_SETLK ||
                       command == F_OFD_SETLKW;
    const bool opens = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
    if ((locks && fails(k_lock)) || (opens && fails(k_open))) {
        return -1;
    }
    return real(file, command, argument);
}
