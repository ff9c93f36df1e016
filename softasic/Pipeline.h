// The way of a packet through the stages.
//
// Chip rules
// - Stages in order: VFP, IFP, EFP. In a stage the instance that serves the ingress port is looked
//   up, and in it every group whose ports and preselectors admit the packet. In each group the best
//   entry that is installed and enabled wins and its statistics object counts the packet.
// - Actions of the winners of a stage resolve by group priority (equal: the lower group id first):
//   the highest group with a drop or a permit decides between these two, the highest one with a
//   redirect gives the ports; copies to the processor and egress masks add up.
// - A drop counts at the end of its stage: later stages do not see the packet. A later stage's
//   redirect replaces an earlier one's.
#pragma once

#include "softasic/Groups.h"
#include "softasic/Stats.h"
#include "softasic/Verdict.h"

namespace SoftAsic {

class Pipeline {
 public:
  // The four objects outlive this one.
  Pipeline( const Ports & ports, const Presels & presels, StageTables & tables, Stats & stats )
      : ports_( ports ), presels_( presels ), tables_( tables ), stats_( stats ) {}

  // `port` is one of the unit's.
  Verdict run( U32 port, const U8 * frame, size_t length );

 private:
  bool admits( const Group & group, U32 port ) const;

  const Ports & ports_;
  const Presels & presels_;
  StageTables & tables_;
  Stats & stats_;
};

}  // namespace SoftAsic
