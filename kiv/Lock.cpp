#include "kiv/Lock.h"

#include <cerrno>
#include <exception>

#include "kiv/Assert.h"
#include "kiv/Exception.h"

namespace Kiv {

Lock::Lock() {
  pthread_mutexattr_t attributes;
  int rc = pthread_mutexattr_init( &attributes );
  KIV_ASSERT( rc == 0 );
  rc = pthread_mutexattr_settype( &attributes, PTHREAD_MUTEX_ERRORCHECK );
  KIV_ASSERT( rc == 0 );
  rc = pthread_mutex_init( &mutex_, &attributes );
  KIV_ASSERT( rc == 0 );
  pthread_mutexattr_destroy( &attributes );
}

Lock::~Lock() {
  pthread_mutex_destroy( &mutex_ );
}

int Lock::grab() noexcept {
  int rc = pthread_mutex_lock( &mutex_ );
  if ( rc == 0 )
    owner_.store( pthread_self(), std::memory_order_relaxed );
  return rc;
}

int Lock::drop() noexcept {
  // A thread that does not hold the lock must not touch the owner, not even briefly.
  if ( !heldByThisThread() )
    return EPERM;
  owner_.store( nobody, std::memory_order_relaxed );
  return pthread_mutex_unlock( &mutex_ );
}

void Lock::lock() KIV_NO_THREAD_SAFETY_ANALYSIS {
  int rc = grab();
  if ( rc != 0 )
    throw ErrnoException( rc, "Failed to grab lock" );
}

void Lock::unlock() KIV_NO_THREAD_SAFETY_ANALYSIS {
  int rc = drop();
  if ( rc != 0 )
    throw ErrnoException( rc, "Failed to release the lock" );
}

LockGuard::LockGuard( Lock & lock ) : lock_( lock ) {
  lock.lock();
}

LockGuard::~LockGuard() KIV_NO_THREAD_SAFETY_ANALYSIS {
  int rc = lock_.drop();
  KIV_ASSERT( rc == 0 );
}

UnlockAnchor::UnlockAnchor( Lock & lock ) KIV_NO_THREAD_SAFETY_ANALYSIS : lock_( lock ) {
  if ( !lock_.held() )
    throw InternalException( "Lock Protocol exception -- unlocking an unreleasable lock" );
  lock_.unlock();
}

UnlockAnchor::~UnlockAnchor() noexcept( false ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  int rc = lock_.grab();
  if ( rc == 0 || std::uncaught_exceptions() != 0 )
    return;
  if ( rc == EDEADLK )
    throw InternalException( "Lock was already grabbed in UnlockAnchor destructor!" );
  throw ErrnoException( rc, "Failed to grab lock" );
}

Lock & ActivityUnlockAnchor::lock() {
  // Never destroyed: activities may still run while the process exits.
  static Lock & activityLock = *new Lock;
  return activityLock;
}

}  // namespace Kiv
