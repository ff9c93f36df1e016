// The locks of the agent, and the scopes that take them and give them up.
//
//   Kiv::UnlockAnchor anchor( Kiv::ActivityUnlockAnchor::lock() );   // other activities run
//   ... a slow call ...
//   // the end of the scope takes the lock back
//
// Invariants: the mutex checks errors, so that a second lock by one thread and an unlock by a
// stranger are reported, not waited for. The owner tells whether some activity holds the lock; it
// is set after the mutex is taken and cleared by the owner, and nobody else, before it is given up,
// so that there is none while the mutex is free.
//
// Order of calls: an UnlockAnchor needs a held lock; misuse fails at construction.
#pragma once

#include <pthread.h>

#include <atomic>
#include <thread>

#include "kiv/Export.h"
#include "kiv/ThreadAnnotations.h"

namespace Kiv {

class KIV_CAPABILITY( "mutex" ) KIV_API Lock {
 public:
  Lock();
  ~Lock();
  Lock( const Lock & ) = delete;
  Lock & operator=( const Lock & ) = delete;

  // Waits for the lock. Throws ErrnoException( "Failed to grab lock" ), EDEADLK included.
  void lock() KIV_ACQUIRE();
  // Throws ErrnoException( "Failed to release the lock" ) when this thread does not hold it.
  void unlock() KIV_RELEASE();
  // Tells clang's analysis that the caller holds the lock; checks nothing.
  void assertHeld() const KIV_ASSERT_CAPABILITY( this ) {}
  // Whether some activity holds the lock now.
  bool held() const { return owner_.load( std::memory_order_relaxed ) != std::thread::id(); }

 private:
  friend class LockGuard;
  friend class UnlockAnchor;

  // Take and give up without an exception; the result is an errno value, 0 for success.
  int grab() noexcept KIV_NO_THREAD_SAFETY_ANALYSIS;
  int drop() noexcept KIV_NO_THREAD_SAFETY_ANALYSIS;

  pthread_mutex_t mutex_;
  std::atomic< std::thread::id > owner_{};
};

// Holds a lock for its scope.
class KIV_SCOPED_CAPABILITY KIV_API LockGuard {
 public:
  explicit LockGuard( Lock & lock ) KIV_ACQUIRE( lock );
  // A lock that cannot be given up is broken bookkeeping: asserted.
  ~LockGuard() KIV_RELEASE();
  LockGuard( const LockGuard & ) = delete;
  LockGuard & operator=( const LockGuard & ) = delete;

 private:
  Lock & lock_;
};

// Gives a held lock up for its scope and takes it back at the end.
class KIV_SCOPED_CAPABILITY KIV_API UnlockAnchor {
 public:
  // Throws InternalException( "Lock Protocol exception -- unlocking an unreleasable lock" ) when
  // the lock is not held, ErrnoException( "Failed to release the lock" ) when unlocking fails.
  explicit UnlockAnchor( Lock & lock ) KIV_RELEASE( lock );
  // Throws InternalException( "Lock was already grabbed in UnlockAnchor destructor!" ) when this
  // thread holds the lock already, ErrnoException( "Failed to grab lock" ) for other failures;
  // never while another exception is in flight.
  ~UnlockAnchor() noexcept( false ) KIV_RELEASE();
  UnlockAnchor( const UnlockAnchor & ) = delete;
  UnlockAnchor & operator=( const UnlockAnchor & ) = delete;

 private:
  Lock & lock_;
};

// Names the lock that the agent's activity holds while library code runs.
struct KIV_API ActivityUnlockAnchor {
  // The one activity lock of the process; lives for ever.
  static Lock & lock();
};

}  // namespace Kiv
