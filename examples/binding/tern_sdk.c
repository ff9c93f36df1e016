/* The invented SDK, without a chip: it keeps what a driver would write to the hardware. */
#include "tern_sdk.h"

#include <string.h>

enum { TABLES = TERN_BLOCKS, RULES = TERN_BLOCKS * TERN_ROWS };

typedef struct {
  int exists;
  uint32_t fields;
  int precedence;
} table_t;

typedef struct {
  int table; /* index + 1; 0: no such rule */
  int row;   /* over all blocks */
  int written;
  int paused;
  uint32_t order;
  uint32_t value[ TERN_FIELDS ];
  uint32_t mask[ TERN_FIELDS ];
  uint32_t verbs;
  uint32_t ports[ TERN_VERBS ];
} rule_t;

typedef struct {
  int exists;
  int rule; /* index + 1; 0: unbound */
  uint64_t packets;
  uint64_t bytes;
} counter_t;

static table_t tables[ TABLES ];
static rule_t rules[ RULES ];
static counter_t counters[ TERN_COUNTERS ];
static int owner[ TERN_BLOCKS ]; /* index of the table + 1; 0: free */
static int row_used[ RULES ];

static const int field_bits[ TERN_FIELDS ] = { TERN_PORTS, 12, 4, 32, 32, 8, 16, 16 };

/* Handles have their kind in the upper half. */
enum { TABLE = 0x10000, RULE = 0x20000, COUNTER = 0x30000 };

static table_t * table_at( tern_handle handle ) {
  const uint32_t index = handle - TABLE;
  return index < TABLES && tables[ index ].exists ? &tables[ index ] : 0;
}

static rule_t * rule_at( tern_handle handle ) {
  const uint32_t index = handle - RULE;
  return index < RULES && rules[ index ].table != 0 ? &rules[ index ] : 0;
}

static counter_t * counter_at( tern_handle handle ) {
  const uint32_t index = handle - COUNTER;
  return index < TERN_COUNTERS && counters[ index ].exists ? &counters[ index ] : 0;
}

static int key_fits( uint32_t fields ) {
  int bits = 0;
  for ( int i = 0; i < TERN_FIELDS; ++i )
    if ( fields >> i & 1 )
      bits += field_bits[ i ];
  return bits <= TERN_KEY_BITS;
}

static int take_block( int table ) {
  for ( int i = 0; i < TERN_BLOCKS; ++i )
    if ( owner[ i ] == 0 ) {
      owner[ i ] = table + 1;
      return i;
    }
  return -1;
}

int tern_block_used( int block ) {
  int used = 0;
  for ( int i = block * TERN_ROWS; i < ( block + 1 ) * TERN_ROWS; ++i )
    used += row_used[ i ];
  return used;
}

/* --- Tables --- */

tern_error tern_table_create( uint32_t fields, int precedence, tern_handle * table ) {
  if ( fields >> TERN_FIELDS != 0 || !key_fits( fields ) )
    return TERN_BAD_FIELD;
  for ( int i = 0; i < TABLES; ++i ) {
    if ( tables[ i ].exists )
      continue;
    if ( take_block( i ) < 0 )
      return TERN_NO_SPACE;
    tables[ i ].exists = 1;
    tables[ i ].fields = fields;
    tables[ i ].precedence = precedence;
    *table = TABLE + ( uint32_t )i;
    return TERN_OK;
  }
  return TERN_NO_SPACE;
}

tern_error tern_table_destroy( tern_handle handle ) {
  table_t * table = table_at( handle );
  if ( !table )
    return TERN_NO_OBJECT;
  const int number = ( int )( table - tables ) + 1;
  for ( int i = 0; i < RULES; ++i )
    if ( rules[ i ].table == number )
      return TERN_IN_USE;
  for ( int i = 0; i < TERN_BLOCKS; ++i )
    if ( owner[ i ] == number )
      owner[ i ] = 0;
  table->exists = 0;
  return TERN_OK;
}

