#include <io/system/LostPages.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <mutex>

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

/// A map that is guarded, or room for one: `begin` is zero then. Only the handler reads without the lock, and
/// only about a map that is alive, as somebody has just read from it.
struct Guard {
    std::atomic<bool> isDamaged = false;
    std::atomic<std::uintptr_t> begin = 0;
    std::atomic<std::uintptr_t> end = 0;
    Guard* next = nullptr;
};

/// Never gets shorter, so that the handler can walk it at any time.
std::atomic<Guard*> firstGuard = nullptr;
static_assert(std::atomic<Guard*>::is_always_lock_free && std::atomic<std::uintptr_t>::is_always_lock_free &&
              std::atomic<bool>::is_always_lock_free);

std::mutex guardsMutex;
std::uintptr_t pageSize = 0;
struct sigaction formerAction = {};

Guard* findGuard(std::uintptr_t address) {
    Guard* guard = firstGuard.load(std::memory_order_acquire);
    while (guard && (address < guard->begin.load() || address >= guard->end.load()))
        guard = guard->next;
    return guard;
}

void passOn(int signal, siginfo_t* info, void* context) {
    if ((formerAction.sa_flags & SA_SIGINFO) != 0) {
        formerAction.sa_sigaction(signal, info, context);
    } else if (formerAction.sa_handler != SIG_DFL && formerAction.sa_handler != SIG_IGN) {
        formerAction.sa_handler(signal);
    } else if (formerAction.sa_handler == SIG_DFL || info->si_code > 0) {
        // A read is tried again, and ends the process as it would have without this handler.
        struct sigaction standard = {};
        standard.sa_handler = SIG_DFL;
        ::sigaction(signal, &standard, nullptr);
        if (info->si_code <= 0)
            ::raise(signal);
    }
}

/// Not by way of mmap() where the call is known: a thread sanitizer wraps that and takes it for a write,
/// which it is for no thread that reads there.
bool mapZeros(std::uintptr_t page, std::size_t length) {
    constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE;
#if defined(__x86_64__) || defined(__aarch64__)
    return ::syscall(SYS_mmap, page, length, long{PROT_READ}, long{flags}, -1L, 0L) >= 0;
#else
    return ::mmap(reinterpret_cast<void*>(page), length, PROT_READ, flags, -1, 0) != MAP_FAILED;
#endif
}

void replaceLostPages(int signal, siginfo_t* info, void* context) {
    const int formerErrno = errno;
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    // A signal that some program has sent has a code below one, and names no address.
    Guard* const guard = info->si_code > 0 ? findGuard(address) : nullptr;
    if (guard) {
        // Before the zeros can be seen, for threads that read there meanwhile.
        guard->isDamaged = true;
        const std::uintptr_t page = address - address % pageSize;
        if (mapZeros(page, guard->end - page)) {
            errno = formerErrno;
            return;
        }
    }
    passOn(signal, info, context);
    errno = formerErrno;
}

void installHandler() {
    pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    struct sigaction action = {};
    action.sa_sigaction = replaceLostPages;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    ::sigemptyset(&action.sa_mask);
    if (::sigaction(SIGBUS, &action, &formerAction) != 0)
        throw InputError("files can't be mapped: no handler for their lost pages");
}

} // namespace

const std::atomic<bool>* guardPages(std::span<const std::byte> map) {
    static std::once_flag installed;
    std::call_once(installed, installHandler);
    const std::lock_guard lock(guardsMutex);
    Guard* guard = firstGuard.load();
    while (guard && guard->begin != 0)
        guard = guard->next;
    if (!guard) {
        guard = new Guard;
        guard->next = firstGuard.load();
        firstGuard.store(guard, std::memory_order_release);
    }
    guard->isDamaged = false;
    guard->end = reinterpret_cast<std::uintptr_t>(map.data()) + map.size();
    guard->begin = reinterpret_cast<std::uintptr_t>(map.data());
    return &guard->isDamaged;
}

void forgetPages(const std::atomic<bool>* isDamaged) noexcept {
    const std::lock_guard lock(guardsMutex);
    Guard* guard = firstGuard.load();
    while (guard && &guard->isDamaged != isDamaged)
        guard = guard->next;
    if (guard) {
        guard->end = 0;
        guard->begin = 0;
    }
}

} // namespace Tilewright::Io
