// As consumer.c, in C++, with a thread that sends the commands.
#include <mar/engine_client/commands.h>
#include <mar/log/engine_log.h>
#include <mar/runtime/thread.h>

#include <cstdio>

int pid = 7;
extern "C" int get_command() { return pid; }
extern "C" const char* readFile() { return "consumer begins"; }

class Sender : public CkesThread {
  long Run() override {
    TPolicyDefinition definition{};
    definition.pattern[0] = '.';
    TEdgeKey key{};
    key.number = 5;
    std::printf("%d %d", mar_ping_engine(), mar_add_edge_policy(definition, key));
    std::printf(" %d %d\n", mar_set_upload_schedule(5, 0), get_command());
    return 0;
  }
};

int main(int argc, char** argv) {
  if (argc != 2 || ZARNLogInit(argv[1], 100000, MAR_LOG_MAX, MAR_LOG_ALL, 0) != 0) return 1;
  ZARNLog(MAR_LOG_BACKEND, MAR_LOG_MIN, "%s", readFile());
  Sender sender;
  return sender.Start() == 0 && sender.Join() == 0 ? 0 : 1;
}
