// The agent instance of a multi-agent installation, taken from the environment. Neither function fails.
// Any thread may call, as long as none changes the environment.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// The name of the environment variable that marks an instance, "ARM_AGENT_PREFIX"; writable, NUL-terminated.
extern char MULTI_AGENT_ENV_VAR[17];

// 1 if that variable is set, even to an empty value, else 0.
int isMultiAgent(void);

// Copies the variable's value into `buffer` of `size` bytes, cut to size - 1 characters and padded with NULs
// to the end; if the variable is not set, writes an empty string and pads nothing. Does nothing if the buffer
// is null or the size below 1.
void getMultiAgentName(char* buffer, int size);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
