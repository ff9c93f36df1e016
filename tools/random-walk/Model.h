// What a switch must hold after each step, kept without the library's help.
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
inline constexpr U32 singlePortGroup = 3;  // matches a single port too

inline bool isMirroring( const User & user ) {
  return user.group == 4 || user.group == 5;
}

inline constexpr U32 anyPort = 0xFFFFFFFF;

// VLANs whose untagged ports change.
inline constexpr U16 changingVlans[] = { 10, 11 };

struct Match {
  U32 dstIp = 0;  // 0: the rule was not written yet
  OvidMatch vlan = {};
  U32 port = anyPort;
};

// An entry that a user holds.
struct Rule {
  const User * user = nullptr;
  Match written, effective;  // as qualified now; as installed last
  U32 priority = 0;
  U32 policer = 0;
  bool installed = false;
  bool enabled = true;
  bool leaving = false;  // its release has begun
  // Input port that the next installation writes, and every one if it is permanent.
  enum { noStore, temporary, permanent } store = noStore;
  U32 storePort = anyPort;
  // An installation failed while there was a store: what stands in `written.port` is unknown.
  bool unclear = false;

  void installedNow();
};

struct UnitModel {
  std::map< U32, Rule > rules;                 // by entry id
  std::map< RangeCheckerDesc, U32 > checkers;  // with their users
  std::vector< U32 > policers;                 // base ids

  bool limits( U32 policer ) const;  // whether a rule has it
};

// "", or in what the unit's rules differ from the model.
std::string compareRules( const TestSwitch & sw, U32 unit, const UnitModel & model );
// The same for what a packet hits; the packet follows from the numbers.
std::string comparePacket( TestSwitch & sw, U32 unit, UnitModel & model, U32 a, U32 b );

}  // namespace Test::RandomWalk
