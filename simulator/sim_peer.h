#pragma once
// What zor_sim has to know of a peer that connects, and what it sets at the connection.

#include <netinet/in.h>

#include <cstdint>
#include <string>

/// The address of the peer of socket `fd`; all zeros if there is none any more.
in_addr simPeerAddress(std::int32_t fd);
/// "127.0.0.1"
std::string simAddressText(in_addr address);
/// Whether `address` is this machine's: of the loopback, or of one of its interfaces.
bool simIsOwnAddress(in_addr address);

/// Sets up the connection `fd` of a console: small frames go out at once, a console whose machine
/// or line is gone is noticed after some minutes, and one that is there and reads nothing makes a
/// write fail after `unread` seconds.
void simTunePeer(std::int32_t fd, int unread);
