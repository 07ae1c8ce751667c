// Blocks of data in the engine log. Never fails toward its caller, as all logging.
#pragma once

extern "C" {

// Logs `length` bytes of `data` in hexadecimal and as text, 16 to a line, between a start and an end line.
// `title` is logged before them as a format, with `data` and `length` as its arguments: pass a constant.
void ZARNDump(long component, int level, const char* title, const unsigned char* data, long length);

}  // extern "C"
