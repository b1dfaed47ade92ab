#include "util/i_os_table.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <span>
#include <utility>

#include "util/i_charstr.h"
#include "util/i_os_mutex.h"
#include "util/i_os_sync.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"

namespace {

constexpr int kSlots = 55;                   // that is the table's size; it isn't one short of 56
constexpr std::uint32_t kFree = UINT32_MAX;  // handle and id of a slot that nobody uses
constexpr std::int32_t kNoMark = -1;
constexpr int kFileTail = 24;  // bytes of a file name in a wait note; its end tells most
constexpr int kMarkTries = 5;
constexpr std::int32_t kMarkPause = 50;  // ms behind each try that found no slot

// A slot's semaphore with its users: the slot itself and every thread inside a suspend or resume.
// The last one destroys it, so that a thread may leave the table under a suspended one.
struct SlotSemaphore {
    sem_t* semaphore;
    int users;
};

struct Slot {
    std::int32_t number = 0;  // stays when the slot is freed
    char name[12] = "";
    std::uint32_t handle = kFree;
    std::uint32_t id = kFree;
    std::int32_t trace_mark = kNoMark;
    short wait_flag = 0;
    char wait_note[34] = "";  // valid while wait_flag is 1
    SlotSemaphore* semaphore = nullptr;
};

// The table, its count and the users of its semaphores; table_lock guards all of it. It is no
// `Mutex`, because a `Mutex` being taken leaves its wait note here.
constinit std::mutex table_lock;
constinit Slot TbThreadCreated[kSlots];
constinit std::int32_t table_count = 0;  // entries ever made; no measure of the slots in use

using TableHold = std::lock_guard<std::mutex>;

// The first slot with this id in the part of the table that can have been used: as many slots as
// entries were made, and `more`. To be called with the table held, like all that gives a slot.
Slot* findSlot(std::uint32_t id, int more) {
    const auto used = std::span(TbThreadCreated)
                          .first(static_cast<std::size_t>(std::min(table_count + more, kSlots)));
    const auto slot = std::ranges::find(used, id, &Slot::id);
    return slot == used.end() ? nullptr : &*slot;
}

Slot* ownSlot() {
    return findSlot(threadId(), 0);
}

// The own slot for use without the lock: name, handle and id change only while the slot is free.
Slot* takeOwnSlot() {
    const TableHold hold(table_lock);
    return ownSlot();
}

SlotSemaphore* makeSemaphore() {
    auto* made = new SlotSemaphore{nullptr, 1};
    semInit(&made->semaphore, 0);
    return made;
}

void giveBack(SlotSemaphore* shared) {
    if (!shared) return;
    {
        const TableHold hold(table_lock);
        if (--shared->users > 0) return;
    }
    semDestroy(shared->semaphore);
    delete shared;
}

SlotSemaphore* borrowSemaphore(std::uint32_t id) {
    const TableHold hold(table_lock);
    const Slot* slot = findSlot(id, 1);
    if (!slot || !slot->semaphore) return nullptr;
    ++slot->semaphore->users;
    return slot->semaphore;
}

bool enter(const char* name, std::uint32_t handle, std::uint32_t id, SlotSemaphore* semaphore) {
    const TableHold hold(table_lock);
    Slot* slot = findSlot(kFree, 1);
    if (!slot) return false;
    *slot = Slot{.number = ++table_count, .handle = handle, .id = id, .semaphore = semaphore};
    std::snprintf(slot->name, sizeof slot->name, "%s", name);
    return true;
}

SlotSemaphore* leave(Slot& slot) {
    const TableHold hold(table_lock);
    slot.id = kFree;
    slot.handle = kFree;
    return std::exchange(slot.semaphore, nullptr);
}

// Numbers and handles show as signed 32 bits, in traces as in the listing.
void traceEntry(const char* operation, std::uint32_t handle, const char* name, std::uint32_t id) {
    if (verboseIpc == 0) return;
    traceValues(operation, static_cast<std::int32_t>(handle), name, static_cast<std::int32_t>(id));
}

bool markOwnSlot(std::int32_t mark) {
    const TableHold hold(table_lock);
    Slot* slot = ownSlot();
    if (slot) slot->trace_mark = mark;
    return slot != nullptr;
}

void listSlot(CharString& text, const Slot& slot) {
    char line[96];
    std::snprintf(line, sizeof line, "%4d %12s  Hd%4d Id%4d  Trace%3d", slot.number, slot.name,
                  static_cast<std::int32_t>(slot.handle), static_cast<std::int32_t>(slot.id),
                  slot.trace_mark);
    text << line;
    if (mutexNotes != 0 && slot.wait_flag != 0) text << " wait mutex " << slot.wait_note;
    text << "\n";
}

}  // namespace

void PutThreadInTbThread(const char* name, std::uint32_t handle, std::uint32_t id) {
    SlotSemaphore* const semaphore = makeSemaphore();
    if (enter(name, handle, id, semaphore)) {
        traceEntry("PutThreadInTbThread", handle, name, id);
        return;
    }
    giveBack(semaphore);
    traceTexts("error in PutThreadInTbThread: table is full!", name);
}

void RemoveThreadFromTb() {
    Slot* const slot = takeOwnSlot();
    if (!slot) return;
    traceEntry("RemoveThreadFromTb", slot->handle, slot->name, slot->id);
    giveBack(leave(*slot));
}

const char* threadName() {
    const Slot* const slot = takeOwnSlot();
    return slot ? slot->name : "Unknown";
}

void setThreadTrace(std::int32_t mark) {
    for (int i = 0; i < kMarkTries && !markOwnSlot(mark); ++i)
        threadSleep(kMarkPause);
}

void setThreadWaitNote(const char* file, int line) {
    const TableHold hold(table_lock);
    Slot* slot = ownSlot();
    if (!slot) return;
    slot->wait_flag = file != nullptr;
    slot->wait_note[0] = '\0';
    if (!file) return;
    const std::size_t length = std::strlen(file);
    const char* tail = length > kFileTail ? file + length - kFileTail : file;
    std::snprintf(slot->wait_note, sizeof slot->wait_note, "%s %d", tail, line);
}

// A signal that ends the wait resumes nobody.
short threadSuspend(std::uint32_t id) {
    SlotSemaphore* const shared = borrowSemaphore(id);
    while (shared && !semLock(shared->semaphore, -1) && errno == EINTR)
        continue;
    giveBack(shared);
    return 0;
}

short threadResume(std::uint32_t id) {
    SlotSemaphore* const shared = borrowSemaphore(id);
    if (shared) semUnLock(shared->semaphore);
    giveBack(shared);
    return 0;
}

void listThreads(CharString& text) {
    text << "\nTbThreadCreated:\n";
    {
        const TableHold hold(table_lock);
        for (int i = 0; i < std::min(table_count, kSlots); ++i) {
            if (TbThreadCreated[i].id != kFree) listSlot(text, TbThreadCreated[i]);
        }
    }
    text << "\n";
}
