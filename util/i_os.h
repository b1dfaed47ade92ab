#pragma once
// Face of the operating-system layer: locks, semaphores, threads, time, pipes and files.

#include "util/i_os_deadlock.h"
#include "util/i_os_file.h"
#include "util/i_os_mutex.h"
#include "util/i_os_sync.h"
#include "util/i_os_table.h"
#include "util/i_os_task.h"
#include "util/i_os_thread.h"
#include "util/i_os_time.h"
