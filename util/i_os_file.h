#pragma once
// File services: existence, directories, listing, removing, opening, reading whole. The room is
// also the face of the checksummed buffer file, of Cofstream and of the file descriptions.
//
// None of them takes a lock, and a failure is never fatal: it is traced and shows in the result.
// All names are terminated and not null.

#include <cstdio>

#include "util/i_os_file_buffer.h"
#include "util/i_os_file_cofstream.h"
#include "util/i_os_file_desc.h"

class l_univ;

/// 0 if the file (of any kind) exists, else -1 with `errno`.
int FileAccess(const char* name);
/// 1 if the file exists, else 0.
short FileExists(const char* name);

/// Makes each missing directory on `path`, one trace line "mkdir" each. Gives 0 if the path exists
/// already, with nothing traced, else the result of the last `mkdir`: 0, or -1 as for a path with
/// nothing to make. A failed one doesn't end the walk.
int create_dir(const char* path);

/// Adds an `ElDescFile` to the end of `list` for each regular file of `directory` whose name begins
/// with `prefix`, in the order of the directory. Links count as what they lead to. A directory that
/// can't be opened and an entry that can't be looked at are traced.
void get_list_files(const char* directory, const char* prefix, l_univ& list);

/// Removes a file; a failure is traced.
void RemoveOneFile(const char* name);

/// Opens a file with the `fopen` mode or, if that fails, makes or truncates it for reading and
/// writing, binary if the mode holds a "b". Gives the stream at the end of the file, which the
/// caller closes, or null, which is traced with the `errno` of the last try.
std::FILE* OpenOrCreateFile(const CharString& name, const char* mode);

/// Reads a file that another process may still be writing: up to 5 tries, each that gets no file
/// or an empty one followed by 100 ms of sleep; with `quick`, an empty file goes straight on to the
/// last try. Gives a terminated text of `new char[]` that belongs to the caller; a file of less
/// than 2 bytes gives the empty text. Null if there is no file, for a directory or something else
/// without a size (at once), and for a file that is larger than the memory that can be had.
char* ReadWholeFile(const char* name, short quick);
