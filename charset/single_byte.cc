#include "charset/single_byte.h"

#include "charset/ebcdic_1047.h"

namespace {

void prepare_ascii(const xcs_cs_t& codeset, xcs_single_rows& rows) {
  const TableView<false> view(codeset);
  const PagedBytes<false> paged(codeset, '?');
  for (uint32_t i = 0; i < 256; ++i) {
    const auto byte = static_cast<uint8_t>(i);
    rows.to_unicode[i] = i < 0x80 ? byte : mapped(view.byte_entry(byte));
    rows.from_unicode[i] = i < 0x80 ? byte : paged(i);
  }
}

void prepare_ebcdic(const xcs_cs_t& codeset, xcs_single_rows& rows) {
  const TableView<false> view(codeset);
  const PagedBytes<false> paged(codeset, kEbcdicQuestionMark);
  for (uint32_t i = 0; i < 256; ++i) {
    const uint16_t entry = view.byte_entry(static_cast<uint8_t>(i));
    rows.to_unicode[i] = invar_eb_to_ucs[i] ? def_eb_to_ucs[i] : mapped(entry);
    rows.from_unicode[i] = invar_ucs_to_eb[i] ? def_ucs_to_eb[i] : paged(i);
  }
}

void prepare_mixed(const xcs_cs_t& codeset, xcs_single_rows& rows) {
  const TableView<false> view(codeset);
  for (uint32_t i = 0; i < 256; ++i) {
    const uint16_t entry = view.u16(4ull * view.byte_entry(0) + 2ull * i);
    rows.to_unicode[i] = invar_eb_to_ucs[i] ? def_eb_to_ucs[i] : mapped(entry);
  }
}

}  // namespace

bool prepare_single_rows(const xcs_cs_t& codeset, xcs_single_rows& rows) {
  switch (codeset.kind) {
    case XCS_KIND_ASCII_SBCS:
      prepare_ascii(codeset, rows);
      return true;
    case XCS_KIND_EBCDIC_SBCS:
      prepare_ebcdic(codeset, rows);
      return true;
    case XCS_KIND_EBCDIC_DBCS:
      prepare_mixed(codeset, rows);
      return true;
    default:
      return false;
  }
}
