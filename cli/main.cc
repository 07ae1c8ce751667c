// t1: one command to the engine of this host, its outcome on standard output and as exit status.
#include <csignal>

#include "cli/command_line.h"
#include "cli/settings.h"

int main(int argc, char** argv) {
  // A reader that closes the pipe early must not end the client in the middle of an exchange. A program
  // started from here would inherit this, but none is.
  signal(SIGPIPE, SIG_IGN);
  if (Initialize(argc, argv) == 0) return 1;
  return Doit(argc, argv, iWhichCLICommand);
}
