#include "tools/marctl/report.h"

#include <cstdio>

namespace mar::ctl {

bool put_line(const std::string& line) {
  return std::fputs((line + '\n').c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
}

std::string compact(const Json& value) { return value.dump(-1, ' ', true, Json::error_handler_t::replace); }

void add_outcome(Json& line, const Reply& reply) {
  line["status"] = static_cast<int>(reply.status);
  line["outcome"] = status_name(reply.status);
  line["result"] = reply.result;
  line["sent"] = reply.was_sent;
  if (reply.was_sent) line["ms"] = reply.round_trip_ms;
  if (!reply.done()) {
    line["cause"] = reply.cause;
    line["text"] = reply.text;
  }
}

ExitStatus report(const Style& style, const std::string& command, const Reply& reply) {
  bool written = true;
  if (style.json) {
    Json line = {{"message", command}};
    add_outcome(line, reply);
    if (!style.quiet || !reply.done()) written = put_line(compact(line));
  } else if (!reply.done()) {
    std::fprintf(stderr, "marctl: %s: %s\n", command.c_str(), reply.text.c_str());
  } else if (!style.quiet) {
    written = put_line(command + ": " + status_name(reply.status));
  }
  return written ? reply.status : ExitStatus::kFailed;
}

ExitStatus report_bad_input(const Style& style, const std::string& reason) {
  if (style.json) {
    put_line(compact({{"status", static_cast<int>(ExitStatus::kBadInput)},
                      {"outcome", status_name(ExitStatus::kBadInput)},
                      {"text", reason}}));
  } else {
    std::fprintf(stderr, "marctl: %s\n", reason.c_str());
  }
  return ExitStatus::kBadInput;
}

}  // namespace mar::ctl
