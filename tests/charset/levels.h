// Tests that run once for each level of vector instructions that this machine has.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "charset/vectors.h"

namespace mar {

using charset::VectorLevel;

// N: every Nth length of a text is tested. An emulated processor would take minutes for all of them.
inline size_t stride() {
  const char* const wanted = std::getenv("MAR_TEST_STRIDE");
  return wanted != nullptr ? std::max(1ul, std::strtoul(wanted, nullptr, 10)) : 1;
}

class EachLevel : public testing::TestWithParam<const VectorLevel*> {
 protected:
  void SetUp() override { charset::use_vectors(*GetParam()); }
  void TearDown() override { charset::use_vectors(*supported().front()); }

 public:
  static std::vector<const VectorLevel*> supported() {
    std::vector<const VectorLevel*> levels;
    for (const VectorLevel* level = charset::kVectorLevels; level <= &charset::kScalarLevel; ++level)
      if (level->is_supported()) levels.push_back(level);
    return levels;
  }
  static std::string name(const testing::TestParamInfo<const VectorLevel*>& level) {
    return level.param->name;
  }
};

}  // namespace mar
