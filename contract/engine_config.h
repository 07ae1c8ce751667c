// Vocabulary of the engine's configuration, shared with the engine: every section and key of its
// configuration file with default and bounds, and the names, switches and error codes of its utilities. The
// client reads no configuration file; it carries the vocabulary so that both sides agree on it.
#pragma once

#include <cstdint>
#include <span>

inline constexpr int MAX_ERRORS_MANAGED = 10;  // does not bound the ring of an error stack
inline constexpr int THREAD_NAME_MIN_LEN = 14;

// One namespace for each section, one constant for each of its keys.
namespace engine_config {

// The default is the text that stands in the file; bounds are inclusive. The display name is the one under
// which the engine shows the key, null where that is the key itself.
struct NumberSetting {
  const char* key;
  const char* default_text;
  int32_t min;
  int32_t max;
  const char* display_name = nullptr;
};

struct TimeBound {
  int32_t hours;
  int32_t minutes;
};
inline constexpr TimeBound kDayStart{0, 0};
inline constexpr TimeBound kDayEnd{23, 59};

struct TimeSetting {
  const char* key;
  const char* default_text;  // "hours:minutes"
  TimeBound min;
  TimeBound max;
  const char* display_name = nullptr;
};

struct ChoiceSetting {
  const char* key;
  const char* default_text;
  std::span<const char* const> values;
  const char* display_name = nullptr;
};

// Any text, or a value whose bounds the engine does not state.
struct TextSetting {
  const char* key;
  const char* default_text;  // null: none
  const char* display_name = nullptr;
};

inline constexpr const char* kBooleanTexts[] = {"true", "false"};
inline constexpr const char* kResourceUsageTexts[] = {"MIN", "MED", "MAX", "AUTO"};
// One text names both the collection and the extended collection: a look-up cannot tell them apart.
inline constexpr const char* kLogComponentTexts[] = {"NONE",       "ARMSERVER",  "COMMAND",    "COLLECTION",
                                                     "COLLECTION", "CORRELATOR", "AGGREGATOR", "ALL_ENGINE"};

namespace engine_log {
inline constexpr char kSection[] = "ENGINE::LOG";
inline constexpr TextSetting kLogFileName{"LogFileName", nullptr};
inline constexpr NumberSetting kFileMaxSize{"FileMaxSize", "5000000", 100, 100'000'000};
inline constexpr NumberSetting kLogLevel{"LogLevel", "3", 0, 3};
inline constexpr char kLogLevelMax[] = "3";
inline constexpr ChoiceSetting kLogComponents{"LogComponents", "ALL_ENGINE", kLogComponentTexts};
}  // namespace engine_log

namespace gw_upload {
inline constexpr char kSection[] = "ENGINE::GWUPLOAD";
inline constexpr ChoiceSetting kAggregationOn{"AggregationOn", "true", kBooleanTexts};
inline constexpr TimeSetting kStartTime{"StartTime", "00:10", kDayStart, kDayEnd, "GwUploadStartTime"};
inline constexpr TextSetting kRandTimeRange{"RandTimeRange", "01:00", "GwUploadRandTimeRange"};
inline constexpr NumberSetting kMaxAggregatedFiles{"MaxAggregatedFiles", "3", 2, 30};
}  // namespace gw_upload

namespace aggregated_data {
inline constexpr char kSection[] = "UPLOAD_MANAGER::AGGREGATED_DATA";
inline constexpr TimeSetting kStartTime{"StartTime", "00:00", kDayStart, kDayEnd, "AggregationStartTime"};
inline constexpr TimeSetting kEndTime{"EndTime", "00:00", kDayStart, kDayEnd, "AggregationEndTime"};
inline constexpr NumberSetting kTimeStep{"TimeStep", "24", 1, 24, "AggregationTimeStep"};
inline constexpr TimeSetting kRandTimeRange{"RandTimeRange", "01:00", kDayStart, kDayEnd,
                                            "AggregationRandTimeRange"};
inline constexpr ChoiceSetting kEnabled{"Enabled", "true", kBooleanTexts, "AggregationEnabled"};
}  // namespace aggregated_data

namespace instance_data {
inline constexpr char kSection[] = "UPLOAD_MANAGER::INSTANCE_DATA";
inline constexpr TimeSetting kStartTime{"StartTime", "00:00", kDayStart, kDayEnd, "InstanceStartTime"};
inline constexpr TimeSetting kEndTime{"EndTime", "00:00", kDayStart, kDayEnd, "InstanceEndTime"};
inline constexpr NumberSetting kTimeStep{"TimeStep", "24", 1, 24, "InstanceTimeStep"};
inline constexpr TimeSetting kRandTimeRange{"RandTimeRange", "01:00", kDayStart, kDayEnd,
                                            "InstanceRandTimeRange"};
inline constexpr ChoiceSetting kEnabled{"Enabled", "true", kBooleanTexts, "InstanceEnabled"};
}  // namespace instance_data

namespace aggregator_list {
inline constexpr char kSection[] = "ENGINE::AGGREGATOR_LIST";  // has no keys
}  // namespace aggregator_list

namespace collection {
inline constexpr char kSection[] = "ENGINE::COLLECTION";
inline constexpr NumberSetting kMaxSummaryDataFiles{"MaxSummaryDataFiles", "3", 2, 30};
inline constexpr ChoiceSetting kSummarizationOn{"SummarizationOn", "true", kBooleanTexts};
inline constexpr TextSetting kCollectEverything{"CollectEverything", ""};
inline constexpr ChoiceSetting kInstanceLogging{"InstanceLogging", "false", kBooleanTexts};
inline constexpr NumberSetting kMaxTransInstanceFiles{"MaxTransInstanceFiles", "3", 2, 30};
inline constexpr NumberSetting kTransInstanceFilesMaxSize{"TransInstanceFilesMaxSize", "5000000", 100,
                                                          100'000'000};
inline constexpr NumberSetting kExtendedCollectionIpcTimeout{"ExtendedCollectionIpcTimeout", "30", 10,
                                                             1'000'000};
inline constexpr NumberSetting kExtendedCollectionRestartAttempt{"ExtendedCollectionRestartAttempt", "5", 1,
                                                                 50};
}  // namespace collection

namespace cleanup {
inline constexpr char kSection[] = "ENGINE::CLEANUP";
inline constexpr TextSetting kStartTime{"StartTime", "20:00", "CleanupStartTime"};
inline constexpr TimeSetting kApplicationTimeout{
    "ApplicationTimeout", "168:00", {0, 5}, {672, 0}, "CleanupApplicationTimeout"};
inline constexpr TimeSetting kTransactionTimeout{
    "TransactionTimeout", "01:00", {0, 1}, {24, 0}, "CleanupTransactionTimeout"};
}  // namespace cleanup

namespace internals {
inline constexpr char kSection[] = "ENGINE::INTERNALS";
inline constexpr TextSetting kAgentVersion{"AgentVersion", "5.2"};
inline constexpr NumberSetting kAgentBuildNumber{"AgentBuildNumber", "20630", 10, 50'000};
inline constexpr NumberSetting kIPCAppToEngSize{"IPCAppToEngSize", "200", 50, 5'000};
inline constexpr NumberSetting kIPCEngToAppSize{"IPCEngToAppSize", "200", 50, 5'000};
inline constexpr NumberSetting kTransactionIDCacheSize{"TransactionIDCacheSize", "100000", 0, 10'000'000};
inline constexpr NumberSetting kTransactionIDCacheRemoveCount{"TransactionIDCacheRemoveCount", "100", 0,
                                                              10'000'000};
inline constexpr NumberSetting kPolicyCacheSize{"PolicyCacheSize", "100000", -1, 10'000'000};
inline constexpr NumberSetting kPolicyCacheRemoveCount{"PolicyCacheRemoveCount", "100", 0, 1'000'000};
inline constexpr NumberSetting kEdgeCacheSize{"EdgeCacheSize", "100000", 0, 10'000'000};
inline constexpr NumberSetting kEdgeCacheRemoveCount{"EdgeCacheRemoveCount", "1000", 0, 10'000'000};
inline constexpr NumberSetting kMaxAggregators{"MaxAggregators", "1000000", 0, 100'000'000};
inline constexpr NumberSetting kMaxAggregatorsRemoveCount{"MaxAggregatorsRemoveCount", "10", 0, 1'000'000};
inline constexpr NumberSetting kInstanceSequenceCacheSize{"InstanceSequenceCacheSize", "100000", 0,
                                                          1'000'000};
inline constexpr NumberSetting kInstanceSequenceCacheRemoveCount{"InstanceSequenceCacheRemoveCount", "1", 1,
                                                                 1'000'000};
inline constexpr NumberSetting kARM4StartedTransactionCacheSize{"ARM4StartedTransactionCacheSize", "100000",
                                                                0, 1'000'000};
inline constexpr NumberSetting kARM4StartedTransactionRemoveCount{"ARM4StartedTransactionRemoveCount", "1", 1,
                                                                  1'000'000};
inline constexpr NumberSetting kSaveTransStringsLevel{"SaveTransStringsLevel", "0", 0, 10};
inline constexpr NumberSetting kUploadStaggerInterval{"UploadStaggerInterval", "0", 0, 59};
inline constexpr NumberSetting kDataFileFormatVersion{"DataFileFormatVersion", "0", 0, 100};
inline constexpr char kDataFileFormatCurrentVersion[] = "3";
inline constexpr TextSetting kApplicationIDfile{"ApplicationIDfile", "applications.dat"};
inline constexpr TextSetting kTransactionIDfile{"TransactionIDfile", "transactions.dat"};
inline constexpr NumberSetting kRawTransactionQueueSize{"RawTransactionQueueSize", "500", 50, 300'000};
inline constexpr TextSetting kIPCAppToEngOverflow{"IPCAppToEngOverflow", "true"};
inline constexpr TextSetting kIPCEngToAppDestroy{"IPCEngToAppDestroy", "true"};
inline constexpr TextSetting kIPCEngToAppOverflow{"IPCEngToAppOverflow", "true"};
inline constexpr NumberSetting kCompletedTransactionQueueSize{"CompletedTransactionQueueSize", "250", 25,
                                                              300'000};
inline constexpr ChoiceSetting kResourceUsage{"ResourceUsage", "AUTO", kResourceUsageTexts};
}  // namespace internals

namespace correlation {
inline constexpr char kSection[] = "ENGINE::CORRELATION";
inline constexpr ChoiceSetting kGenerateCorrelator{"GenerateCorrelator", "true", kBooleanTexts};
}  // namespace correlation

}  // namespace engine_config

// Syntax of the configuration file.
inline constexpr char CHAR_START_TITLE[] = "[";  // round a section title
inline constexpr char CHAR_END_TITLE[] = "]";
inline constexpr char CHAR_SEPARATOR_K_V[] = "=";  // between key and value
inline constexpr char CHAR_END_LINE[] = "\n";
inline constexpr char COLLECTION_ON_FALSE[] = "false";  // the "off" of the collection switches
inline constexpr char EU_RULENAME[] = "TimeRule";       // a time rule entry

// Data files.
inline constexpr char SUMMARY_INFO_FILE_PREFIX[] = "marinfo";
inline constexpr char SUMMARY_DATA_FILE_PREFIX[] = "mardata";
inline constexpr char INSTANCE_INFO_FILE_PREFIX[] = "marrawinfo";
inline constexpr char INSTANCE_DATA_FILE_PREFIX[] = "marrawdata";
inline constexpr char BINARY_FILE_EXTENSION[] = ".dat";
inline constexpr int SIZE_OF_INFO_NEXT_POSITION = 8;  // bytes of an info file's next-position field
inline constexpr int SIZE_OF_RAW_INFO_NEXT_POSITION = 4;
inline constexpr char EU_VUS_DIR_NAME[] = "vus/";
inline constexpr char EU_DIR_SEPARATOR[] = "/";

inline constexpr int EU_MAX_STRING_SIZE = 256;
inline constexpr int EU_TODAY_STRING_LEN = 8;  // of a date text
inline constexpr int EU_TODAY_TIME = -1;       // "today" as a time value
inline constexpr int EU_METRIC_VALID = 1;
inline constexpr int EU_METRIC_INVALID = 0;
inline constexpr int EU_INVALID_PORT = 0;

// Start-up switches of the engine; those that end in "=" are followed by their value.
inline constexpr char EU_SWITCH_HOSTNAME[] = "HN=";
inline constexpr char EU_SWITCH_ROOTDIR[] = "RD=";
inline constexpr char EU_SWITCH_PORT[] = "PN=";
inline constexpr char EU_SWITCH_MSUUID[] = "MS=";
inline constexpr char EU_SWITCH_MAUUID[] = "MA=";
inline constexpr char EU_SWITCH_ICUDATADIR[] = "ICU_DATA=";
inline constexpr char EU_SWITCH_NOAGGPERSIST[] = "NOAGGPERSIST";    // do not keep aggregated data
inline constexpr char EU_SWITCH_NOINSTPERSIST[] = "NOINSTPERSIST";  // do not keep instance data
inline constexpr char EU_SWITCH_STSL[] = "STSL=";

inline constexpr char headerFMT[] = " - [%-14s] - %s";  // a titled header line
inline constexpr int headerFMTLength = 8;               // of its fixed part
inline constexpr int BUFFER_OK = 1;
inline constexpr int BUFFER_NOT_OK = 0;
inline constexpr int MAX_MSG_CUSTOM_SIZE = 1024;
inline constexpr int MAX_EXT_METRIC_SIZE = 4096;
inline constexpr int SIMPLE_QUEUE_MEM_HEADER = 28;  // bytes before a simple queue in memory

// Error codes of the utilities. The client returns only
// EU_ERR_ENG_NOT_RUNNING and EU_ERR_OPEN_CHANNEL_FAILED.
enum : int64_t {
  EU_ERR_FILE_NOT_OPEN = -1200,
  EU_ERR_FILE_TMP_NOT_OPEN = -1201,
  EU_ERR_FILE_ENDED = -1202,
  EU_ERR_ACCESSING_FILE = -1203,
  EU_ERR_PARAGRAPH_NOT_FOUND = -1210,
  EU_ERR_PARAMETER_NOT_FOUND = -1211,
  EU_ERR_PARAGRAPH_NAME_NOT_VALID = -1220,
  EU_ERR_PARAM_NAME_NOT_VALID = -1221,
  EU_ERR_PARAM_VALUE_NOT_VALID = -1222,
  EU_ERR_DAT_FILE_CORRUPTED = -1230,
  EU_ERR_DAT_FILE_EMPTY = -1231,
  EU_ERR_READING_DATA = -1232,
  EU_ERR_WRITING_DATA = -1233,
  EU_ERR_EOF = -1234,
  EU_ERR_FILE_ALREADY_OPEN = -1235,
  EU_ERR_RECORD_NOT_FOUND = -1236,
  EU_ERR_FILE_IN_USE = -1237,
  EU_ERR_NOT_YET_IMPEMENTED = -1241,  // the missing letter is part of the name
  EU_ERR_BUFFER_TOO_SHORT = -1242,
  EU_ERR_ENG_IS_ALREADY_UP = -1243,
  EU_ERR_ENG_NOT_RUNNING = -1244,
  EU_ERR_WRONG_NUM_OF_PARAM = -1245,
  EU_ERR_OPEN_CHANNEL_FAILED = -1246,
  EU_ERR_STARTING_PROCESS = -1247,
  EU_ERR_INFO_REC_WRONG = -1248,
  EU_ERR_RAW_FILES_FULL = -1249,
  EU_ERR_BAD_PARAM = -1250,
};
