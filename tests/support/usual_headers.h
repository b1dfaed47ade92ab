#pragma once
// What programs of the family include beside the library; much else comes along with these. Some of
// these names are macros that eat common words: major, minor, index, ECHO, MIN.

#include <complex.h>
#include <dirent.h>
#include <fcntl.h>
#include <math.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <resolv.h>
#include <semaphore.h>
#include <setjmp.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>
#include <wchar.h>
