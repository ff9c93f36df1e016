#include "morvane/Operation.h"

#include <pthread.h>
#include <semaphore.h>

#include <cerrno>
#include <utility>

#include "kiv/Assert.h"
#include "kiv/Exception.h"
#include "kiv/Lock.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

// A waiting activity, on its own stack.
struct Waiter {
  explicit Waiter( pthread_t activity ) : thread( activity ) {
    KIV_ASSERT( sem_init( &wake, 0, 0 ) == 0 );
  }
  ~Waiter() { sem_destroy( &wake ); }
  Waiter( const Waiter & ) = delete;
  Waiter & operator=( const Waiter & ) = delete;

  pthread_t thread;
  sem_t wake;
  Waiter * next = nullptr;
};

// The activity that is inside and those that wait. Guarded by the activity lock.
struct Gate {
  static constexpr pthread_t nobody = 0;  // no thread has this id on Linux

  pthread_t inside = nobody;
  U32 depth = 0;  // of nested operations
  U32 waiting = 0;
  Waiter * first = nullptr;
  Waiter * last = nullptr;

  void append( Waiter & waiter ) {
    ( last ? last->next : first ) = &waiter;
    last = &waiter;
    ++waiting;
  }

  // Hands over to the activity that has waited longest.
  void handOver() {
    Waiter * const next = first;
    if ( !next ) {
      inside = nobody;
      return;
    }
    first = next->next;
    if ( !first )
      last = nullptr;
    --waiting;
    inside = next->thread;
    depth = 1;
    sem_post( &next->wake );
  }
};

constinit Gate gate;

[[noreturn, gnu::cold]] void throwLockNotHeld() {
  throw Kiv::InternalException( "Lock Protocol exception -- operation without the activity lock" );
}

}  // namespace

U32 Operation::waiting() {
  return gate.waiting;
}

inline Operation::Operation( Inside, const Kiv::Entity & object ) {
  const pthread_t self = pthread_self();
  if ( !Kiv::ActivityUnlockAnchor::lock().heldBy( self ) )
    throwLockNotHeld();
  KIV_ASSERT( !Shim::inSdkCall && "An SDK call must not call the TCAM manager" );
  if ( gate.inside == Gate::nobody ) [[likely]] {
    gate.inside = self;
    gate.depth = 1;
  } else if ( gate.inside == self ) {
    ++gate.depth;
  } else {
    wait( object );
  }
}

void Operation::wait( const Kiv::Entity & object ) {
  kept_ = &object;
  Waiter waiter( pthread_self() );
  gate.append( waiter );
  Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
  activity.assumeHeld();
  const Kiv::UnlockAnchor anchor( activity );
  while ( sem_wait( &waiter.wake ) != 0 )
    KIV_ASSERT( errno == EINTR );
}

Operation::~Operation() {
  if ( --gate.depth == 0 )
    gate.handOver();
}

Operation::Operation( const MorvaneTcamGroupManager & manager, U32 unit, Cleanup cleanup )
    : Operation( Inside(), manager ) {
  KIV_ASSERT( manager.started() && "The group manager has not been started" );
  if ( cleanup == Cleanup::first )
    finishCleanup( manager, unit );
}

Operation::Operation( const MorvaneTcamEntryManager & manager, U32 unit, Cleanup cleanup )
    : Operation( Inside(), manager ) {
  const MorvaneTcamGroupManager & holder = holderOf( manager );
  if ( cleanup == Cleanup::first )
    finishCleanup( holder, unit );
}

Operation::Operation( const MorvaneTcamGroupManager & manager ) : Operation( Inside(), manager ) {}

}  // namespace Morvane
