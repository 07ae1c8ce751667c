/* The records that callers of the engine command functions fill: policies, keys, identifiers. Plain data:
 * the caller owns them, and the functions that take one copy it. All are packed; numbers are in host byte
 * order. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "contract/c_language.h"

#pragma pack(push, 1)

/* Opaque to the client. */
typedef struct TIdentifierBlock {
  uint8_t bytes[24];
} TIdentifierBlock;

/* Patterns are NUL-terminated regular expressions; the client never interprets them. */
typedef struct TPolicyDefinition {
  uint32_t numbers[3];
  TIdentifierBlock identifier;
  char pattern[128];              /* the first pattern, ".*" in every built-in sample */
  char host_pattern[256];         /* host name */
  char application_pattern[1024]; /* application name */
  char transaction_pattern[4000]; /* transaction name */
} TPolicyDefinition;

/* An edge key. Its settings mean something to the engine alone; they are named by their place. */
typedef struct TEdgeKey {
  uint8_t bytes[6];
  uint16_t setting_6;
  uint32_t setting_8;
  uint32_t setting_12;
  uint32_t limit_16;
  uint8_t zero_20[16];
  uint32_t setting_36;
  uint32_t number; /* the key's trailing number */
} TEdgeKey;

#pragma pack(pop)

MAR_PINNED(sizeof(TIdentifierBlock) == 24);
MAR_PINNED(sizeof(TPolicyDefinition) == 5444);
MAR_PINNED(offsetof(TPolicyDefinition, identifier) == 12);
MAR_PINNED(offsetof(TPolicyDefinition, pattern) == 36);
MAR_PINNED(offsetof(TPolicyDefinition, host_pattern) == 164);
MAR_PINNED(offsetof(TPolicyDefinition, application_pattern) == 420);
MAR_PINNED(offsetof(TPolicyDefinition, transaction_pattern) == 1444);
MAR_PINNED(sizeof(TEdgeKey) == 44);
MAR_PINNED(offsetof(TEdgeKey, setting_6) == 6 && offsetof(TEdgeKey, setting_8) == 8);
MAR_PINNED(offsetof(TEdgeKey, limit_16) == 16 && offsetof(TEdgeKey, setting_36) == 36);
MAR_PINNED(offsetof(TEdgeKey, number) == 40);
