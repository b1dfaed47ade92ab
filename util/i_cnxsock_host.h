#pragma once
// Host helpers of the connection layer: what a server program needs to know about host names, and
// the wait on a whole set of descriptors.
//
// The helpers keep no state of their own. HostToDotted and IsLocalHost rest on `gethostbyname`,
// whose answer lies in static memory: two threads must not run them at the same time, nor beside
// a ConnectService that looks a name up. WaitFdSet may be called from any thread.

#include <sys/select.h>

#include <cstdint>

/// One `select` for reading on the caller's descriptor set, for at most `timeout` milliseconds; 0
/// polls, a negative time-out waits without limit. Gives the number of ready descriptors, 0 at the
/// end of the time, -1 on failure. The set comes back as `select` left it.
int WaitFdSet(fd_set* set, std::int32_t timeout);

/// Writes the dotted address of `host` into the `size` bytes of `buffer`, cut to them and always
/// terminated. Only a name that begins with a letter is looked up, and one that is unknown leaves
/// `buffer` empty; any other text is taken for an address already and copied unchecked. At most
/// the first 79 characters of `host` count.
void HostToDotted(const char* host, char* buffer, std::int32_t size);

/// Whether `name` means this machine (1 or 0). In this order: an empty name doesn't; a name that
/// contains "localhost" anywhere does; so does this machine's own name; so does a text that begins
/// with the four numbers of this machine's address, points or blanks between them ("10.0.0.7" and
/// "10 0. 0 7" alike); and so does a name without a point that is looked up to the same address. If
/// this machine's own name can't be looked up, four zeros stand for its address.
short IsLocalHost(const char* name);
