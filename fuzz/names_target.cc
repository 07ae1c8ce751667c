// Any bytes as the aliases file and as a redirect file. The input is a line with the name to look up, a byte
// with the room for the answer, and the content of the file that serves as both. Redirects may lead to a
// table, to themselves or nowhere.
#include <filesystem>

#include "charset/aliases.h"
#include "charset/codeset.h"
#include "fuzz/target.h"
#include "tests/support/files.h"

namespace mar {

namespace {

// An XCSDIR whose codeset/aliases and codeset/REDIRECT are the same file in memory; it goes with the process.
struct Directory {
  Directory() {
    check(mkdtemp(path) != nullptr, "a directory");
    const std::string below = std::string(path) + "/codeset/";
    std::filesystem::create_directory(below);
    for (const char* name : {"aliases", "REDIRECT"}) std::filesystem::create_symlink(file.path, below + name);
    write_file(below + "TABLE", std::string("\0\0\0\0\0\0\0\0ucv", 11) + std::string(1749, '\0'));
    xcs_set_dir(path);
  }
  ~Directory() { std::filesystem::remove_all(path); }

  MemoryFile file;
  char path[32] = "/tmp/names_target.XXXXXX";
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Directory directory;
  const std::string input(data, data + size);
  const size_t name_end = input.find('\n');
  if (name_end == std::string::npos || name_end + 2 > size) return 0;
  const std::string name = input.substr(0, name_end);
  const uint8_t room = data[name_end + 1];
  directory.file.fill(input.substr(name_end + 2));

  std::string answer(room, 'x');
  check(get_table_name(name.c_str(), answer.data(), room) == (room == 0 ? 1 : 0),
        "no room at all is reported");
  check(room == 0 || answer.find('\0') != std::string::npos, "the answer is terminated");
  for (const char* wanted : {name.c_str(), "REDIRECT"}) {
    xcs_cs_t* codeset = xcs_cs_new(wanted);
    check(codeset == nullptr || std::strlen(xcs_get_cs_name(codeset)) <= 32, "a codeset has a name");
    xcs_cs_free(codeset);
  }
  return 0;
}

}  // namespace mar
