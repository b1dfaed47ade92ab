#pragma once
// Face of the connection layer: TCP connections of both sides, and what a program needs beside
// them to name hosts and to wait for descriptors.

#include "util/i_cnxsock_buffer.h"
#include "util/i_cnxsock_connection.h"
#include "util/i_cnxsock_host.h"
