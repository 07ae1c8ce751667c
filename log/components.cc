#include "log/components.h"

#include <cstring>

namespace {

enum : unsigned {
  kFromName = 1,  // the name converts to the mask
  kToName = 2,    // the mask converts to the name
  kValid = 4,
  kBothWays = kFromName | kToName | kValid,
};

struct Component {
  const char* name;
  long mask;
  unsigned uses;
};

constexpr Component kComponents[] = {
    {"NONE", 0, kFromName | kValid},
    {"COMMAND", 1, kBothWays},
    {"ARMSERVER", 2, kBothWays},
    {"CORRELATOR", 4, kBothWays},
    {"COLLECTION", 40, kFromName},
    {"COLLECTION", 8, kToName | kValid},
    {"COLLECTION", 32, kToName | kValid},
    {"MARGETDATA", 16, kBothWays},
    {"AGGREGATOR", 64, kBothWays},
    {"ENGINEMAIN", 127, kBothWays},
    {"MAR_UP", 256, kBothWays},
    {"MAR_DATA", 512, kBothWays},
    {"MLM", 1024, kBothWays},
    {"CONTROLLER", 2048, kBothWays},
    {"RIM", 4096, kBothWays},
    {"UPLOAD_ALL", 8064, kFromName | kValid},
    {"BACKEND", MAR_LOG_BACKEND, kBothWays},
    {"FRONTEND", 16384, kBothWays},
    {"REPOSITORY", 32768, kBothWays},
    {"CCAPTURE", 65536, kBothWays},
    {"ALL", 2147483647, kFromName | kValid},
};

// The row of `mask` that serves `use`, or null.
const Component* find_mask(long mask, unsigned use) {
  for (const Component& row : kComponents) {
    if (row.mask == mask && (row.uses & use) != 0) return &row;
  }
  return nullptr;
}

constexpr struct {
  const char* name;
  int value;
} kThresholds[] = {
    {"MIN", MAR_LOG_MIN}, {"MED", MAR_LOG_MED}, {"MAX", MAR_LOG_MAX}, {"LOGQUEUE", MAR_LOG_QUEUE}};

}  // namespace

long ComponentFromStringToMask(const char* name) {
  if (name == nullptr) return -1;
  for (const Component& row : kComponents) {
    if ((row.uses & kFromName) != 0 && std::strcmp(row.name, name) == 0) return row.mask;
  }
  return -1;
}

char* ComponentFromMaskToString(long mask) {
  const Component* row = find_mask(mask, kToName);
  return row == nullptr ? nullptr : strdup(row->name);
}

int ThresholdFromStringToValue(const char* name) {
  if (name == nullptr) return -1;
  for (const auto& row : kThresholds) {
    if (std::strcmp(row.name, name) == 0) return row.value;
  }
  return -1;
}

int ValidateLogThreshold(int threshold) {
  return (threshold >= 0 && threshold <= MAR_LOG_MAX) || threshold == MAR_LOG_QUEUE ? 0 : -1;
}

int ValidateCompID(long mask) { return find_mask(mask, kValid) == nullptr ? -1 : 0; }
