/* The engine's commands, one function each. Each packs its arguments, exchanges one request and one answer
 * with the engine on this host, and returns the engine's result. Compiles as C; any thread may call.
 *
 * Results: 1 for success, the engine's own code, or
 *   -1    the exchange failed although the engine runs
 *   -2    the engine does not run, or no memory
 *   -27   the answer has no marker
 * A call may block for as long as the engine lives without answering, unless mar_set_deadline() limits it
 * (engine_client/connection.h, which also tells the cause of a failure). The answer to a call that failed,
 * should it come later, is never returned by another call. */
#pragma once

#include "contract/policy.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default) /* libmarclient exports these functions and nothing else */

int32_t mar_clear_eng(void);
int32_t mar_stop_engine(void); /* waits 1 more second once the engine has answered */

int32_t mar_add_edge_policy(TPolicyDefinition definition, TEdgeKey key);
int32_t mar_update_edge_policy(TPolicyDefinition definition, TEdgeKey key);
int32_t mar_remove_edge_policy(uint32_t management_policy_id);

int32_t mar_add_threshold(uint32_t a, uint32_t b, uint32_t c, uint8_t d, uint8_t e,
                          TPolicyDefinition definition);
int32_t mar_update_threshold(uint32_t a, uint32_t b, uint32_t c, uint8_t d, uint8_t e,
                             TPolicyDefinition definition);
/* A null identifier is sent as zeros. */
int32_t mar_remove_threshold(uint32_t a, const TIdentifierBlock* identifier, uint32_t c);
int32_t mar_set_threshold_violation_state(uint32_t a, uint32_t b, uint8_t c, TIdentifierBlock identifier);

/* Times in seconds since the epoch. Also returns 2 when there is nothing to upload, and -400, without
 * sending, for a policy_id below 1. */
int32_t mar_request_data_upload(uint32_t request_id, int32_t policy_id, uint32_t start_time_s,
                                uint32_t end_time_s, uint8_t flag_1, uint8_t flag_2, TIdentifierBlock block_1,
                                TIdentifierBlock block_2, TIdentifierBlock block_3);
/* Only the low byte of each is sent. */
int32_t mar_set_upload_schedule(int32_t start_hour, int32_t interval);

int32_t mar_dump(uint32_t ignored); /* makes the engine dump its state */
int32_t mar_debug(uint32_t level);  /* sets the engine's log level */
int32_t mar_ping_engine(void);

/* Sends min(length, 512) bytes of `suffix`; a negative length or a null suffix sends none. */
int32_t mar_set_correlator_suffix(const uint8_t* suffix, int32_t length);

int32_t mar_register_listener(int32_t listener); /* only the low 16 bits are sent */
int32_t mar_deregister_listener(uint32_t listener);
int32_t mar_set_listener_filter(uint32_t value_1, uint32_t value_2, uint32_t value_3, uint32_t value_4);
int32_t mar_set_realtime_send_interval(uint32_t interval);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
