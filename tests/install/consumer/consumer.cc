// As consumer.c, in C++.
#include <engine_client/commands.h>

#include <cstdio>

int pid = 7;
extern "C" int get_command() { return pid; }

int main() {
  TPolicyDefinition definition{};
  definition.pattern[0] = '.';
  TEdgeKey key{};
  key.number = 5;
  std::printf("%d %d", mar_ping_engine(), mar_add_edge_policy(definition, key));
  std::printf(" %d %d\n", mar_set_upload_schedule(5, 0), get_command());
}
