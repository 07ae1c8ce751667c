// Answers longer than one record, through the exchange itself: t1 shows no more of an answer than its result.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine_client/exchange.h"
#include "ipc/channel.h"
#include "ipc/naming.h"
#include "tests/end_to_end/scripted_engine.h"

namespace mar {

namespace {

// Byte i of every long answer: no period that a record's size divides.
char byte_at(size_t i) { return static_cast<char>(i % 251); }

std::string piece(size_t first, size_t length) {
  std::string bytes(length, '\0');
  for (size_t i = 0; i < length; ++i) bytes[i] = byte_at(first + i);
  return bytes;
}

constexpr unsigned char kDump[] = {0, 0, 0, 0, 0, 0, 0, 125};

// 1 when the whole answer of `length` bytes came as it was sent, else the exchange's code, or 0.
long receive(size_t length) {
  unsigned char* answer = nullptr;
  const int result = zarn_send_and_rcv_long_msg(kDump, sizeof kDump, &answer, 0);
  if (result != 1) return result;
  size_t good = 0;
  while (good < length && static_cast<char>(answer[good]) == byte_at(good)) ++good;
  std::free(answer);
  return good == length ? 1 : 0;
}

struct LongAnswers : testing::Test {
  void SetUp() override {
    ASSERT_TRUE(engine.usable());
    engine.queue().SetWaitOnOverflow(true);
  }
  void send_long(const TCLIMessage& request, size_t length) {
    for (size_t sent = 0; sent < length;) {
      const size_t count = std::min<size_t>(10240, length - sent);
      const uint32_t kind = sent == 0 ? CLI_HEADER : sent + count == length ? CLI_END : CLI_APPEND;
      ASSERT_TRUE(engine.send(request, kind, static_cast<int32_t>(count), piece(sent, count)));
      sent += count;
    }
  }
  ScriptedEngine engine;
};

}  // namespace

TEST_F(LongAnswers, ArriveWhole) {
  for (const size_t length : {size_t{30000}, size_t{100} << 20}) {
    Child client([length] { return receive(length); });
    const auto request = engine.request();
    ASSERT_TRUE(request.has_value());
    send_long(*request, length);
    EXPECT_EQ(client.result(), 1) << length;
  }
}

// A reply of fixed size gets what fits, then zeros, whatever length a record claims.
TEST_F(LongAnswers, AreCutForACallerOfTheShortExchange) {
  constexpr int32_t kLong = 30000;  // in several records
  struct {
    int32_t length;
    size_t want;  // bytes of the answer in the reply
  } const rows[] = {{kLong, 10240}, {5, 5}, {INT32_MAX, 10240}, {-1, 0}, {INT32_MIN, 0}};
  for (const auto& row : rows) {
    for (const auto exchange : {zarn_send_and_rcv, mar::exchange_into_zeros}) {
      Child client([&] {
        unsigned char reply[CLI_MAX_BUFFER_SIZE + 1] = {};
        if (exchange == zarn_send_and_rcv) memset(reply, 0xAA, CLI_MAX_BUFFER_SIZE);
        reply[CLI_MAX_BUFFER_SIZE] = 0xAA;
        const long result = exchange(kDump, sizeof kDump, reply);
        const std::string want = piece(0, row.want) + std::string(10240 - row.want, '\0') + '\xAA';
        return want == std::string(std::begin(reply), std::end(reply)) ? result : 0;
      });
      const auto request = engine.request();
      ASSERT_TRUE(request.has_value());
      if (row.length == kLong) {
        send_long(*request, kLong);
      } else {
        ASSERT_TRUE(engine.send(*request, CLI_SINGLE, row.length, piece(0, 10240)));
      }
      EXPECT_EQ(client.result(), 1) << row.length;
    }
  }
}

TEST_F(LongAnswers, TakeFromEachRecordNoMoreThanItHolds) {
  Child client([] { return receive(2 * 10240 + 3); });
  const auto request = engine.request();
  ASSERT_TRUE(request.has_value());
  ASSERT_TRUE(engine.send(*request, CLI_HEADER, 10241, piece(0, 10240)));
  ASSERT_TRUE(engine.send(*request, CLI_APPEND, -5, "nothing of this"));
  ASSERT_TRUE(
      engine.send(*request, 99, INT32_MAX, piece(10240, 10240)));  // any kind but 3 is a middle record
  ASSERT_TRUE(engine.send(*request, CLI_END, 3, piece(2 * 10240, 3)));
  EXPECT_EQ(client.result(), 1);
}

// What the client's stack and heap and the slots held before must reach neither the queue nor the caller.
TEST_F(LongAnswers, AndShortOnesCarryNoOldMemory) {
  constexpr unsigned char kRequest[] = {0, 0, 0, 0, 0, 0, 0, 125, 'a', 'b', 'c'};
  for (uint16_t i = 0; i < 8; ++i) memset(engine.made().at(engine.made().slot(i)), 0xAA, sizeof(TCLIMessage));
  Child client([&] {
    unsigned char stack[64 << 10];
    std::vector<std::unique_ptr<unsigned char[]>> heap(8);
    memset(stack, 0xAA, sizeof stack);
    for (auto& block : heap)
      block.reset(static_cast<unsigned char*>(memset(new unsigned char[10240], 0xAA, 10240)));
    heap.clear();
    unsigned char* answer = nullptr;
    long result = stack[GetProcessID() % 1000] == 0xAA ? 1 : 0;
    result &= zarn_send_and_rcv_long_msg(kRequest, sizeof kRequest, &answer, 0);
    for (int i = 4; i < CLI_MAX_BUFFER_SIZE; ++i) result &= answer[i] == 0 ? 1 : 0;
    std::free(answer);
    return result;
  });
  const auto request = engine.request();
  ASSERT_TRUE(request.has_value());
  TCLIMessage want{};
  std::memcpy(&want.command, kRequest + 4, sizeof want.command);
  std::memcpy(want.data, kRequest + 8, 3);
  want.length = 3;
  want.sender = request->sender;
  EXPECT_EQ(std::memcmp(&*request, &want, sizeof want), 0);
  ASSERT_TRUE(engine.send(*request, CLI_SINGLE, 4, ScriptedEngine::reply(1200, 1)));
  EXPECT_EQ(client.result(), 1);
}

// A whole record, which the exchange itself never queues, goes out as it is.
TEST_F(LongAnswers, CanBeAskedForByAWholeRecord) {
  TCLIMessage record = numbered(0x55);
  record.sender = {7, 70};
  record.kind = 99;
  ASSERT_EQ(zarn_ipc_openx(), 0);
  EXPECT_EQ(zarn_ipc_writex(record), 0);
  EXPECT_EQ(zarn_ipc_closex(), 0);
  const auto queued = engine.request();
  ASSERT_TRUE(queued.has_value());
  EXPECT_EQ(std::memcmp(&*queued, &record, sizeof record), 0);
}

// A request that no record holds is refused, before anything is read of it.
TEST_F(LongAnswers, AreNotSentForRequestsOfImpossibleLength) {
  unsigned char* answer = nullptr;
  for (const int length : {INT32_MIN, -1, 0, 7, 10249, INT32_MAX}) {
    EXPECT_EQ(zarn_send_rcv_from_mar_engine(kDump, length, &answer), 0) << length;
  }
  EXPECT_EQ(engine.made().u16(0), 0);
}

// A long answer that meets the end of the client's memory is a clear failure, and what the engine still has
// to say of it is not taken for the next answer, however slow the engine is.
TEST_F(LongAnswers, BeyondTheMemoryFail) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs the address space itself";
#endif
  Child client([] {
    rlimit limit{64 << 20, RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
    if (receive(0) != -1) return 0L;
    limit.rlim_cur = RLIM_INFINITY;
    setrlimit(RLIMIT_AS, &limit);
    return receive(20);
  });
  const auto first = engine.request();
  ASSERT_TRUE(first.has_value());
  TCLIMessage record = numbered(1);
  record.kind = CLI_HEADER;
  record.length = CLI_MAX_BUFFER_SIZE;
  TCLIMessage second;
  for (bool asked = false; !asked && !client.ended();) {
    // A slot is left for the client's next request.
    if (engine.queue().ItemCount() < 6 && engine.queue().Put(first->sender, record) == 0)
      record.kind = CLI_APPEND;
    ASSERT_EQ(engine.queue().KeyTryGet(0, second, asked), 0);
  }
  ASSERT_TRUE(engine.send(*first, CLI_END, 4, "rest"));
  ASSERT_TRUE(engine.send(second, CLI_SINGLE, 20, piece(0, 20)));
  EXPECT_EQ(client.result(), 1);
}

}  // namespace mar
