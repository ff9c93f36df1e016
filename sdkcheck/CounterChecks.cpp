// Statistics objects.
#include <algorithm>

#include "sdkcheck/Checks.h"

namespace SdkCheck {

namespace {

using Kind = Unit::Kind;

constexpr bcm_field_stat_t usual[] = { bcmFieldStatPackets, bcmFieldStatBytes };

bcm_field_stat_id_t makeStat( Unit & u, U32 group ) {
  bcm_field_stat_id_t stat = 0;
  u.needs( u.sdk.bcm_field_stat_create( u.unit, group, 2, usual, &stat ) );
  u.created( Kind::stat, stat );
  u.holds( "the id of a statistics object is not 0", stat != 0 );
  return stat;
}

U64 valueOf( const Unit & u, U32 stat, bcm_field_stat_t type ) {
  std::uint64_t value = ~0ULL;
  u.ok( u.sdk.bcm_field_stat_get( u.unit, stat, type, &value ) );
  return value;
}

void attached( Unit & u ) {
  const U32 group = u.group( 1 );
  const U32 stat = makeStat( u, group );
  const U32 entry = u.entry( group, 1 );
  u.ok( u.sdk.bcm_field_entry_stat_attach( u.unit, entry, stat ) );
  u.refused( u.sdk.bcm_field_stat_destroy( u.unit, stat ) );
  u.refused( u.sdk.bcm_field_entry_destroy( u.unit, entry ) );
  u.ok( u.sdk.bcm_field_entry_stat_detach( u.unit, entry, stat ) );
  u.refused( u.sdk.bcm_field_entry_stat_detach( u.unit, entry, stat ) );
  u.ok( u.sdk.bcm_field_entry_stat_attach( u.unit, entry, stat ) );
  u.ok( u.sdk.bcm_field_entry_stat_detach( u.unit, entry, stat ) );
  u.destroy( Kind::stat, stat );
  std::uint64_t value = 0;
  u.refused( u.sdk.bcm_field_stat_get( u.unit, stat, bcmFieldStatPackets, &value ) );
  u.refused( u.sdk.bcm_field_entry_stat_attach( u.unit, entry, stat ) );
}

void values( Unit & u ) {
  const U32 group = u.group( 1 );
  const U32 stat = makeStat( u, group );
  const U32 other = makeStat( u, group );
  u.holds( "two statistics objects have different ids", stat != other );
  u.equal( "packets of a new object", S64( valueOf( u, stat, bcmFieldStatPackets ) ), 0 );
  u.equal( "bytes of a new object", S64( valueOf( u, stat, bcmFieldStatBytes ) ), 0 );
  const U64 big = 5000000000ULL;  // more than 32 bits
  u.ok( u.sdk.bcm_field_stat_set( u.unit, stat, bcmFieldStatBytes, big ) );
  u.ok( u.sdk.bcm_field_stat_set( u.unit, stat, bcmFieldStatPackets, 7 ) );
  u.equal( "bytes that were set", S64( valueOf( u, stat, bcmFieldStatBytes ) ), S64( big ) );
  u.equal( "packets that were set", S64( valueOf( u, stat, bcmFieldStatPackets ) ), 7 );
  u.equal( "packets of another object", S64( valueOf( u, other, bcmFieldStatPackets ) ), 0 );
  u.ok( u.sdk.bcm_field_stat_set( u.unit, stat, bcmFieldStatBytes, 0 ) );
  u.equal( "bytes after clearing", S64( valueOf( u, stat, bcmFieldStatBytes ) ), 0 );
  u.destroy( Kind::stat, stat );
  const U32 again = makeStat( u, group );
  u.equal( "packets of an object created after one was destroyed",
           S64( valueOf( u, again, bcmFieldStatPackets ) ), 0 );
}

// The library clears counters of all colours, whatever types an object has.
void otherTypes( Unit & u ) {
  const U32 group = u.group( 1 );
  const U32 stat = makeStat( u, group );
  for ( const bcm_field_stat_t type :
        { bcmFieldStatPackets, bcmFieldStatBytes, bcmFieldStatGreenPackets, bcmFieldStatGreenBytes,
          bcmFieldStatYellowPackets, bcmFieldStatYellowBytes, bcmFieldStatRedPackets,
          bcmFieldStatRedBytes } )
    u.ok( u.sdk.bcm_field_stat_set( u.unit, stat, type, 0 ) );
  const bcm_field_stat_t colours[] = { bcmFieldStatGreenPackets, bcmFieldStatRedPackets };
  bcm_field_stat_id_t coloured = 0;
  u.needs( u.sdk.bcm_field_stat_create( u.unit, group, 2, colours, &coloured ) );
  u.created( Kind::stat, coloured );
  u.ok( u.sdk.bcm_field_stat_set( u.unit, coloured, bcmFieldStatRedPackets, 3 ) );
  u.equal( "green packets", S64( valueOf( u, coloured, bcmFieldStatGreenPackets ) ), 0 );
  u.equal( "red packets that were set", S64( valueOf( u, coloured, bcmFieldStatRedPackets ) ), 3 );
}

void full( Unit & u ) {
  const U32 group = u.group( 1, u.instances().back() );
  const U32 first = makeStat( u, group );
  Outcome outcome{ {}, 0 };
  for ( U32 count = 0; outcome.rc >= 0; ++count ) {
    if ( count == u.limit )
      u.notApplicable( "none of " + std::to_string( count ) + " statistics objects was refused" );
    bcm_field_stat_id_t stat = 0;
    outcome = u.sdk.bcm_field_stat_create( u.unit, group, 2, usual, &stat );
    if ( outcome.rc >= 0 )
      u.created( Kind::stat, stat );
  }
  u.is( BCM_E_RESOURCE, outcome );
  u.ok( u.sdk.bcm_field_stat_set( u.unit, first, bcmFieldStatPackets, 4 ) );
  u.equal( "packets of an object after another was refused",
           S64( valueOf( u, first, bcmFieldStatPackets ) ), 4 );
  u.destroy( Kind::stat, first );
  makeStat( u, group );
  bcm_field_stat_id_t stat = 0;
  u.is( BCM_E_RESOURCE, u.sdk.bcm_field_stat_create( u.unit, group, 2, usual, &stat ) );
}

void everyInstance( Unit & u ) {
  std::vector< U32 > ids;
  for ( const U32 bits : u.instances() ) {
    const U32 group = u.group( 1, bits );
    const U32 stat = makeStat( u, group );
    const U32 entry = u.entry( group, 1 );
    u.ok( u.sdk.bcm_field_entry_stat_attach( u.unit, entry, stat ) );
    u.ok( u.sdk.bcm_field_stat_set( u.unit, stat, bcmFieldStatPackets, bits >> 24 ) );
    ids.push_back( stat );
  }
  for ( size_t i = 0; i < ids.size(); ++i ) {
    const U32 bits = u.instances()[ i ];
    u.equal( "packets of the object of one pipe and copy",
             S64( valueOf( u, ids[ i ], bcmFieldStatPackets ) ), bits >> 24 );
    u.ok( u.sdk.bcm_field_entry_stat_detach( u.unit, Unit::entryId( 1 | bits, 1 ), ids[ i ] ) );
  }
}

}  // namespace

const std::vector< Check > counterChecks = {
    { "counter-states", "a counter in use is not destroyed, nor an entry with one", attached },
    { "counter-values", "counters start at 0 and keep what is set, in 64 bits", values },
    { "counter-types", "setting a type that an object lacks is no error", otherTypes },
    { "counter-full", "an object too many is refused with BCM_E_RESOURCE; the others remain",
      full },
    { "counter-instances", "every pipe and copy has counters", everyInstance },
};

}  // namespace SdkCheck
