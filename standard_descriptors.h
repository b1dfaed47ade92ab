#pragma once
// What both programs do first.

#include <fcntl.h>
#include <unistd.h>

/// Fills those of the descriptors 0 to 2 that are closed at the start. One of them would go to the
/// first socket: what a server sends would become the operator's input, and a trace line would go
/// out to a console.
inline void fillStandardDescriptors() {
    int descriptor = 0;
    do
        descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) close(descriptor);
}
