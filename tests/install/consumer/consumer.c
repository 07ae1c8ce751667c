/* A program in C that uses the installed libraries and has names of its own that the libraries also use.
 * Prints the results of three commands. */
#include <mar/engine_client/commands.h>
#include <mar/log/engine_log.h>
#include <stdio.h>
#include <string.h>

int pid = 7;
int get_command(void);
int get_command(void) { return pid; }
const char* readFile(void);
const char* readFile(void) { return "consumer begins"; }

int main(int argc, char** argv) {
  TPolicyDefinition definition;
  TEdgeKey key;
  if (argc != 2 || ZARNLogInit(argv[1], 100000, MAR_LOG_MAX, MAR_LOG_ALL, 0) != 0) return 1;
  ZARNLog(MAR_LOG_BACKEND, MAR_LOG_MIN, "%s", readFile());
  memset(&definition, 0, sizeof definition);
  memset(&key, 0, sizeof key);
  strcpy(definition.pattern, ".*");
  key.number = 5;
  printf("%d %d", (int)mar_ping_engine(), (int)mar_add_edge_policy(definition, key));
  printf(" %d %d\n", (int)mar_set_upload_schedule(5, 0), get_command());
  return 0;
}
