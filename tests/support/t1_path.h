// The t1 that a test starts: this build's, or the one that MAR_T1 names, so that the same tests judge a t1
// that was built in another way.
#pragma once

#include <cstdlib>
#include <string>

namespace mar {

inline std::string t1_path() {
  const char* const other = std::getenv("MAR_T1");
  return other != nullptr ? other : T1_PATH;
}

}  // namespace mar
