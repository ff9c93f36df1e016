// Packet processing: lookup and action resolution, stage by stage.
//
// Chip rules
// - Stages in order: VFP, IFP, EFP. The EFP also matches the port by which the packet leaves, as
//   it was decided before any redirect. Each stage looks up the instance of the ingress port, in
//   every group whose ports and preselectors admit the packet. In each group the best installed and
//   enabled entry wins, and its stat object counts the packet.
// - Where the pipes share their tables, the IFP treats an untagged packet as priority-tagged (VLAN
//   0, priority 0), whatever the VLAN of its port. Everywhere else VLAN fields match tagged packets
//   only.
// - A winner's policer colours the packet. All policers of a stage see the colour from before the
//   stage, initially green; the worst result becomes the packet's colour. If an entry's policer
//   returns red, the packet is dropped, even if another group permits it, and the entry's other
//   actions do not apply.
// - Actions of a stage's winners resolve by group priority, ties by lower group id. The first group
//   with a drop or permit decides between the two, the first one with a redirect sets the ports;
//   copies to the CPU and egress masks accumulate.
// - A drop takes effect at the end of its stage: later stages do not see the packet. A redirect
//   replaces that of an earlier stage.
#pragma once

#include "softasic/Groups.h"
#include "softasic/PacketParser.h"
#include "softasic/Policers.h"
#include "softasic/Stats.h"
#include "softasic/Verdict.h"

namespace SoftAsic {

class Pipeline {
 public:
  // All must outlive the pipeline.
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

  // The ports are valid; `now`: arrival time in nanoseconds.
  Verdict run( U32 port, U32 egressPort, const U8 * frame, size_t length, U64 now );

 private:
  struct Packet {
    const PacketKey & key;
    U32 port;
    U64 bytes;
    U64 now;
  };

  bool admits( const Group & group, U32 port ) const;
  void runStage( const StageTable & table, const Packet & packet, Verdict & verdict );
  bool treatAsPriorityTagged( StageKind stage, const ParsedFrame & parsed ) const;

  Parts parts_;
};

}  // namespace SoftAsic
