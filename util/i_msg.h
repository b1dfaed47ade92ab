#pragma once
// Face of the messages of the family: the frame on the wire, the frame as an object that a program
// keeps, and the stream routines that both are written and read with.

#include "norba/i_msg.h"
#include "util/i_msg_message.h"
#include "util/i_msg_stream.h"
