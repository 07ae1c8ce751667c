/* A program in C that uses the installed library and has names of its own that the library also uses. */
#include <engine_client/commands.h>
#include <stdio.h>
#include <string.h>

int pid = 7;
int get_command(void);
int get_command(void) { return pid; }

int main(void) {
  TPolicyDefinition definition;
  TEdgeKey key;
  memset(&definition, 0, sizeof definition);
  memset(&key, 0, sizeof key);
  strcpy(definition.pattern, ".*");
  key.number = 5;
  printf("%d %d", (int)mar_ping_engine(), (int)mar_add_edge_policy(definition, key));
  printf(" %d %d\n", (int)mar_set_upload_schedule(5, 0), get_command());
  return 0;
}
