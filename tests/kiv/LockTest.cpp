// Locks, the scopes that take and release them, and the exceptions that they throw.
#include "kiv/Lock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <thread>

#include "kiv/Exception.h"

namespace {

using Kiv::Lock;
using Kiv::UnlockAnchor;

// Text of the exception that the call threw, or "".
std::string thrownBy( const std::function< void() > & call ) {
  try {
    call();
  } catch ( const Kiv::Exception & exception ) {
    return exception.what();
  }
  return "";
}

// Runs the call on a thread that does not hold the lock, and waits for it.
void onOtherThread( const std::function< void() > & call ) {
  std::thread( call ).join();
}

// Text of the exception from a scope that releases the lock and runs the body.
std::string thrownByAnchor(
    Lock & lock, const std::function< void() > & body = [] {} ) {
  return thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
    const UnlockAnchor anchor( lock );
    body();
  } );
}

TEST( LockTest, AnchorReleasesAndRetakesTheLock ) {
  Lock lock;
  lock.lock();
  {
    const UnlockAnchor anchor( lock );
    EXPECT_FALSE( lock.held() );
    onOtherThread( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
      const Kiv::LockGuard guard( lock );
      EXPECT_TRUE( lock.held() && lock.heldByThisThread() );
    } );
  }
  EXPECT_TRUE( lock.heldByThisThread() );
  onOtherThread( [ & ] { EXPECT_TRUE( lock.held() && !lock.heldByThisThread() ); } );
  lock.unlock();
  EXPECT_FALSE( lock.held() );
}

TEST( LockTest, MisuseIsReportedAndChangesNothing ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  Lock & lock = Kiv::ActivityUnlockAnchor::lock();
  const auto take = [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS { lock.lock(); };
  EXPECT_EQ( thrownByAnchor( lock ), "Lock Protocol exception -- unlocking an unreleasable lock" );
  lock.lock();
  EXPECT_EQ( thrownBy( take ), "Failed to grab lock: Resource deadlock avoided" );
  onOtherThread( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
    EXPECT_EQ( thrownByAnchor( lock ), "Failed to release the lock: Operation not permitted" );
    EXPECT_NE( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS { lock.unlock(); } ), "" );
  } );
  EXPECT_EQ( thrownByAnchor( lock, take ), "Lock was already grabbed in UnlockAnchor destructor!" );
  // An exception from the body passes through, whether the lock is retaken or already held.
  const auto fail = [] { throw Kiv::RangeException( "scope" ); };
  EXPECT_EQ( thrownByAnchor( lock, fail ), "scope" );
  EXPECT_TRUE( lock.held() );
  EXPECT_EQ( thrownByAnchor( lock, [ & ] { take(), fail(); } ), "scope" );
  EXPECT_TRUE( lock.held() );
  lock.unlock();
}

TEST( LockDeathTest, GuardOfAnUnlockedLockEndsTheProcess ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  EXPECT_DEATH(
      {
        Lock lock;
        const Kiv::LockGuard guard( lock );
        lock.unlock();
      },
      "rc == 0" );
}

TEST( ExceptionTest, BacktraceIsTakenOnRequest ) {
  EXPECT_EQ( Kiv::RangeException( "x" ).debugData(), nullptr );
  Kiv::Exception::debugExceptions_ = true;
  Kiv::RangeException debugged( "x" );
  Kiv::Exception::debugExceptions_ = false;
  const auto * trace = dynamic_cast< Kiv::Backtrace * >( debugged.debugData().get() );
  ASSERT_NE( trace, nullptr );
  const std::string lines = trace->text().charPtr();
  EXPECT_GE( std::count( lines.begin(), lines.end(), '\n' ), 3 ) << lines;
}

}  // namespace
