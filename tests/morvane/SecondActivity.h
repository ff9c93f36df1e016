// Starts further activities in the middle of an operation of the first.
//
//   sw.second.arm( 3, Arrival::beforeCall, [ & ] { user.releaseEntry( 0, other ); } );
//   user.getEntry( 0, 7, "rule" );   // the release arrives at its third SDK call, and waits
//   sw.second.join();                // the release is done
//
// Each runs on a thread of its own, with the activity lock held. The armed call resumes, and the
// next activity starts, only when that thread has finished or waits for the operation to end: runs
// are repeatable.
//
// Locks: arm and join are called with the activity lock held, by the first activity.
#pragma once

#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "kiv/Lock.h"
#include "morvane/Operation.h"
#include "shim/SdkDecorator.h"

namespace Test {

using namespace Kiv::Integers;

// Both while the activity lock is dropped: before the SDK lock is taken, or after its release.
enum class Arrival { beforeCall, afterCall };

class SecondActivity : public Shim::SdkDecorator {
 public:
  using SdkDecorator::SdkDecorator;
  ~SecondActivity() override { join(); }

  using Codes = std::vector< std::function< void() > >;

  // Once, at the nth SDK call that this thread makes from now on.
  void arm( U32 nth, Arrival arrival, Codes codes ) {
    join();
    first_ = std::this_thread::get_id();
    left_ = nth;
    arrival_ = arrival;
    codes_ = std::move( codes );
  }
  // Once, after the next call of `op` that this thread makes.
  void arm( Shim::SdkOp op, Codes codes ) {
    arm( 0, Arrival::afterCall, std::move( codes ) );
    op_ = op;
  }
  void disarm() {
    left_ = 0;
    op_ = Shim::SdkOp::count;
  }

  bool arrived() const { return !threads_.empty(); }
  // Drops the activity lock until the activities that have arrived are done. Returns whether any
  // had.
  bool join() KIV_NO_THREAD_SAFETY_ANALYSIS {
    disarm();
    if ( !arrived() )
      return false;
    const Kiv::UnlockAnchor anchor( Kiv::ActivityUnlockAnchor::lock() );
    for ( std::thread & thread : threads_ )
      thread.join();
    threads_.clear();
    return true;
  }

  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS {
    if ( isFirst() ) {
      due_ = left_ != 0 && --left_ == 0;
      if ( due_ && arrival_ == Arrival::beforeCall )
        arrive();
    }
    SdkDecorator::sdkLock();
  }
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS {
    SdkDecorator::sdkUnlock();
    if ( isFirst() && due_ )
      arrive();
  }

 protected:
  int around( const Shim::SdkCallInfo & info, const Shim::SdkInvocation & call ) override {
    if ( isFirst() && info.op == op_ )
      due_ = true;
    return call();
  }

 private:
  bool isFirst() const { return std::this_thread::get_id() == first_; }

  void arrive() {
    disarm();
    due_ = false;
    done_ = 0;
    for ( const std::function< void() > & code : codes_ )
      start( code );
  }

  void start( const std::function< void() > & code ) {
    Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
    threads_.emplace_back( [ this, &activity, &code ] {
      const Kiv::LockGuard guard( activity );
      code();
      ++done_;
    } );
    for ( bool parked = false; !parked; std::this_thread::yield() ) {
      const Kiv::LockGuard guard( activity );
      parked = done_ + Morvane::Operation::waiting() >= threads_.size();
    }
  }

  std::thread::id first_;
  U32 left_ = 0;  // calls up to the armed one; 0: none
  Shim::SdkOp op_ = Shim::SdkOp::count;
  Arrival arrival_ = Arrival::beforeCall;
  Codes codes_;
  bool due_ = false;  // in the call that the first activity makes now
  U32 done_ = 0;      // guarded by the activity lock
  std::vector< std::thread > threads_;
};

}  // namespace Test
