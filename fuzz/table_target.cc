// Any bytes as a table file. If it loads, it converts some text.
#include "charset/convert.h"
#include "fuzz/target.h"

namespace mar {

namespace {

constexpr size_t kProbeBytes = 512;

// All bytes as leads, and all as trails of the first leads.
std::string probe_text() {
  std::string text;
  for (uint32_t i = 0; i < kProbeBytes; ++i) text += static_cast<char>(i % 2 ? i : 0x7F + i / 2);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const MemoryFile file;
  static const std::string text = probe_text();
  file.fill({data, data + size});
  xcs_cs_t* codeset = xcs_cs_new(file.path.c_str());
  const bool is_table = size >= 1760 && std::memcmp(data + 8, "ucv", 3) == 0;
  check(!is_table || codeset != nullptr, "every table loads");
  if (codeset == nullptr) return 0;
  uint32_t table_size;
  check(is_table && std::memcmp(xcs_cs_table(codeset, &table_size), data, size) == 0 && table_size == size,
        "the image is the file");
  check(std::strlen(xcs_get_cs_name(codeset)) <= 32, "the name is terminated");

  constexpr auto kLength = static_cast<int>(kProbeBytes);
  uint16_t units[kProbeBytes + 1] = {};  // one readable unit past the text
  char utf8[3 * kProbeBytes];
  char back[16 * kProbeBytes];
  const auto units_written = xcs_to_ucs2(codeset, text.data(), kLength, units, kProbeBytes);
  xcs_from_ucs2(codeset, units, static_cast<int>(units_written), back, sizeof back);
  const auto bytes_written = xcs_to_utf8(codeset, text.data(), kLength, utf8, sizeof utf8 - 1);
  utf8[bytes_written] = 0;
  xcs_from_utf8(codeset, utf8, static_cast<int>(bytes_written), back, sizeof back);
  xcs_cs_free(codeset);
  return 0;
}

}  // namespace mar
