#include "util/agent_instance.h"

#include <cstdlib>
#include <cstring>

char MULTI_AGENT_ENV_VAR[17] = "ARM_AGENT_PREFIX";

int isMultiAgent(void) { return std::getenv(MULTI_AGENT_ENV_VAR) != nullptr ? 1 : 0; }

void getMultiAgentName(char* buffer, int size) {
  if (buffer == nullptr || size < 1) return;
  const char* name = std::getenv(MULTI_AGENT_ENV_VAR);
  if (name == nullptr) {
    buffer[0] = '\0';
    return;
  }
  std::strncpy(buffer, name, static_cast<size_t>(size));
  buffer[size - 1] = '\0';
}
