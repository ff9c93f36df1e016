/* The SDK of an invented chip, "Tern": one pipe of 32 ports, 8 blocks of 64 rows of 128 bits.
 *
 * A table takes whole blocks. The chip gives handles to tables, rules and counters. A rule gets its
 * row when it is added; it matches packets from tern_rule_write to tern_rule_erase. Rules of lower
 * order match first. Counters count the packets and bytes of the rule that they are bound to.
 *
 * Every function returns TERN_OK or an error, which changes nothing. One thread at a time. */
#ifndef TERN_SDK_H
#define TERN_SDK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { TERN_PORTS = 32, TERN_BLOCKS = 8, TERN_ROWS = 64, TERN_KEY_BITS = 128, TERN_COUNTERS = 256 };

typedef enum {
  TERN_OK = 0,
  TERN_NO_SPACE = 1, /* no block, row or counter is free, or the key is too wide */
  TERN_NO_OBJECT = 2,
  TERN_IN_USE = 3,
  TERN_BAD_STATE = 4,
  TERN_BAD_FIELD = 5 /* not in the table's key, or the value exceeds it */
} tern_error;

typedef uint32_t tern_handle; /* 0: none */

/* Fields of a key, and bits of a set of fields. */
typedef enum {
  TERN_IN_PORTS, /* a bitmap; the mask's ports are compared */
  TERN_VLAN,
  TERN_IP_VERSION, /* 4, 6, or 0: no IP packet */
  TERN_IP_SRC,
  TERN_IP_DST,
  TERN_PROTOCOL,
  TERN_L4_SRC,
  TERN_L4_DST,
  TERN_FIELDS
} tern_field;

typedef enum {
  TERN_DROP,
  TERN_PERMIT,
  TERN_TO_CPU,
  TERN_REDIRECT,
  TERN_NOT_TO,
  TERN_MIRROR,
  TERN_VERBS
} tern_verb;

tern_error tern_table_create( uint32_t fields, int precedence, tern_handle * table );
tern_error tern_table_destroy( tern_handle table );
tern_error tern_table_fields( tern_handle table, uint32_t fields );
tern_error tern_table_rows( tern_handle table, int * used, int * own, int * available );

tern_error tern_rule_add( tern_handle table, tern_handle * rule );
tern_error tern_rule_drop( tern_handle rule ); /* not a written rule, nor one with a counter */
tern_error tern_rule_write( tern_handle rule );
tern_error tern_rule_erase( tern_handle rule );
tern_error tern_rule_pause( tern_handle rule, int paused );
tern_error tern_rule_order( tern_handle rule, uint32_t order );
tern_error tern_rule_order_get( tern_handle rule, uint32_t * order );
tern_error tern_rule_match( tern_handle rule, tern_field field, uint32_t value, uint32_t mask );
tern_error tern_rule_match_get( tern_handle rule, tern_field field, uint32_t * value,
                                uint32_t * mask );
tern_error tern_rule_match_all( tern_handle rule ); /* no field is compared */
tern_error tern_rule_do( tern_handle rule, tern_verb verb, uint32_t ports );
tern_error tern_rule_undo( tern_handle rule, tern_verb verb );
tern_error tern_rule_clone( tern_handle from, tern_handle to ); /* matches and verbs */

tern_error tern_counter_new( tern_handle * counter );
tern_error tern_counter_free( tern_handle counter );
tern_error tern_counter_bind( tern_handle counter, tern_handle rule ); /* rule 0 unbinds */
tern_error tern_counter_read( tern_handle counter, uint64_t * packets, uint64_t * bytes );
tern_error tern_counter_set( tern_handle counter, uint64_t packets, uint64_t bytes );

/* Rows of a block that hold rules. */
int tern_block_used( int block );
const char * tern_error_text( tern_error error );

#ifdef __cplusplus
}
#endif

#endif