tern_error tern_table_fields( tern_handle handle, uint32_t fields ) {
  table_t * table = table_at( handle );
  if ( !table )
    return TERN_NO_OBJECT;
  if ( fields >> TERN_FIELDS != 0 )
    return TERN_BAD_FIELD;
  if ( !key_fits( fields ) )
    return TERN_NO_SPACE;
  for ( int i = 0; i < RULES; ++i )
    for ( int f = 0; f < TERN_FIELDS && rules[ i ].table == ( int )( table - tables ) + 1; ++f )
      if ( rules[ i ].mask[ f ] != 0 && ( fields >> f & 1 ) == 0 )
        return TERN_IN_USE;
  table->fields = fields;
  return TERN_OK;
}

tern_error tern_table_rows( tern_handle handle, int * used, int * own, int * available ) {
  const table_t * table = table_at( handle );
  if ( !table )
    return TERN_NO_OBJECT;
  *used = *own = *available = 0;
  for ( int i = 0; i < TERN_BLOCKS; ++i ) {
    const int mine = owner[ i ] == ( int )( table - tables ) + 1;
    *used += mine ? tern_block_used( i ) : 0;
    *own += mine ? TERN_ROWS : 0;
    *available += mine || owner[ i ] == 0 ? TERN_ROWS - tern_block_used( i ) : 0;
  }
  return TERN_OK;
}

/* --- Rules --- */

static int free_row( int table ) {
  for ( int i = 0; i < RULES; ++i )
    if ( owner[ i / TERN_ROWS ] == table + 1 && !row_used[ i ] )
      return i;
  const int block = take_block( table );
  return block < 0 ? -1 : block * TERN_ROWS;
}

tern_error tern_rule_add( tern_handle handle, tern_handle * rule ) {
  const table_t * table = table_at( handle );
  if ( !table )
    return TERN_NO_OBJECT;
  const int row = free_row( ( int )( table - tables ) );
  if ( row < 0 )
    return TERN_NO_SPACE;
  int i = 0; /* there are as many rules as rows */
  while ( rules[ i ].table != 0 )
    ++i;
  memset( &rules[ i ], 0, sizeof rules[ i ] );
  rules[ i ].table = ( int )( table - tables ) + 1;
  rules[ i ].row = row;
  row_used[ row ] = 1;
  *rule = RULE + ( uint32_t )i;
  return TERN_OK;
}

tern_error tern_rule_drop( tern_handle handle ) {
  rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  if ( rule->written )
    return TERN_BAD_STATE;
  for ( int i = 0; i < TERN_COUNTERS; ++i )
    if ( counters[ i ].exists && counters[ i ].rule == ( int )( rule - rules ) + 1 )
      return TERN_IN_USE;
  row_used[ rule->row ] = 0;
  rule->table = 0;
  return TERN_OK;
}

tern_error tern_rule_write( tern_handle handle ) {
  rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  rule->written = 1;
  return TERN_OK;
}

tern_error tern_rule_erase( tern_handle handle ) {
  rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  if ( !rule->written )
    return TERN_BAD_STATE;
  rule->written = 0;
  return TERN_OK;
}

tern_error tern_rule_pause( tern_handle handle, int paused ) {
  rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  rule->paused = paused;
  return TERN_OK;
}

tern_error tern_rule_order( tern_handle handle, uint32_t order ) {
  rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  rule->order = order;
  return TERN_OK;
}

tern_error tern_rule_order_get( tern_handle handle, uint32_t * order ) {
  const rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  *order = rule->order;
  return TERN_OK;
}

static int has_field( const rule_t * rule, tern_field field ) {
  return tables[ rule->table - 1 ].fields >> field & 1;
}

tern_error tern_rule_match( tern_handle handle, tern_field field, uint32_t value, uint32_t mask ) {
  rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  if ( !has_field( rule, field ) || ( field_bits[ field ] < 32 && value >> field_bits[ field ] ) )
    return TERN_BAD_FIELD;
  rule->value[ field ] = value;
  rule->mask[ field ] = mask;
  return TERN_OK;
}

