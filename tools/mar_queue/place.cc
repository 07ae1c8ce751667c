#include "tools/mar_queue/place.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "contract/names.h"
#include "util/agent_instance.h"

namespace mar::queue_tool {

namespace {

std::string built_name(const std::string& base, int limit) {
  std::string name(static_cast<size_t>(limit) + 1, '\0');
  CIPCUtils::createIPCName(base.c_str(), nullptr, limit, name.data());
  return name.c_str();
}

}  // namespace

Place find_place(const std::string& base) {
  Place place;
  place.base = base;
  place.path = built_name(base, kSegmentNameLimit);
  char instance[4097];
  getMultiAgentName(instance, sizeof instance);
  place.instance = instance;
  const size_t suffix = isMultiAgent() != 0 ? 1 + place.instance.size() : 0;
  if (place.path.size() != base.size() + suffix || place.path != built_name(base, kQueueNameLimit)) {
    place.error = ENAMETOOLONG;
  } else if (stat(place.path.c_str(), &place.file) != 0 || !impl_ipc_keys(place.path.c_str(), place.keys)) {
    place.error = errno;
  }
  return place;
}

std::vector<std::string> other_control_files(const Place& place) {
  const std::filesystem::path base(place.base);
  const std::string first = base.filename().string();
  std::vector<std::string> others;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(base.parent_path(), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    const bool related = name == first || name.starts_with(first + POST_MULTI_DELIMETER);
    if (related && entry->path() != place.path) others.push_back(entry->path().string());
  }
  std::sort(others.begin(), others.end());
  return others;
}

std::string environment_for(const Place& place, const std::string& control_file) {
  const std::string variable = MULTI_AGENT_ENV_VAR;
  if (control_file == place.base) return variable + " unset";
  return variable + '=' + control_file.substr(place.base.size() + sizeof POST_MULTI_DELIMETER - 1);
}

}  // namespace mar::queue_tool
