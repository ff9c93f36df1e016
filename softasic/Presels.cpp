#include "softasic/Presels.h"

#include <cassert>

namespace SoftAsic {

namespace {

bcm_field_stage_t sdkStage( StageKind kind ) {
  switch ( kind ) {
    case StageKind::vfp:
      return bcmFieldStageLookup;
    case StageKind::efp:
      return bcmFieldStageEgress;
    case StageKind::ifp:
      break;
  }
  return bcmFieldStageIngress;
}

template < class F >
void forEachId( const bcm_field_presel_set_t & set, F && fn ) {
  for ( U32 word = 0; word < BCM_FIELD_PRESEL_MAX / 32; ++word )
    for ( U32 bits = set.w[ word ]; bits != 0; bits &= bits - 1 )
      fn( word * 32 + static_cast< U32 >( __builtin_ctz( bits ) ) );
}

}  // namespace

int Presels::create( U32 * id ) {
  if ( id == nullptr )
    return BCM_E_PARAM;
  if ( count_ == 0 )
    return BCM_E_UNAVAIL;
  for ( U32 i = 0; i < count_; ++i ) {
    if ( presels_[ i ] )
      continue;
    presels_[ i ].emplace();
    presels_[ i ]->id = i;
    *id = i;
    return BCM_E_NONE;
  }
  return BCM_E_RESOURCE;
}

int Presels::destroy( U32 id ) {
  if ( !known( id ) )
    return BCM_E_NOT_FOUND;
  if ( presels_[ id ]->users != 0 )
    return BCM_E_BUSY;
  presels_[ id ].reset();
  return BCM_E_NONE;
}

int Presels::qualifyStage( U32 id, bcm_field_stage_t stage ) {
  if ( !known( id ) )
    return BCM_E_NOT_FOUND;
  if ( stage < bcmFieldStageIngress || stage > bcmFieldStageEgress )
    return BCM_E_PARAM;
  presels_[ id ]->stage = stage;
  return BCM_E_NONE;
}

int Presels::qualifySource( U32 id, const bcm_pbmp_t & ports, U32 classData, U32 classMask ) {
  if ( !known( id ) )
    return BCM_E_NOT_FOUND;
  PreselView & presel = *presels_[ id ];
  presel.sourceQualified = true;
  presel.ports = ports;
  presel.classData = classData;
  presel.classMask = classMask;
  return BCM_E_NONE;
}

bool Presels::exist( const bcm_field_presel_set_t & set ) const {
  bool all = true;
  forEachId( set, [ & ]( U32 id ) { all = all && known( id ); } );
  return all;
}

void Presels::use( const bcm_field_presel_set_t & set ) {
  forEachId(
      set, [ & ]( U32 id ) { ++presels_[ id ]->users; } );
}

void Presels::unuse( const bcm_field_presel_set_t & set ) {
  forEachId(
      set,
      [ & ]( U32 id ) {
        assert( presels_[ id ] && presels_[ id ]->users > 0 );
        --presels_[ id ]->users;
      } );
}

bool Presels::matches( const bcm_field_presel_set_t & set, StageKind stage, U32 port,
                       const Ports & ports ) const {
  bool any = false;
  forEachId( set, [ & ]( U32 id ) {
    const PreselView & presel = *presels_[ id ];
    const bool inStage = !presel.stage || *presel.stage == sdkStage( stage );
    const U32 differs = ( ports.classOf( port ) ^ presel.classData ) & presel.classMask;
    any = any || ( inStage &&
                   ( !presel.sourceQualified || ( presel.ports.has( port ) && differs == 0 ) ) );
  } );
  return any;
}

std::vector< PreselView > Presels::views() const {
  std::vector< PreselView > views;
  for ( const auto & presel : presels_ )
    if ( presel )
      views.push_back( *presel );
  return views;
}

}  // namespace SoftAsic
