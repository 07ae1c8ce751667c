// The engine's commands, one row each: the stand-in's name for its message, its fields, and the function of
// the client library that sends it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "tools/marctl/fields.h"

namespace mar::ctl {

struct Command {
  const char* name;
  const char* help;
  std::span<const Field> fields;
  int32_t (*send)(const Json& values);  // complete and checked; returns what the mar_ function returns
};

std::span<const Command> commands();
const Command* find_command(std::string_view name);  // null: there is none

// A command that is ready to be sent.
struct Request {
  const Command* command;
  Json values;

  int32_t send() const { return command->send(values); }
};

// Makes a request of fields that are checked already, or says which is missing or contradicts another.
Outcome<Request> make_request(const Command& command, const Json& fields, const Place& place);

}  // namespace mar::ctl
