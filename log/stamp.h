// What a trace record says about its moment and its writer.
#pragma once

extern "C" {

// The local time as "2024-11-15 16:22:32.123" into `out` of 24 bytes, or with ":456:789" for micro- and
// nanoseconds into 32 when `extended` is non-zero. `seconds`, if given, receives the seconds since the epoch,
// and then `millis`, if given as well, the milliseconds.
void getLocalTime(int extended, char* out, unsigned long* seconds, unsigned long* millis);

int getPid(void);
unsigned long getTid(void);  // the calling thread's pthread_self

}  // extern "C"
