// What the log lines of the command path have in common: component, levels and banners.
#pragma once

#include "log/components.h"

namespace mar {

inline constexpr int kErrorLevel = kLogLevelMin;     // a command that cannot be sent
inline constexpr int kCommandLevel = kLogLevelMed;   // the command functions
inline constexpr int kExchangeLevel = kLogLevelMax;  // exchange and channel

inline constexpr char kEntryBanner[] = "-------> function entry point <-------";
inline constexpr char kInvokingBanner[] = "-------> invoking function    <-------";
inline constexpr char kCompletedBanner[] = "-------> function completed   <-------";

}  // namespace mar
