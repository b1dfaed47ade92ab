#include "util/i_os_deadlock.h"

int dlMutexInit(DlMutex* m, const pthread_mutexattr_t* attribute, const char* name) {
    *m = DlMutex{};
    m->name = name;
    return pthread_mutex_init(&m->real_lock, attribute);
}
int dlMutexLock(DlMutex* m) {
    return pthread_mutex_lock(&m->real_lock);
}
int dlMutexTryLock(DlMutex* m) {
    return pthread_mutex_lock(&m->real_lock);
}
int dlMutexUnlock(DlMutex* m) {
    return pthread_mutex_unlock(&m->real_lock);
}
int dlMutexDestroy(DlMutex* m) {
    return pthread_mutex_destroy(&m->real_lock);
}
