#pragma once

#include <semaphore.h>

#include <cstdint>

#include "util/i_os_mutex.h"

short semInit(sem_t** out, unsigned initial);
int semLock(sem_t* semaphore, long ignored1, long ignored2);
short semLock(sem_t* semaphore, std::int32_t wait);
short semUnLock(sem_t* semaphore);
short semDestroy(sem_t* semaphore);

struct ReadWriteLock {
    char* note;
    sem_t* semaphore;
    Mutex* mutex;
    short writers;
    short readers;
};

void rwInit(ReadWriteLock* lock);
void rwDestroy(ReadWriteLock* lock);
short rwLock(ReadWriteLock* lock, short exclusive, std::int32_t wait, const char* note);
short rwLock(ReadWriteLock* lock, short exclusive, std::int32_t wait);
short rwLock(ReadWriteLock* lock, short exclusive);
void rwUnlock(ReadWriteLock* lock, short exclusive);

struct Gate {
    sem_t* semaphore;
    Mutex* mutex;
    std::int32_t waiters;
    std::atomic<short> closed;
};

void gateInit(Gate* gate);
void gateDestroy(Gate* gate);
short gateWait(Gate* gate, std::int32_t wait);
short gateWait(Gate* gate);
void gateOpen(Gate* gate);
