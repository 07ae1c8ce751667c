// Kind 3: a trie of nodes for decoding; pages of (prefix number, value) and prefix records for encoding.
#include <algorithm>

#include "charset/table_layout.h"
#include "tools/ucvtab/table_writer.h"

namespace mar::ucvtab {
namespace {

using namespace table_layout;

// The code length that each lead byte starts: 0 for a byte that starts nothing, 2 for a lead without codes.
std::array<unsigned, 256> code_length_by_lead(const Codeset& codeset) {
  std::array<unsigned, 256> lengths{};
  for (const auto& [code, unit] : codeset.decode) {
    unsigned& length = lengths[code.bytes[0]];
    if (length != 0 && length != code.length) {
      refuse(codeset, "byte " + to_hex(single(code.bytes[0])) + " starts codes of different lengths", code);
    }
    if (code.bytes[0] < 0x80) refuse(codeset, "an ASCII byte starts a code", code);
    length = code.length;
  }
  for (unsigned byte = 0; byte < 256; ++byte) {
    if (!codeset.leads[byte]) continue;
    if (lengths[byte] == 1) {
      refuse(codeset, "byte " + to_hex(single(byte)) + " is a character and a lead", single(byte));
    }
    if (byte < 0x80) refuse(codeset, "an ASCII byte starts a code", single(byte));
    if (lengths[byte] == 0) lengths[byte] = 2;
  }
  return lengths;
}

// The node for what follows `prefix`: count, first byte, children. After the last step they are characters.
unsigned add_node(TableWriter& writer, const Code& prefix, unsigned length) {
  const Codeset& codeset = writer.codeset();
  std::vector<uint16_t> children(256, kUnmapped);
  unsigned first = 256, last = 0;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const Code code = prefix.with(byte);
    Code lowest = code;  // of the whole codes that start with `code`
    lowest.length = static_cast<uint8_t>(length);
    const auto found = codeset.decode.lower_bound(lowest);
    if (found == codeset.decode.end() || !found->first.view().starts_with(code.view())) continue;
    children[byte] = code.length == length ? uint16_t{found->second}
                                           : static_cast<uint16_t>(add_node(writer, code, length));
    first = std::min(first, byte);
    last = byte;
  }
  if (first == 256) return writer.add_block(std::vector<uint16_t>{0, 0});
  std::vector<uint16_t> node{static_cast<uint16_t>(last - first + 1), static_cast<uint16_t>(first)};
  node.insert(node.end(), children.begin() + first, children.begin() + last + 1);
  return writer.add_block(node);
}

// What comes before the last two bytes of a code.
Code prefix_of(const Code& code) { return code_from_bytes(code.view().substr(0, code.length - 2u)); }

// All prefixes, numbered from 0 in sorted order.
std::map<Code, unsigned> number_prefixes(const Codeset& codeset) {
  std::map<Code, unsigned> prefixes;
  for (const Code& code : codeset.encode) {
    if (code.length > 1) prefixes.emplace(prefix_of(code), 0);
  }
  unsigned number = 0;
  for (auto& entry : prefixes) entry.second = number++;
  return prefixes;
}

std::vector<uint16_t> encode_page(const Codeset& codeset, const std::map<Code, unsigned>& prefixes,
                                  unsigned high) {
  std::vector<uint16_t> page;
  for (unsigned low = 0; low < 256; ++low) {
    const Code code = codeset.code(static_cast<char16_t>(high << 8 | low));
    unsigned prefix = kUnmapped, value = code.empty() ? kUnmapped : code.bytes[0];
    if (code.length > 1) {
      prefix = prefixes.at(prefix_of(code));
      value = static_cast<unsigned>(code.bytes[code.length - 2u]) << 8 | code.bytes[code.length - 1u];
      if (value < 0x100) refuse(codeset, "code " + to_hex(code) + " cannot be written", code);
    }
    page.push_back(static_cast<uint16_t>(prefix));
    page.push_back(static_cast<uint16_t>(value));
  }
  return page;
}

}  // namespace

void build_multi_byte(TableWriter& writer) {
  const Codeset& codeset = writer.codeset();

  // Prefix records come first: they are counted from the start of the data region in units of 16 bytes.
  const std::map<Code, unsigned> prefixes = number_prefixes(codeset);
  for (const auto& [prefix, number] : prefixes) {
    Bytes record(prefix.view().begin(), prefix.view().end());
    record.resize(kMaxPrefix);
    append(record, uint16_t{prefix.length});
    writer.append(record);
  }

  const std::array<unsigned, 256> lengths = code_length_by_lead(codeset);
  for (unsigned byte = 0; byte < 256; ++byte) {
    if (const auto unit = codeset.character(single(byte)))
      writer.set_byte(byte, kClassSingle, *unit);
    else if (lengths[byte] != 0)
      writer.set_byte(byte, lengths[byte], add_node(writer, single(byte), lengths[byte]));
    else
      writer.set_byte(byte, kClassInvalid, kUnmapped);
  }
  for (unsigned high = 0; high < 256; ++high) {
    writer.set_page(high, writer.add_block(encode_page(codeset, prefixes, high)));
  }
}

}  // namespace mar::ucvtab
