#include "tools/marctl/json_input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <set>
#include <string_view>
#include <vector>

namespace mar::ctl {

namespace {

std::string line_and_column(std::string_view text, size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const size_t line_begin = before.rfind('\n') + 1;  // npos + 1 is 0
  return "line " + std::to_string(1 + std::count(before.begin(), before.end(), '\n')) + ", column " +
         std::to_string(before.size() - line_begin + 1);
}

// Remembers the names in each object that is open, and the first that comes twice.
class NameWatch {
 public:
  bool operator()(int, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::object_start) open_.emplace_back();
    if (event == Json::parse_event_t::object_end) open_.pop_back();
    if (event == Json::parse_event_t::key) {
      const auto& name = parsed.get_ref<const std::string&>();
      if (!open_.back().insert(name).second && twice_.empty()) twice_ = quoted(name);
    }
    return true;
  }
  const std::string& twice() const { return twice_; }

 private:
  std::vector<std::set<std::string>> open_;
  std::string twice_;
};

Outcome<std::string> read_stream(std::istream& input) {
  std::string text(kMaxInputBytes + 1, '\0');
  input.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<size_t>(input.gcount()));
  if (input.bad()) return Failure{"cannot be read"};
  if (text.size() > kMaxInputBytes)
    return Failure{"longer than " + std::to_string(kMaxInputBytes) + " bytes"};
  return text;
}

}  // namespace

std::string input_name(const std::string& path) { return path == "-" ? "standard input" : path; }

Outcome<std::string> read_input(const std::string& path) {
  if (path == "-") return read_stream(std::cin);
  std::ifstream file(path, std::ios::binary);
  if (!file) return Failure{strerrordesc_np(errno)};
  return read_stream(file);
}

bool read_line(std::istream& input, std::string& line, bool& too_long) {
  line.clear();
  too_long = false;
  int byte = input.get();
  if (byte == EOF) return false;
  for (; byte != EOF && byte != '\n'; byte = input.get()) {
    too_long = line.size() == kMaxInputBytes;
    if (!too_long) line += static_cast<char>(byte);
  }
  if (line.ends_with('\r')) line.pop_back();
  return true;
}

Outcome<Json> parse_json(const std::string& text) {
  NameWatch watch;
  try {
    Json value = Json::parse(text, std::ref(watch));
    if (!watch.twice().empty()) return Failure{"the member " + watch.twice() + " comes twice in an object"};
    return value;
  } catch (const Json::parse_error& error) {
    return Failure{"not JSON at " + line_and_column(text, error.byte == 0 ? 0 : error.byte - 1)};
  }
}

}  // namespace mar::ctl
