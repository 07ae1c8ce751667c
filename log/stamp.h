// What a trace record says about its time and its writer. None of these fails.
#pragma once

extern "C" {

// Writes the local time to `out`: "2024-11-15 16:22:32.123" in 24 bytes, or, if `extended` is non-zero,
// followed by ":456:789" for micro- and nanoseconds, in 32 bytes. `seconds`, if given, receives the seconds
// since the epoch, and then `millis`, if given too, the milliseconds.
void getLocalTime(int extended, char* out, unsigned long* seconds, unsigned long* millis);

int getPid(void);
unsigned long getTid(void);  // the calling thread's pthread_self

}  // extern "C"
