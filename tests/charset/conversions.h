// The four directions as types, and one call of a dispatcher on strings.
#pragma once

#include <gtest/gtest.h>

#include "charset/convert.h"
#include "charset/transcode.h"
#include "tests/charset/table_images.h"

struct ToUcs2 {
  using In = char;
  using Out = uint16_t;
  static constexpr auto* convert = xcs_to_ucs2_r;
};
struct FromUcs2 {
  using In = uint16_t;
  using Out = char;
  static constexpr auto* convert = xcs_from_ucs2_r;
};
struct ToUtf8 {
  using In = char;
  using Out = char;
  static constexpr auto* convert = xcs_to_utf8_r;
};
struct FromUtf8 {
  using In = char;
  using Out = char;
  static constexpr auto* convert = xcs_from_utf8_r;
};

template <class Direction>
using InText = std::basic_string<typename Direction::In>;
template <class Direction>
using OutText = std::basic_string<typename Direction::Out>;

template <class Direction>
struct Converted {
  OutText<Direction> out;
  uint32_t consumed;
  int result;
  bool operator==(const Converted&) const = default;
};

// Converts `in` with room for `room` units, continuing in the codeset's state. The string's own terminator is
// the readable unit behind the input.
template <class Direction>
Converted<Direction> convert(xcs_cs_t* codeset, const InText<Direction>& in, size_t room = 1000) {
  OutText<Direction> out(room, 0);
  const auto* from = in.data();
  auto* to = out.data();
  auto in_left = static_cast<uint32_t>(in.size());
  auto out_left = static_cast<uint32_t>(room);
  const int result = Direction::convert(codeset, &from, &in_left, &to, &out_left);
  EXPECT_EQ(from, in.data() + in.size() - in_left);
  EXPECT_EQ(to, out.data() + room - out_left);
  out.resize(room - out_left);
  return {out, static_cast<uint32_t>(in.size()) - in_left, result};
}

// The end of a text: the result's output is the flush.
template <class Direction>
Converted<Direction> finish(xcs_cs_t* codeset, size_t room = 1000) {
  OutText<Direction> out(room, 0);
  auto* to = out.data();
  auto out_left = static_cast<uint32_t>(room);
  const int result = Direction::convert(codeset, nullptr, nullptr, &to, &out_left);
  out.resize(room - out_left);
  return {out, 0, result};
}
