#include "util/i_os_mutex.h"

#include "util/i_os_thread.h"

std::atomic<short> mutexNotes{0};
std::atomic<short> verboseIpc{0};

void mutexInit(Mutex** out, const char* name) {
    *out = new Mutex{};
    pthread_mutexattr_t attribute;
    pthread_mutexattr_init(&attribute);
    pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
    dlMutexInit(&(*out)->lock_record, &attribute, name);
    (*out)->owner_id = UINT32_MAX;
    pthread_mutexattr_destroy(&attribute);
}
int mutexGet(Mutex* m, const char*, int) {
    if (!m) return -1;
    const int code = dlMutexLock(&m->lock_record);
    if (code == 0) m->owner_id = threadId();
    return code;
}
short mutexTry(Mutex* m, const char* file, int line) {
    return m && mutexGet(m, file, line) == 0;
}
int mutexRel(Mutex* m) {
    if (!m) return -1;
    m->owner_id = UINT32_MAX;
    return dlMutexUnlock(&m->lock_record);
}
void mutexDestroy(Mutex* m) {
    if (!m) return;
    dlMutexDestroy(&m->lock_record);
    delete m;
}
Mutex* systemMutex() {
    static Mutex* const instance = [] {
        Mutex* m = nullptr;
        mutexInit(&m, "mutex_Systeme");
        return m;
    }();
    return instance;
}
