// What the log lines of the command path have in common: component, banners.
#pragma once

inline constexpr long kBackend = 8192;  // the component "BACKEND"

inline constexpr char kEntryBanner[] = "-------> function entry point <-------";
inline constexpr char kInvokingBanner[] = "-------> invoking function    <-------";
inline constexpr char kCompletedBanner[] = "-------> function completed   <-------";
