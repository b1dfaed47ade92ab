#pragma once

#include <atomic>
#include <cstdint>

#include "util/i_os_deadlock.h"

extern std::atomic<short> mutexNotes;
extern std::atomic<short> verboseIpc;

struct Mutex {
    char owner_text[32];
    std::atomic<std::uint32_t> owner_id;
    DlMutex lock_record;
    std::atomic<short> in_note;
    char* call_stack;
};

void mutexInit(Mutex** out, const char* name);
int mutexGet(Mutex* m, const char* file, int line);
short mutexTry(Mutex* m, const char* file, int line);
int mutexRel(Mutex* m);
void mutexDestroy(Mutex* m);
const char* mutexOwnerInfo(Mutex* m, std::uint32_t* id);

/// The process-wide lock named "mutex_Systeme", made at its first use; it guards `localtime` and
/// the hand-over of `emit`.
Mutex* systemMutex();

/// Holds a Mutex (null too) from its construction to the end of its scope.
class MutexHold {
  public:
    MutexHold(Mutex* m, const char* file, int line) : m_(m) { mutexGet(m_, file, line); }
    ~MutexHold() { mutexRel(m_); }
    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

  private:
    Mutex* m_;
};
