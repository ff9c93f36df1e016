#include "tools/random-walk/Model.h"

#include <algorithm>

namespace Test::RandomWalk {

void Rule::installedNow() {
  if ( store != noStore )
    written.port = storePort;
  if ( store == temporary )
    store = noStore;
  unclear = false;
  installed = true;
  effective = written;
}

bool UnitModel::limits( U32 policer ) const {
  return std::any_of(
      rules.begin(), rules.end(),
      [ & ]( const auto & rule ) { return rule.second.policer == policer; } );
}

std::string compareRules( const TestSwitch & sw, U32 unit, const UnitModel & model ) {
  U32 used = 0;
  for ( const User & user : users )
    used += sw.records( sw.manager( user.assignment ), unit ).entryCreatedSize();
  if ( used != model.rules.size() )
    return fmt::format( "{} entries, not {}", used, model.rules.size() );
  for ( const auto & [ id, rule ] : model.rules ) {
    const auto entry = sw.asic.entry( unit, id );  // the auditor compares the other copies
    if ( !entry || entry->priority != rule.priority || entry->installed != rule.installed ||
         entry->enabled != rule.enabled || entry->policer != rule.policer )
      return fmt::format( "entry {:#x} is not as it was left", id );
  }
  return "";
}

namespace {

struct Packet {
  U32 port, dstIp;
  U16 tag;  // 0: none
};

// Whether the packet is in the rule's VLAN, tagged or untagged.
bool inVlan( const TestSwitch & sw, U32 unit, const OvidMatch & match, const Packet & packet ) {
  const auto covers = [ & ]( U32 vlan ) { return ( vlan & match.mask ) == match.vlan; };
  const auto untagged = [ & ]( U16 vlan ) {
    return covers( vlan ) && sw.vlans->ovidUtBitmap( { unit, vlan } ).has( packet.port );
  };
  return covers( packet.tag ) || ( packet.tag == 0 && ( untagged( changingVlans[ 0 ] ) ||
                                                        untagged( changingVlans[ 1 ] ) ) );
}

// The lookup stage comes first, then groups in descending order.
std::pair< U32, U32 > rank( const Rule & rule ) {
  return { rule.user->group == lookupGroup ? 9 : rule.user->group, rule.priority };
}

}  // namespace

std::string comparePacket( TestSwitch & sw, U32 unit, UnitModel & model, U32 a, U32 b ) {
  const U16 tags[] = { 0, 0, changingVlans[ 0 ], changingVlans[ 1 ] };
  const Packet packet{ b % ( sw.chip.pipes * portsPerPipe ), 1 + a % 4, tags[ ( b >> 8 ) % 4 ] };
  // Unfinished cleanup leaves rules that may match.
  if ( sw.groups->unfinishedCleanup( unit ) != 0 )
    return "";
  const U32 hit = tcamNumberBits.get( sw.hit( unit, packet.port, packet.dstIp, packet.tag ) );
  const Rule * best = nullptr;
  for ( const auto & [ id, rule ] : model.rules ) {
    const Match & match = rule.effective;
    if ( !rule.installed || !rule.enabled || match.dstIp != packet.dstIp ||
         ( match.port != anyPort && match.port != packet.port ) ||
         !inVlan( sw, unit, match.vlan, packet ) )
      continue;
    if ( best == nullptr || rank( rule ) > rank( *best ) ||
         ( id == hit && rank( rule ) == rank( *best ) ) )
      best = &rule;
  }
  const auto found = model.rules.find( hit );
  const Rule * const got = found == model.rules.end() ? nullptr : &found->second;
  return got == best && ( hit == 0 ) == ( got == nullptr )
             ? ""
             : fmt::format( "port {} address {} tag {}: hit {:#x}", packet.port, packet.dstIp,
                            packet.tag, hit );
}

}  // namespace Test::RandomWalk
