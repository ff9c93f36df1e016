// A switch with a chip of configurable size.
#pragma once

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "agent/feature/AclFeature.h"
#include "agent/session/SwitchSession.h"
#include "agent/verify/RateModel.h"
#include "agent/verify/Replay.h"
#include "agent/verify/audit/Auditor.h"
#include "kiv/Lock.h"
#include "platform/PlatformLoader.h"

namespace Agent {

constexpr U32 unit = SwitchSession::unit;

class Random {
 public:
  explicit Random( U32 seed ) : engine_( seed ) {}

  U32 below( U32 end ) { return static_cast< U32 >( engine_() ) % end; }
  U64 word() { return U64{ engine_() } << 32 | engine_(); }

 private:
  std::mt19937 engine_;
};

struct ChipSize {
  U32 pipes = 1;
  bool secondCopy = false;
  bool groupByPreselector = false;
  bool sharedByPipes = false;
  U32 slices = 4;         // of 32 entries
  U32 statistics = 1024;  // per stage, pipe and copy
  U32 entries = 512;      // of the IPv4 ACL share
  U32 rangeCheckers = 4;
  U32 policers = 4;
  U32 dataChunks = 0;
  U32 keyBits = 192;
  PortMethod ports = PortMethod::automatic;
  bool paired = false;      // slices, for keys that are too wide
  bool everyField = false;  // IP and MAC groups have all qualifiers of their lists; egress groups
};

// Groups 1 to 8: IPv4, L2 control, IPv6, MAC, mirroring (two), flow programming inside VXLAN,
// mirroring IPv6; 9 to 11: egress IPv4, IPv6, MAC. VLAN 6 is untagged on ports 1 and 2.
inline Platform::PlatformData basePlatform( const ChipSize & size ) {
  const char * ranges = size.rangeCheckers != 0 ? R"(, "RangeCheck")" : "";
  const auto share = [ & ]( const char * assignment, U32 group, const char * more ) {
    return fmt::format(
        R"({{ "name": "{0}", "assignment": "{0}", "strategy": "tcamAllocateOnDemand",
              "group": {1}, "size": {2}{3} }},)",
        assignment, group, size.everyField ? 512 : 64, more );
  };
  return Platform::parsePlatform(
      "test",
      fmt::format(
          R"({{
    "name": "test",
    "vlans": [ {{ "id": 6, "untaggedPorts": [ 1, 2 ] }} ],
    "chip": {{ "name": "T", "type": 1, "pipes": {}, "portsPerPipe": 8, "statistics": {},
      "secondCopy": {}, "groupByPreselector": {}, "sharedByPipes": {}, "preselectors": 64,
      "rangeCheckers": {}, "policers": {}, "dataChunks": {}, "dataFormats": 16,
      "stages": [ {{ "stage": "IFP", "doubleWide": {}, "paired": {},
        "slices": [ {{ "count": {}, "depth": 32, "keyBits": {} }} ] }}{} ] }},
    "groups": [
      {{ "id": 1, "match": "ipv4", "qualifiers": [ "StageIngress", "IpType", "SrcIp", "DstIp",
        "IpProtocol", "L4SrcPort", "L4DstPort", "TcpControl", "IcmpTypeCode"{} ] }},
      {{ "id": 2, "qualifiers": [ "StageIngress", "DstMac" ] }},
      {{ "id": 3, "match": "ipv6", "qualifiers": [ "StageIngress", "IpType", "SrcIp6", "DstIp6",
        "IpProtocol", "L4SrcPort", "L4DstPort", "TcpControl", "IcmpTypeCode" ] }},
      {{ "id": 4, "qualifiers": [ "StageIngress", "SrcMac", "DstMac", "EtherType",
        "OuterVlanId" ] }},
      {{ "id": 5, "match": "ipv4", "qualifiers": [ "StageIngress", "SrcIp" ] }},
      {{ "id": 6, "qualifiers": [ "StageIngress", "SrcMac" ] }},
      {{ "id": 7, "match": "ipv4", "qualifiers": [ "StageIngress", "IpType", "IpProtocol",
        "L4DstPort" ] }},
      {{ "id": 8, "match": "ipv6", "qualifiers": [ "StageIngress", "SrcIp6" ] }},
      {{ "id": 9, "match": "ipv4", "qualifiers": [ "StageEgress", "IpType" ] }},
      {{ "id": 10, "match": "ipv6", "qualifiers": [ "StageEgress", "IpType" ] }},
      {{ "id": 11, "qualifiers": [ "StageEgress" ] }} ],
    "reservations": [
      {{ "name": "acl", "assignment": "ipAclTcamGroup", "strategy": "tcamAllocateOnDemand",
        "group": 1, "size": {} }},
      {}
      {{ "name": "l2", "assignment": "l2ControlPrioTcamGroup", "strategy": "tcamAllocateAtBeginning",
        "group": 2, "size": 8 }} ] }})",
          size.pipes, size.statistics, size.secondCopy, size.groupByPreselector, size.sharedByPipes,
          size.rangeCheckers, size.policers, size.dataChunks, size.keyBits > 192, size.paired,
          size.slices, size.keyBits,
          size.everyField ? R"(, { "stage": "EFP", "doubleWide": true,
            "slices": [ { "count": 48, "depth": 64, "keyBits": 384 } ] })"
                          : "",
          ranges, size.entries,
          // The IPv6 key takes two rows or slices; the flow-programming group has five fields.
          ( size.keyBits > 192 || size.paired ? share( "ip6AclTcamGroup", 3, "" ) : "" ) +
              share( "macAclTcamGroup", 4, "" ) +
              share( "mirroringAclTcamGroup1", 5, R"(, "mirroringAclUdf": true)" ) +
              share( "mirroringAclTcamGroup2", 6, R"(, "mirroringAclUdf": true)" ) +
              ( size.everyField ? share( "mirroringAclTcamGroup3", 8, "" ) +
                                      share( "ipAclEgressTcamGroup", 9, "" ) +
                                      share( "ip6AclEgressTcamGroup", 10, "" ) +
                                      share( "macAclEgressTcamGroup", 11, "" )
                                : "" ) +
              ( size.dataChunks >= 5 ? share( "openFlowVxlanUdfTcamGroup", 7, "" ) : "" ) ) );
}

