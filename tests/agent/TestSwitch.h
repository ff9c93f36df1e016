// A switch with a chip of a chosen size, for tests of the agent.
#pragma once

#include <fmt/core.h>

#include <string>

#include "agent/AclFeature.h"
#include "agent/Replay.h"
#include "agent/SwitchSession.h"
#include "agent/audit/Auditor.h"
#include "kiv/Lock.h"
#include "platform/PlatformLoader.h"

namespace Agent {

struct ChipSize {
  U32 pipes = 1;
  bool secondCopy = false;
  bool groupByPreselector = false;
  bool sharedByPipes = false;
  U32 slices = 4;         // of 32 entries
  U32 statistics = 1024;  // of each stage, pipe and copy
  U32 entries = 512;      // of the share for IPv4 access lists
};

inline Platform::PlatformData testPlatform( const ChipSize & size ) {
  return Platform::parsePlatform(
      "test", fmt::format( R"({{
    "name": "test",
    "chip": {{ "name": "T", "type": 1, "pipes": {}, "portsPerPipe": 8, "statistics": {},
      "secondCopy": {}, "groupByPreselector": {}, "sharedByPipes": {}, "preselectors": 64,
      "rangeCheckers": 4, "policers": 4,
      "stages": [ {{ "stage": "IFP", "slices": [ {{ "count": {}, "depth": 32, "keyBits": 192 }} ] }} ] }},
    "groups": [
      {{ "id": 1, "match": "ipv4", "qualifiers": [ "StageIngress", "IpType", "SrcIp", "DstIp",
        "IpProtocol", "L4SrcPort", "L4DstPort", "TcpControl", "IcmpTypeCode" ] }},
      {{ "id": 2, "qualifiers": [ "StageIngress", "DstMac" ] }} ],
    "reservations": [
      {{ "name": "acl", "assignment": "ipAclTcamGroup", "strategy": "tcamAllocateOnDemand",
        "group": 1, "size": {} }},
      {{ "name": "l2", "assignment": "l2ControlPrioTcamGroup", "strategy": "tcamAllocateAtBeginning",
        "group": 2, "size": 8 }} ] }})",
                           size.pipes, size.statistics, size.secondCopy, size.groupByPreselector,
                           size.sharedByPipes, size.slices, size.entries ) );
}

// `entries` rules of one entry each.
inline Acl plainAcl( U32 entries ) {
  Acl acl{ "plain", "plain", {} };
  for ( U32 i = 0; i < entries; ++i ) {
    AclRule rule;
    rule.line = i + 1;
    rule.source = { i, 32 };
    acl.rules.push_back( rule );
  }
  return acl;
}

// Order of members: the lock is held while the session lives.
struct TestSwitch {
  explicit TestSwitch( const ChipSize & size )
      : activity( Kiv::ActivityUnlockAnchor::lock() ),
        session( testPlatform( size ) ),
        feature( session.groupManager(), SwitchSession::unit ),
        replay( session, feature ) {}

  std::vector< std::string > audit() {
    return Audit::audit( session.groupManager(), session.chip() );
  }

  Kiv::LockGuard activity;
  SwitchSession session;
  AclFeature feature;
  Replay replay;
};

}  // namespace Agent
