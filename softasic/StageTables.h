// Table instances of a unit: one per pipe and copy for the IFP, one for each other stage.
//
// A packet is looked up in one instance per stage, selected by its ingress port. The EFP has one
// instance, for the packets of all egress ports.
#pragma once

#include <deque>
#include <vector>

#include "softasic/InstanceId.h"
#include "softasic/Ports.h"
#include "softasic/SlicePool.h"

namespace SoftAsic {

class Group;

// One stage instance and its contents.
struct StageTable {
  StageTable( const StageProfile & profile, const ChipProfile & chip, U32 pipeIndex,
              U32 copyIndex );

  StageKind kind;
  U32 pipe;  // 0 if the stage has one instance
  U32 copy;
  bool perPipe;                  // belongs to one pipe, or to one copy in a pipe
  std::map< U32, U32 > keyBits;  // by supported qualifier
  SlicePool pool;
  U32 stats;  // stat objects, free or not
  U32 freeStats;
  U32 entries = 0;
  U64 moves = 0;
  std::vector< Group * > groups;  // by descending priority, then ascending id
};

class StageTables {
 public:
  explicit StageTables( const ChipProfile & chip );

  bool has( StageKind stage ) const { return !tables_[ static_cast< U32 >( stage ) ].empty(); }
  // Null if the instance bits of the id are invalid.
  StageTable * forGroup( StageKind stage, U32 groupId );
  // Null if the chip lacks the stage.
  StageTable * forPort( StageKind stage, const Ports & ports, U32 port );

  // By stage, pipe, copy.
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
