// What the log lines of the command path have in common: component, levels and banners.
#pragma once

#include "log/components.h"

namespace mar {

inline constexpr long kBackend = MAR_LOG_BACKEND;

inline constexpr int kErrorLevel = MAR_LOG_MIN;     // a command that cannot be sent
inline constexpr int kCommandLevel = MAR_LOG_MED;   // the command functions
inline constexpr int kExchangeLevel = MAR_LOG_MAX;  // exchange and channel

inline constexpr char kEntryBanner[] = "-------> function entry point <-------";
inline constexpr char kInvokingBanner[] = "-------> invoking function    <-------";
inline constexpr char kCompletedBanner[] = "-------> function completed   <-------";

}  // namespace mar
