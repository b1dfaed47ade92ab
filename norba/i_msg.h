#pragma once
// Face of the message frames that the programs of the family exchange: the header, the frame built
// for sending, and the reader of a stream of frames.

#include "norba/i_msg_frame.h"
#include "norba/i_msg_reader.h"
