// Locks, the scopes that take and give them up, and the exceptions that they throw.
#include "kiv/Lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <string>
#include <thread>

#include "kiv/Exception.h"
#include "kiv/Types.h"

namespace {

using Kiv::Lock;
using Kiv::U32;
using Kiv::UnlockAnchor;

// What the call threw, or "".
std::string thrownBy( const std::function< void() > & call ) {
  try {
    call();
  } catch ( const Kiv::Exception & exception ) {
    return exception.what();
  }
  return "";
}

// A thread without the lock in its hands; runs the call to its end.
void onOtherThread( const std::function< void() > & call ) {
  std::thread( call ).join();
}

TEST( LockTest, AnchorGivesTheLockToOthersAndTakesItBack ) {
  Lock lock;
  lock.lock();
  {
    const UnlockAnchor anchor( lock );
    EXPECT_FALSE( lock.held() );
    onOtherThread( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
      const Kiv::LockGuard guard( lock );
      EXPECT_TRUE( lock.held() );
    } );
  }
  EXPECT_TRUE( lock.held() );
  lock.unlock();
  EXPECT_FALSE( lock.held() );
}

TEST( LockTest, MisuseIsReportedAndChangesNothing ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  Lock lock;
  EXPECT_EQ( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS { UnlockAnchor anchor( lock ); } ),
             "Lock Protocol exception -- unlocking an unreleasable lock" );
  lock.lock();
  EXPECT_EQ( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS { lock.lock(); } ),
             "Failed to grab lock: Resource deadlock avoided" );
  onOtherThread( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
    EXPECT_EQ( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS { UnlockAnchor anchor( lock ); } ),
               "Failed to release the lock: Operation not permitted" );
  } );
  EXPECT_TRUE( lock.held() );
  lock.unlock();
}

TEST( LockTest, AStrangersUnlockIsNeverSeenByTheHolder ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  Lock lock;
  lock.lock();
  std::atomic< U32 > attempts{ 0 };
  std::thread stranger( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
    for ( ; attempts < 20'000; ++attempts )
      EXPECT_NE( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS { lock.unlock(); } ), "" );
  } );
  U32 lost = 0;
  while ( attempts < 20'000 )
    lost += !lock.held();
  stranger.join();
  EXPECT_EQ( lost, 0U );
  lock.unlock();
}

TEST( LockTest, AnchorFindsItsLockTaken ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  Lock lock;
  lock.lock();
  EXPECT_EQ( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
               UnlockAnchor anchor( lock );
               lock.lock();
             } ),
             "Lock was already grabbed in UnlockAnchor destructor!" );
  // With another exception in flight the destructor keeps silent.
  EXPECT_EQ( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
               UnlockAnchor anchor( lock );
               lock.lock();
               throw Kiv::RangeException( "first" );
             } ),
             "first" );
  EXPECT_TRUE( lock.held() );
  lock.unlock();
}

TEST( LockTest, AnchorRetakesTheLockWhenItsScopeThrows ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  Lock & lock = Kiv::ActivityUnlockAnchor::lock();
  lock.lock();
  EXPECT_EQ( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
               UnlockAnchor anchor( lock );
               throw Kiv::RangeException( "scope" );
             } ),
             "scope" );
  EXPECT_TRUE( lock.held() );
  onOtherThread( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS {
    EXPECT_NE( thrownBy( [ & ]() KIV_NO_THREAD_SAFETY_ANALYSIS { lock.unlock(); } ), "" );
  } );
  lock.unlock();
}

TEST( LockDeathTest, AGuardWhoseLockWasGivenAwayEndsTheProcess ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  EXPECT_DEATH(
      {
        Lock lock;
        const Kiv::LockGuard guard( lock );
        lock.unlock();
      },
      "rc == 0" );
}

TEST( ExceptionTest, ErrnoTextAndDebuggingData ) {
  Kiv::ErrnoException plain( ENOENT, "Failed to open" );
  EXPECT_STREQ( plain.what(), "Failed to open: No such file or directory" );
  EXPECT_EQ( plain.errorNumber(), ENOENT );
  EXPECT_EQ( plain.debugData(), nullptr );
  EXPECT_NE( Kiv::errorString( 99999 ).view().find( "99999" ), std::string_view::npos );

  Kiv::Exception::debugExceptions_ = true;
  Kiv::RangeException debugged( "x" );
  Kiv::Exception::debugExceptions_ = false;
  const auto * trace = dynamic_cast< Kiv::Backtrace * >( debugged.debugData().get() );
  ASSERT_NE( trace, nullptr );
  EXPECT_FALSE( trace->text().empty() );
}

}  // namespace
