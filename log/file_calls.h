// The calls by which log and trace reach a file through its name, and what makes a file-size limit harmless.
// The log's names are UTF-8; the trace takes its path from the system's own configuration, as it stands
// there.
#pragma once

#include <sys/types.h>

// open, close-on-exec and restarted when a signal interrupts it. Never blocks: a FIFO without a reader fails.
// Returns the descriptor, or -1 with errno set.
int open_path(const char* path, int flags, mode_t mode);
int open_utf8_path(const char* path, int flags, mode_t mode);

// Ignores SIGXFSZ for the process where its action is still the default one, which is to kill it: a write
// past RLIMIT_FSIZE then just fails. Done once when log or trace is set up, since blocking the signal around
// each write would cost two system calls a line. A program's own handler stays; children inherit the
// ignoring.
void survive_file_size_limit();
