#include "tools/mar_queue/control_file.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "contract/names.h"
#include "util/agent_instance.h"

namespace mar::queue_tool {

namespace {

std::string ipc_name(const std::string& base, int limit) {
  std::vector<char> name(static_cast<size_t>(limit) + 1);
  CIPCUtils::createIPCName(base.c_str(), nullptr, limit, name.data());
  return name.data();
}

size_t instance_suffix_length() {
  if (isMultiAgent() == 0) return 0;
  char instance[4097];
  getMultiAgentName(instance, sizeof instance);
  return sizeof POST_MULTI_DELIMETER - 1 + std::string(instance).size();
}

}  // namespace

ControlFile find_control_file(const std::string& base) {
  ControlFile file;
  file.base = base;
  file.path = ipc_name(base, kSegmentNameLimit);
  if (file.path.size() != base.size() + instance_suffix_length() ||
      file.path != ipc_name(base, kQueueNameLimit)) {
    file.error = ENAMETOOLONG;
  } else if (stat(file.path.c_str(), &file.status) != 0 || !impl_ipc_keys(file.path.c_str(), file.keys)) {
    file.error = errno;
  }
  return file;
}

std::vector<std::string> other_control_files(const ControlFile& file) {
  const std::filesystem::path base(file.base);
  const std::string base_name = base.filename().string();
  std::vector<std::string> others;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(base.parent_path(), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    const bool related = name == base_name || name.starts_with(base_name + POST_MULTI_DELIMETER);
    if (related && entry->path() != file.path) others.push_back(entry->path().string());
  }
  std::sort(others.begin(), others.end());
  return others;
}

std::string environment_for(const ControlFile& file, const std::string& other_path) {
  const std::string variable = MULTI_AGENT_ENV_VAR;
  if (other_path == file.base) return variable + " unset";
  return variable + '=' + other_path.substr(file.base.size() + sizeof POST_MULTI_DELIMETER - 1);
}

}  // namespace mar::queue_tool
