#include "engine_client/type_table.h"

#include <cstring>

#include "contract/byte_order.h"
#include "contract/message.h"

namespace mar {

namespace {

bool equal(const char* text, const char* wanted) {
  return text != nullptr && wanted != nullptr && std::strcmp(text, wanted) == 0;
}

}  // namespace

}  // namespace mar

using namespace mar;  // the product's routines live outside it

extern "C" {

const CmdRecord CmdTable[] = {
    {CMD_RESERVED_150, DefaultWrite, nullptr, nullptr},
    {CMD_RESERVED_151, ARMDummyWrite, nullptr, nullptr},
    {CMD_RESERVED_109, DefaultWrite, DefaultRead, nullptr},
    {CMD_CLEAR_ENGINE, DefaultWrite, DefaultRead, nullptr},
    {CMD_STOP_ENGINE, DefaultWrite, DefaultRead, nullptr},
    {CMD_ADD_EDGE_POLICY, DefaultWrite, DefaultRead, nullptr},
    {CMD_REMOVE_EDGE_POLICY, DefaultWrite, DefaultRead, nullptr},
    {CMD_ADD_THRESHOLD, DefaultWrite, DefaultRead, nullptr},
    {CMD_REMOVE_THRESHOLD, DefaultWrite, DefaultRead, nullptr},
    {CMD_UPDATE_THRESHOLD, DefaultWrite, DefaultRead, nullptr},
    {CMD_REQUEST_DATA_UPLOAD, DefaultWrite, DefaultRead, nullptr},
    {CMD_UPDATE_EDGE_POLICY, DefaultWrite, DefaultRead, nullptr},
    {CMD_SET_UPLOAD_SCHEDULE, DefaultWrite, DefaultRead, nullptr},
    {CMD_SET_THRESHOLD_VIOLATION_STATE, DefaultWrite, DefaultRead, nullptr},
    {CMD_DUMP, DefaultWrite, DefaultRead, nullptr},
    {CMD_DEBUG, DefaultWrite, DefaultRead, nullptr},
    {CMD_PING_ENGINE, DefaultWrite, DefaultRead, nullptr},
    {CMD_SET_CORRELATOR_SUFFIX, DefaultWrite, DefaultRead, nullptr},
    {CMD_REGISTER_LISTENER, DefaultWrite, DefaultRead, nullptr},
    {CMD_SET_LISTENER_FILTER, DefaultWrite, DefaultRead, nullptr},
    {CMD_DEREGISTER_LISTENER, DefaultWrite, DefaultRead, nullptr},
    {CMD_SET_REALTIME_SEND_INTERVAL, DefaultWrite, DefaultRead, nullptr},
    {0, nullptr, nullptr, nullptr},
};

const CmdRecord* get_command(uint32_t code) {
  for (const CmdRecord* row = CmdTable; row->code != 0; ++row) {
    if (row->code == code) return row;
  }
  return nullptr;
}

int32_t DefaultWrite(uint32_t process_id, const CmdRecord* record, uint8_t* out) {
  put_be32(out, process_id);
  put_be32(out + kRequestCodeOffset, record->code);
  return kRequestHeaderSize;
}

int32_t ARMDummyWrite(uint32_t, const CmdRecord* record, uint8_t* out) {
  put_be32(out, record->code);
  return 4;
}

int32_t DefaultRead(uint32_t, const uint8_t* reply) {
  if (get_be32(reply) != kReplyMarker) return MAR_BAD_REPLY;
  return static_cast<int32_t>(get_be32(reply + kReplyResultOffset));
}

int32_t theRawInfoRecordMatches(const char* const* fields, int32_t mode, const char* name,
                                const char* detail) {
  if (mode == 1) return 1;
  if (mode != 2 || fields == nullptr || !equal(fields[2], name)) return 0;
  return equal(detail, "*") || equal(fields[3], detail) ? 1 : 0;
}

time_t increaseStartTimer(time_t seconds) { return seconds + 86400; }
}
