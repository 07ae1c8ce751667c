// What the log lines of the command path have in common: the component kBackend and the banners.
#pragma once

#include "log/components.h"

namespace mar {

inline constexpr char kEntryBanner[] = "-------> function entry point <-------";
inline constexpr char kInvokingBanner[] = "-------> invoking function    <-------";
inline constexpr char kCompletedBanner[] = "-------> function completed   <-------";

}  // namespace mar
