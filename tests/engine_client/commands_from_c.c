/* The public header is for C programs, too: this fails to compile when it is not. */
#include "engine_client/commands.h"

int32_t set_schedule_from_c(void);
int32_t set_schedule_from_c(void) { return mar_set_upload_schedule(300, 2); }
