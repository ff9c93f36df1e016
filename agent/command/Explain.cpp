#include "agent/command/Explain.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>

#include "agent/acl/RuleText.h"
#include "agent/command/TcamNames.h"
#include "agent/feature/AclFeature.h"
#include "agent/feature/AclShares.h"
#include "agent/session/SwitchSession.h"
#include "agent/verify/BruteForce.h"
#include "agent/verify/SeenPacket.h"
#include "softasic/Ports.h"

namespace Agent {

namespace {

constexpr U32 explained = SwitchSession::unit;

const char * colourName( SoftAsic::Colour colour ) {
  switch ( colour ) {
    case SoftAsic::Colour::green:
      return "green";
    case SoftAsic::Colour::yellow:
      return "yellow";
    case SoftAsic::Colour::red:
      return "red, which drops the packet";
  }
  return "unknown";
}

std::string portsIn( const bcm_pbmp_t & ports ) {
  std::string text;
  for ( U32 port = 0; port < BCM_PBMP_PORT_MAX; ++port )
    if ( ports.has( port ) )
      text += fmt::format( "{}{}", text.empty() ? "" : ",", port );
  return text;
}

std::string actionText( const SoftAsic::ActionView & action ) {
  switch ( action.action ) {
    case bcmFieldActionDrop:
      return "drop";
    case bcmFieldActionPermit:
      return "permit";
    case bcmFieldActionCopyToCpu:
      return "copy to the CPU";
    case bcmFieldActionRedirectPbmp:
      return "redirect to ports " + portsIn( action.ports );
    case bcmFieldActionEgressMask:
      return "keep off ports " + portsIn( action.ports );
    case bcmFieldActionMirrorPbmp:
      return "mirror to port " + portsIn( action.ports );
  }
  return "unknown";
}

// Which action of a stage decides, as the winners are visited.
class StageActions {
 public:
  std::vector< ActionEffect > effectsOf( const SoftAsic::Match & match,
                                         const SoftAsic::EntryView & entry,
                                         const std::string & name );

 private:
  std::string effectOf( const SoftAsic::ActionView & action, const std::string & name );
  static std::string decide( std::string & first, const std::string & name );

