#include "engine_client/type_table.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/engine_client/scripted_exchange.h"

namespace mar {

TEST(TypeTable, HasTheseRowsInThisOrder) {
  const uint32_t codes[] = {150, 151, 109, 113, 101, 116, 117, 118, 119, 120, 121,
                            122, 123, 124, 125, 126, 127, 128, 129, 130, 131, 132};
  const CmdRecord* row = CmdTable;
  for (const uint32_t code : codes) {
    EXPECT_EQ(row->code, code);
    EXPECT_EQ(get_command(code), row) << code;
    // No references to the pointers: the rows are packed on 4 bytes.
    EXPECT_TRUE(row->write == (code == 151 ? ARMDummyWrite : DefaultWrite)) << code;
    EXPECT_TRUE(row->read == (code >= 150 ? nullptr : DefaultRead)) << code;
    EXPECT_TRUE(row->match == nullptr) << code;
    ++row;
  }
  EXPECT_EQ(row->code, 0u);
  EXPECT_EQ(sizeof *row, 28u);
  EXPECT_EQ(get_command(0), nullptr);
  EXPECT_EQ(get_command(100), nullptr);
}

TEST(TypeTable, HeadersAreBigEndian) {
  std::vector<uint8_t> out(8, 0xEE);
  EXPECT_EQ(get_command(151)->write(0x01020304, get_command(151), out.data()), 4);
  EXPECT_EQ(hex_of(out), "00000097eeeeeeee");
  EXPECT_EQ(get_command(116)->write(0x01020304, get_command(116), out.data()), 8);
  EXPECT_EQ(hex_of(out), "0102030400000074");
}

TEST(TypeTable, ReplyNeedsTheMarker) {
  using Reply = std::vector<uint8_t>;  // exactly the bytes that may be read
  EXPECT_EQ(DefaultRead(0, Reply{0, 0, 4, 0xB0, 0, 0, 0, 1}.data()), 1);
  EXPECT_EQ(DefaultRead(0, Reply{0, 0, 4, 0xB0, 0xFF, 0xFF, 0xFE, 0xD4}.data()), -300);
  EXPECT_EQ(DefaultRead(0, Reply{0xB0, 4, 0, 0, 0, 0, 0, 1}.data()), -27);
  EXPECT_EQ(DefaultRead(0, Reply{0, 0, 4, 0xB1, 0, 0, 0, 1}.data()), -27);
  EXPECT_EQ(DefaultRead(0, Reply(8).data()), -27);
}

TEST(TypeTable, RecordMatcher) {
  const auto matches = [](int32_t mode, const char* field_2, const char* field_3, const char* detail) {
    const char* const fields[] = {"0", "1", field_2, field_3};
    return theRawInfoRecordMatches(fields, mode, "a", detail);
  };
  EXPECT_EQ(matches(1, "x", "y", "z"), 1);
  for (const int32_t mode : {0, 3, -1}) EXPECT_EQ(matches(mode, "a", "b", "b"), 0) << mode;
  EXPECT_EQ(matches(2, "a", "b", "*"), 1);
  EXPECT_EQ(matches(2, "A", "b", "*"), 0);
  EXPECT_EQ(matches(2, "a", "b", "b"), 1);
  EXPECT_EQ(matches(2, "a", "b", "B"), 0);
  EXPECT_EQ(matches(2, "x", "b", "b"), 0);
  EXPECT_EQ(matches(2, "a", "b", "*b"), 0);
  EXPECT_EQ(matches(2, "a", "*b", "*b"), 1);
  EXPECT_EQ(matches(2, "a", nullptr, nullptr), 0);
}

TEST(TypeTable, StartTimerMovesByOneDay) { EXPECT_EQ(increaseStartTimer(1700000000), 1700086400); }

}  // namespace mar
