#include "sdkcheck/Unit.h"

#include <algorithm>
#include <exception>

namespace SdkCheck {

namespace {

constexpr U32 copyBit = 1U << 26;
constexpr U32 groupShift = 16;

}  // namespace

bool has( const bcm_pbmp_t & ports, U32 port ) {
  return ( Fields::portsWord( ports, port / 32 ) >> ( port % 32 ) & 1U ) != 0;
}

bool equal( const bcm_field_qset_t & a, const bcm_field_qset_t & b ) {
  bool same = true;
  for ( U32 qualifier = 0; qualifier < bcmFieldQualifyCount; ++qualifier )
    same &= Fields::qualifierHas( a, qualifier ) == Fields::qualifierHas( b, qualifier );
  for ( U32 id = 0; id < BCM_FIELD_DATA_QUAL_MAX; ++id )
    same &= Fields::dataQualifierHas( a, id ) == Fields::dataQualifierHas( b, id );
  return same;
}

bcm_field_qset_t with( bcm_field_qset_t set, U32 qualifier ) {
  Fields::qualifierAdd( set, qualifier );
  return set;
}

bcm_field_qset_t without( bcm_field_qset_t set, U32 qualifier ) {
  Fields::qualifierDel( set, qualifier );
  return set;
}

Unit::Unit( Shim::SdkShim & shim, U32 number, U32 most )
    : sdk( shim ),
      unit( number ),
      limit( most ),
      shared_( shim.kelmor_field_shared_by_pipes( number ) ),
      preselected_( shim.kelmor_field_group_by_preselector( number ) ),
      secondCopy_( shim.kelmor_field_second_copy( number ) ),
      singlePort_( shim.kelmor_field_single_port_key( number ) ) {
  Fields::initialise( ports_ );
  ( void )sdk.bcm_port_config_get( unit, &ports_ );  // the check of ports reports a failure
  while ( pipes_ < BCM_PIPES_MAX && !( Fields::pipePorts( ports_, pipes_ ) == bcm_pbmp_t{} ) )
    ++pipes_;
  for ( U32 pipe = 0; pipe < ( shared_ ? 1 : std::max( pipes_, 1U ) ); ++pipe )
    for ( U32 copy = 0; copy < ( secondCopy_ ? 2 : 1 ); ++copy )
      instances_.push_back( pipe << pipeShift | ( copy != 0 ? copyBit : 0 ) );
}

// --- Expectations ----------------------------------------------------------------------------

void Unit::fail( const std::string & reason ) const {
  throw CheckEnd{ Verdict::failed, reason };
}

std::string Unit::textOf( int rc ) const {
  const std::pair< int, const char * > known[] = { { BCM_E_PARAM, "BCM_E_PARAM" },
                                                   { BCM_E_EXISTS, "BCM_E_EXISTS" },
                                                   { BCM_E_RESOURCE, "BCM_E_RESOURCE" },
                                                   { BCM_E_UNAVAIL, "BCM_E_UNAVAIL" } };
  if ( rc >= 0 )
    return std::to_string( rc );
  const char * text = sdk.errorText( rc );
  for ( const auto & [ code, name ] : known )
    text = code == rc ? name : text;
  return std::to_string( rc ) + " (" + text + ")";
}

void Unit::notApplicable( const std::string & reason ) const {
  throw CheckEnd{ Verdict::notApplicable, reason };
}

void Unit::ok( const Outcome & outcome ) const {
  if ( outcome.rc < 0 )
    fail( outcome.call + ": expected 0 or more, got " + textOf( outcome.rc ) );
}

void Unit::refused( const Outcome & outcome ) const {
  if ( outcome.rc >= 0 || outcome.rc == BCM_E_RESOURCE || outcome.rc == BCM_E_UNAVAIL )
    fail( outcome.call + ": expected a negative code other than " + textOf( BCM_E_RESOURCE ) +
          " and " + textOf( BCM_E_UNAVAIL ) + ", got " + textOf( outcome.rc ) );
}

void Unit::is( int code, const Outcome & outcome ) const {
  if ( outcome.rc != code )
    fail( outcome.call + ": expected " + textOf( code ) + ", got " + textOf( outcome.rc ) );
}

void Unit::isOneOf( std::initializer_list< int > codes, const Outcome & outcome ) const {
  if ( std::find( codes.begin(), codes.end(), outcome.rc ) != codes.end() )
    return;
  std::string expected;
  for ( const int code : codes )
    expected += ( expected.empty() ? "" : " or " ) + textOf( code );
  fail( outcome.call + ": expected " + expected + ", got " + textOf( outcome.rc ) );
}

void Unit::equal( const std::string & what, S64 actual, S64 expected ) const {
  if ( actual != expected )
    fail( what + ": expected " + textOfNumber( expected ) + ", got " + textOfNumber( actual ) );
}

void Unit::holds( const std::string & what, bool condition ) const {
  if ( !condition )
    fail( "not true: " + what );
}

void Unit::needs( const Outcome & outcome ) const {
  if ( outcome.rc == BCM_E_UNAVAIL )
    throw CheckEnd{ Verdict::notSupported, outcome.call + ": " + textOf( outcome.rc ) };
  ok( outcome );
}

void Unit::needsAny( const Outcome & outcome ) const {
  if ( outcome.rc == BCM_E_RESOURCE )
    throw CheckEnd{ Verdict::notSupported, outcome.call + ": " + textOf( outcome.rc ) };
  needs( outcome );
}

// --- Objects ---------------------------------------------------------------------------------

bcm_field_qset_t Unit::qualifiers() const {
  auto qset = initialised< bcm_field_qset_t >();
  for ( const U32 qualifier : { U32( bcmFieldQualifyStageIngress ), U32( bcmFieldQualifyDstIp ),
                                U32( bcmFieldQualifyOuterVlanId ),
                                U32( singlePort_   ? bcmFieldQualifyInPort
                                     : secondCopy_ ? bcmFieldQualifyInPortsClass
                                                   : bcmFieldQualifyInPorts ) } )
    Fields::qualifierAdd( qset, qualifier );
  return qset;
}

// One for all groups of the instance: chips have few.
U32 Unit::preselector( U32 instance ) {
  if ( const auto found = presels_.find( instance ); found != presels_.end() )
    return found->second;
  bcm_field_presel_t presel = 0;
  ok( sdk.bcm_field_presel_create( unit, &presel ) );
  created( Kind::presel, presel );
  presels_[ instance ] = presel;
  const U32 pipe = instance >> pipeShift & ( BCM_PIPES_MAX - 1 );
  const U32 id = presel | BCM_FIELD_QUALIFY_PRESEL;
  bcm_field_src_class_t ofPipe = {};
  bcm_field_src_class_t mask = {};
  Fields::sourceClassIs( ofPipe, pipe );
  Fields::sourceClassIs( mask, BCM_PIPES_MAX - 1 );
  ok( sdk.bcm_field_qualify_Stage( unit, id, bcmFieldStageIngress ) );
  ok( sdk.bcm_field_qualify_MixedSrcClassId( unit, id, Fields::pipePorts( ports_, pipe ), ofPipe,
                                             mask ) );
  return presel;
}

bcm_field_group_config_t Unit::config( U32 number, U32 instance ) {
  return config( number, instance, qualifiers() );
}

bcm_field_group_config_t Unit::config( U32 number, U32 instance, const bcm_field_qset_t & qset,
                                       std::optional< U32 > presel ) {
  auto config = initialised< bcm_field_group_config_t >();
  U32 flags = BCM_FIELD_GROUP_CREATE_WITH_ID;
  Fields::groupIdIs( config, number | instance );
  Fields::groupQualifiersIs( config, qset );
  Fields::groupPriorityIs( config, static_cast< S32 >( number ) );
  Fields::groupActionResolutionIs( config, -1 );
  if ( secondCopy_ ) {
    flags |= BCM_FIELD_GROUP_CREATE_WITH_MODE | BCM_FIELD_GROUP_CREATE_PER_COPY;
    Fields::groupModeIs( config, bcmFieldGroupModePerCopy );
  }
  if ( secondCopy_ || preselected_ ) {
    flags |= BCM_FIELD_GROUP_CREATE_WITH_PORT;
    Fields::groupPortsIs(
        config, Fields::pipePorts( ports_, instance >> pipeShift & ( BCM_PIPES_MAX - 1 ) ) );
  }
  if ( preselected_ )
    Fields::groupPreselectorAdd( config, presel ? *presel : preselector( instance ) );
  Fields::groupFlagsIs( config, flags );
  return config;
}

U32 Unit::group( bcm_field_group_config_t config ) {
  const U32 id = Fields::groupId( config );
  ok( sdk.bcm_field_group_config_create( unit, &config ) );
  created( Kind::group, id );
  equal( "id of the group that was created with an id", Fields::groupId( config ), id );
  return id;
}

U32 Unit::group( U32 number, U32 instance ) {
  return group( config( number, instance ) );
}

U32 Unit::entryId( U32 group, U32 number ) {
  const U32 bits = group >> pipeShift << pipeShift;
  return bits | ( group << groupShift & ~( ~0U << pipeShift ) ) | number;
}

U32 Unit::entry( U32 group, U32 number ) {
  const U32 id = entryId( group, number );
  ok( sdk.bcm_field_entry_create_id( unit, group, id ) );
  created( Kind::entry, id );
  return id;
}

void Unit::created( Kind kind, U32 id ) {
  objects_.emplace_back( kind, id );
}

void Unit::gone( Kind kind, U32 id ) {
  const auto found = std::find( objects_.rbegin(), objects_.rend(), std::pair( kind, id ) );
  if ( found != objects_.rend() )
    objects_.erase( std::next( found ).base() );
}

Outcome Unit::makeDestroy( Kind kind, U32 id ) const {
  switch ( kind ) {
    case Kind::presel:
      return sdk.bcm_field_presel_destroy( unit, id );
    case Kind::group:
      return sdk.bcm_field_group_destroy( unit, id );
    case Kind::range:
      return sdk.bcm_field_range_destroy( unit, id );
    case Kind::data:
      return sdk.bcm_field_data_qualifier_destroy( unit, static_cast< int >( id ) );
    case Kind::policer:
      return sdk.bcm_policer_destroy( unit, id );
    case Kind::stat:
      return sdk.bcm_field_stat_destroy( unit, id );
    case Kind::entry:
      break;
  }
  return sdk.bcm_field_entry_destroy( unit, id );
}

void Unit::destroy( Kind kind, U32 id ) {
  ok( makeDestroy( kind, id ) );
  gone( kind, id );
}

bcm_field_group_status_s Unit::status( U32 group ) const {
  bcm_field_group_status_s status = {};
  ok( sdk.bcm_field_group_status_get( unit, group, &status ) );
  return status;
}

U32 Unit::priority( U32 entry ) const {
  std::uint32_t priority = ~0U;
  ok( sdk.bcm_field_entry_prio_get( unit, entry, &priority ) );
  return priority;
}

std::pair< U32, U32 > Unit::vlan( U32 entry ) const {
  bcm_vlan_t data = 0xFFFF;
  bcm_vlan_t mask = 0xFFFF;
  ok( sdk.bcm_field_qualify_OuterVlanId_get( unit, entry, &data, &mask ) );
  return { data, mask };
}

std::vector< U32 > Unit::takeAllSlices( U32 number ) {
  std::vector< U32 > groups;
  for ( ; groups.size() < BCM_FIELD_DATA_QUAL_MAX - 2; ++number ) {
    bcm_field_group_config_t wanted = config( number, 0 );
    const Outcome outcome = sdk.bcm_field_group_config_create( unit, &wanted );
    if ( outcome.rc < 0 ) {
      is( BCM_E_RESOURCE, outcome );
      return groups;
    }
    created( Kind::group, Fields::groupId( wanted ) );
    groups.push_back( Fields::groupId( wanted ) );
  }
  notApplicable( "no group was refused for lack of slices" );
}

// Users before what they use.
void Unit::clean( bool strict ) {
  std::stable_sort( objects_.begin(), objects_.end(),
                    []( const auto & a, const auto & b ) { return a.first < b.first; } );
  const auto objects = std::exchange( objects_, {} );
  presels_.clear();
  for ( auto object = objects.rbegin(); object != objects.rend(); ++object )
    if ( strict )
      ok( makeDestroy( object->first, object->second ) );
    else
      forceDestroy( object->first, object->second, objects );
}

// A failed check may have left entries installed and counters attached.
void Unit::forceDestroy( Kind kind, U32 id, const Objects & objects ) const {
  try {
    if ( kind == Kind::entry ) {
      ( void )sdk.bcm_field_entry_remove( unit, id );
      ( void )sdk.bcm_field_entry_policer_detach_all( unit, id );
      for ( const auto & [ other, stat ] : objects )
        if ( other == Kind::stat )
          ( void )sdk.bcm_field_entry_stat_detach( unit, id, stat );
    }
    ( void )makeDestroy( kind, id );
  } catch ( const std::exception & ) {
    return;  // the check has failed already
  }
}

}  // namespace SdkCheck