inline Platform::PlatformData testPlatform( const ChipSize & size ) {
  Platform::PlatformData data = basePlatform( size );
  const struct {
    size_t group;
    AclKind kind;
    FieldId ports;  // of the other direction
  } groups[] = { { 0, AclKind::ipv4, FieldId::outPorts }, { 2, AclKind::ipv6, FieldId::outPorts },
                 { 3, AclKind::mac, FieldId::outPorts },  { 8, AclKind::ipv4, FieldId::inPorts },
                 { 9, AclKind::ipv6, FieldId::inPorts },  { 10, AclKind::mac, FieldId::inPorts } };
  for ( const auto & [ group, kind, ports ] : groups )
    for ( const MatchField & field : matchFields() )
      if ( size.everyField && field.isIn( kind ) && field.id != ports )
        data.groups[ group ].qualifiers.push_back( field.qualifier );
  data.attributes.ipv6MirroringSupported = size.everyField;
  return data;
}

// `entries` rules with one entry each.
inline Acl plainAcl( U32 entries ) {
  Acl acl;
  acl.name = acl.file = "plain";
  for ( U32 i = 0; i < entries; ++i ) {
    AclRule rule;
    rule.line = i + 1;
    rule.source = prefix4( i, 32 );
    acl.rules.push_back( rule );
  }
  return acl;
}

// Member order matters: the lock must be held while the session exists.
struct TestSwitch {
  explicit TestSwitch( const ChipSize & size )
      : activity( Kiv::ActivityUnlockAnchor::lock() ),
        session( testPlatform( size ) ),
        feature( session.groupManager(), SwitchSession::unit, session.platform(), size.ports ),
        replay( session, [ this ]( U32 entryId ) { return feature.ruleOf( entryId ); } ),
        ports( portOfEveryCopy( session.platform().chip ) ) {}

  std::vector< std::string > audit() {
    return Audit::audit( session.groupManager(), session.chip() );
  }
  Morvane::MorvaneTcamGroupManager & manager() { return session.groupManager(); }
  SoftAsic::SoftAsic & chip() { return session.chip(); }

  // Number of frames with an unexpected result on some port; sends one every `interval` ns.
  U32 differences( const std::vector< Frame > & frames, U64 interval = 1000 ) {
    U32 count = 0;
    for ( const Frame & frame : frames ) {
      const Packet packet = { frame, time += interval };
      for ( const U32 in : ports )
        for ( const U32 out : egressPorts )
          count += sameFate( packet, { in, out } ) ? 0 : 1;
    }
    return count;
  }

  bool sameFate( const Packet & packet, const PortPair & pair ) {
    const FrameFields fields = readFrame( packet.frame );
    const PacketFate expected =
        expectedFate( feature.policy(), fieldsAtPort( session.platform(), pair.in, fields ),
                      fieldsLeaving( pair.out, fields ),
                      [ & ]( const RuleIndex & rule, const PoliceRate & rate ) {
                        return rates.passes( rule, rate, pair.in / 8, packet.frame.size(), time );
                      } );
    const PacketFate fate = replay.send( packet, pair );
    if ( fate != expected && ++shown < 5 )
      ADD_FAILURE() << fateDifference( packet, pair, expected, fate );
    return fate == expected;
  }

  Kiv::LockGuard activity;
  SwitchSession session;
  AclFeature feature;
  Replay replay;
  std::vector< U32 > ports;
  std::vector< U32 > egressPorts = { 0 };
  RangeChoice choice;
  U32 shown = 0;  // differences
  RateModel rates;
  U64 time = 0;
};

}  // namespace Agent
