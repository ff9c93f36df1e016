#include "softasic/Pipeline.h"

#include <algorithm>
#include <utility>

namespace SoftAsic {

namespace {

// Actions resolved so far in the stage; groups are visited by descending priority.
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
         parts_.presels.matches( config.preselset, group.table().kind, port, parts_.ports );
}

void Pipeline::runStage( const StageTable & table, const Packet & packet, Verdict & verdict ) {
  StageDecision decided;
  Colour worst = verdict.colour;
  for ( const Group * group : table.groups ) {
    const Entry * entry = admits( *group, packet.port ) ? group->lookup( packet.key ) : nullptr;
    if ( entry == nullptr )
      continue;
    Colour colour = Colour::green;
    if ( entry->policer != 0 )
      colour = parts_.policers.mark( entry->policer, verdict.colour, packet.bytes, packet.now );
    verdict.matches.push_back( { table.kind, group->id(), entry->id, colour } );
    worst = std::max( worst, colour );
    if ( entry->stat != 0 )
      parts_.stats.count( entry->stat, packet.bytes, colour );
    if ( colour == Colour::red )
      continue;
    for ( const ActionView & action : entry->effective->actions() )
      apply( action, decided, verdict );
  }
  verdict.colour = worst;
  if ( worst == Colour::red ) {
    verdict.drop = true;
    verdict.permit = false;
  }
}

// A frame truncated before its type field is neither tagged nor untagged.
bool Pipeline::treatAsPriorityTagged( StageKind stage, const ParsedFrame & parsed ) const {
  return parts_.profile.sharedByPipes && stage == StageKind::ifp && parsed.l3 != 0 &&
         !hasOuterTag( parsed.key );
}

Verdict Pipeline::run( U32 port, U32 egressPort, const U8 * frame, size_t length, U64 now ) {
  ParsedFrame parsed = parseFrame( frame, length );
  setIngressPort( parsed.key, port );
  setEgressPort( parsed.key, egressPort );
  parts_.ranges.evaluate( parsed.key, length );
  parts_.data.extract( parsed, frame );
  Verdict verdict;
  for ( const StageKind stage : { StageKind::vfp, StageKind::ifp, StageKind::efp } ) {
    const bool vlan0 = treatAsPriorityTagged( stage, parsed );
    if ( vlan0 ) {
      setOuterTag( parsed.key, true );
      parts_.ranges.evaluate( parsed.key, length );
    }
    if ( const StageTable * table = parts_.tables.forPort( stage, parts_.ports, port ) )
      runStage( *table, { parsed.key, port, length, now }, verdict );
    if ( vlan0 )
      setOuterTag( parsed.key, false );
    if ( verdict.drop )
      break;
  }
  return verdict;
}

}  // namespace SoftAsic
