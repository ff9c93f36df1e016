#include "agent/verify/Replay.h"

#include <fmt/core.h>

#include <algorithm>
#include <bit>
#include <utility>

namespace Agent {

namespace {

std::string fateText( const PacketFate & fate ) {
  std::string text = fate.drop ? "drop" : "permit";
  if ( fate.copyToCpu )
    text += ", copy to CPU";
  for ( const U32 port : fate.mirrorPorts )
    text += fmt::format( ", mirror to port {}", port );
  if ( fate.rules.empty() )
    return text + " by default";
  std::string rules;
  for ( const RuleIndex & rule : fate.rules )
    rules += fmt::format( "{}ACL {} rule {}", rules.empty() ? "" : " and ", rule.acl + 1,
                          rule.rule + 1 );
  return text + " by " + rules;
}

// The ports at and next to the ends of the ranges that a rule allows in a field of ports.
void addEnds( const SoftAsic::ChipProfile & chip, const AclRule & rule, FieldId field,
              const ByteRange & first, std::vector< U32 > & ports ) {
  const auto add = [ & ]( U64 low, U64 high ) {
    for ( const U64 port : { low - 1, low, high, high + 1 } )
      if ( port < chip.ports() && std::find( ports.begin(), ports.end(), port ) == ports.end() )
        ports.push_back( static_cast< U32 >( port ) );
  };
  if ( first.any() )
    return;
  add( first.low, first.high );
  for ( const Alternative & other : rule.alternatives )
    if ( other.field == field )
      add( other.value.low, other.mask.low );
}

// The first port that no list for packets that enter is bound to by number; 0 if there is none.
U32 unboundPort( const SoftAsic::ChipProfile & chip, const std::vector< Acl > & acls ) {
  for ( U32 port = 0; port < chip.ports(); ++port )
    if ( std::none_of( acls.begin(), acls.end(), [ port ]( const Acl & acl ) {
           return acl.direction == Direction::in && !acl.boundPorts.empty() &&
                  acl.isBoundTo( port );
         } ) )
      return port;
  return 0;
}

}  // namespace

std::set< U32 > portsIn( const bcm_pbmp_t & bitmap ) {
  std::set< U32 > ports;
  constexpr U32 wordBits = 32;
  for ( U32 word = 0; word < BCM_PBMP_PORT_MAX / wordBits; ++word )
    for ( U32 bits = bitmap.pbits[ word ]; bits != 0; bits &= bits - 1 )
      ports.insert( word * wordBits + static_cast< U32 >( std::countr_zero( bits ) ) );
  return ports;
}

std::vector< U32 > portOfEveryCopy( const SoftAsic::ChipProfile & chip ) {
  std::vector< U32 > ports;
  for ( U32 pipe = 0; pipe < chip.pipes; ++pipe ) {
    const U32 first = pipe * chip.portsPerPipe;
    ports.push_back( first );
    // The upper half of a pipe's ports is looked up in the second copy.
    if ( chip.secondCopy && chip.portsPerPipe > 1 )
      ports.push_back( first + ( chip.portsPerPipe + 1 ) / 2 );
  }
  return ports;
}

std::vector< PortPair > portsToVerify( const SoftAsic::ChipProfile & chip,
                                       const std::vector< Acl > & acls,
                                       const std::vector< PortPair > & packetPorts ) {
  std::vector< U32 > in = portOfEveryCopy( chip );
  std::vector< U32 > out;
  for ( const PortPair & ports : packetPorts )
    if ( std::find( out.begin(), out.end(), ports.out ) == out.end() )
      out.push_back( ports.out );
  for ( const Acl & acl : acls )
    for ( U32 i = 0; i < acl.size(); ++i ) {
      const AclRule & rule = acl.rule( i );
      addEnds( chip, rule, FieldId::inPorts, rule.inPorts, in );
      addEnds( chip, rule, FieldId::outPorts, rule.outPorts, out );
    }
  std::vector< PortPair > pairs;
  for ( size_t i = 0; i < in.size(); ++i )
    pairs.push_back( { in[ i ], out[ i % out.size() ] } );
  if ( out.size() == 1 )
    return pairs;
  for ( const U32 port : { in.front(), unboundPort( chip, acls ) } )
    for ( const U32 to : out )
      pairs.push_back( { port, to } );
  return pairs;
}

FrameFields fieldsLeaving( U32 port, FrameFields fields ) {
  fields.outPort = port;
  return fields;
}

FrameFields fieldsAtPort( const Platform::PlatformData & platform, U32 port, FrameFields fields ) {
  fields.inPort = port;
  // A frame truncated before its type field is neither tagged nor untagged.
  if ( !platform.chip.sharedByPipes || !fields.l3At || fields.vlan.value_or( 0 ) != 0 )
    return fields;
  fields.vlan = 0;
  fields.vlanPriority = fields.vlanPriority.value_or( 0 );
  for ( const Platform::VlanData & vlan : platform.vlans )
    if ( std::find( vlan.untaggedPorts.begin(), vlan.untaggedPorts.end(), port ) !=
         vlan.untaggedPorts.end() )
      fields.portVlan = vlan.id;
  return fields;
}

Replay::Replay( SwitchSession & session, RuleOf ruleOf )
    : session_( session ),
      ruleOf_( std::move( ruleOf ) ),
      start_( session.chip().now( SwitchSession::unit ) ) {}

PacketFate Replay::send( const Packet & packet, const PortPair & ports ) {
  constexpr U32 unit = SwitchSession::unit;
  SoftAsic::SoftAsic & chip = session_.chip();
  chip.advance( unit, start_ + packet.time - chip.now( unit ) );
  const SoftAsic::Verdict verdict =
      chip.inject( unit, ports.in, packet.frame.data(), packet.frame.size(), ports.out );
  PacketFate fate;
  fate.drop = verdict.drop;
  fate.copyToCpu = verdict.copyToCpu;
  fate.mirrorPorts = portsIn( verdict.mirrorPorts );
  for ( const SoftAsic::Match & match : verdict.matches )
    if ( const auto rule = ruleOf_( match.entry ) )
      fate.rules.push_back( *rule );
  return fate;
}

std::string fateDifference( const Packet & packet, const PortPair & ports,
                            const PacketFate & expected, const PacketFate & actual ) {
  return fmt::format( "port {} to {}: {}: expected {}, got {}", ports.in, ports.out,
                      describe( readFrame( packet.frame ) ), fateText( expected ),
                      fateText( actual ) );
}

}  // namespace Agent
