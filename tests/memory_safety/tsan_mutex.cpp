// ThreadSanitizer sees only what it compiled itself, and a distribution's Qt is not among it: without help
// every QMutex looks like no lock at all. Here the driver's calls are led past the sanitizer on their way to
// Qt.
#include <QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

template <typename Function>
Function *inQt(const char *mangledName)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, mangledName));
}

} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static auto *const real = inQt<void(QMutex *)>("_ZN6QMutex4lockEv");
    real(this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static auto *const real = inQt<bool(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    if (!real(this, timeout))
        return false;
    __tsan_acquire(this);
    return true;
}

void QMutex::unlock() noexcept
{
    static auto *const real = inQt<void(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    real(this);
}
