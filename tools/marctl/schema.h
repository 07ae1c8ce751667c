// The JSON schema of what the commands take.
#pragma once

#include "tools/marctl/commands.h"

namespace mar::ctl {

// Of the object of fields that --file takes for `command`; for null of a line that batch takes.
Json schema_of(const Command* command);

}  // namespace mar::ctl
