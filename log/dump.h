// Blocks of data in the engine log. Threads, errors and cancellation as in log/engine_log.h.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// Logs `length` bytes of `data` in hexadecimal and as text, 16 to a line, between a start and an end line.
// `title` is logged before them as a format, with `data` and `length` as its arguments: pass a constant.
void ZARNDump(long component, int level, const char* title, const unsigned char* data, long length);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
