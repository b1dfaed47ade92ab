#pragma once

#include <pthread.h>

#include <cstdint>

struct DlThread;

struct DlMutex {
    DlMutex* next_owned;
    DlMutex* previous_owned;
    DlThread* owner;
    const char* name;
    std::int32_t count;
    pthread_mutex_t real_lock;
};

using DlPrintFunction = int (*)(const char* format, ...);
using DlFatalFunction = void (*)(const char* text);

int dlMutexInit(DlMutex* m, const pthread_mutexattr_t* attribute, const char* name);
int dlMutexLock(DlMutex* m);
int dlMutexTryLock(DlMutex* m);
int dlMutexUnlock(DlMutex* m);
int dlMutexDestroy(DlMutex* m);
void dlInit(DlPrintFunction print, DlFatalFunction fatal);