  std::optional< SoftAsic::StageKind > stage_;
  std::string forwarding_;  // who decided; empty: nobody yet
  std::string redirect_;
};

std::vector< ActionEffect > StageActions::effectsOf( const SoftAsic::Match & match,
                                                     const SoftAsic::EntryView & entry,
                                                     const std::string & name ) {
  if ( stage_ != match.stage )
    *this = StageActions();
  stage_ = match.stage;
  std::vector< ActionEffect > effects;
  for ( const SoftAsic::ActionView & action : entry.effective.actions )
    effects.push_back( { actionText( action ), match.colour == SoftAsic::Colour::red
                                                   ? "does not apply: the policer drops the packet"
                                                   : effectOf( action, name ) } );
  return effects;
}

std::string StageActions::effectOf( const SoftAsic::ActionView & action,
                                    const std::string & name ) {
  switch ( action.action ) {
    case bcmFieldActionDrop:
    case bcmFieldActionPermit:
      return decide( forwarding_, name );
    case bcmFieldActionRedirectPbmp:
      return decide( redirect_, name );
    default:
      return "applies";
  }
}

std::string StageActions::decide( std::string & first, const std::string & name ) {
  if ( !first.empty() )
    return fmt::format( "without effect: {} decided in a group of higher priority", first );
  first = name;
  return "decides";
}

std::string fateText( const SoftAsic::Verdict & verdict ) {
  std::string text = verdict.colour == SoftAsic::Colour::red ? "dropped by a policer"
                     : verdict.drop                          ? "dropped"
                     : verdict.permit                        ? "permitted"
                                      : "forwarded: no entry permits or drops it";
  if ( verdict.copyToCpu )
    text += ", copied to the CPU";
  if ( const std::string ports = portsIn( verdict.mirrorPorts ); !ports.empty() )
    text += ", mirrored to port " + ports;
  if ( verdict.redirect )
    text += ", redirected to ports " + portsIn( verdict.redirectPorts );
  return text;
}

std::string seenText( const MatchField & field, const FieldBits & value ) {
  const bool whole = field.id == FieldId::fragments && Fragments( value.low ) == Fragments::none;
  return whole ? "none (whole packet)" : valueText( field, value );
}

std::string udfName( U32 fromL3 ) {
  return fmt::format( "udf@{}", fromL3 );
}

// The four bytes of a user-defined field; empty: the packet ends before them.
std::optional< U32 > udfOf( const FrameFields & packet, U32 fromL3 ) {
  const size_t at = packet.l3At.value_or( packet.frame.size() ) + fromL3;
  if ( at + 4 > packet.frame.size() )
    return std::nullopt;
  U32 value = 0;
  for ( size_t i = 0; i < 4; ++i )
    value = value << 8 | packet.frame[ at + i ];
  return value;
}

std::string udfText( const std::optional< U32 > & value ) {
  return value ? fmt::format( "{:#010x}", *value ) : "no such bytes";
}

// True for the first user-defined field that differs.
bool blamesUdf( const AclRule & rule, const FrameFields & packet, RuleVerdict & verdict ) {
  for ( const UdfMatch & udf : rule.udf ) {
    const auto found = udfOf( packet, udf.fromL3() );
    if ( found && ( ( *found ^ udf.value ) & udf.mask ) == 0 )
      continue;
    verdict.field = udfName( udf.fromL3() );
    verdict.wanted = fmt::format( "{:#010x}/{:#010x}", udf.value, udf.mask );
    verdict.found = udfText( found );
    return true;
  }
  return false;
}

// Those that rules of the lists match, from the start of the L3 header.
std::set< U32 > udfsOf( const std::vector< Acl > & acls ) {
  std::set< U32 > udfs;
  for ( const Acl & acl : acls )
    for ( const AclRule & rule : acl.rules )
      for ( const UdfMatch & udf : rule.udf )
        udfs.insert( udf.fromL3() );
  return udfs;
}

// The rule without its restrictions of other fields, but with its protocol for one that needs it.
AclRule onlyField( const AclRule & rule, const MatchField & field ) {
  AclRule one = rule;
  one.udf.clear();
  for ( const MatchField & other : matchFields() ) {
    if ( other.id == field.id ||
         ( other.id == FieldId::protocol && field.needs != FieldNeeds::nothing ) )
      continue;
    std::visit( [ & ]( auto member ) { one.*member = AclRule().*member; }, other.member );
    std::erase_if( one.alternatives,
                   [ & ]( const Alternative & more ) { return more.field == other.id; } );
  }
  return one;
}

}  // namespace

struct Explainer::Sent {
  const Packet & packet;
  const PortPair & ports;
  const SoftAsic::Verdict & verdict;
  const SeenPacket & seen;
  const SoftAsic::Ports & chipPorts;

