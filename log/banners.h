// What every function that reports to the engine log has in common: the component it logs under and the
// banners that mark where a call begins, what it hands on and where it ends.
#pragma once

inline constexpr char kEntryBanner[] = "-------> function entry point <-------";
inline constexpr char kInvokingBanner[] = "-------> invoking function    <-------";
inline constexpr char kCompletedBanner[] = "-------> function completed   <-------";

inline constexpr long kBackend = 8192;  // the "BACKEND" component
