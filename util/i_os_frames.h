#pragma once
// The call stack of the calling thread, read from its frame records.
//
// Internal room, shared by the lock layer (the call stack of an attempt) and the traceback. It
// stands on the ground floor: no lock, no heap after a thread's first walk, no other room.
//
// A frame record is what a function leaves at the foot of its stack frame. Its first word links to
// the record of the calling function. Where the return address stands depends on the machine:
//   x86-64    in the word behind the record's own link (built with frame pointers);
//   PowerPC   in the word behind the *caller's* record, as the ABI's back chain has it.
// `FrameRecord` hides the difference: its return address always leads out of the record's function.
//
// Frames of code built without frame pointers (system libraries) can end a chain early or bend it.
// Every read is therefore bounded by the thread's own stack and every link has to rise, so a walk
// always ends and never touches memory that isn't there.

#include <cstdint>

/// The address range of one thread's stack; empty (both 0) if the system doesn't tell it.
struct StackBounds {
    std::uintptr_t low;   ///< the first address
    std::uintptr_t high;  ///< the one behind the last
};

/// One frame record of the calling thread.
struct FrameRecord {
    std::uintptr_t address;  ///< where the record stands
    std::uintptr_t link;     ///< the record of the calling function, as read, unchecked
    std::uintptr_t
        return_address;  ///< where the record's function returns to; 0 at the chain's end
};

/// The stack of the calling thread. The first call of a thread asks the system (for the main thread
/// that reads /proc/self/maps), later calls cost a thread-local read.
StackBounds ownStack();

/// Reads the record at `address` into `out`. Gives false, with `out` unchanged, if `address` isn't
/// aligned or its two words don't lie inside `stack`. The walk begins with
/// `__builtin_frame_address(0)` of the function that asks: that record's return address leads into
/// its caller. Go on with `out.link` while that is above `out.address`.
bool readFrame(std::uintptr_t address, const StackBounds& stack, FrameRecord& out);

/// Writes up to `room` return addresses, innermost first, beginning with the one of the record at
/// `record` (`__builtin_frame_address(0)` of the calling function), and gives their number. These
/// are the frames that `backtrace` gives behind its first entry, up to the first function built
/// without frame records.
int walkReturnAddresses(const void* record, void** addresses, int room);
