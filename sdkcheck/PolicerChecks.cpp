// Policers.
#include <algorithm>

#include "sdkcheck/Checks.h"

namespace SdkCheck {

namespace {

using Kind = Unit::Kind;

bcm_policer_config_t rates( U32 committed ) {
  auto config = initialised< bcm_policer_config_t >();
  Fields::policerModeIs( config, bcmPolicerModeCommitted );
  Fields::policerRateIs( config, committed );
  Fields::policerBurstIs( config, 64 );
  return config;
}

U32 makePolicer( Unit & u, U32 committed ) {
  bcm_policer_config_t config = rates( committed );
  bcm_policer_t id = 0;
  u.needs( u.sdk.bcm_policer_create( u.unit, &config, &id ) );
  u.created( Kind::policer, id );
  u.holds( "a policer's id is not 0", id != 0 );
  return id;
}

U32 rateOf( const Unit & u, U32 policer ) {
  auto config = initialised< bcm_policer_config_t >();
  u.ok( u.sdk.bcm_policer_get( u.unit, policer, &config ) );
  return Fields::policerRate( config );
}

void configuration( Unit & u ) {
  const U32 policer = makePolicer( u, 1000 );
  const U32 other = makePolicer( u, 2000 );
  u.holds( "two policers have different ids", policer != other );
  u.equal( "committed rate", rateOf( u, policer ), 1000 );
  bcm_policer_config_t config = rates( 3000 );
  u.ok( u.sdk.bcm_policer_set( u.unit, policer, &config ) );
  u.equal( "committed rate that was set", rateOf( u, policer ), 3000 );
  u.equal( "committed rate of another policer", rateOf( u, other ), 2000 );
  u.destroy( Kind::policer, policer );
  u.refused( u.sdk.bcm_policer_get( u.unit, policer, &config ) );
  u.refused( u.sdk.bcm_policer_set( u.unit, policer, &config ) );
  u.refused( u.sdk.bcm_policer_destroy( u.unit, policer ) );
}

void policed( Unit & u ) {
  const U32 policer = makePolicer( u, 1000 );
  const U32 group = u.group( 1 );
  const U32 entry = u.entry( group, 1 );
  const U32 second = u.entry( group, 2 );
  u.ok( u.sdk.bcm_field_entry_policer_attach( u.unit, entry, 0, policer ) );
  u.ok( u.sdk.bcm_field_entry_policer_attach( u.unit, second, 0, policer ) );  // shared
  u.refused( u.sdk.bcm_policer_destroy( u.unit, policer ) );
  u.refused( u.sdk.bcm_field_entry_destroy( u.unit, entry ) );
  u.ok( u.sdk.bcm_field_entry_policer_detach( u.unit, entry, 0 ) );
  u.refused( u.sdk.bcm_policer_destroy( u.unit, policer ) );
  u.refused( u.sdk.bcm_field_entry_policer_detach( u.unit, entry, 0 ) );
  // Every release of an entry detaches, policed or not.
  u.ok( u.sdk.bcm_field_entry_policer_detach_all( u.unit, entry ) );
  u.ok( u.sdk.bcm_field_entry_policer_detach_all( u.unit, second ) );
  u.destroy( Kind::policer, policer );
  u.refused( u.sdk.bcm_field_entry_policer_attach( u.unit, entry, 0, policer ) );
}

void everyPipe( Unit & u ) {
  if ( u.shared() || u.pipes() < 2 )
    u.notApplicable( "there is one pool of policers" );
  const U32 base = makePolicer( u, 1000 );
  for ( U32 pipe = 1; pipe < u.pipes(); ++pipe ) {
    bcm_policer_config_t config = rates( 1000 + pipe );
    Fields::policerFlagsIs( config, Fields::policerFlags( config ) | BCM_POLICER_WITH_ID );
    bcm_policer_t id = pipe << 24 | base;
    u.ok( u.sdk.bcm_policer_create( u.unit, &config, &id ) );
    u.created( Kind::policer, id );
    u.equal( "id of the policer that was created with an id", id, pipe << 24 | base );
    u.refused( u.sdk.bcm_policer_create( u.unit, &config, &id ) );
  }
  for ( U32 pipe = 0; pipe < u.pipes(); ++pipe )
    u.equal( "committed rate in pipe " + std::to_string( pipe ), rateOf( u, pipe << 24 | base ),
             1000 + pipe );
  for ( const U32 bits : u.instances() ) {
    const U32 entry = u.entry( u.group( 1, bits ), 1 );
    const U32 pipeBits = bits & 3U << 24;
    u.ok( u.sdk.bcm_field_entry_policer_attach( u.unit, entry, 0, pipeBits | base ) );
    u.ok( u.sdk.bcm_field_entry_policer_detach( u.unit, entry, 0 ) );
  }
}

}  // namespace

const std::vector< Check > policerChecks = {
    { "policer-values", "policers keep the configuration set last", configuration },
    { "policer-states", "a policer in use is not destroyed; entries share it", policed },
    { "policer-pipes", "every pipe has policers, with its bits in their ids", everyPipe },
};

}  // namespace SdkCheck
