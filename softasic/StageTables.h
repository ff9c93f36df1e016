// The table instances of a unit: one per stage, or one per pipe and copy for ingress stages.
//
// A packet is looked up in exactly one instance of each stage, that of its ingress port. There is
// no model of egress ports yet: EFP tables, too, are looked up by ingress port, for every packet
// that is forwarded.
#pragma once

#include <deque>
#include <vector>

#include "softasic/InstanceId.h"
#include "softasic/Ports.h"
#include "softasic/SlicePool.h"

namespace SoftAsic {

class Group;

// One stage instance and what is in it.
struct StageTable {
  StageTable( const StageProfile & profile, const ChipProfile & chip, U32 pipe, U32 copy );

  StageKind kind;
  U32 pipe;  // 0 where the stage has one instance
  U32 copy;
  bool perPipe;                  // serves one pipe, or one copy of one
  std::map< U32, U32 > keyBits;  // cost by qualifier that the stage can match
  SlicePool pool;
  U32 stats;  // statistics objects altogether
  U32 freeStats;
  U32 entries = 0;
  U64 moves = 0;
  std::vector< Group * > groups;  // by falling priority, then by rising id
};

class StageTables {
 public:
  explicit StageTables( const ChipProfile & chip );

  bool has( StageKind stage ) const { return !tables_[ static_cast< U32 >( stage ) ].empty(); }
  // The instance that a group id names; null when its instance bits name none.
  StageTable * forGroup( StageKind stage, U32 groupId );
  // The instance that serves a port; null when the chip lacks the stage.
  StageTable * forPort( StageKind stage, const Ports & ports, U32 port );

  // By stage in the order of StageKind, pipe, copy.
  template < class F >
  void forEach( F && fn ) const {
    for ( const auto & stage : tables_ )
      for ( const StageTable & table : stage )
        fn( table );
  }

 private:
  U32 pipes_;
  U32 copies_;
  std::deque< StageTable > tables_[ stageKinds ];  // pipe-major
};

}  // namespace SoftAsic
