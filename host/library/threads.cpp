/* Threads of a render as shaders see them: locks, numbers, and the end before its time. */
#include "shader.h"
#include "support/abort.h"
#include "support/messages.h"
#include "support/threads.h"

#include <mutex>
#include <new>

/* What a lock handle points to. */
struct miLock_s {
    std::mutex mutex;
};

namespace {

/// A handle that was never initialised, or whose lock was deleted, locks nothing: better unsafe than a dead render.
bool usable(miLock lock, const char* function) {
    if (!lock.ptr) lumorender::error("API", "{}: the lock is not initialised", function);
    return lock.ptr != nullptr;
}

}  // namespace

extern "C" {

miBoolean mi_init_lock(miLock* lock) {
    lock->ptr = new (std::nothrow) miLock_s;
    return lock->ptr != nullptr;
}

void mi_delete_lock(miLock* lock) {
    delete lock->ptr;
    lock->ptr = nullptr;
}

void mi_lock(miLock lock) {
    if (usable(lock, "mi_lock")) lock.ptr->mutex.lock();
}

void mi_unlock(miLock lock) {
    if (usable(lock, "mi_unlock")) lock.ptr->mutex.unlock();
}

miBoolean mi_trylock(miLock lock) { return usable(lock, "mi_trylock") && lock.ptr->mutex.try_lock(); }

int mi_par_aborted(void) { return lumorender::abortRequested(); }

void mi_abort(void) { lumorender::requestAbort(); }

miVpu mi_par_localvpu(void) { return lumorender::threadIndex; }

int mi_par_nthreads(void) { return lumorender::threadsOfRender; }

}  // extern "C"
