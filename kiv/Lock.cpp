#include "kiv/Lock.h"

#include <cerrno>
#include <exception>

#include "kiv/Assert.h"
#include "kiv/Exception.h"

namespace Kiv {

constinit Lock activityLock;

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

// Nobody holds the lock, another thread does, or the mutex refuses.
void UnlockAnchor::throwNotReleased( int rc ) const {
  if ( !lock_.held() )
    throw InternalException( "Lock Protocol exception -- unlocking an unreleasable lock" );
  throw ErrnoException( rc, "Failed to release the lock" );
}

void UnlockAnchor::throwNotTaken( int rc ) const {
  if ( std::uncaught_exceptions() != 0 )
    return;
  if ( rc == EDEADLK )
    throw InternalException( "Lock was already grabbed in UnlockAnchor destructor!" );
  throw ErrnoException( rc, "Failed to grab lock" );
}

}  // namespace Kiv
