// The one way back: what an operation has to undo when it fails, and what a release has to take
// from the hardware. Internal.
//
// A Rollback collects, while an operation goes on, the steps that undo it. When the operation
// throws, or asks for it, the steps run in reverse order: first the records, then the hardware.
// After commit nothing runs.
//
//   Rollback rollback( manager );
//   SDK_CHECKED( bcm_field_presel_create( unit, &preselId ) );
//   rollback.add( unit, { cleanupDestroyPreselector, preselId } );
//   ...
//   rollback.commit();
//
// A Release is a list of hardware steps in the order in which they are to be made. Its operation
// removes the records first; from then on the release has happened for its caller, whatever the
// hardware says.
//
//   Release release( manager, unit );
//   release.add( { cleanupDestroyRange, id } );
//   release.run();
//
// Invariants: no hardware step is lost. A step that throws, and all that should follow it, become
// unfinished cleanup of their unit (morvane/UnitCleanup.h). Undoing a record makes no SDK call and
// throws nothing.
//
// Cost: no heap for the steps of an entry in all pipes and copies.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/SmallList.h"
#include "morvane/UnitCleanup.h"

namespace Morvane {

// Makes the step; false when it has more to do, which is then recorded in the step. What hardware
// throws passes through, the step unchanged.
bool makeCleanupStep( MorvaneTcamGroupManager & manager, U32 unit, CleanupStep & step );

// Makes the unfinished steps of a unit, oldest first. Does nothing while that is under way.
void finishUnitCleanup( MorvaneTcamGroupManager & manager, U32 unit );
// Cleanup is no state that a const operation promises to leave.
inline MorvaneTcamGroupManager & cleanupOwner( const MorvaneTcamGroupManager & manager ) {
  return const_cast< MorvaneTcamGroupManager & >( manager );
}
inline void finishCleanup( const MorvaneTcamGroupManager & manager, U32 unit ) {
  if ( manager.unitCleanupSize() != 0 ) [[unlikely]]
    finishUnitCleanup( cleanupOwner( manager ), unit );
}

// Hardware steps of one unit in the order in which they are made.
class Release {
 public:
  Release( const MorvaneTcamGroupManager & manager, U32 unit )
      : manager_( cleanupOwner( manager ) ), unit_( unit ) {}
  // What was not made becomes unfinished cleanup.
  ~Release() { deferFrom( 0 ); }
  Release( const Release & ) = delete;
  Release & operator=( const Release & ) = delete;

  U32 unit() const { return unit_; }
  void add( const CleanupStep & step ) { steps_.push( step ); }
  // Makes the steps. The exception of one of them passes through; no step is forgotten.
  void run();

 private:
  void deferFrom( U32 first );

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  SmallList< CleanupStep, 56 > steps_;
};

class Rollback {
  struct UnitStep {
    U32 unit;
    CleanupStep step;
  };
  struct RecordUndo {
    void ( *run )( void * );
    alignas( std::max_align_t ) std::byte closure[ 4 * sizeof( void * ) ];
  };

 public:
  explicit Rollback( const MorvaneTcamGroupManager & manager )
      : manager_( cleanupOwner( manager ) ) {}
  // Undoes what was neither committed nor undone.
  ~Rollback();
  Rollback( const Rollback & ) = delete;
  Rollback & operator=( const Rollback & ) = delete;

  // A hardware step; its index.
  U32 add( U32 unit, const CleanupStep & step ) {
    steps_.push( { unit, step } );
    return steps_.size() - 1;
  }
  // Forgets a step that was added last: the operation has undone it itself.
  void drop( U32 index ) { steps_.shrink( index ); }
  // A step that was added, to be changed as the operation proceeds.
  CleanupStep & step( U32 index ) { return steps_[ index ].step; }

  // The object from which every step that was added copies what it restores.
  void sourceIs( U32 id ) {
    for ( U32 i = 0; i < steps_.size(); ++i )
      steps_[ i ].step.a = id;
  }

  // Undoes a change of the records: undo() makes no SDK call. The closure is kept as plain bytes.
  template < class F >
  void addRecord( F undo ) {
    static_assert( sizeof( F ) <= sizeof( RecordUndo::closure ) &&
                   alignof( F ) <= alignof( std::max_align_t ) &&
                   std::is_trivially_copyable_v< F > );
    RecordUndo record;
    record.run = []( void * closure ) { ( *static_cast< F * >( closure ) )(); };
    new ( record.closure ) F( undo );
    records_.push( record );
  }

  // Takes over the steps of a part that has succeeded.
  void take( Rollback & part );

  // The operation has succeeded.
  void commit() {
    steps_.clear();
    records_.clear();
  }
  // Undoes everything, for an operation that was refused. What hardware throws passes through, and
  // is unfinished cleanup then.
  void undo();

 private:
  void undoRecords();

  MorvaneTcamGroupManager & manager_;
  SmallList< UnitStep, 40 > steps_;
  SmallList< RecordUndo, 24 > records_;
};

}  // namespace Morvane
