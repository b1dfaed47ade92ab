#pragma once
// Face of the universal lists: the elements, the list with its cursor, and the sorted list.

#include "util/l_univ_element.h"
#include "util/l_univ_list.h"
#include "util/l_univ_sorted.h"
