// Runs the real ucvtab in a directory of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "charset/convert.h"
#include "tests/support/files.h"

namespace mar {

struct Outcome {
  int code;            // exit status
  std::string output;  // standard output
  std::string error;   // standard error
};

class Tool : public testing::Test {
 protected:
  Tool();
  ~Tool() override;

  // Runs the tool in the directory. `arguments` are as a shell takes them; `environment` goes before the
  // tool's name, such as "NAME=value".
  Outcome run(const std::string& arguments, const std::string& environment = "");
  // The same, but fails the test unless the tool exits with 0. Returns the output.
  std::string must(const std::string& arguments, const std::string& environment = "");

  std::string path(const std::string& name) const { return directory_ + "/" + name; }
  void write(const std::string& name, const std::string& content) { write_file(path(name), content); }
  std::string read(const std::string& name) { return read_file(path(name)); }

  // Builds `text` into the table `name` and loads it with the product. The fixture frees the codeset.
  xcs_cs_t* build_text(const std::string& name, const std::string& text);

  std::string program_ = UCVTAB;

 private:
  std::string directory_;
  xcs_cs_t* codeset_ = nullptr;
};

// Whole-string conversions of the product.
std::string to_utf8(xcs_cs_t* codeset, const std::string& bytes);
std::string from_utf8(xcs_cs_t* codeset, const std::string& utf8);

}  // namespace mar
