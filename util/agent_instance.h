// The agent instance of a multi-agent installation, taken from the environment.
#pragma once

extern "C" {

// Name of the environment variable that marks an instance, "ARM_AGENT_PREFIX"; writable, NUL-terminated.
extern char MULTI_AGENT_ENV_VAR[17];

// 1 when that variable is set, even to an empty value, else 0.
int isMultiAgent(void);

// Copies the variable's value into `buffer` of `size` bytes, cut to size - 1 characters and padded with NULs
// to the end; a variable that is not set leaves just an empty string. Null or a size below 1: does nothing.
void getMultiAgentName(char* buffer, int size);

}  // extern "C"
