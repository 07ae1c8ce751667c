// Kinds 1 and 8: the entries of the bytes hold the characters, pages of 256 bytes hold the way back.
#include "charset/table_layout.h"
#include "tools/ucvtab/table_writer.h"

namespace mar::ucvtab {

void build_single_byte(TableWriter& writer) {
  const Codeset& codeset = writer.codeset();
  for (unsigned byte = 0; byte < 256; ++byte) {
    writer.set_byte(byte, table_layout::kClassSingle, codeset.character(single(byte)).value_or(kUnmapped));
  }
  for (unsigned high = 0; high < 256; ++high) {
    Bytes page(256, writer.substitute());
    for (unsigned low = 0; low < 256; ++low) {
      const Code code = codeset.code(static_cast<char16_t>(high << 8 | low));
      if (!code.empty()) page[low] = code.bytes[0];
    }
    writer.set_page(high, writer.add_block(std::move(page)));
  }
}

}  // namespace mar::ucvtab
