#include "tests/ucvtab/tool.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

namespace mar {

Tool::Tool() {
  char name[] = "/tmp/ucvtab_test.XXXXXX";
  directory_ = mkdtemp(name);
}

Tool::~Tool() {
  xcs_cs_free(codeset_);
  std::filesystem::remove_all(directory_);
}

Outcome Tool::run(const std::string& arguments, const std::string& environment) {
  const std::string command =
      "cd " + directory_ + " && " + environment + " " + program_ + " " + arguments + " >stdout 2>stderr";
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("stdout"), read("stderr")};
}

std::string Tool::must(const std::string& arguments, const std::string& environment) {
  const Outcome outcome = run(arguments, environment);
  EXPECT_EQ(outcome.code, 0) << arguments << ": " << outcome.error;
  return outcome.output;
}

xcs_cs_t* Tool::build_text(const std::string& name, const std::string& text) {
  write(name + ".txt", text);
  must("build text:" + name + ".txt");
  xcs_cs_free(codeset_);
  codeset_ = xcs_cs_new(path(name).c_str());
  EXPECT_NE(codeset_, nullptr);
  return codeset_;
}

std::string to_utf8(xcs_cs_t* codeset, const std::string& bytes) {
  char buffer[256];
  return {buffer, xcs_to_utf8(codeset, bytes.data(), static_cast<int>(bytes.size()), buffer, sizeof buffer)};
}

std::string from_utf8(xcs_cs_t* codeset, const std::string& utf8) {
  char buffer[256];
  return {buffer, xcs_from_utf8(codeset, utf8.data(), static_cast<int>(utf8.size()), buffer, sizeof buffer)};
}

}  // namespace mar
