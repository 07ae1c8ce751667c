// Kinds 1 and 8: the per-byte entries hold the characters, pages of 256 bytes hold the way back.
#include "charset/table_layout.h"
#include "tools/ucvtab/table_writer.h"

namespace ucvtab {

void build_single_byte(TableWriter& writer) {
  const Codeset& codeset = writer.codeset();
  for (unsigned byte = 0; byte < 256; ++byte) {
    const auto fixed = fixed_decode(codeset.kind, static_cast<uint8_t>(byte));
    const auto found = codeset.decode.find(single(byte));
    writer.set_byte(byte, 1, fixed ? *fixed : found != codeset.decode.end() ? found->second : kUnmapped);
  }
  for (unsigned high = 0; high < 256; ++high) {
    Bytes page(256, writer.substitute());
    for (unsigned low = 0; low < 256; ++low) {
      const char32_t unit = high << 8 | low;
      const auto fixed = fixed_encode(codeset.kind, unit);
      const Code& code = codeset.encode[unit];
      if (fixed)
        page[low] = *fixed;
      else if (!code.empty())
        page[low] = code.bytes[0];
    }
    writer.set_page(high, writer.add_block(std::move(page)));
  }
}

}  // namespace ucvtab