  // The fields that the lists of a direction are compared with.
  FrameFields fields( const Platform::PlatformData & platform, Direction direction ) const {
    const FrameFields read = readFrame( packet.frame );
    return direction == Direction::in ? fieldsAtPort( platform, ports.in, read )
                                      : fieldsLeaving( ports.out, read );
  }
};

Explanation Explainer::explain( const Packet & packet, const PortPair & ports,
                                const std::optional< RuleIndex > & rule ) {
  const SoftAsic::ChipProfile & chip = input_.platform.chip;
  const SoftAsic::Verdict verdict = session_.chip().inject(
      explained, ports.in, packet.frame.data(), packet.frame.size(), ports.out );
  const SeenPacket seen( chip, packet.frame, ports );
  const SoftAsic::Ports chipPorts( chip );
  const Sent sent = { packet, ports, verdict, seen, chipPorts };
  Explanation result;
  result.platform = fmt::format( "{}: {}", input_.platform.name, input_.platform.description );
  result.bytes = packet.frame.size();
  result.inPort = ports.in;
  result.outPort = ports.out;
  result.pipe = chipPorts.pipeOf( ports.in );
  result.copy = chipPorts.copyOf( ports.in );
  addFields( sent, result );
  addTables( sent, result );
  result.fate = fateText( verdict );
  if ( rule )
    result.rule = verdictOf( sent, *rule );
  return result;
}

void Explainer::addFields( const Sent & sent, Explanation & result ) const {
  for ( const MatchField & field : matchFields() )
    if ( const auto value = sent.seen.value( field, Direction::out ) )
      result.fields.emplace_back( field.name, seenText( field, *value ) );
  if ( sent.seen.isTakenAsTagged() )
    result.fields.emplace_back( "vlan", "none; the ingress stage takes it for 0, priority 0" );
  const FrameFields read = sent.fields( input_.platform, Direction::in );
  for ( const U32 udf : udfsOf( input_.acls ) )
    result.fields.emplace_back( udfName( udf ), udfText( udfOf( read, udf ) ) );
  std::string checkers;
  for ( const SoftAsic::RangeView & range : session_.chip().ranges( explained ) ) {
    const bool source = ( range.flags & BCM_FIELD_RANGE_SRCPORT ) != 0;
    const MatchField & field =
        matchField( source ? FieldId::sourcePorts : FieldId::destinationPorts );
    const auto port = sent.seen.value( field, Direction::in );
    if ( port && range.low <= port->low && port->low <= range.high )
      checkers += fmt::format( "{}{} ({} {}-{})", checkers.empty() ? "" : ", ", range.id,
                               field.name, range.low, range.high );
  }
  if ( !checkers.empty() )
    result.fields.emplace_back( "range checkers", checkers );
}

// --- Tables ----------------------------------------------------------------------------------

void Explainer::addTables( const Sent & sent, Explanation & result ) const {
  std::vector< SoftAsic::GroupView > groups = session_.chip().groups( explained );
  std::erase_if(
      groups,
      [ & ]( const SoftAsic::GroupView & group ) {
        const bool perPipe =
            group.stage == SoftAsic::StageKind::ifp && !input_.platform.chip.sharedByPipes;
        return perPipe && ( group.pipe != result.pipe || group.copy != result.copy );
      } );
  std::stable_sort( groups.begin(), groups.end(),
                    []( const SoftAsic::GroupView & a, const SoftAsic::GroupView & b ) {
                      return a.stage != b.stage ? a.stage < b.stage : a.priority > b.priority;
                    } );
  StageActions actions;
  for ( const SoftAsic::GroupView & group : groups ) {
    TableLookup & table = result.tables.emplace_back( lookup( sent, group ) );
    if ( !table.winner )
      continue;
    const auto match = std::find_if( sent.verdict.matches.begin(), sent.verdict.matches.end(),
                                     [ & ]( const auto & m ) { return m.group == group.id; } );
    table.winner->actions = actions.effectsOf(
        *match, *session_.chip().entry( explained, match->entry ), table.winner->rule );
  }
}

TableLookup Explainer::lookup( const Sent & sent, const SoftAsic::GroupView & group ) const {
  TableLookup table;
  table.stage = SoftAsic::stageName( group.stage );
  table.group = Morvane::tcamNumberBits.get( group.id );
  table.pipe = group.pipe;
  table.copy = group.copy;
  for ( const Platform::ReservationData & user : input_.platform.reservations )
    if ( user.group == table.group )
      table.users += ( table.users.empty() ? "" : ", " ) + user.name;
  for ( const SoftAsic::Match & match : sent.verdict.matches )
    if ( match.group == group.id )
      table.winner = winnerOf( match );
  if ( !table.winner )
    table.why = whyNone( sent, group );
  return table;
}

Winner Explainer::winnerOf( const SoftAsic::Match & match ) const {
  const SoftAsic::EntryView entry = *session_.chip().entry( explained, match.entry );
  Winner winner;
  winner.entry = match.entry;
  winner.priority = entry.priority;
  winner.slice = entry.slice;
  winner.row = entry.row;
  if ( entry.policer != 0 )
    winner.colour = colourName( match.colour );
  if ( const auto rule = feature_.ruleOf( match.entry ) ) {
    const Acl & acl = input_.acls[ rule->acl ];
    winner.rule = nameOf( *rule );
    winner.match = ruleText( acl.kind, acl.rules[ rule->rule ] );
  } else {
    winner.rule = ownerOf( match.entry );
  }
  return winner;
}

// By the description that the library has of an entry.
std::string Explainer::ownerOf( U32 entryId ) const {
  const auto user = managerOfEntry( session_.groupManager(), entryId );
  const auto entries = user ? user->internalUnitEntry( explained ) : nullptr;
  const U32 entry = Morvane::tcamNumberBits.get( entryId );
  if ( !entries || !entries->entryCreatedHas( entry ) )
    return "an entry without a record";
  return std::string( entries->entryCreated( entry ).view() );
}

std::string Explainer::whyNone( const Sent & sent, const SoftAsic::GroupView & group ) const {
  const bool dropped = sent.verdict.drop && !sent.verdict.matches.empty() &&
                       sent.verdict.matches.back().stage < group.stage;
  if ( dropped )
    return fmt::format( "not looked up, dropped in the {}",
                        SoftAsic::stageName( sent.verdict.matches.back().stage ) );
  if ( ( group.flags & BCM_FIELD_GROUP_CREATE_WITH_PORT ) != 0 &&
       !group.ports.has( sent.ports.in ) )
    return fmt::format( "not looked up for port {}", sent.ports.in );
  return "no entry matches";
}

// --- One rule --------------------------------------------------------------------------------

std::string Explainer::nameOf( const RuleIndex & index ) const {
  const Acl & acl = input_.acls[ index.acl ];
  const U32 line = acl.rules[ index.rule ].line;
  return fmt::format( "{} rule {}{}", acl.name, index.rule + 1,
                      line == 0 ? "" : fmt::format( " (line {})", line ) );
}

RuleVerdict Explainer::verdictOf( const Sent & sent, const RuleIndex & index ) const {
  const Acl & acl = input_.acls[ index.acl ];
  RuleVerdict verdict;
  verdict.rule = nameOf( index );
  const bool in = acl.direction == Direction::in;
  const U32 port = in ? sent.ports.in : sent.ports.out;
  verdict.won = std::any_of(
      sent.verdict.matches.begin(), sent.verdict.matches.end(),
      [ & ]( const SoftAsic::Match & match ) { return feature_.ruleOf( match.entry ) == index; } );
  if ( verdict.won )
    return verdict;
  if ( feature_.shortage( index.acl ) )
    verdict.why = "its list does not fit and is not programmed";
  else if ( !acl.isBoundTo( port ) )
    verdict.why = fmt::format( "its list is not bound to port {}, by which the packet {}", port,
                               in ? "enters" : "leaves" );
  else if ( ( acl.kind == AclKind::ipv4 && !sent.seen.isIpv4() ) ||
            ( acl.kind == AclKind::ipv6 && !sent.seen.isIpv6() ) )
    verdict.why =
        fmt::format( "its list is for {} packets", acl.kind == AclKind::ipv4 ? "IPv4" : "IPv6" );
  else if ( !blamesField( sent, index, verdict ) )
    verdict.why = whyBeaten( sent, index );
  return verdict;
}

// The first field that differs, in the order of the table of fields.
bool Explainer::blamesField( const Sent & sent, const RuleIndex & index,
                             RuleVerdict & verdict ) const {
  const Acl & acl = input_.acls[ index.acl ];
  const AclRule & rule = acl.rules[ index.rule ];
  const FrameFields fields = sent.fields( input_.platform, acl.direction );
  if ( ruleMatches( acl, rule, fields ) )
    return false;
  const auto differs = [ & ]( const MatchField & field ) {
    return field.isIn( acl.kind ) && restricts( field, rule ) &&
           !ruleMatches( acl, onlyField( rule, field ), fields );
  };
  const auto field = std::find_if( matchFields().begin(), matchFields().end(), differs );
  if ( field != matchFields().end() ) {
    const auto value = sent.seen.value( *field, acl.direction );
    verdict.field = field->name;
    verdict.wanted = fieldText( *field, rule );
    verdict.found = value ? seenText( *field, *value ) : "no such field";
  } else if ( !blamesUdf( rule, fields, verdict ) ) {
    verdict.why = "user-defined fields match only frames with an EtherType";
    return true;
  }
  verdict.why = fmt::format( "{} differs: the rule wants {}, the packet has {}", verdict.field,
                             verdict.wanted, verdict.found );
  return true;
}

// A rule that matches the packet is beaten by an earlier one of its table.
std::string Explainer::whyBeaten( const Sent & sent, const RuleIndex & index ) const {
  const Acl & acl = input_.acls[ index.acl ];
  const U32 group = shareOf( input_.platform, classOf( acl ) )->group;
  for ( const SoftAsic::Match & match : sent.verdict.matches ) {
    if ( Morvane::tcamNumberBits.get( match.group ) != group )
      continue;
    const auto rule = feature_.ruleOf( match.entry );
    return fmt::format( "{} comes earlier and matches as well",
                        rule ? nameOf( *rule ) : ownerOf( match.entry ) );
  }
  return acl.direction == Direction::out && sent.verdict.drop
             ? "the packet is dropped before it reaches the list"
             : "its fields match, but the chip found no entry";
}

}  // namespace Agent