tern_error tern_rule_match_get( tern_handle handle, tern_field field, uint32_t * value,
                                uint32_t * mask ) {
  const rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  if ( !has_field( rule, field ) )
    return TERN_BAD_FIELD;
  *value = rule->value[ field ];
  *mask = rule->mask[ field ];
  return TERN_OK;
}

tern_error tern_rule_match_all( tern_handle handle ) {
  rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  memset( rule->value, 0, sizeof rule->value );
  memset( rule->mask, 0, sizeof rule->mask );
  return TERN_OK;
}

tern_error tern_rule_do( tern_handle handle, tern_verb verb, uint32_t ports ) {
  rule_t * rule = rule_at( handle );
  if ( !rule )
    return TERN_NO_OBJECT;
  rule->verbs |= 1u << verb;
  rule->ports[ verb ] = ports;
  return TERN_OK;
}

tern_error tern_rule_undo( tern_handle handle, tern_verb verb ) {
  rule_t * rule = rule_at( handle );
  if ( !rule || ( rule->verbs >> verb & 1 ) == 0 )
    return TERN_NO_OBJECT;
  rule->verbs &= ~( 1u << verb );
  return TERN_OK;
}

tern_error tern_rule_clone( tern_handle from, tern_handle to ) {
  const rule_t * source = rule_at( from );
  rule_t * target = rule_at( to );
  if ( !source || !target )
    return TERN_NO_OBJECT;
  memcpy( target->value, source->value, sizeof target->value );
  memcpy( target->mask, source->mask, sizeof target->mask );
  memcpy( target->ports, source->ports, sizeof target->ports );
  target->verbs = source->verbs;
  return TERN_OK;
}

/* --- Counters --- */

tern_error tern_counter_new( tern_handle * counter ) {
  for ( int i = 0; i < TERN_COUNTERS; ++i ) {
    if ( counters[ i ].exists )
      continue;
    memset( &counters[ i ], 0, sizeof counters[ i ] );
    counters[ i ].exists = 1;
    *counter = COUNTER + ( uint32_t )i;
    return TERN_OK;
  }
  return TERN_NO_SPACE;
}

tern_error tern_counter_free( tern_handle handle ) {
  counter_t * counter = counter_at( handle );
  if ( !counter )
    return TERN_NO_OBJECT;
  if ( counter->rule != 0 )
    return TERN_IN_USE;
  counter->exists = 0;
  return TERN_OK;
}

tern_error tern_counter_bind( tern_handle handle, tern_handle to ) {
  counter_t * counter = counter_at( handle );
  const rule_t * rule = rule_at( to );
  if ( !counter || ( to != 0 && !rule ) )
    return TERN_NO_OBJECT;
  if ( ( to == 0 ) == ( counter->rule == 0 ) )
    return TERN_BAD_STATE;
  counter->rule = rule ? ( int )( rule - rules ) + 1 : 0;
  return TERN_OK;
}

tern_error tern_counter_read( tern_handle handle, uint64_t * packets, uint64_t * bytes ) {
  const counter_t * counter = counter_at( handle );
  if ( !counter )
    return TERN_NO_OBJECT;
  *packets = counter->packets;
  *bytes = counter->bytes;
  return TERN_OK;
}

tern_error tern_counter_set( tern_handle handle, uint64_t packets, uint64_t bytes ) {
  counter_t * counter = counter_at( handle );
  if ( !counter )
    return TERN_NO_OBJECT;
  counter->packets = packets;
  counter->bytes = bytes;
  return TERN_OK;
}

const char * tern_error_text( tern_error error ) {
  static const char * const texts[] = { "ok",     "no space",    "no such object",
                                        "in use", "wrong state", "no such field" };
  return texts[ error ];
}
