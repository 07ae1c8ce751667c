#include "tools/marctl/commands.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "contract/payloads.h"
#include "contract/policy.h"
#include "engine_client/commands.h"

namespace mar::ctl {

namespace {

constexpr Range kByte[] = {{0, UINT8_MAX}};
constexpr Range kHalf[] = {{0, UINT16_MAX}};
constexpr Range kWord[] = {{0, UINT32_MAX}};
constexpr Range kPolicy[] = {{1, INT32_MAX}};
constexpr Range kTwoBytes[] = {kByte[0], kByte[0]};
constexpr Range kThreeWords[] = {kWord[0], kWord[0], kWord[0]};
constexpr Range kFourWords[] = {kWord[0], kWord[0], kWord[0], kWord[0]};
constexpr Range kSettings[] = {kHalf[0], kWord[0], kWord[0], kWord[0], kWord[0]};

constexpr Range kSuffixLength[] = {{0, kCorrelatorSuffixMax}};

constexpr Field number(const char* name, std::span<const Range> range, const char* help) {
  return {name, Kind::kNumber, range, 0, 0, nullptr, true, help};
}
constexpr Field numbers(const char* name, std::span<const Range> ranges, const char* help) {
  return {name, Kind::kNumbers, ranges, 0, 0, nullptr, true, help};
}
constexpr Field pattern(const char* name, size_t room_bytes, const char* help) {
  return {name, Kind::kText, {}, room_bytes - 1, 0, "\".*\"", false, help};
}

constexpr char kZeros[] = "\"000000000000000000000000000000000000000000000000\"";
constexpr char kThreeZeros[] =
    "[\"000000000000000000000000000000000000000000000000\","
    "\"000000000000000000000000000000000000000000000000\","
    "\"000000000000000000000000000000000000000000000000\"]";
static_assert(sizeof kZeros == 2 * sizeof(TIdentifierBlock) + 3);
constexpr Field kIdentifier = {"identifier", Kind::kHex,        {}, sizeof(TIdentifierBlock), 0, kZeros,
                               false,        "Identifier block"};

constexpr Field kNumbers = numbers("numbers", kThreeWords, "Numbers of the definition");
constexpr Field kPattern = pattern("pattern", sizeof(TPolicyDefinition::pattern), "First pattern");
constexpr Field kHost = pattern("host", sizeof(TPolicyDefinition::host_pattern), "Pattern of host names");
constexpr Field kApplication =
    pattern("application", sizeof(TPolicyDefinition::application_pattern), "Pattern of application names");
constexpr Field kTransaction =
    pattern("transaction", sizeof(TPolicyDefinition::transaction_pattern), "Pattern of transaction names");

constexpr Field kEdgePolicy[] = {
    kNumbers,
    kIdentifier,
    kPattern,
    kHost,
    kApplication,
    kTransaction,
    {"key", Kind::kHex, {}, sizeof(TEdgeKey::bytes), 0, nullptr, true, "The edge key's first bytes"},
    numbers("settings", kSettings, "Settings of the edge key"),
    number("number", kWord, "The edge key's trailing number"),
};
constexpr Field kPolicyRemoval[] = {number("policy", kWord, "Management policy to remove")};
constexpr Field kThreshold[] = {
    number("a", kWord, "Threshold number a"),
    number("b", kWord, "Threshold number b"),
    number("c", kWord, "Threshold number c"),
    number("d", kByte, "Threshold byte d"),
    number("e", kByte, "Threshold byte e"),
    kNumbers,
    kIdentifier,
    kPattern,
    kHost,
    kApplication,
    kTransaction,
};
constexpr Field kThresholdRemoval[] = {number("a", kWord, "The third number of the threshold's definition"),
                                       kIdentifier,
                                       number("c", kWord, "The second number of its definition")};
constexpr Field kViolation[] = {number("a", kWord, "Number a"), number("b", kWord, "Number b"),
                                number("c", kByte, "Byte c"), kIdentifier};
constexpr Field kUpload[] = {
    number("request", kWord, "Number of the request"),
    number("policy", kPolicy, "Policy whose data to upload"),
    number("start", kWord, "Start, in seconds since 1970"),
    number("end", kWord, "End, in seconds since 1970"),
    numbers("flags", kTwoBytes, "Flags"),
    {"blocks", Kind::kHexes, {}, sizeof(TIdentifierBlock), 3, kThreeZeros, false, "Identifier blocks"},
};
constexpr Field kSchedule[] = {number("start_hour", kByte, "Hour of the first upload"),
                               number("interval", kByte, "Hours between uploads")};
constexpr Field kLevel[] = {number("level", kWord, "Level of the engine's log")};
constexpr Field kSuffix[] = {
    {"suffix", Kind::kBytes, {}, kCorrelatorSuffixMax, 0, nullptr, true, "The suffix"},
    {"length", Kind::kNumber, kSuffixLength, 0, 0, nullptr, false, "Its bytes, if they are to be checked"},
};
constexpr Field kRegistration[] = {number("listener", kHalf, "The listener")};
constexpr Field kDeregistration[] = {number("listener", kWord, "The listener")};
constexpr Field kFilter[] = {numbers("filter", kFourWords, "Values of the filter")};
constexpr Field kSendInterval[] = {number("interval", kWord, "The interval")};

// A value whose range is checked.
template <typename Number = uint32_t>
Number number_of(const Json& value) {
  return static_cast<Number>(value.get<int64_t>());
}

template <size_t N>
void put_text(char (&room)[N], const Json& value) {
  value.get_ref<const std::string&>().copy(room, N - 1);
}

template <size_t N>
void put_hex(uint8_t (&bytes)[N], const Json& value) {
  const auto& hex = value.get_ref<const std::string&>();
  for (size_t i = 0; i < N; ++i)
    bytes[i] = static_cast<uint8_t>(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
}

TIdentifierBlock block_of(const Json& value) {
  TIdentifierBlock block{};
  put_hex(block.bytes, value);
  return block;
}

TPolicyDefinition definition_of(const Json& values) {
  TPolicyDefinition definition{};
  for (size_t i = 0; i < 3; ++i) definition.numbers[i] = number_of(values["numbers"][i]);
  definition.identifier = block_of(values["identifier"]);
  put_text(definition.pattern, values["pattern"]);
  put_text(definition.host_pattern, values["host"]);
  put_text(definition.application_pattern, values["application"]);
  put_text(definition.transaction_pattern, values["transaction"]);
  return definition;
}

TEdgeKey key_of(const Json& values) {
  const Json& settings = values["settings"];
  TEdgeKey key{};
  put_hex(key.bytes, values["key"]);
  key.setting_6 = number_of<uint16_t>(settings[0]);
  key.setting_8 = number_of(settings[1]);
  key.setting_12 = number_of(settings[2]);
  key.limit_16 = number_of(settings[3]);
  key.setting_36 = number_of(settings[4]);
  key.number = number_of(values["number"]);
  return key;
}

template <auto kFunction>
int32_t send_edge_policy(const Json& values) {
  return kFunction(definition_of(values), key_of(values));
}

template <auto kFunction>
int32_t send_threshold(const Json& values) {
  return kFunction(number_of(values["a"]), number_of(values["b"]), number_of(values["c"]),
                   number_of<uint8_t>(values["d"]), number_of<uint8_t>(values["e"]), definition_of(values));
}

int32_t remove_threshold(const Json& values) {
  const TIdentifierBlock identifier = block_of(values["identifier"]);
  return mar_remove_threshold(number_of(values["a"]), &identifier, number_of(values["c"]));
}

int32_t report_violation(const Json& values) {
  return mar_set_threshold_violation_state(number_of(values["a"]), number_of(values["b"]),
                                           number_of<uint8_t>(values["c"]), block_of(values["identifier"]));
}

int32_t request_upload(const Json& values) {
  const Json& flags = values["flags"];
  const Json& blocks = values["blocks"];
  return mar_request_data_upload(number_of(values["request"]), number_of<int32_t>(values["policy"]),
                                 number_of(values["start"]), number_of(values["end"]),
                                 number_of<uint8_t>(flags[0]), number_of<uint8_t>(flags[1]),
                                 block_of(blocks[0]), block_of(blocks[1]), block_of(blocks[2]));
}

int32_t set_schedule(const Json& values) {
  return mar_set_upload_schedule(number_of<int32_t>(values["start_hour"]),
                                 number_of<int32_t>(values["interval"]));
}

int32_t set_suffix(const Json& values) {
  const auto& suffix = values["suffix"].get_ref<const std::string&>();
  uint8_t bytes[kCorrelatorSuffixMax];
  std::memcpy(bytes, suffix.data(), suffix.size());
  return mar_set_correlator_suffix(bytes, static_cast<int32_t>(suffix.size()));
}

int32_t set_filter(const Json& values) {
  const Json& filter = values["filter"];
  return mar_set_listener_filter(number_of(filter[0]), number_of(filter[1]), number_of(filter[2]),
                                 number_of(filter[3]));
}

// A function of the library that takes nothing, or a single number.
template <auto kFunction>
int32_t send_bare(const Json&) {
  return kFunction();
}

template <auto kFunction, typename Number = uint32_t>
int32_t send_number(const Json& values) {
  return kFunction(number_of<Number>(values.front()));
}

int32_t send_dump(const Json&) { return mar_dump(0); }

constexpr Command kCommands[] = {
    {"stop-engine", "End the engine", {}, send_bare<mar_stop_engine>},
    {"clear-engine", "Remove all policies and thresholds", {}, send_bare<mar_clear_eng>},
    {"add-edge-policy", "Add an edge policy", kEdgePolicy, send_edge_policy<mar_add_edge_policy>},
    {"remove-edge-policy", "Remove an edge policy", kPolicyRemoval, send_number<mar_remove_edge_policy>},
    {"add-threshold", "Add a threshold", kThreshold, send_threshold<mar_add_threshold>},
    {"remove-threshold", "Remove a threshold", kThresholdRemoval, remove_threshold},
    {"update-threshold", "Change a threshold", kThreshold, send_threshold<mar_update_threshold>},
    {"request-data-upload", "Ask for an upload of collected data", kUpload, request_upload},
    {"update-edge-policy", "Change an edge policy", kEdgePolicy, send_edge_policy<mar_update_edge_policy>},
    {"set-upload-schedule", "Set when data is uploaded", kSchedule, set_schedule},
    {"set-threshold-violation-state", "Report a threshold's violation", kViolation, report_violation},
    {"dump", "Let the engine dump its state", {}, send_dump},
    {"debug", "Set the level of the engine's log", kLevel, send_number<mar_debug>},
    {"ping-engine", "Ask whether the engine answers, once", {}, send_bare<mar_ping_engine>},
    {"set-correlator-suffix", "Set the suffix of correlators", kSuffix, set_suffix},
    {"register-listener", "Register a listener", kRegistration, send_number<mar_register_listener, int32_t>},
    {"set-listener-filter", "Set the listeners' filter", kFilter, set_filter},
    {"deregister-listener", "Remove a listener", kDeregistration, send_number<mar_deregister_listener>},
    {"set-realtime-send-interval", "Set the interval of real-time data", kSendInterval,
     send_number<mar_set_realtime_send_interval>},
};

}  // namespace

std::span<const Command> commands() { return kCommands; }

const Command* find_command(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kCommands), std::end(kCommands),
                                         [name](const Command& command) { return command.name == name; });
  return found == std::end(kCommands) ? nullptr : found;
}

Outcome<Request> make_request(const Command& command, const Json& fields, const Place& place) {
  auto values = complete(command.fields, fields, place);
  if (!values) return Failure{values.reason()};
  if (command.fields.data() == kSuffix && values->contains("length")) {
    const size_t size = (*values)["suffix"].get_ref<const std::string&>().size();
    if ((*values)["length"] != size)
      return place.item("length").failure("the suffix has " + std::to_string(size) +
                                          " bytes, and the length may say nothing else");
  }
  return Request{&command, std::move(*values)};
}

}  // namespace mar::ctl
