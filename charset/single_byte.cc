#include "charset/single_byte.h"

#include <algorithm>
#include <bitset>
#include <iterator>
#include <numeric>

#include "charset/ebcdic_1047.h"
#include "charset/table_view.h"
#include "charset/unicode_text.h"

namespace mar::charset {
namespace {

using Table = TableView<false>;

// Looks a character up in the from-UCS-2 pages. The substitution byte is the code of one character only: for
// any other, and outside the file, the result is `question_mark`.
uint8_t paged_byte(const Table& table, uint16_t unit, uint8_t question_mark) {
  const uint64_t offset = table.page(unit) + (unit & 0xFF);
  if (!table.holds(offset, 1)) return question_mark;
  const uint8_t byte = *table.at(offset);
  const bool is_source = unit == table.substitute_source() && unit != kUnmapped;
  return byte == table.substitute_byte() && !is_source ? question_mark : byte;
}

xcs_single_rows::Sequence utf8_sequence(uint16_t unit) {
  xcs_single_rows::Sequence sequence{};
  const uint8_t* const end = Utf8Writer<false>::put<true>(sequence.data(), nullptr, unit, nullptr);
  sequence[3] = static_cast<uint8_t>(end - sequence.data());
  return sequence;
}

// Whether the unit of a byte becomes that byte again.
bool comes_back(const xcs_single_rows& rows, uint32_t byte) {
  return rows.from_unicode[rows.to_unicode[byte]] == byte;
}

// Gives each class of units the shift at which the fewest of its slots are taken, the largest class first. In
// nearly every codeset none is: its units of one class are neighbours as a rule, and it has few classes.
void place_in_slots(xcs_single_rows& rows) {
  using Slots = std::bitset<256>;
  Slots slots_of_class[xcs_single_rows::kClasses];  // before the shift
  for (uint32_t byte = 0x80; byte < 0x100; ++byte) {
    const uint16_t unit = rows.to_unicode[byte];
    if (comes_back(rows, byte)) slots_of_class[xcs_single_rows::class_of(unit)].set(unit & 0xFF);
  }
  std::array<uint8_t, xcs_single_rows::kClasses> order;
  std::iota(order.begin(), order.end(), uint8_t{0});
  std::sort(order.begin(), order.end(), [&](uint8_t a, uint8_t b) {
    const size_t units_a = slots_of_class[a].count(), units_b = slots_of_class[b].count();
    return units_a != units_b ? units_a > units_b : a < b;
  });
  Slots taken;
  for (const uint8_t each : order) {
    const Slots& wanted = slots_of_class[each];
    const auto shifted = [&](uint32_t shift) { return wanted << shift | wanted >> (256 - shift); };
    uint32_t best = 0;
    size_t fewest_lost = wanted.size() + 1;
    for (uint32_t shift = 0; shift < 256 && fewest_lost != 0; ++shift) {
      const size_t lost = (shifted(shift) & taken).count();
      if (lost >= fewest_lost) continue;
      best = shift;
      fewest_lost = lost;
    }
    rows.class_shift[each] = static_cast<uint8_t>(best);
    taken |= shifted(best);
  }
  std::fill(std::begin(rows.slot_byte), std::end(rows.slot_byte), uint8_t{0});
  for (uint32_t byte = 0x80; byte < 0x100; ++byte) {
    if (comes_back(rows, byte))
      rows.slot_byte[rows.slot_of(rows.to_unicode[byte])] = static_cast<uint8_t>(byte);
  }
}

}  // namespace

bool has_single_rows(uint16_t kind) {
  return kind == XCS_KIND_ASCII_SBCS || kind == XCS_KIND_EBCDIC_SBCS || kind == XCS_KIND_EBCDIC_DBCS;
}

void prepare_single_rows(const xcs_cs_t& codeset, xcs_single_rows& rows) {
  const Table table(codeset);
  const bool is_ascii = codeset.kind == XCS_KIND_ASCII_SBCS;
  const bool is_mixed = codeset.kind == XCS_KIND_EBCDIC_DBCS;
  for (uint32_t i = 0; i < 256; ++i) {
    const auto byte = static_cast<uint8_t>(i);
    const uint16_t entry = is_mixed ? table.u16(table.row(0) + 2ull * i) : table.byte_entry(byte);
    const bool bypasses = is_ascii ? i < 0x80 : invar_eb_to_ucs[i] != 0;
    rows.to_unicode[i] = !bypasses ? mapped(entry) : is_ascii ? byte : def_eb_to_ucs[i];
    rows.to_utf8[i] = utf8_sequence(rows.to_unicode[i]);
  }
  if (is_mixed) return;
  for (uint32_t i = 0; i < 0x10000; ++i) {
    const auto unit = static_cast<uint16_t>(i);
    const bool bypasses = is_ascii ? i < 0x80 : i < 0x100 && invar_ucs_to_eb[i] != 0;
    rows.from_unicode[i] = !bypasses  ? paged_byte(table, unit, is_ascii ? '?' : kEbcdicQuestionMark)
                           : is_ascii ? static_cast<uint8_t>(i)
                                      : def_ucs_to_eb[i];
  }
  rows.latin1 = true;
  for (uint32_t i = 0; i < 256; ++i) {
    if (rows.to_unicode[i] != i || rows.from_unicode[i] != i) rows.latin1 = false;
  }
  if (is_ascii && !rows.latin1) place_in_slots(rows);
}

}  // namespace mar::charset
