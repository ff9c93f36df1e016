// Expected state of a switch after each step, independent of the library.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/morvane/TestSwitch.h"

namespace Test::RandomWalk {

struct User {
  TcamGroupAssignment assignment;
  U32 group, size;
  TcamAllocationStrategy strategy;
};

// Groups: 1 and 3 match at ingress, 2 at the lookup stage; 4 and 5 have user-defined fields for
// mirroring, 6 for flow programming.
inline constexpr User users[] = { { ipAclTcamGroup, 1, 40, tcamAllocateOnDemand },
                                  { qosTcamGroup, 1, 0, tcamAllocateUnbounded },
                                  { ipCoppTcamGroup, 1, 6, tcamAllocateAsChunk },
                                  { l2ControlPrioTcamGroup, 1, 4, tcamAllocateAtBeginning },
                                  { ipAclVfpTcamGroup, 2, 9, tcamAllocateOnDemand },
                                  { urpfTcamGroup, 3, 0, tcamAllocateUnbounded },
                                  { mirroringAclTcamGroup1, 4, 0, tcamAllocateUnbounded },
                                  { mirroringAclTcamGroup2, 5, 3, tcamAllocateAsChunk },
                                  { openFlowUdfTcamGroup, 6, 0, tcamAllocateUnbounded } };
inline constexpr U32 lookupGroup = 2;
inline constexpr U32 singlePortGroup = 3;  // also matches a single port

inline bool isMirroring( const User & user ) {
  return user.group == 4 || user.group == 5;
}

inline constexpr U32 anyPort = 0xFFFFFFFF;

// VLANs with changing untagged ports.
inline constexpr U16 changingVlans[] = { 10, 11 };

struct Match {
  U32 dstIp = 0;  // 0: not written yet
  OvidMatch vlan = {};
  U32 port = anyPort;
};

// A user's entry.
struct Rule {
  const User * user = nullptr;
  Match written, effective;  // pending; as last installed
  U32 priority = 0;
  U32 policer = 0;
  bool installed = false;
  bool enabled = true;
  bool leaving = false;  // being released
  // Input port that the next installation writes; if permanent, every installation.
  enum { noStore, temporary, permanent } store = noStore;
  U32 storePort = anyPort;
  // An installation with a store failed: `written.port` is unknown.
  bool unclear = false;

  void installedNow();
};

struct UnitModel {
  std::map< U32, Rule > rules;                 // by entry id
  std::map< RangeCheckerDesc, U32 > checkers;  // number of users
  std::vector< U32 > policers;                 // base ids

  bool limits( U32 policer ) const;  // whether it is attached to a rule
};

// The difference between the unit's rules and the model, or "".
std::string compareRules( const TestSwitch & sw, U32 unit, const UnitModel & model );
// The same for the entry that a packet hits; the numbers determine the packet.
std::string comparePacket( TestSwitch & sw, U32 unit, UnitModel & model, U32 a, U32 b );

}  // namespace Test::RandomWalk
