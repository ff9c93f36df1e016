// Steps on entries: from getEntry to releaseEntry.

#include <algorithm>

#include "tools/random-walk/Walk.h"

namespace Test::RandomWalk {

namespace {

// Outer-VLAN matches of rules where twins are kept: one VLAN, several, the untagged packets, all.
constexpr OvidMatch vlanMatches[] = {
    { 10, 0xFFF }, { 11, 0xFFF }, { 10, 0xFFE }, { 0, 0xFFF }, {} };

Kiv::Ptr< StatTypes > types( std::initializer_list< bcm_field_stat_t > list ) {
  Kiv::Ptr< StatTypes > made = Kiv::make< StatTypes >( Kiv::Name( "types" ) );
  for ( const bcm_field_stat_t type : list )
    made->typeIs( made->typeSize(), type );
  return made;
}

}  // namespace

U32 Walk::request( const Turn & turn, U32 offset ) {
  const Kiv::Ptr< StatTypes > counters[] = {
      nullptr, types( { bcmFieldStatPackets } ), types( { bcmFieldStatBytes } ),
      types( { bcmFieldStatGreenPackets, bcmFieldStatGreenBytes } ) };
  const U32 choice = turn.action.b % 16;
  const TcamGroupAssignment assignment = turn.user.assignment;
  if ( choice >= std::size( counters ) )
    return sw_.take( assignment, offset, turn.unit );
  if ( turn.user.size == 0 )
    return sw_.unbounded( assignment ).getEntryWithStats( turn.unit, "rule", counters[ choice ] );
  MorvaneBoundedTcamEntryManager & user = sw_.bounded( assignment );
  return user.getEntryWithStats( turn.unit, user.baseEntry() + offset, "rule", counters[ choice ] );
}

std::string Walk::get( const Turn & turn ) {
  // The entries of a range were created before: only statistics and groups can be refused.
  static constexpr Code codes[] = { { SdkOp::bcm_field_stat_create, BCM_E_RESOURCE },
                                    { SdkOp::bcm_field_group_config_create, BCM_E_RESOURCE },
                                    { SdkOp::bcm_field_entry_create_id, BCM_E_RESOURCE, 0 },
                                    { SdkOp::bcm_field_entry_create_id, BCM_E_EXISTS, 0 },
                                    { SdkOp::bcm_field_entry_create, BCM_E_RESOURCE, 0 },
                                    // Groups at ingress are tried once more, without large slices.
                                    { .op = SdkOp::bcm_field_group_config_create,
                                      .rc = BCM_E_UNAVAIL,
                                      .pipe = {},
                                      .first = true } };
  if ( !mayUse( turn ) )
    return "";
  const User & user = turn.user;
  const bool range =
      user.strategy == tcamAllocateAsChunk || user.strategy == tcamAllocateAtBeginning;
  const size_t refusals = range ? 2 : user.group == lookupGroup ? 5 : std::size( codes );
  const U32 offset = user.size == 0 ? 0 : turn.action.a % user.size;
  U32 id = 0;
  // An entry of a range without statistics is destroyed, and that may be what throws.
  const Terms terms{ .left = range ? Left::either : Left::before,
                     .codes = std::span( codes ).first( refusals ) };
  if ( !attempt( turn, terms, [ & ] { id = request( turn, offset ); } ) )
    return "";
  const MorvaneTcamEntryManager & manager = sw_.manager( user.assignment );
  std::map< U32, Rule > & rules = units_[ turn.unit ].rules;
  const bool taken = user.size != 0 && rules.contains( manager.baseEntry() + offset );
  const bool exhausted = manager.exhausted( turn.unit );
  if ( id == 0 )
    return taken || exhausted || codeFired_ ? "" : "refused without being exhausted";
  if ( exhausted || ( rules.contains( id ) && !rules[ id ].leaving ) )
    return fmt::format( "got {:#x} that could not be had", id );
  rules.erase( id );
  Rule & rule = rules[ id ];
  rule.user = &user;
  rule.priority = user.size == 0 ? 0 : manager.defaultPrio( id );
  return "";
}

void Walk::writeRule( const Turn & turn, U32 id, Rule & rule ) {
  MorvaneTcamEntryManager & manager = sw_.manager( turn.user.assignment );
  const U32 value = turn.action.b, unit = turn.unit;
  // Else a reinstallation that waits would write the stored ports into the rule that follows.
  sw_.groups->finishCleanup( unit );
  rule.written = { .dstIp = 1 + value % 4 };
  rule.unclear = false;
  sw_.match( unit, id, rule.written.dstIp );
  if ( sw_.groups->ovidWar( turn.user.group ) ) {
    rule.written.vlan = vlanMatches[ value / 4 % std::size( vlanMatches ) ];
    SDK_CHECKED(
        bcm_field_qualify_OuterVlanId( unit, id, rule.written.vlan.vlan, rule.written.vlan.mask ) );
  }
  const U32 extra = value / 32 % 16;
  if ( extra == 0 && ( setting_.singleView || sw_.chip.pipes == 1 || sw_.chip.shared ) ) {
    SDK_CHECKED( bcm_field_action_remove_all( unit, id ) );
    manager.loopbackRedirectIs( unit, id, bcmFieldActionRedirectPbmp, {} );
  }
  if ( turn.user.group != lookupGroup )
    changeStore( turn, id, rule, extra );
}

// Sets, drops or keeps the stored input ports.
void Walk::changeStore( const Turn & turn, U32 id, Rule & rule, U32 choice ) {
  MorvaneTcamEntryManager & manager = sw_.manager( turn.user.assignment );
  const U32 unit = turn.unit;
  const bool permanent = choice % 2 != 0;
  if ( choice == 1 || choice == 2 ) {
    rule.storePort = turn.action.a % ( sw_.chip.pipes * portsPerPipe );
    bcm_pbmp_t port = {}, all = {};
    port.add( rule.storePort );
    std::fill( std::begin( all.pbits ), std::end( all.pbits ), ~0U );
    if ( turn.user.group == singlePortGroup )
      manager.inPortForEntryIs( unit, id, rule.storePort, permanent );
    else
      manager.inPortsForEntryIs( unit, id, port, all, permanent );
  } else if ( choice == 3 || choice == 4 ) {
    rule.storePort = anyPort;
    manager.inPortsForEntryIs( unit, id, {}, {}, permanent );
  } else if ( choice == 5 ) {
    manager.tcamEntryBcmPbmpForget( unit, id );
    rule.store = Rule::noStore;
  } else if ( choice == 6 ) {
    manager.removeTcamEntryBcmPbmp( unit, id );
    if ( rule.store == Rule::temporary )
      rule.store = Rule::noStore;
  }
  if ( choice >= 1 && choice <= 4 )
    rule.store = permanent ? Rule::permanent : Rule::temporary;
}

std::string Walk::installRule( const Turn & turn, U32 id, Rule & rule ) {
  MorvaneTcamEntryManager & manager = sw_.manager( turn.user.assignment );
  const bool again = turn.action.b % 2 == 0;
  // A failed later installation keeps the new rule; the first copy may keep ports of a store that
  // waits for the next installation.
  const bool comesBack = !rule.installed && rule.store == Rule::noStore;
  const Terms terms{ .left = comesBack ? Left::before : Left::either, .entry = id };
  const auto pending = sw_.asic.entry( turn.unit, id )->pending.qualifiers;
  if ( attempt( turn, terms, [ & ] {
         again ? manager.reinstallEntry( turn.unit, id ) : manager.installEntry( turn.unit, id );
       } ) ) {
    rule.installedNow();
    return "";
  }
  // From the first copy on the new rule reaches all, with the ports that it had or those of the
  // store. A redirect may still be missing.
  const auto first = sw_.asic.entry( turn.unit, id );
  if ( rule.installed && first->effective.qualifiers == first->pending.qualifiers ) {
    const auto waiting = rule.store;
    if ( first->pending.qualifiers == pending )
      rule.store = Rule::noStore;
    rule.installedNow();
    rule.store = waiting;
  }
  rule.unclear = rule.store != Rule::noStore;
  return "";
}

std::string Walk::program( const Turn & turn ) {
  auto * const chosen = choose( turn, true );
  if ( chosen == nullptr )
    return "";
  writeRule( turn, chosen->first, chosen->second );
  return installRule( turn, chosen->first, chosen->second );
}

std::string Walk::install( const Turn & turn ) {
  auto * const chosen = choose( turn, false );
  return chosen == nullptr || chosen->second.written.dstIp == 0 || chosen->second.unclear
             ? ""
             : installRule( turn, chosen->first, chosen->second );
}

std::string Walk::enable( const Turn & turn ) {
  static constexpr Code refused[] = {
      { SdkOp::bcm_field_entry_enable_set, BCM_E_NOT_FOUND, {}, 0 } };
  auto * const chosen = choose( turn, false );
  if ( chosen == nullptr )
    return "";
  const bool value = turn.action.b % 2 == 0;
  if ( attempt( turn, { .codes = refused, .entry = chosen->first },
                [ & ] {
                  sw_.manager( turn.user.assignment )
                      .enableEntry( turn.unit, chosen->first, value, BCM_E_NOT_FOUND );
                } ) &&
       !codeFired_ )
    chosen->second.enabled = value;
  return "";
}

std::string Walk::prioritize( const Turn & turn ) {
  auto * const chosen = choose( turn, false );
  if ( chosen == nullptr )
    return "";
  MorvaneTcamEntryManager & manager = sw_.manager( turn.user.assignment );
  const U32 value = turn.action.b % 9 < 3 ? manager.invalidPrio() : turn.action.b % 7;
  if ( attempt( turn, { .entry = chosen->first },
                [ & ] { manager.setPriorityForEntry( turn.unit, chosen->first, value ); } ) )
    chosen->second.priority =
        value == manager.invalidPrio() ? manager.defaultPrio( chosen->first ) : value;
  return "";
}

std::string Walk::remove( const Turn & turn ) {
  auto * const chosen = choose( turn, false );
  if ( chosen == nullptr || !chosen->second.installed )
    return "";
  Rule & rule = chosen->second;
  rule.installed = turn.step == nullptr;  // the second activity removes it later
  attempt( turn, { .left = Left::after, .entry = chosen->first },
           [ & ] { sw_.manager( turn.user.assignment ).removeEntry( turn.unit, chosen->first ); } );
  rule.installed = false;
  if ( rule.store == Rule::temporary )
    rule.store = Rule::noStore;
  return "";
}

std::string Walk::release( const Turn & turn ) {
  auto * const chosen = choose( turn, false );
  if ( chosen == nullptr )
    return "";
  const U32 id = chosen->first;
  chosen->second.leaving = true;
  attempt( turn, { .left = Left::after, .entry = id },
           [ & ] { sw_.manager( turn.user.assignment ).releaseEntry( turn.unit, id ); } );
  // The second activity may have it already.
  std::map< U32, Rule > & rules = units_[ turn.unit ].rules;
  if ( const auto rule = rules.find( id ); rule != rules.end() && rule->second.leaving )
    rules.erase( rule );
  return "";
}

std::string Walk::attach( const Turn & turn ) {
  auto * const chosen = choose( turn, true );
  const std::vector< U32 > & policers = units_[ turn.unit ].policers;
  if ( chosen == nullptr || ( chosen->second.policer == 0 && policers.empty() ) )
    return "";
  Rule & rule = chosen->second;
  const bool attaches = rule.policer == 0;
  const U32 policer = attaches ? policers[ turn.action.b % policers.size() ] : rule.policer;
  rule.policer = policer;  // must not be destroyed from now on
  const bool done = attempt( turn, { .entry = chosen->first }, [ & ] {
    sw_.manager( turn.user.assignment )
        .attachPolicer( turn.unit, chosen->first, policer, attaches );
  } );
  if ( done != attaches )
    rule.policer = 0;
  return "";
}

std::string Walk::count( const Turn & turn ) {
  auto * const chosen = choose( turn, false );
  if ( chosen == nullptr )
    return "";
  const MorvaneTcamEntryManager & manager = sw_.manager( turn.user.assignment );
  const U32 unit = turn.unit, id = chosen->first;
  attempt( turn, { .entry = id, .inSteps = true }, [ & ] {
    MorvaneTcamEntryManager & user = sw_.manager( turn.user.assignment );
    switch ( turn.action.b % 6 ) {
      case 0:
        user.hitsForEntry( unit, id );
        break;
      case 1:
        user.byteHitsForEntry( unit, id );
        break;
      case 2:
        user.clearHitsForEntry( unit, id );
        break;
      case 3:
        user.clearBytesForEntry( unit, id );
        break;
      case 4:
        user.clearCountersForEntry( unit, id );
        break;
      default:
        manager.inPortsForEntry( unit, id );
    }
  } );
  return "";
}

}  // namespace Test::RandomWalk
