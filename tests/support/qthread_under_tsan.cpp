// The end of a QThread, told to ThreadSanitizer like the locks in qt_under_tsan.cpp: what the thread did
// comes before whatever follows a wait for it. This file is built with the sanitizer, since its templates of
// the standard library are those of the whole program.
#include <QThread>

#include <future>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

QThread *QThread::createThreadImpl(std::future<void> &&work)
{
    static auto *const real = reinterpret_cast<QThread *(*)(std::future<void> &&)>(
        dlsym(RTLD_NEXT, "_ZN7QThread16createThreadImplEOSt6futureIvE"));
    return real(std::async(std::launch::deferred, [work = std::move(work)]() mutable {
        work.get();
        __tsan_release(QThread::currentThread());
    }));
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static auto *const real = reinterpret_cast<bool (*)(QThread *, QDeadlineTimer)>(
        dlsym(RTLD_NEXT, "_ZN7QThread4waitE14QDeadlineTimer"));
    if (!real(this, deadline))
        return false;
    __tsan_acquire(this);
    return true;
}
