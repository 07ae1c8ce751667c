// Which routine writes the request header of each message code and which one judges the reply, with two
// stand-alone routines of the same family. No state; any thread may call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

extern "C" {

struct CmdRecord;

// Writes the request header of `record` into `out`, which has room for 8 bytes; returns the bytes written.
using CmdWrite = int32_t (*)(uint32_t process_id, const CmdRecord* record, uint8_t* out);
// Judges `reply`, of which 8 bytes are read. The first argument is not used.
using CmdRead = int32_t (*)(uint32_t ignored, const uint8_t* reply);
using CmdMatch = int32_t (*)(const char* const* fields, int32_t mode, const char* name, const char* detail);

#pragma pack(push, 4)
struct CmdRecord {
  uint32_t code;
  CmdWrite write;
  CmdRead read;    // null: replies to this code are not judged
  CmdMatch match;  // null in every row
};
#pragma pack(pop)
static_assert(alignof(CmdRecord) == 4 && sizeof(CmdRecord) == 4 + 3 * sizeof(void*));

// One row per code, ended by a row of code 0.
extern const CmdRecord CmdTable[];

// The row of `code`, or null.
const CmdRecord* get_command(uint32_t code);

// Process id and code, big-endian: 8 bytes.
int32_t DefaultWrite(uint32_t process_id, const CmdRecord* record, uint8_t* out);

// The code alone, big-endian: 4 bytes.
int32_t ARMDummyWrite(uint32_t ignored, const CmdRecord* record, uint8_t* out);

// The engine's result, or MAR_BAD_REPLY when the reply does not start with kReplyMarker.
int32_t DefaultRead(uint32_t ignored, const uint8_t* reply);

// Whether a parsed record is wanted: 1 or 0. Mode 1 takes every record; mode 2 takes those whose fields[2]
// equals `name` and whose fields[3] equals `detail`, where the detail "*" stands for any fields[3]; other
// modes take none. A null text equals nothing.
int32_t theRawInfoRecordMatches(const char* const* fields, int32_t mode, const char* name,
                                const char* detail);

// `seconds` since the epoch, one day later.
time_t increaseStartTimer(time_t seconds);
}
