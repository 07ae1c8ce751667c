// Kinds 2 and 4: one row of 256 characters for the single bytes and one for each lead
// byte, and pages of 256 codes.
#include "charset/table_layout.h"
#include "tools/ucvtab/table_writer.h"

namespace mar::ucvtab {
namespace {

using namespace table_layout;

std::vector<uint16_t> decode_row(const Codeset& codeset, const Code& prefix) {
  std::vector<uint16_t> row;
  for (unsigned byte = 0; byte < 256; ++byte) {
    row.push_back(codeset.character(prefix.with(byte)).value_or(kUnmapped));
  }
  return row;
}

std::vector<uint16_t> encode_page(const Codeset& codeset, unsigned high) {
  std::vector<uint16_t> page(256, kUnmapped);
  for (unsigned low = 0; low < 256; ++low) {
    const Code code = codeset.code(static_cast<char16_t>(high << 8 | low));
    if (code.length == 1) page[low] = code.bytes[0];
    if (code.length != 2) continue;
    page[low] = static_cast<uint16_t>(code.bytes[0] << 8 | code.bytes[1]);
    // The converters tell one byte from two by the value alone, and 0xFFFF is taken.
    if (page[low] < 0x100 || page[low] == kUnmapped) {
      refuse(codeset, "code " + to_hex(code) + " cannot be written", code);
    }
  }
  return page;
}

// A byte either starts pairs or stands alone: its class has room for one of the two.
std::bitset<256> lead_bytes(const Codeset& codeset) {
  std::bitset<256> leads = codeset.leads;
  for (const auto& [code, unit] : codeset.decode) {
    if (code.length < 2) continue;
    leads.set(code.bytes[0]);
    if (codeset.kind == kEbcdicMixed && !is_mixed_lead(code.bytes[0])) {
      refuse(codeset, "pairs start with 40 to FE, unlike " + to_hex(code), code);
    }
  }
  for (unsigned byte = 0; codeset.kind == kDoubleByte && byte < 256; ++byte) {
    if (leads[byte] && codeset.character(single(byte))) {
      refuse(codeset, "byte " + to_hex(single(byte)) + " is a character and starts pairs", single(byte));
    }
  }
  return leads;
}

}  // namespace

void build_double_byte(TableWriter& writer) {
  const Codeset& codeset = writer.codeset();
  const bool mixed = codeset.kind == kEbcdicMixed;
  const std::bitset<256> leads = lead_bytes(codeset);
  const unsigned single_row = writer.add_block(decode_row(codeset, {}));
  for (unsigned byte = 0; byte < 256; ++byte) {
    // In mixed EBCDIC any byte from 0x40 to 0xFE may start a pair, so each needs a row.
    const bool lead = mixed ? is_mixed_lead(static_cast<uint8_t>(byte)) : leads[byte];
    const bool alone = mixed || byte < 0x80 || codeset.decode.contains(single(byte));
    writer.set_byte(byte,
                    lead    ? kClassLead
                    : alone ? kClassSingle
                            : kClassNone,
                    lead ? writer.add_block(decode_row(codeset, single(byte))) : single_row);
  }
  for (unsigned high = 0; high < 256; ++high) {
    writer.set_page(high, writer.add_block(encode_page(codeset, high)));
  }
}

}  // namespace mar::ucvtab
