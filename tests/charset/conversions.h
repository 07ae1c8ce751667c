// The four directions as types, and one call of a dispatcher on strings.
#pragma once

#include <gtest/gtest.h>

#include "charset/convert.h"
#include "charset/flat_tables.h"
#include "tests/charset/table_images.h"

namespace mar {

template <class InUnit, class OutUnit, auto kDispatcher>
struct Direction {
  using In = InUnit;
  using Out = OutUnit;
  static constexpr auto convert = kDispatcher;
};
using ToUcs2 = Direction<char, uint16_t, xcs_to_ucs2_r>;
using FromUcs2 = Direction<uint16_t, char, xcs_from_ucs2_r>;
using ToUtf8 = Direction<char, char, xcs_to_utf8_r>;
using FromUtf8 = Direction<char, char, xcs_from_utf8_r>;

template <class D>
using InText = std::basic_string<typename D::In>;
template <class D>
using OutText = std::basic_string<typename D::Out>;

template <class D>
struct Converted {
  OutText<D> out;
  uint32_t consumed;
  int result;
  bool operator==(const Converted&) const = default;
};

// Converts `in` with room for `room` units, continuing in the codeset's state. With `end`, ends the text
// instead. The string's own terminator is the readable unit past the input.
template <class D>
Converted<D> convert(xcs_cs_t* codeset, const InText<D>& in, size_t room = 1000, bool end = false) {
  constexpr typename D::Out kUntouched = 0x7D;
  OutText<D> out(room, kUntouched);
  const auto* from = in.data();
  auto* to = out.data();
  auto in_left = static_cast<uint32_t>(in.size()), out_left = static_cast<uint32_t>(room);
  const int result = D::convert(codeset, end ? nullptr : &from, end ? nullptr : &in_left, &to, &out_left);
  EXPECT_EQ(from, in.data() + in.size() - in_left);
  EXPECT_EQ(to, out.data() + room - out_left);
  EXPECT_EQ(out.find_first_not_of(kUntouched, room - out_left), out.npos) << "written past the text";
  out.resize(room - out_left);
  return {out, static_cast<uint32_t>(in.size()) - in_left, result};
}

// Converts so much both ways that the flat tables are built, if they may be.
inline void convert_much(xcs_cs_t* codeset) {
  const Bytes bytes(charset::kFlatWorth, 'a');
  const Units units(charset::kFlatWorth, 'a');
  EXPECT_EQ(convert<ToUcs2>(codeset, bytes, bytes.size()).consumed, bytes.size());
  EXPECT_EQ(convert<FromUcs2>(codeset, units, units.size()).consumed, units.size());
}

template <class D>
Converted<D> finish(xcs_cs_t* codeset, size_t room = 1000) {
  return convert<D>(codeset, {}, room, true);
}

}  // namespace mar
