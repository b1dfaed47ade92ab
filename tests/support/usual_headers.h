#pragma once
// What programs of the family include beside the library; much else comes along with these. Some of
// these names are macros that eat common words: major, minor, index, ECHO, MIN.

#include <complex.h>
#include <fcntl.h>
#include <math.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <resolv.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>
