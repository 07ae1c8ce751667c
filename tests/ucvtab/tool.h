// Runs the real ucvtab in a directory of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "charset/convert.h"
#include "tests/support/files.h"
#include "tests/support/program.h"

namespace mar {

struct Outcome {
  int code;            // exit status
  std::string output;  // standard output
  std::string error;   // standard error
};

class Tool : public testing::Test {
 protected:
  ~Tool() override {
    xcs_cs_free(codeset_);
    std::filesystem::remove_all(directory_);
  }

  // Runs the tool in the directory. `arguments` are as a shell takes them; `environment` goes before the
  // tool's name, such as "NAME=value".
  Outcome run(const std::string& arguments, const std::string& environment = "") {
    const std::string command = environment + " " + program_ + " " + arguments + " >stdout 2>stderr";
    const int code = Program({"sh", "-c", "cd " + directory_ + " && " + command}).status();
    return {code, read("stdout"), read("stderr")};
  }
  // The same, but fails the test unless the tool exits with 0. Returns the output.
  std::string must(const std::string& arguments, const std::string& environment = "") {
    const Outcome outcome = run(arguments, environment);
    EXPECT_EQ(outcome.code, 0) << arguments << ": " << outcome.error;
    return outcome.output;
  }

  std::string path(const std::string& name) const { return directory_ + "/" + name; }
  void write(const std::string& name, const std::string& content) { write_file(path(name), content); }
  std::string read(const std::string& name) { return read_file(path(name)); }

  // Builds `text` into the table `name` and loads it with the product. The fixture frees the codeset.
  xcs_cs_t* build_text(const std::string& name, const std::string& text) {
    write(name + ".txt", text);
    must("build text:" + name + ".txt");
    xcs_cs_free(codeset_);
    codeset_ = xcs_cs_new(path(name).c_str());
    EXPECT_NE(codeset_, nullptr);
    return codeset_;
  }

  std::string program_ = UCVTAB;

 private:
  const std::string directory_ = mkdtemp(std::string("/tmp/ucvtab_test.XXXXXX").data());
  xcs_cs_t* codeset_ = nullptr;
};

// Whole-string conversions of the product.
inline std::string to_utf8(xcs_cs_t* codeset, const std::string& bytes) {
  char buffer[256];
  return {buffer, xcs_to_utf8(codeset, bytes.data(), static_cast<int>(bytes.size()), buffer, sizeof buffer)};
}
inline std::string from_utf8(xcs_cs_t* codeset, const std::string& utf8) {
  char buffer[256];
  return {buffer, xcs_from_utf8(codeset, utf8.data(), static_cast<int>(utf8.size()), buffer, sizeof buffer)};
}

}  // namespace mar
