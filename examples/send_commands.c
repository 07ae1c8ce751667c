/* Sends three commands to the engine of this host, none of which may take longer than five seconds, and says
 * why one failed. */
#include <mar/engine_client/commands.h>
#include <mar/engine_client/connection.h>
#include <stdio.h>
#include <string.h>

/* 1 after a failure. */
static int report(const char* command, int32_t result) {
  if (result == 1) {
    printf("%s: done\n", command);
    return 0;
  }
  printf("%s: %d, %s\n", command, (int)result, mar_last_error()->text);
  return 1;
}

int main(void) {
  int failures = 0;
  TPolicyDefinition every_transaction;
  TEdgeKey key;

  memset(&every_transaction, 0, sizeof every_transaction);
  strcpy(every_transaction.host_pattern, ".*");
  strcpy(every_transaction.application_pattern, ".*");
  strcpy(every_transaction.transaction_pattern, ".*");
  memset(&key, 0, sizeof key);
  key.number = 7;

  mar_set_deadline(5000);
  failures += report("ping", mar_ping_engine());
  failures += report("add a policy", mar_add_edge_policy(every_transaction, key));
  failures += report("upload every two hours from five o'clock", mar_set_upload_schedule(5, 2));
  return failures == 0 ? 0 : 1;
}
