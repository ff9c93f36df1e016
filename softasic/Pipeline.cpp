#include "softasic/Pipeline.h"

#include <utility>

#include "softasic/PacketParser.h"

namespace SoftAsic {

namespace {

// What is decided in the stage so far; groups come by falling priority.
struct StageDecision {
  bool forwarding = false;  // drop or permit
  bool redirect = false;
};

void addPorts( bcm_pbmp_t & ports, const bcm_pbmp_t & more ) {
  for ( U32 i = 0; i < BCM_PBMP_PORT_MAX / 32; ++i )
    ports.pbits[ i ] |= more.pbits[ i ];
}

void apply( const ActionView & action, StageDecision & decided, Verdict & verdict ) {
  switch ( action.action ) {
    case bcmFieldActionDrop:
    case bcmFieldActionPermit:
      if ( std::exchange( decided.forwarding, true ) )
        return;
      verdict.drop = action.action == bcmFieldActionDrop;
      verdict.permit = !verdict.drop;
      return;
    case bcmFieldActionCopyToCpu:
      verdict.copyToCpu = true;
      return;
    case bcmFieldActionRedirectPbmp:
      if ( std::exchange( decided.redirect, true ) )
        return;
      verdict.redirect = true;
      verdict.redirectPorts = action.ports;
      return;
    case bcmFieldActionEgressMask:
      addPorts( verdict.egressMask, action.ports );
      return;
    case bcmFieldActionMirrorPbmp:
      addPorts( verdict.mirrorPorts, action.ports );
      return;
  }
}

}  // namespace

bool Pipeline::admits( const Group & group, U32 port ) const {
  const bcm_field_group_config_t & config = group.config();
  if ( ( config.flags & BCM_FIELD_GROUP_CREATE_WITH_PORT ) != 0 && !config.ports.has( port ) )
    return false;
  return config.preselset.empty() ||
         presels_.matches( config.preselset, group.table().kind, port, ports_ );
}

Verdict Pipeline::run( U32 port, const U8 * frame, size_t length ) {
  PacketKey key = parseFrame( frame, length );
  setIngressPort( key, port );
  Verdict verdict;
  for ( const StageKind stage : { StageKind::vfp, StageKind::ifp, StageKind::efp } ) {
    const StageTable * table = tables_.forPort( stage, ports_, port );
    if ( table == nullptr )
      continue;
    StageDecision decided;
    for ( const Group * group : table->groups ) {
      const Entry * entry = admits( *group, port ) ? group->lookup( key ) : nullptr;
      if ( entry == nullptr )
        continue;
      verdict.matches.push_back( { stage, group->id(), entry->id } );
      if ( entry->stat != 0 )
        stats_.count( entry->stat, length );
      for ( const ActionView & action : entry->effective->actions() )
        apply( action, decided, verdict );
    }
    if ( verdict.drop )
      break;
  }
  return verdict;
}

}  // namespace SoftAsic
