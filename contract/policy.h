/* The records that callers of the engine command functions fill: policies, keys, identifiers. Part of the
 * public interface, so it compiles as C as well. All are packed; numbers are in host byte order. */
#pragma once

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

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

static_assert(sizeof(TIdentifierBlock) == 24, "TIdentifierBlock is 24 bytes");
static_assert(sizeof(TPolicyDefinition) == 5444, "TPolicyDefinition is 5444 bytes");
static_assert(offsetof(TPolicyDefinition, identifier) == 12, "identifier at 12");
static_assert(offsetof(TPolicyDefinition, pattern) == 36, "first pattern at 36");
static_assert(offsetof(TPolicyDefinition, host_pattern) == 164, "host pattern at 164");
static_assert(offsetof(TPolicyDefinition, application_pattern) == 420, "application pattern at 420");
static_assert(offsetof(TPolicyDefinition, transaction_pattern) == 1444, "transaction pattern at 1444");
static_assert(sizeof(TEdgeKey) == 44, "TEdgeKey is 44 bytes");
static_assert(offsetof(TEdgeKey, setting_6) == 6 && offsetof(TEdgeKey, setting_8) == 8,
              "settings at 6 and 8");
static_assert(offsetof(TEdgeKey, limit_16) == 16 && offsetof(TEdgeKey, setting_36) == 36, "limit at 16");
static_assert(offsetof(TEdgeKey, number) == 40, "trailing number at 40");
