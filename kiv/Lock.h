// The locks of the agent, and the scopes that take and release them.
//
//   Kiv::UnlockAnchor anchor( Kiv::ActivityUnlockAnchor::lock() );   // other activities run
//   ... a slow call ...
//   // the end of the scope retakes the lock
//
// Invariants: a second lock by one thread and an unlock by a thread that does not hold it are
// errors, not deadlocks. The held flag is the id of the holding thread; it is set after the mutex
// is taken and cleared before it is released, so that it names nobody while the mutex is free. A
// thread finds its own id there only if it holds the lock, so that the mutex need not check errors
// itself.
//
// Order of calls: an UnlockAnchor needs a held lock; misuse fails at construction.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <type_traits>

#include "kiv/Export.h"
#include "kiv/ThreadAnnotations.h"

namespace Kiv {

class KIV_CAPABILITY( "mutex" ) KIV_API Lock {
 public:
  constexpr Lock() = default;
  Lock( const Lock & ) = delete;
  Lock & operator=( const Lock & ) = delete;

  // Waits for the lock. Throws ErrnoException( "Failed to grab lock" ), EDEADLK included.
  void lock() KIV_ACQUIRE();
  // Throws ErrnoException( "Failed to release the lock" ) when this thread does not hold it.
  void unlock() KIV_RELEASE();
  // Lets clang's analysis assume that the caller holds the lock; checks nothing.
  void assumeHeld() const KIV_ASSERT_CAPABILITY( this ) {}
  // Whether some activity holds the lock now.
  bool held() const { return owner_.load( std::memory_order_relaxed ) != nobody; }
  // Whether that thread does; `thread` is the calling one.
  bool heldBy( pthread_t thread ) const {
    return owner_.load( std::memory_order_relaxed ) == thread;
  }
  bool heldByThisThread() const { return heldBy( pthread_self() ); }

 private:
  friend class LockGuard;
  friend class UnlockAnchor;

  // Take and release without an exception; the result is an errno value, 0 for success. Inline,
  // because every SDK call takes and releases the activity lock.
  int grab() noexcept KIV_NO_THREAD_SAFETY_ANALYSIS {
    const pthread_t self = pthread_self();
    if ( heldBy( self ) ) [[unlikely]]
      return EDEADLK;
    const int rc = pthread_mutex_lock( &mutex_ );
    if ( rc == 0 ) [[likely]]
      owner_.store( self, std::memory_order_relaxed );
    return rc;
  }
  int drop() noexcept KIV_NO_THREAD_SAFETY_ANALYSIS {
    // A thread that does not hold the lock must not touch the owner, not even briefly.
    if ( !heldByThisThread() ) [[unlikely]]
      return EPERM;
    owner_.store( nobody, std::memory_order_relaxed );
    return pthread_mutex_unlock( &mutex_ );
  }

  static constexpr pthread_t nobody = 0;  // no thread has this name on Linux

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  std::atomic< pthread_t > owner_{ nobody };
};

// Holds a lock for its scope.
class KIV_SCOPED_CAPABILITY KIV_API LockGuard {
 public:
  explicit LockGuard( Lock & lock ) KIV_ACQUIRE( lock );
  // A lock that cannot be released is broken bookkeeping: asserted.
  ~LockGuard() KIV_RELEASE();
  LockGuard( const LockGuard & ) = delete;
  LockGuard & operator=( const LockGuard & ) = delete;

 private:
  Lock & lock_;
};

// Releases a held lock for its scope and retakes it at the end.
class KIV_SCOPED_CAPABILITY KIV_API UnlockAnchor {
 public:
  // Throws InternalException( "Lock Protocol exception -- unlocking an unreleasable lock" ) when
  // the lock is not held, ErrnoException( "Failed to release the lock" ) when unlocking fails.
  explicit UnlockAnchor( Lock & lock ) KIV_RELEASE( lock ) KIV_NO_THREAD_SAFETY_ANALYSIS
      : lock_( lock ) {
    if ( const int rc = lock_.drop(); rc != 0 ) [[unlikely]]
      throwNotReleased( rc );
  }
  // Throws InternalException( "Lock was already grabbed in UnlockAnchor destructor!" ) when this
  // thread holds the lock already, ErrnoException( "Failed to grab lock" ) for other failures;
  // never while another exception is in flight.
  ~UnlockAnchor() noexcept( false ) KIV_RELEASE() KIV_NO_THREAD_SAFETY_ANALYSIS {
    if ( const int rc = lock_.grab(); rc != 0 ) [[unlikely]]
      throwNotTaken( rc );
  }
  UnlockAnchor( const UnlockAnchor & ) = delete;
  UnlockAnchor & operator=( const UnlockAnchor & ) = delete;

 private:
  [[noreturn]] void throwNotReleased( int rc ) const;
  void throwNotTaken( int rc ) const;

  Lock & lock_;
};

// The one activity lock of the process; usable before any constructor has run and never destroyed:
// activities may still run while the process exits.
extern KIV_API constinit Lock activityLock;
static_assert( std::is_trivially_destructible_v< Lock > );

// Names the lock that the agent's activity holds while library code runs.
struct KIV_API ActivityUnlockAnchor {
  static Lock & lock() { return activityLock; }
};

}  // namespace Kiv
