#include "tools/ucvtab/careful_converter.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "charset/convert.h"
#include "tools/ucvtab/failure.h"

namespace mar::ucvtab {
namespace {

constexpr uint16_t kQuestion = '?';
constexpr size_t kMaxCode = 16;  // bytes of a character, with a shift before it

std::string question_in(xcs_cs_t* codeset) {
  const uint16_t units[2] = {kQuestion, 0};
  char code[kMaxCode];
  return {code, xcs_from_ucs2(codeset, units, 1, code, sizeof code)};
}

// The mixed EBCDIC codesets shift between single and double bytes.
std::string without_shifts(const xcs_cs_t* codeset, std::string code) {
  constexpr char kShiftOut = 0x0E, kShiftIn = 0x0F;
  size_t shifts = 0;
  if (codeset->kind == XCS_KIND_EBCDIC_DBCS) {
    while (shifts < code.size() && (code[shifts] == kShiftOut || code[shifts] == kShiftIn)) ++shifts;
  }
  return code.substr(shifts);
}

bool is_high(uint16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool is_low(uint16_t unit) { return (unit & 0xFC00) == 0xDC00; }

char32_t character_of(const uint16_t* units, uint32_t count) {
  return count == 2 && is_high(units[0]) ? 0x10000 + ((units[0] & 0x3FFU) << 10) + (units[1] & 0x3FFU)
                                         : units[0];
}

}  // namespace

void write_output(const char* bytes, size_t count) {
  if (std::fwrite(bytes, 1, count, stdout) != count)
    throw Failure(kFileError, "standard output: write failed");
}

CarefulConverter::CarefulConverter(xcs_cs_t* from, xcs_cs_t* to, bool omit)
    : from_(from), to_(to), omit_(omit), question_from_(question_in(from)), question_to_(question_in(to)) {}

void CarefulConverter::convert(char* in, uint32_t& count) {
  const char* next = in;
  int result = XCS_OUTPUT_FULL;
  while (count > 0 && result != XCS_INPUT_CUT) {
    const char* const begin = next;
    const uint32_t units = decode(next, count, result);
    if (units > 0) encode(join_halves(units), begin, next);
    position_ += static_cast<uint64_t>(next - begin);
  }
  write_output(output_.data(), output_.size());
  output_.clear();
  std::memmove(in, next, count);
}

// Returns the units of the next character; 0 for a shift alone or a character that the end cuts.
uint32_t CarefulConverter::decode(const char*& in, uint32_t& count, int& result) {
  for (uint32_t width = 1; width <= kMaxUnits; ++width) {
    uint16_t* unit = units_ + held_;
    uint32_t room = width;
    result = xcs_to_ucs2_r(from_, &in, &count, &unit, &room);
    const auto units = static_cast<uint32_t>(unit - units_);
    if (units > held_ || result != XCS_OUTPUT_FULL) return units - held_;
  }
  throw Failure(kBadInput, "a code of the input stands for too many characters");
}

// The halves of a surrogate pair may come one by one. Returns how many units are to be encoded now, after
// `units` more have been decoded.
uint32_t CarefulConverter::join_halves(uint32_t units) {
  units += std::exchange(held_, 0);
  if (units < 2 || !is_high(units_[0]) || is_low(units_[1])) return units;
  note("half a surrogate pair");
  if (!omit_) return units;
  std::memmove(units_, units_ + 1, --units * sizeof *units_);
  return units;
}

bool CarefulConverter::is_malformed(const char* begin, const char* end, uint32_t units) const {
  return units == 1 && units_[0] == kQuestion && without_shifts(from_, {begin, end}) != question_from_;
}

void CarefulConverter::encode(uint32_t units, const char* begin, const char* end) {
  const bool malformed = is_malformed(begin, end, units);
  const uint8_t state = to_->from_state;
  char code[kMaxUnits * kMaxCode];
  char* out = code;
  uint32_t room = sizeof code, left = units;
  const uint16_t* unit = units_;
  xcs_from_ucs2_r(to_, &unit, &left, &out, &room);
  if (left == 1 && is_high(units_[units - 1])) {  // waits for the other half
    units_[0] = units_[units - 1];
    held_ = 1;
    output_.append(code, out);
    return;
  }
  const std::string bytes = without_shifts(to_, {code, out});
  const bool question = units == 1 && units_[0] == kQuestion;
  // Some families write "?" for each half of a pair.
  const bool no_code = to_->kind == XCS_KIND_OS
                           ? units_[0] > 0xFF
                           : !question && (bytes == question_to_ || bytes == question_to_ + question_to_);
  if (malformed) note("a malformed or unassigned code");
  if (no_code) note(to_text(character_of(units_, units)) + " without a code");
  if ((malformed || no_code) && omit_) {
    to_->from_state = state;  // the shift that was left out with the character
  } else {
    output_.append(code, out);
  }
  if (units_[0] == '\n') ++line_;
}

void CarefulConverter::note(const std::string& what) {
  if (substituted_++ == 0)
    first_ = what + " at byte " + std::to_string(position_) + ", line " + std::to_string(line_);
}

std::string CarefulConverter::report() const {
  if (substituted_ == 0) return "";
  return std::to_string(substituted_) + (substituted_ == 1 ? " character " : " characters ") +
         (omit_ ? "left out" : "substituted") + ", the first " + first_;
}

}  // namespace mar::ucvtab
