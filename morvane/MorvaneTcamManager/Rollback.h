// Undo of failed operations, and the hardware steps of releases. Internal.
//
// A Rollback collects the steps that undo an operation. When the operation throws, or calls undo,
// they run in reverse order: first the records, then the hardware. After commit nothing runs.
//
//   Rollback rollback( manager );
//   SDK_CHECKED( bcm_field_presel_create( unit, &preselId ) );
//   rollback.add( unit, { cleanupDestroyPreselector, preselId } );
//   ...
//   rollback.commit();
//
// A Release is an ordered list of hardware steps. Its operation removes the records first; for its
// caller the release has then happened, whatever the hardware steps do.
//
//   Release release( manager, unit );
//   release.add( { cleanupDestroyRange, id } );
//   release.run();
//
// Invariants: no hardware step is lost. A step that throws and those after it become unfinished
// cleanup of their unit (morvane/UnitCleanup.h). Undoing a record makes no SDK call and does not
// throw.
//
// Cost: no heap for an entry's steps in all pipes and copies.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/SmallList.h"
#include "morvane/UnitCleanup.h"

namespace Morvane {

// Makes the step. When the hardware throws, the step is what remains to be done.
void makeCleanupStep( MorvaneTcamGroupManager & manager, U32 unit, CleanupStep & step );

// Makes the unfinished steps of a unit, oldest first. Does nothing if called while it runs.
void finishUnitCleanup( MorvaneTcamGroupManager & manager, U32 unit );
// Unfinished cleanup is not part of the state that a const operation must keep.
inline MorvaneTcamGroupManager & cleanupOwner( const MorvaneTcamGroupManager & manager ) {
  return const_cast< MorvaneTcamGroupManager & >( manager );
}
inline void finishCleanup( const MorvaneTcamGroupManager & manager, U32 unit ) {
  if ( manager.unitCleanupSize() != 0 ) [[unlikely]]
    finishUnitCleanup( cleanupOwner( manager ), unit );
}
// The same on every unit.
void finishAllCleanup( MorvaneTcamGroupManager & manager );

// Hardware steps of one unit, in order.
class Release {
 public:
  Release( const MorvaneTcamGroupManager & manager, U32 unit )
      : manager_( cleanupOwner( manager ) ), unit_( unit ) {}
  // Steps that were not made become unfinished cleanup.
  ~Release() { deferFrom( 0 ); }
  Release( const Release & ) = delete;
  Release & operator=( const Release & ) = delete;

  U32 unit() const { return unit_; }
  void add( const CleanupStep & step ) { steps_.push( step ); }
  // Makes the steps. An exception passes through; the remaining steps become unfinished cleanup.
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
  // Undoes the steps unless they were committed or undone.
  ~Rollback();
  Rollback( const Rollback & ) = delete;
  Rollback & operator=( const Rollback & ) = delete;

  // Adds a hardware step and returns its index.
  U32 add( U32 unit, const CleanupStep & step ) {
    steps_.push( { unit, step } );
    return steps_.size() - 1;
  }
  // Removes the step that was added last, which the operation has undone itself.
  void drop( U32 index ) { steps_.shrink( index ); }
  // An added step, for the operation to change.
  CleanupStep & step( U32 index ) { return steps_[ index ].step; }

  // Sets the object from which the added steps copy the value to restore.
  void sourceIs( U32 id ) {
    for ( U32 i = 0; i < steps_.size(); ++i )
      steps_[ i ].step.a = id;
  }

  // Adds the undo of a change of the records, without SDK calls. The closure is kept as plain
  // bytes.
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

  // Moves in the steps of a part that has succeeded.
  void take( Rollback & part );

  // The operation has succeeded: nothing is undone.
  void commit() {
    steps_.clear();
    records_.clear();
  }
  // Undoes everything, for an operation that was refused. An exception passes through; the
  // remaining steps become unfinished cleanup.
  void undo();

 private:
  void undoRecords();

  MorvaneTcamGroupManager & manager_;
  SmallList< UnitStep, 40 > steps_;
  SmallList< RecordUndo, 24 > records_;
};

}  // namespace Morvane
