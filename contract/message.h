// The record that crosses the command queue, its message codes and framing kinds, and the other constants
// that the engine and its clients share.
#pragma once

#ifdef __cplusplus
#include <type_traits>
#endif

#include "contract/c_language.h"
#include "contract/identity.h"

MAR_CONSTANT(int16_t, CLI_MAX_BUFFER_SIZE, 10240);  // bytes; also the size of request and reply buffers

// Framing of an answer over one or more records; requests are always CLI_SINGLE.
enum MAR_ENUM_TYPE(uint32_t) {
  CLI_SINGLE = 0,  // the whole message in this record
  CLI_HEADER = 1,  // first record of a long answer
  CLI_APPEND = 2,  // a middle record
  CLI_END = 3,     // the last record
};

typedef struct TCLIMessage {
  uint32_t command;                   // message code, its four bytes in big-endian order
  int32_t length;                     // bytes in use in data
  uint8_t data[CLI_MAX_BUFFER_SIZE];  // request or reply payload
  _TIPCIdentifier sender;             // identity of the sending process
  uint32_t kind;                      // CLI_SINGLE, CLI_HEADER, CLI_APPEND or CLI_END
} TCLIMessage;
MAR_PINNED(sizeof(TCLIMessage) == 10260);
MAR_PINNED(offsetof(TCLIMessage, command) == 0 && offsetof(TCLIMessage, length) == 4);
MAR_PINNED(offsetof(TCLIMessage, data) == 8 && offsetof(TCLIMessage, sender) == 10248);
MAR_PINNED(offsetof(TCLIMessage, kind) == 10256);

#ifdef __cplusplus
static_assert(alignof(TCLIMessage) == 4 && std::is_trivially_copyable_v<TCLIMessage>);
static_assert(std::has_unique_object_representations_v<TCLIMessage>);  // no hidden padding

namespace mar {

// How many of a received record's data bytes may be used. `length` comes from memory that other processes can
// write: a value above the array's size is cut to it, a negative one to 0.
inline int usable_length(int32_t length) {
  if (length < 0) return 0;
  return length > CLI_MAX_BUFFER_SIZE ? CLI_MAX_BUFFER_SIZE : length;
}
inline int usable_length(const TCLIMessage& record) { return usable_length(record.length); }

}  // namespace mar
#endif

// Message codes. The engine knows 150, 151 and 109, but no client function sends them; 100 has
// no row in the type table.
enum MAR_ENUM_TYPE(uint32_t) {
  CMD_START_SEND = 100,
  CMD_STOP_ENGINE = 101,
  CMD_RESERVED_109 = 109,
  CMD_CLEAR_ENGINE = 113,
  CMD_ADD_EDGE_POLICY = 116,
  CMD_REMOVE_EDGE_POLICY = 117,
  CMD_ADD_THRESHOLD = 118,
  CMD_REMOVE_THRESHOLD = 119,
  CMD_UPDATE_THRESHOLD = 120,
  CMD_REQUEST_DATA_UPLOAD = 121,
  CMD_UPDATE_EDGE_POLICY = 122,
  CMD_SET_UPLOAD_SCHEDULE = 123,
  CMD_SET_THRESHOLD_VIOLATION_STATE = 124,
  CMD_DUMP = 125,
  CMD_DEBUG = 126,
  CMD_PING_ENGINE = 127,
  CMD_SET_CORRELATOR_SUFFIX = 128,
  CMD_REGISTER_LISTENER = 129,
  CMD_SET_LISTENER_FILTER = 130,
  CMD_DEREGISTER_LISTENER = 131,
  CMD_SET_REALTIME_SEND_INTERVAL = 132,
  CMD_RESERVED_150 = 150,
  CMD_RESERVED_151 = 151,
};

#ifdef __cplusplus
namespace mar {

// Request buffer: process id and message code, both big-endian, then the payload.
inline constexpr int kRequestHeaderSize = 8;
inline constexpr int kRequestCodeOffset = 4;

// Reply: marker and result, both big-endian; a result of 1 is success.
inline constexpr int kReplyResultOffset = 4;
inline constexpr uint32_t kReplyMarker = 1200;

}  // namespace mar
#endif

// Results of the engine command functions that do not come from the engine.
enum MAR_ENUM_TYPE(int32_t) {
  MAR_OK = 1,
  MAR_NOTHING_TO_UPLOAD = 2,
  MAR_EXCHANGE_FAILED = -1,      // no type-table row, or the exchange failed while the engine runs
  MAR_ENGINE_NOT_RUNNING = -2,   // or a buffer could not be allocated
  MAR_REQUEST_TOO_LARGE = -6,    // header and payload exceed CLI_MAX_BUFFER_SIZE
  MAR_BAD_REPLY = -27,           // the reply does not start with kReplyMarker
  MAR_INVALID_POLICY_ID = -400,  // data upload for a policy identifier below 1
};

// Constants of the shared header that this client compares nothing against.
MAR_CONSTANT(int, CLI_SHUTDOWNENGINE, -72);
MAR_CONSTANT(int, ZARN_OK, 0);
MAR_CONSTANT(int, ZARNERR_NOENOUGHMEMORY, -1);
MAR_CONSTANT(int, ZARNERR_UNSUPPORTED, -2);
MAR_CONSTANT(int, ZARN_OUT_OF_MEMORY, -3);
MAR_CONSTANT(int, ZARN_INVALID_PARAMETER, -4);
MAR_CONSTANT(int, ZARN_GENERIC_ERROR, -249);
MAR_CONSTANT(int, ZARN_UNSUPPORTED_CHARSET, -1003);

MAR_CONSTANT(int16_t, ARM_REPLY, 7);
MAR_CONSTANT(int16_t, ARM_CUSTOM, 8);
MAR_CONSTANT(int16_t, ARM_UNKNOW, 9);
MAR_CONSTANT(int16_t, ARM_GETIDSERVERSTAT, 10);
MAR_CONSTANT(int16_t, ARM_SHUTDOWNENGINE, 11);
MAR_CONSTANT(int16_t, ARM_CLEANUPENGINE, 12);
MAR_CONSTANT(int16_t, ARM_GETAPPLICATIONLIST, 13);
MAR_CONSTANT(int16_t, ARM_GETTRANSACTIONLIST, 14);
