// The way of a packet through the stages.
//
// Chip rules
// - Stages in order: VFP, IFP, EFP. In a stage the instance that serves the ingress port is looked
//   up, and in it every group whose ports and preselectors admit the packet. In each group the best
//   entry that is installed and enabled wins and its statistics object counts the packet.
// - Where one field processor serves all pipes, its IFP stage sees an untagged packet as one with a
//   tag of VLAN 0 and priority 0, whatever the VLAN of its port. Everywhere else a VLAN field
//   matches tagged packets only.
// - A winner's policer colours the packet. All policers of a stage see the colour that the packet
//   had before the stage, green at first; it leaves with the worst that they gave. A packet that is
//   red for an entry is dropped, whatever other groups permit, and gets no other action of it.
// - Actions of the winners of a stage resolve by group priority (equal: the lower group id first):
//   the highest group with a drop or a permit decides between these two, the highest one with a
//   redirect gives the ports; copies to the processor and egress masks add up.
// - A drop counts at the end of its stage: later stages do not see the packet. A later stage's
//   redirect replaces an earlier one's.
#pragma once

#include "softasic/Groups.h"
#include "softasic/PacketParser.h"
#include "softasic/Policers.h"
#include "softasic/Stats.h"
#include "softasic/Verdict.h"

namespace SoftAsic {

class Pipeline {
 public:
  // What a packet passes; all of it outlives this object.
  struct Parts {
    const ChipProfile & profile;
    const Ports & ports;
    const Presels & presels;
    const RangeCheckers & ranges;
    const DataQualifiers & data;
    StageTables & tables;
    Stats & stats;
    Policers & policers;
  };
  explicit Pipeline( const Parts & parts ) : parts_( parts ) {}

  // `port` is one of the unit's; `now` is the time of its arrival, in nanoseconds.
  Verdict run( U32 port, const U8 * frame, size_t length, U64 now );

 private:
  struct Packet {
    const PacketKey & key;
    U32 port;
    U64 bytes;
    U64 now;
  };

  bool admits( const Group & group, U32 port ) const;
  void runStage( const StageTable & table, const Packet & packet, Verdict & verdict );
  bool seenAsVlan0( StageKind stage, const ParsedFrame & parsed ) const;

  Parts parts_;
};

}  // namespace SoftAsic
