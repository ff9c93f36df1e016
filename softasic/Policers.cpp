#include "softasic/Policers.h"

#include "softasic/InstanceId.h"

namespace SoftAsic {

bool Policers::names( U32 id ) const {
  return idWellFormed( id ) && idCopy( id ) == 0 && idPipe( id ) < pools_ && idNumber( id ) != 0 &&
         idNumber( id ) <= perPool_;
}

int Policers::chooseId( U32 & id ) const {
  id = 1;
  while ( policers_.count( id ) != 0 )
    ++id;
  return id <= perPool_ ? BCM_E_NONE : BCM_E_RESOURCE;
}

int Policers::create( bcm_policer_config_t * config, U32 * id, U64 now ) {
  if ( perPool_ == 0 )
    return BCM_E_UNAVAIL;
  if ( config == nullptr || id == nullptr || !Meter::accepts( *config ) )
    return BCM_E_PARAM;
  U32 wanted = *id;
  if ( ( config->flags & BCM_POLICER_WITH_ID ) == 0 ) {
    if ( const int rc = chooseId( wanted ); rc < 0 )
      return rc;
  } else if ( !names( wanted ) ) {
    return BCM_E_PARAM;
  }
  if ( !policers_.emplace( wanted, Policer{ Meter( *config, now ), 0 } ).second )
    return BCM_E_EXISTS;
  *id = wanted;
  return BCM_E_NONE;
}

int Policers::set( U32 id, const bcm_policer_config_t * config, U64 now ) {
  const auto policer = policers_.find( id );
  if ( policer == policers_.end() )
    return BCM_E_NOT_FOUND;
  if ( config == nullptr || !Meter::accepts( *config ) )
    return BCM_E_PARAM;
  policer->second.meter = Meter( *config, now );
  return BCM_E_NONE;
}

int Policers::get( U32 id, bcm_policer_config_t * config ) const {
  const auto policer = policers_.find( id );
  if ( policer == policers_.end() )
    return BCM_E_NOT_FOUND;
  if ( config == nullptr )
    return BCM_E_PARAM;
  *config = policer->second.meter.config();
  return BCM_E_NONE;
}

int Policers::destroy( U32 id ) {
  const auto policer = policers_.find( id );
  if ( policer == policers_.end() )
    return BCM_E_NOT_FOUND;
  if ( policer->second.users != 0 )
    return BCM_E_BUSY;
  policers_.erase( policer );
  return BCM_E_NONE;
}

int Policers::attach( Entry & entry, U32 pipe, int level, U32 id ) {
  if ( level != 0 )
    return BCM_E_PARAM;
  const auto policer = policers_.find( id );
  if ( policer == policers_.end() )
    return BCM_E_NOT_FOUND;
  if ( entry.policer != 0 )
    return BCM_E_EXISTS;
  if ( idPipe( id ) != pipe )
    return BCM_E_PARAM;
  entry.policer = id;
  ++policer->second.users;
  return BCM_E_NONE;
}

int Policers::detach( Entry & entry, int level ) {
  if ( level != 0 )
    return BCM_E_PARAM;
  return entry.policer == 0 ? BCM_E_NOT_FOUND : detachAll( entry );
}

int Policers::detachAll( Entry & entry ) {
  if ( entry.policer != 0 )
    --policers_.find( entry.policer )->second.users;
  entry.policer = 0;
  return BCM_E_NONE;
}

}  // namespace SoftAsic
