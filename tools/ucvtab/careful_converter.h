// Converts one character at a time, so that it sees which of them have no code. The converters themselves
// write
// "?" for those and do not tell.
#pragma once

#include <cstdint>
#include <string>

#include "charset/codeset.h"
#include "tools/ucvtab/code.h"

namespace mar::ucvtab {

// Writes `count` bytes to standard output. Throws Failure(kFileError).
void write_output(const char* bytes, size_t count);

class CarefulConverter {
 public:
  // omit  substituted characters are left out
  CarefulConverter(xcs_cs_t* from, xcs_cs_t* to, bool omit);

  // Converts `count` bytes to standard output. Moves what a character at the end lacks to the beginning of
  // `in`, and changes `count` to its length.
  void convert(char* in, uint32_t& count);

  // Whether the input ends inside a character that takes two units.
  bool is_cut() const { return held_ != 0; }

  // "2 characters substituted, the first ...", or empty.
  std::string report() const;

 private:
  // A code decodes to no more units than this.
  static constexpr uint32_t kMaxUnits = 8;

  uint32_t decode(const char*& in, uint32_t& count, int& result);
  uint32_t join_halves(uint32_t units);
  bool is_malformed(const char* begin, const char* end, uint32_t units) const;
  void encode(uint32_t units, const char* begin, const char* end);
  void note(const std::string& what);

  xcs_cs_t* from_;
  xcs_cs_t* to_;
  bool omit_;
  std::string question_from_, question_to_;  // the code of "?"
  uint16_t units_[kMaxUnits + 2] = {};       // the mixed family reads one unit past its input
  uint32_t held_ = 0;                        // 1: units_ begins with the first half of a surrogate pair
  std::string output_;
  uint64_t position_ = 0;  // in the input, from 0
  uint64_t line_ = 1;
  uint64_t substituted_ = 0;
  std::string first_;
};

}  // namespace mar::ucvtab
