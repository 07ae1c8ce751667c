#include "charset/flat_tables.h"

namespace mar::charset {
namespace {

constinit std::atomic<uint32_t> bytes_left = kFlatLimitBytes;

}  // namespace

bool has_flat_tables(uint16_t kind) { return kind == XCS_KIND_ASCII_DBCS || kind == XCS_KIND_GB18030; }

void free_flat_tables(xcs_flat_tables* flat) {
  if (flat == nullptr) return;
  for (const auto* slot : {&flat->decoding, &flat->encoding, &flat->four_decoding, &flat->four_encoding}) {
    const uint16_t* const table = *slot;
    if (table != nullptr) return_flat_bytes(kFlatBytes);
    delete[] table;
  }
  delete flat;
}

bool take_flat_bytes(uint32_t size_bytes) {
  uint32_t left = bytes_left;
  while (left >= size_bytes) {
    if (bytes_left.compare_exchange_weak(left, left - size_bytes)) return true;
  }
  return false;
}

void return_flat_bytes(uint32_t size_bytes) { bytes_left += size_bytes; }

}  // namespace mar::charset
