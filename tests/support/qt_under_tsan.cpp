// ThreadSanitizer knows only what it compiled or intercepts, and a distribution's Qt is not among it: without
// help every QMutex looks like no lock at all. In preset tsan this file, itself built without the sanitizer,
// is part of every program. It leads the calls that lock and unlock on to Qt and tells the sanitizer of them,
// each time of this one mutex and no other, so an access without its lock is still reported; and so is an
// order of locking that could block for ever.
#include <QList>
#include <QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

extern "C" void __tsan_write8(void *address);

namespace {

template <typename Function>
Function *inQt(const char *mangledName)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, mangledName));
}

unsigned kindOf(const QMutex &mutex)
{
    return mutex.isRecursive() ? __tsan_mutex_write_reentrant : 0;
}

} // namespace

// Qt frees and copies what several threads share through reference counts, and it counts out of the
// sanitizer's sight: its calls of free() and memcpy() look like races of their own. They are left out. What
// our code does to Qt's containers is compiled as ours and stays in sight.
extern "C" const char *__tsan_default_suppressions()
{
    return "called_from_lib:libQt5Core.so.5\n";
}

// The functions of QMutex, which QMutexLocker calls too.

QMutex::~QMutex()
{
    static auto *const real = inQt<void(QMutex *)>("_ZN6QMutexD1Ev");
    __tsan_mutex_destroy(this, 0);
    real(this);
}

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static auto *const real = inQt<void(QMutex *)>("_ZN6QMutex4lockEv");
    const unsigned kind = kindOf(*this);
    __tsan_mutex_pre_lock(this, kind);
    real(this);
    __tsan_mutex_post_lock(this, kind, 1);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static auto *const real = inQt<bool(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    const unsigned kind = kindOf(*this) | __tsan_mutex_try_lock;
    __tsan_mutex_pre_lock(this, kind);
    const bool locked = real(this, timeout);
    __tsan_mutex_post_lock(this, locked ? kind : kind | __tsan_mutex_try_lock_failed, 1);
    return locked;
}

void QMutex::unlock() noexcept
{
    static auto *const real = inQt<void(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    real(this);
    __tsan_mutex_post_unlock(this, 0);
}

// Locking and unlocking a QBasicMutex is one atomic operation inside our code, which the sanitizer sees,
// unless another thread holds the mutex or waits for it. Then these are called.

void QBasicMutex::lockInternal() QT_MUTEX_LOCK_NOEXCEPT
{
    static auto *const real = inQt<void(QBasicMutex *)>("_ZN11QBasicMutex12lockInternalEv");
    real(this);
    __tsan_acquire(this);
}

bool QBasicMutex::lockInternal(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static auto *const real = inQt<bool(QBasicMutex *, int)>("_ZN11QBasicMutex12lockInternalEi");
    if (!real(this, timeout))
        return false;
    __tsan_acquire(this);
    return true;
}

void QBasicMutex::unlockInternal() noexcept
{
    static auto *const real = inQt<void(QBasicMutex *)>("_ZN11QBasicMutex14unlockInternalEv");
    __tsan_release(this);
    real(this);
}

// The number of a list's elements is kept by Qt, so a thread that only asks for it meets nothing that was
// compiled here. Each change of a list therefore counts as one of its first word, which everybody reads who
// uses it.

void **QListData::append()
{
    static auto *const real = inQt<void **(QListData *)>("_ZN9QListData6appendEv");
    __tsan_write8(this);
    return real(this);
}

void **QListData::append(const QListData &list)
{
    static auto *const real = inQt<void **(QListData *, const QListData &)>("_ZN9QListData6appendERKS_");
    __tsan_write8(this);
    return real(this, list);
}

void **QListData::prepend()
{
    static auto *const real = inQt<void **(QListData *)>("_ZN9QListData7prependEv");
    __tsan_write8(this);
    return real(this);
}

void QListData::remove(int index)
{
    static auto *const real = inQt<void(QListData *, int)>("_ZN9QListData6removeEi");
    __tsan_write8(this);
    real(this, index);
}

void QListData::move(int from, int to)
{
    static auto *const real = inQt<void(QListData *, int, int)>("_ZN9QListData4moveEii");
    __tsan_write8(this);
    real(this, from, to);
}

void **QListData::erase(void **element)
{
    static auto *const real = inQt<void **(QListData *, void **)>("_ZN9QListData5eraseEPPv");
    __tsan_write8(this);
    return real(this, element);
}

QListData::Data *QListData::detach(int capacity)
{
    static auto *const real = inQt<Data *(QListData *, int)>("_ZN9QListData6detachEi");
    __tsan_write8(this);
    return real(this, capacity);
}

QListData::Data *QListData::detach_grow(int *index, int count)
{
    static auto *const real = inQt<Data *(QListData *, int *, int)>("_ZN9QListData11detach_growEPii");
    __tsan_write8(this);
    return real(this, index, count);
}
