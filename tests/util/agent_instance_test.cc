#include "util/agent_instance.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

TEST(AgentInstance, NameIsCutPaddedAndTerminated) {
  struct {
    const char* name;
    const char* value;  // null: not set
    int size;
    int want_instance;
    std::string want;  // the buffer after the call; it starts as ten times "#"
  } const rows[] = {
      {"not set", nullptr, 8, 0, {"\0#########", 10}},
      {"empty", "", 3, 1, {"\0\0\0#######", 10}},
      {"padded to the end", "abc", 6, 1, {"abc\0\0\0####", 10}},
      {"just fits", "prefix", 7, 1, {"prefix\0###", 10}},
      {"one too long", "prefix", 6, 1, {"prefi\0####", 10}},
      {"cut", "prefix", 4, 1, {"pre\0######", 10}},
      {"terminator alone", "prefix", 1, 1, {"\0#########", 10}},
      {"no room", "prefix", 0, 1, "##########"},
      {"negative size", "prefix", -1, 1, "##########"},
  };
  for (const auto& row : rows) {
    if (row.value != nullptr) {
      setenv("ARM_AGENT_PREFIX", row.value, 1);
    } else {
      unsetenv("ARM_AGENT_PREFIX");
    }
    std::string buffer(10, '#');
    getMultiAgentName(buffer.data(), row.size);
    EXPECT_EQ(buffer, row.want) << row.name;
    EXPECT_EQ(isMultiAgent(), row.want_instance) << row.name;
  }
  getMultiAgentName(nullptr, 8);
}

TEST(AgentInstance, VariableNameCanBeChanged) {
  unsetenv("ARM_AGENT_PREFIX");
  setenv("XRM_AGENT_PREFIX", "x", 1);
  EXPECT_EQ(isMultiAgent(), 0);
  MULTI_AGENT_ENV_VAR[0] = 'X';
  EXPECT_EQ(isMultiAgent(), 1);
}

}  // namespace
